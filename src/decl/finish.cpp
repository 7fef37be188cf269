// The end-of-unit pass over the file-scope symbols.
#include "decl/declare.h"

void finish_unit(bool final)
{
    // Not built yet: undefined names are not reported and no storage,
    // definition or external reference record is written.
    (void)final;
}
