// #pragma and the _Pragma operator.
#pragma once
#include "lexer/pptoken.h"

// Carries out a pragma, given the tokens after "pragma". Takes the list.
void pragma_directive(PpToken *list);
