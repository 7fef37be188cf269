/* Compound assignment: the operation is done in the promoted type and the
   result is converted back to the (narrower) type of the left operand. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_compound_narrow: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct counters {
    unsigned char hits;
    signed char delta;
    unsigned short total;
};

int main(void)
{
    signed char c = 100;
    unsigned char u = 250, m = 20, f = 0xF0;
    unsigned w = 65000u;
    unsigned short us = 1;
    int i = 1000, i2 = 5;
    long l = 100000L;
    struct counters k;
    unsigned char arr[3];
    int idx = 0;

    c += 200;
    check(1, c == 44);          /* 300 in a signed char: 300 - 256 */
    u += 10;
    check(2, u == 4);           /* 260 - 256 */
    u -= 5;
    check(3, u == 255);         /* -1 in an unsigned char */
    m *= 13;
    check(4, m == 4);           /* 260 - 256 */
    w += 1000;
    check(5, w == 464);         /* 66000 - 65536 */
    i *= 30;
    i /= -7;
    check(6, i == -4285);       /* 30000 / -7 truncates toward zero */
    l /= 3;
    l %= 1000;
    check(7, l == 333);         /* 33333 % 1000 */
    u = 0x81;
    u <<= 1;
    check(8, u == 0x02);        /* 0x102 keeps its low byte */
    c = -128;
    c -= 1;
    check(9, c == 127);         /* -129 + 256 */
    u = 10;
    u += 70000L;
    check(10, u == 122);        /* 70010 mod 256 */
    i2 += 65536L + 3;
    check(11, i2 == 8);         /* 65544 as a 16-bit int */
    us -= 2;
    check(12, us == 65535u);
    f |= 0x10F;
    check(13, f == 0xFF);
    f &= ~0x0F;
    check(14, f == 0xF0);
    f ^= 0x1FF;
    check(15, f == 0x0F);       /* 0x10F keeps its low byte */
    k.hits = 255;
    k.delta = 120;
    k.total = 65530u;
    k.hits += 2;
    k.delta += 10;
    k.total += 10;
    check(16, k.hits == 1 && k.delta == -126 && k.total == 4);
    arr[0] = arr[1] = arr[2] = 200;
    arr[idx++] += 100;
    check(17, arr[0] == 44 && idx == 1);   /* the index is evaluated once */
    arr[idx] >>= 3;
    check(18, arr[1] == 25);
    arr[2] %= 7;
    check(19, arr[2] == 4);     /* 200 = 28 * 7 + 4 */
    return first_fail;
}
