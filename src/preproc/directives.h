// The directive stage: every scanned line passes through process_line()
// before the tokenizer or the preprocess-only writer serves it. It carries
// out directives, drops the lines of skipped conditional groups, expands
// macros, and turns the lines of #asm blocks into assembly text.
#pragma once
#include <cstdint>

#include "lexer/pptoken.h"

// Returns the list to deliver, or null when the line was consumed. Under
// -e an active #pragma line (other than asm and endasm) comes back as it
// is, to be written out.
PpToken *process_line(PpToken *list);
// The next logical line, scanned: a directive line held back by macro
// expansion when there is one, else the next line read. Null at the end
// of input.
PpToken *scan_next_line();
// True outside conditionals and in a group being taken.
bool is_active();
// 0 outside an #asm block; 1 after #asm until its first line has been
// passed on; 2 for the rest of the block.
extern std::int32_t asm_mode;
// #asm and #endasm, also reached by #pragma asm and #pragma endasm; each
// takes the rest of its line.
void asm_directive(PpToken *list);
void endasm_directive(PpToken *list);
// After the whole unit: "missing #endif directive" at the innermost open
// conditional.
void check_open_conditionals();
void directives_reset();

// The operand of #if and #elif is read by the expression parser (its
// constant expressions, mode 2), which stands above this stage: the driver
// installs it here at start-up. The tokens are redirected to it while it
// reads; false when no constant expression was there.
extern bool (*condition_reader)(std::int32_t *value, int mode);

// An identifier token spelled `word`.
bool spelled(const PpToken *t, const char *word);
// The rest of a line as #error, #warning and #pragma message show it:
// each spelling after its white space (the first without); the end of the
// line adds nothing.
struct TextBuffer;
void directive_text(const PpToken *t, TextBuffer &out);
