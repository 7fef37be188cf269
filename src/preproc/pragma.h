// #pragma and the _Pragma operator.
#pragma once
#include <cstdint>

#include "lexer/pptoken.h"

// Carries out a pragma, given the tokens after "pragma". Takes the list.
void pragma_directive(PpToken *list);

// Set by "#pragma align on|off" (not under -b); read by structure layout
// and by the declarations it marks.
extern std::int32_t align_mode;
// Set by "#pragma unroll N"; read when counted loops are unrolled.
extern std::uint32_t unroll_count;

// The pragmas whose bodies are declarations (space, section, attribute)
// are read by the declaration parser, which stands above this stage: the
// driver installs it here at start-up. It reads the list as tokens of its
// own (consumed; its end reads as `;`); `line` is the pragma's line. It
// returns the code of the token it left unread.
enum DeclarationPragma { PRAGMA_SPACE, PRAGMA_SECTION, PRAGMA_ATTRIBUTE };
extern std::uint16_t (*declaration_pragma_reader)(DeclarationPragma which, PpToken *list, std::uint32_t line);
// Set by the parser while a function body is read (#pragma section is
// misplaced there).
extern bool in_function_body;

void pragma_reset();
