/* Shifts at the widths of the target: 8-bit operands promote to int, int is
   16 bits, long 32; right shifts of negative values are arithmetic. */
#include "check.h"

int main(void)
{
    unsigned char b = 0x81;
    int s = -16;
    unsigned int u = 0x8001u;
    long l = 1;
    int n = 4;

    CHECK((b << 1) == 0x102);           /* promoted: the bit is not lost */
    CHECK((unsigned char)(b << 1) == 2);
    CHECK((u << 1) == 2);               /* the top bit of 16 falls out */
    CHECK((u >> 15) == 1);
    CHECK((s >> 2) == -4);
    CHECK((s << 2) == -64);
    CHECK((l << 20) == 0x100000L);
    CHECK(((unsigned long)l << 31) == 0x80000000ul);
    CHECK((1 << 15) == (int)0x8000u);
    CHECK((0x1234 >> n) == 0x123);
    CHECK((0x1234u << n) == 0x2340u);
    CHECK(((long)u << n) == 0x80010L);
    b <<= 1;
    CHECK(b == 2);
    s >>= 1;
    CHECK(s == -8);
    l <<= 16;
    CHECK(l == 65536L);
    return failures;
}
