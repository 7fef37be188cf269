// The reader behind zpc-dump: decodes an intermediate file into readable
// text, one line per record. It is written from the file's layout alone and
// shares no code with the compiler's writer, so each checks the other.
#pragma once
#include <cstddef>
#include <string>

struct DumpResult {
    bool ok;
    // The reason decoding stopped, one line without a newline; empty when ok.
    std::string error;
};

// Appends the dump of the whole file to `out`. On a decoding failure `out`
// keeps every record decoded before the failing one (whose partial line is
// left out) and the result carries the message.
DumpResult dump_intermediate(const unsigned char *data, std::size_t size, std::string &out);

// Appends the line of the one record whose code byte is at `at` (without a
// newline); false, with `out` unchanged, when it cannot be decoded.
// `analyser` tells whether the file began with REC_UNIT_ANALYSER.
bool dump_record(const unsigned char *data, std::size_t size, std::size_t at, bool analyser, std::string &out);
