/* Compound assignment and increments at each width: the operation is done
   in the promoted type and the result converted back to the object's. */
#include "check.h"

int main(void)
{
    unsigned char uc = 250;
    signed char sc = 100;
    unsigned int u = 65530u;
    int i = 7;
    long l = 65535L;
    int array[3] = {1, 2, 3};
    int *p = array;

    uc += 10;
    CHECK(uc == 4);
    uc -= 5;
    CHECK(uc == 255);
    sc += 27;
    CHECK(sc == 127);
    sc *= 2;
    CHECK(sc == -2);
    u += 10;
    CHECK(u == 4);
    i *= -3;
    CHECK(i == -21);
    i %= 4;
    CHECK(i == -1);
    i |= 0x100;
    CHECK(i == -1);
    i &= 0x0F0;
    CHECK(i == 0xF0);
    i ^= 0xFF;
    CHECK(i == 0x0F);
    l += 1;
    CHECK(l == 65536L);
    l <<= 4;
    CHECK(l == 0x100000L);
    CHECK(*p++ == 1 && *p == 2);
    CHECK(*--p == 1);
    p += 2;
    CHECK(*p == 3);
    CHECK(p[-1]++ == 2 && array[1] == 3);
    uc = 0;
    uc--;
    CHECK(uc == 255);
    return failures;
}
