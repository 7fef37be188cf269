/* Division and remainder of signed and unsigned operands. Signed division
   truncates toward zero here (the C89 choice of this compiler), and the
   remainder takes the sign of the dividend, so (a/b)*b + a%b == a. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_divmod: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int idiv(int a, int b) { return a / b; }
static int imod(int a, int b) { return a % b; }
static unsigned udiv(unsigned a, unsigned b) { return a / b; }
static unsigned umod(unsigned a, unsigned b) { return a % b; }

int main(void)
{
    static const int pairs[][2] = { {7, 2}, {-7, 2}, {7, -2}, {-7, -2}, {100, 7}, {-100, 7}, {32767, 10}, {-32767, 10} };
    static const int quot[] = { 3, -3, -3, 3, 14, -14, 3276, -3276 };
    static const int rem[] = { 1, -1, 1, -1, 2, -2, 7, -7 };
    int i, x = -9;
    unsigned ux = (unsigned)-9;
    long lx = -9;
    unsigned char c1 = 250, c2 = 7;
    signed char sc = -128;

    for (i = 0; i < 8; i++) {
        int a = pairs[i][0], b = pairs[i][1];
        check(1 + i, idiv(a, b) == quot[i] && imod(a, b) == rem[i]);
        check(20, idiv(a, b) * b + imod(a, b) == a);
    }
    check(21, -7 / 2 == -3 && -7 % 2 == -1);  /* folded at build time: same rule */
    check(22, x / 4 == -2 && x % 4 == -1);    /* not an arithmetic shift: -9 >> 2 would be -3 */
    check(23, x / 8 == -1 && x % 8 == -1);
    check(24, ux / 4 == 16381u && ux % 4 == 3); /* 65527 / 4 */
    check(25, lx / 4 == -2L && lx % 4 == -1L);
    check(26, -100000L / 3 == -33333L && -100000L % 3 == -1L);
    check(27, c1 / c2 == 35 && c1 % c2 == 5);
    check(28, sc / -1 == 128);                 /* int division after promotion */
    check(29, udiv(65535u, 256) == 255 && umod(65535u, 256) == 255);
    check(30, -7 / 2u == 32764u);              /* 65529u / 2 */
    check(31, udiv((unsigned)-7, 2) == 32764u && umod((unsigned)-7, 2) == 1);
    check(32, 4000000000UL / 65536UL == 61035UL && 4000000000UL % 65536UL == 10240UL);
    check(33, idiv(-32767, -1) == 32767);
    return first_fail;
}
