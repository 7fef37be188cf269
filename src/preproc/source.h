// Input files: the main source, the -h headers and included files, the
// include stack, the current file and line, and the output streams.
#pragma once
#include <cstdint>
#include <cstdio>

struct SourceFile {
    SourceFile *next;         // the file list, in the order files were opened
    void *debug_decls;        // owned by the debug tables
    std::uint32_t line;       // physical lines read so far
    std::uint16_t debug_file_no;
    std::uint16_t debug_file_aux;
    char name[1];             // the name the file was opened by; NUL-terminated
};

extern SourceFile *file_list;
extern SourceFile *current_file;  // null until the first file is opened
extern std::FILE *output_stream;

// Opens the error stream (+e) and the output stream (-o, or standard output
// under -e and -md). Returns false after its message when that fails.
bool open_outputs(const char *input_name);
// Closes the output file (when -o named one) and forgets both streams.
void close_output();
// The interrupt handler's way out: closes and deletes the output file.
void abandon_output();

// Opens `name` and makes it the current file; with `search` the include
// search list is tried when the name does not open as given. Reports
// "can't open %s" and returns false when no file opens.
bool open_source(const char *name, bool search);

// Called with each file name the unit reads, under -md.
void note_dependency(const char *name);

inline bool source_is_open() { return current_file != nullptr; }
std::int32_t current_line();
const char *current_file_name();

// The #line overrides.
extern bool line_override_active;
extern std::int32_t line_override;
extern const char *file_name_override;

void source_reset();
