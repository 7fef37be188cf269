// Preprocess-only output (-e): the lines the directive stage delivers,
// written as text; under -md nothing but the dependency list.
#pragma once

// The whole -e run, from the first line to the end of input.
void write_preprocessed();
