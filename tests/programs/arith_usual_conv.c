/* The usual arithmetic conversions with int and unsigned int of 16 bits and
   long of 32 bits, and the types of integer constants on such a target. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_usual_conv: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

int main(void)
{
    int i = -3, m1 = -1;
    unsigned u = 2;
    long l = -1L;
    unsigned long ul = 1UL;
    unsigned big = 50000u;

    check(1, (-1 < 0u) == 0);            /* -1 converts to 65535u */
    check(2, (-1 < 0L) == 1);            /* long comparison */
    check(3, (-1L < 0u) == 1);           /* long holds every unsigned int: compared as long */
    check(4, (-1L < 1UL) == 0);          /* -1L converts to 0xFFFFFFFF */
    check(5, 40000u * 2 == 14464u);      /* 80000 wraps at 16 bits */
    check(6, 65535u + 1 == 0);
    check(7, 1u - 2 == 65535u);
    check(8, -1 / 2u == 32767u);         /* 65535u / 2 */
    check(9, i * u == 65530u);           /* -6 as a 16-bit unsigned */
    check(10, i + 5L == 2L);
    check(11, sizeof(i + 5L) == 4);
    check(12, u + 70000L == 70002L);
    check(13, big + 0L == 50000L);       /* unsigned int widens to long, stays positive */
    check(14, big > l);                  /* compared as long: 50000 > -1 */
    check(15, (ul > m1) == 0);           /* -1 converts to unsigned long 0xFFFFFFFF */
    check(16, 0xFFFF == -1);             /* 0xFFFF is unsigned int; -1 converts to it */
    check(17, 0xFFFF + 1 == 0);
    check(18, (65535 == -1) == 0);       /* decimal 65535 does not fit int: it is a long */
    check(19, sizeof(65535) == 4);
    check(20, sizeof(0xFFFF) == 2);
    check(21, sizeof(32769) == 4);       /* above the int range: long */
    check(22, sizeof(0x8000) == 2);
    check(23, sizeof(40000) == 4 && sizeof(0x9C40) == 2); /* decimal: long; hexadecimal: unsigned int */
    check(24, sizeof(0x10000) == 4);
    check(25, sizeof(32767) == 2);
    check(26, sizeof('a') == 2);         /* a character constant is an int */
    check(27, (u - 3) / 2 == 32767u);    /* 65535u / 2 */
    check(28, (m1 + big) == 49999u);
    check(29, sizeof(u + l) == 4 && u + l == 1L);
    check(30, sizeof(big + ul) == 4 && big + ul == 50001UL);
    return first_fail;
}
