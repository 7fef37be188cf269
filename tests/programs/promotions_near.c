/* Integer promotions and the usual arithmetic conversions with a 16-bit int. */
#include "check.h"

int main(void)
{
    unsigned char uc1 = 200, uc2 = 100;
    signed char sc = -56;
    char letter = 'A';
    int minus_one = -1;
    unsigned int zero = 0, big = 40000u, ux;
    long lm = -1, l;
    unsigned long ul = 1;
    int x = 32767;

    CHECK(sizeof(int) == 2);
    CHECK(sizeof(short) == 2);
    CHECK(sizeof(long) == 4);
    CHECK(sizeof(char *) == 2);
    CHECK(uc1 + uc2 == 300);
    CHECK((unsigned char)(uc1 + uc2) == 44);
    CHECK((minus_one < zero) == 0);     /* -1 becomes 65535u */
    CHECK((lm < zero) == 1);            /* long holds every unsigned int */
    CHECK((minus_one < ul) == 0);       /* int becomes 0xFFFFFFFFul */
    CHECK(big * 2 == 14464u);           /* 80000 wraps at 16 bits */
    CHECK(big + big == 14464u);
    l = big * 2;
    CHECK(l == 14464L);
    l = (long)big * 2;
    CHECK(l == 80000L);
    CHECK(sc == -56);
    CHECK((unsigned char)sc == 200);
    CHECK(sc + uc1 == 144);
    ux = x;
    ux++;
    CHECK(ux == 0x8000u);
    CHECK((int)ux == -32768);
    CHECK(letter + 1 == 66);
    CHECK(~uc2 == -101);
    CHECK((unsigned char)~uc2 == 155);
    CHECK(-uc2 == -100);
    CHECK((big >> 15) == 1);
    CHECK((-x >> 14) == -2);
    return failures;
}
