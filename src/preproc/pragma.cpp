#include "preproc/pragma.h"

// Pragmas are not carried out yet: the operand is accepted and dropped.
void pragma_directive(PpToken *list) { free_pp_list(list); }
