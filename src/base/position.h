// Where the compiler is reading: the current file and line, and what
// overrides them (#line, replayed tokens). The reader keeps it up to date;
// messages take their position from it and from the current token.
#pragma once
#include <cstdint>

struct SourceFile {
    SourceFile *next;         // the file list, in the order files were opened
    void *debug_decls;        // owned by the debug tables
    std::uint32_t line;       // physical lines read so far
    std::uint16_t debug_file_no;
    std::uint16_t debug_file_aux;
    std::uint16_t debug_first_label;
    char name[1];             // the name the file was opened by; NUL-terminated
};
extern SourceFile *current_file;  // null until the first file is opened

// A replayed token's position overrides the reader's (recorded inline
// function bodies); null when nothing is being replayed.
extern const char *replay_file_name;
extern std::int32_t replay_line;

// The #line overrides.
extern bool line_override_active;
extern std::int32_t line_override;
extern const char *file_name_override;

inline bool source_is_open() { return current_file != nullptr; }
std::int32_t current_line();
const char *current_file_name();

void position_reset();
