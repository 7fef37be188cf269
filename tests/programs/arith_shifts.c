/* Shifts of int, unsigned int and long by constants and by variables; the
   result has the promoted type of the left operand, whatever the count's type. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_shifts: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int popcount16(unsigned v)
{
    int n = 0;
    while (v) {
        n += v & 1;
        v >>= 1;
    }
    return n;
}

static unsigned rotl16(unsigned v, int k)
{
    return (v << k) | (v >> (16 - k));
}

int main(void)
{
    unsigned u = 0x1234;
    unsigned char b = 0xF0;
    unsigned long ul = 0x12345678UL;
    long l = 0x12345678L;
    int n = 4, i;
    long count = 3;
    unsigned char small = 3;
    unsigned long acc = 0;

    check(1, (1 << 14) == 16384);
    check(2, (1u << 15) == 32768u);
    check(3, (0x8000u >> 15) == 1);
    check(4, (0xFFFFu >> 4) == 0x0FFF);
    check(5, (u << 8) == 0x3400);        /* the high byte falls off a 16-bit unsigned */
    check(6, (b << 4) == 0xF00);         /* unsigned char widens to int first */
    check(7, (u >> n) == 0x123);
    check(8, (u << n) == 0x2340);
    check(9, (1L << 20) == 1048576L);
    check(10, (1L << 16) == 65536L);
    check(11, (ul << 8) == 0x34567800UL); /* top byte falls off 32 bits */
    check(12, (l >> 8) == 0x123456L);
    n = 8;
    check(13, (ul >> n) == 0x123456UL);
    check(14, (ul << n) == 0x34567800UL);
    check(15, sizeof(1u << 3L) == sizeof(unsigned)); /* the count's type does not matter */
    check(16, (u >> count) == 0x246);
    check(17, (u << small) == 0x91A0);
    check(18, popcount16(0xA5A5u) == 8);
    check(19, rotl16(0x8001u, 3) == 0x000C);  /* 0x0008 | 0x0004 */
    for (i = 0; i < 32; i += 4)
        acc |= 1UL << i;
    check(20, acc == 0x11111111UL);
    check(21, (1UL << 31) == 0x80000000UL);
    n = 15;
    check(22, (1u << n) == 0x8000u);
    check(23, ((unsigned long)u << 16) == 0x12340000UL);
    check(24, (long)(u << 4) == 0x2340L);     /* shifted at 16 bits before the widening */
    check(25, ((long)u << 4) == 0x12340L);
    return first_fail;
}
