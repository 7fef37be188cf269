/* Comparisons whose operands meet as unsigned: the signed side converts to
   the unsigned type first, so -1 compares as the largest value. */
#include "check.h"

int equals_ffff(int m) { return m == 0xFFFF; }

int main(void)
{
    CHECK((-1 < 0u) == 0);
    CHECK(-1L == 0xFFFFFFFFul);
    CHECK(equals_ffff(-1) == 1);
    CHECK((-1 > 1u) == 1);
    return failures;
}
