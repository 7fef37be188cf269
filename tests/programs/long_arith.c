/* 32-bit long arithmetic: products, quotients, wrap-around and mixing with int. */
#include "check.h"

long mul(long a, long b) { return a * b; }

int main(void)
{
    long a = 100000L, b = -3L, c;
    unsigned long u = 0xFFFFFFFFul;
    int i = 1000;
    unsigned int ui = 65535u;

    CHECK(a * 3 == 300000L);
    CHECK(a * b == -300000L);
    CHECK(a / 7 == 14285L);
    CHECK(a % 7 == 5L);
    CHECK(-a / 7 == -14285L);
    CHECK(-a % 7 == -5L);
    CHECK(u + 1 == 0);
    CHECK(u / 16 == 0x0FFFFFFFul);
    CHECK((long)i * i == 1000000L);
    CHECK(i * i == 16960);              /* 1000000 mod 65536, as int */
    CHECK(ui + 1L == 65536L);
    CHECK(ui + 1 == 0);
    CHECK(mul(65536L, 65536L) == 0);    /* wraps at 32 bits */
    CHECK(mul(46341L, 46341L) == -2147479015L); /* 2147488281 wraps at 32 bits */
    c = 0x7FFFFFFFL;
    CHECK((unsigned long)c + 1 == 0x80000000ul);
    CHECK((c >> 16) == 0x7FFF);
    CHECK((a & 0xFFFF) == 0x86A0);
    CHECK((a | 0xF0000000ul) == 0xF00186A0ul);
    CHECK((a ^ a) == 0);
    return failures;
}
