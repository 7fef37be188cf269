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

void pragma_reset();
