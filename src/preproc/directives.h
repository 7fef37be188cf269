// The directive stage: every scanned line passes through process_line()
// before the tokenizer serves it.
#pragma once
#include "lexer/pptoken.h"

// Returns the list to deliver, or null when the line was consumed.
PpToken *process_line(PpToken *list);
