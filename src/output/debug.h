// The debug tables (-x): the program's files, functions, symbols and types
// described for a debugger as linked tables of ordinary data. Each table
// entry starts at a debug label and holds integers, names and far
// pointers to other entries.
#pragma once
#include <cstdint>

struct SourceFile;
struct Stmt;
struct Symbol;

// The description of a function about to be written: its entry in its
// file's chain, its return type, its locals and arguments (and named
// labels under -xx), then the names it calls and the file-level objects it
// uses. Written before the function's own records (under -x, not -xd).
void debug_function(Symbol *function, const Stmt *body, std::uint32_t declaration_line);
// A source file has ended: the end of its chain and its file-level
// symbols (`declarations`, linked through debug_next), then under -xx the
// macros that were expanded.
void debug_file_end(SourceFile *file, Symbol *declarations);
// A symbol was just given the mark of a use by code (0x200) or of a call
// (0x100); the next function description lists it.
void debug_note_mark(Symbol *symbol);
void debug_reset();
