/* Signed and unsigned division and remainder: quotients truncate toward
   zero, the remainder takes the dividend's sign, unsigned int is 16 bits. */
#include "check.h"

int idiv(int a, int b) { return a / b; }
int imod(int a, int b) { return a % b; }
unsigned int udiv(unsigned int a, unsigned int b) { return a / b; }

int main(void)
{
    int m = -7;
    unsigned int u = 65535u;
    CHECK(idiv(7, 2) == 3);
    CHECK(idiv(-7, 2) == -3);
    CHECK(idiv(7, -2) == -3);
    CHECK(imod(-7, 2) == -1);
    CHECK(imod(7, -2) == 1);
    CHECK(udiv(65535u, 2) == 32767u);
    CHECK(u / 3 == 21845u);
    CHECK(u % 10 == 5);
    CHECK(m / 2 == -3);
    CHECK((unsigned int)m / 2 == 32764u);  /* 65529 / 2 */
    CHECK((unsigned int)m % 10 == 9);
    CHECK(-32767 / 3 == -10922);
    m /= 2;
    CHECK(m == -3);
    u %= 1000;
    CHECK(u == 535);
    return failures;
}
