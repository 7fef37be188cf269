// Flow analysis of a function body.
#include "passes/passes.h"

void analyse_flow(Stmt *body)
{
    // Not built yet: no "used before set" warnings, no dead stores removed,
    // no tail calls marked and no locals sharing storage.
    (void)body;
}
