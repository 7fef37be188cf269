// Input files: the main source, the -h headers and included files, the
// include stack, the lines read, and the output streams. The reader keeps
// the position in the position module up to date.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/position.h"


extern SourceFile *file_list;
extern std::FILE *output_stream;
// The intermediate file's bytes gather here and go to output_stream in
// large pieces (flush_output); with no stream they are dropped. Closing the
// output flushes it.
constexpr std::size_t OUTPUT_BUFFER_SIZE = 65536;
extern unsigned char output_buffer[OUTPUT_BUFFER_SIZE];
extern std::size_t output_buffered;
void flush_output();
// The number of bytes written to the output so far, and a rewrite of bytes
// written before (a count that is known only after what it counts): in the
// buffer when they are still there, else in the file, after which writing
// goes on at its end.
std::uint64_t output_offset();
void patch_output(std::uint64_t at, const void *bytes, std::size_t n);
// Called when a source file ends, before the file that included it
// resumes (the debug tables describe what the file declared).
extern void (*file_end_hook)(SourceFile *file);

// Opens the error stream (+e) and the output stream (-o, or standard output
// under -e and -md, or when `output_required` is false). Files are written
// under temporary names beside their targets until they are settled.
// Returns false after its message when that fails.
bool open_outputs(const char *input_name, bool output_required = true);
// When a file read in the run is the output or the error file: drops both
// without touching their targets, sends the messages meant for the error
// file to standard error, reports "can't write over input file" and
// forgets the error file. True then.
bool outputs_refused(const char *input_name);
// Puts the output file in place (after outputs_refused()). False after its
// message when it was refused or could not be written.
bool settle_output(const char *input_name);
// Puts the error file in place (`keep`) or deletes it; false after its
// message when it could not be written.
bool settle_error_file(const char *input_name, bool keep);
// Writes out what the output holds so far.
void close_output();
// The interrupt handler's way out: closes and deletes the temporaries; the
// targets stay as they were.
void abandon_output();

// Opens `name` and makes it the current file; with `search` the include
// search list is tried when the name does not open as given. Reports
// "can't open %s" and returns false when no file opens.
bool open_source(const char *name, bool search);

// Called with each file name the unit reads, under -md.
void note_dependency(const char *name);


// The next logical line: physical lines with trigraphs replaced and
// backslash-newline splices joined, always ending in '\n', NUL-terminated.
// Null at the end of all input. A continuation read places the line behind
// the previous one, so that the text of tokens already scanned stays valid.
char *read_logical_line(bool continuation);
// The line read_logical_line() returned last (null before the first).
const char *current_logical_line();

// Offsets, from the start of the logical line just read, at which each of
// its physical lines begins (at most LINE_STARTS_MAX of them).
constexpr int LINE_STARTS_MAX = 128;
struct LineStarts {
    std::uint32_t offset[LINE_STARTS_MAX];
    int count;
};
const LineStarts &line_start_table();

// Set by the line scanner while a block comment runs on past a line's end.
extern bool comment_open;
extern bool end_of_input;

// Text made up during expansion lives until the next logical line starts.
char *scratch_text(const char *text, std::size_t length);

void source_reset();
