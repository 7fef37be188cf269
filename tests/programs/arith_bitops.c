/* Bitwise operators on promoted operands of 16 and 32 bits: complements,
   masks that cross the width of the other operand, bit reversal. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_bitops: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static unsigned reverse16(unsigned v)
{
    unsigned r = 0;
    int i;
    for (i = 0; i < 16; i++) {
        r = (r << 1) | (v & 1);
        v >>= 1;
    }
    return r;
}

static int parity(unsigned long v)
{
    v ^= v >> 16;
    v ^= v >> 8;
    v ^= v >> 4;
    v ^= v >> 2;
    v ^= v >> 1;
    return (int)(v & 1);
}

int main(void)
{
    unsigned reg = 0;
    unsigned char z = 0;
    int m1 = -1;
    unsigned ffff = 0xFFFFu;
    long l = 0x12345678L;

    check(1, ~0u == 0xFFFFu);
    check(2, ~0 == -1);
    check(3, ~z == -1);                      /* ~ of the int 0 */
    check(4, (unsigned char)~z == 255);
    check(5, (0xF0F0u & 0x0FF0) == 0x00F0);
    check(6, (0xF0F0u | 0x0FF0) == 0xFFF0u);
    check(7, (0xF0F0u ^ 0x0FF0) == 0xFF00u);
    check(8, reverse16(0x0001u) == 0x8000u);
    check(9, reverse16(0x1234u) == 0x2C48u);
    check(10, (l & 0xFFFF0000L) == 0x12340000L);
    check(11, ~0L == -1L && ~0UL == 0xFFFFFFFFUL);
    check(12, (m1 & 0xFFFF0000L) == 0xFFFF0000L);   /* -1 sign-extends to 32 bits */
    check(13, (ffff & 0xFFFF0000L) == 0);           /* 0xFFFFu zero-extends */
    reg |= 1u << 15;
    reg |= 1u << 3;
    check(14, reg == 0x8008u);
    reg &= ~(1u << 15);
    check(15, reg == 0x0008u);
    reg ^= 0x00FF;
    check(16, reg == 0x00F7u);
    check(17, parity(0x80000001UL) == 0 && parity(0x7UL) == 1);
    check(18, (l | 0x80000000UL) == 0x92345678UL);
    check(19, ((l >> 8) & 0xFF) == 0x56);
    check(20, (~ffff & 0xFFFFu) == 0);
    check(21, (0x5555u ^ 0xAAAAu) == 0xFFFFu);
    check(22, (-1L ^ 0xFFFFL) == (long)0xFFFF0000L);
    return first_fail;
}
