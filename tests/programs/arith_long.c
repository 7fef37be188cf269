/* 32-bit long arithmetic: carries and borrows across the two 16-bit halves,
   multiplication, division, truncation to narrower types. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_long: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static long lmul(long a, long b) { return a * b; }
static long ldiv_(long a, long b) { return a / b; }
static long lmod(long a, long b) { return a % b; }

static long factorial(int n)
{
    long r = 1;
    while (n > 1)
        r *= n--;
    return r;
}

int main(void)
{
    long a = 100000L, sum = 0;
    unsigned long ua = 0xFFFFFFFFUL;
    int x = 300, y = 300, k;
    long carry = 0x0000FFFFL;

    check(1, a * 3 == 300000L);
    check(2, 70000L + 70000L == 140000L);
    check(3, ua + 1 == 0);               /* unsigned long wraps at 32 bits */
    check(4, (long)x * y == 90000L);
    check(5, (unsigned)x * y == 24464u); /* 90000 - 65536 */
    check(6, carry + 1 == 0x00010000L);
    check(7, 0x00010000L - 1 == 0xFFFFL);
    check(8, ldiv_(-100000L, 7) == -14285L);  /* division truncates toward zero */
    check(9, lmod(-100000L, 7) == -5L);       /* -100000 - (-14285 * 7) */
    check(10, lmul(12345L, 6789L) == 83810205L);
    check(11, (0x12345678L >> 16) == 0x1234);
    check(12, (0x12345678L & 0xFFFF) == 0x5678);
    check(13, (int)0x12345678L == 0x5678);
    check(14, (unsigned)0x1234ABCDL == 0xABCDu);
    check(15, (unsigned short)0x00018000L == 0x8000u);
    for (k = 1; k <= 1000; k++)
        sum += k;
    check(16, sum == 500500L);
    check(17, factorial(12) == 479001600L);
    check(18, 4000000000UL / 3 == 1333333333UL);
    check(19, 4000000000UL % 3 == 1);
    check(20, (0x80000000UL >> 31) == 1);
    check(21, lmul(-65536L, 2) == -131072L);
    ua = 65535UL;
    check(22, ua * ua == 0xFFFE0001UL);  /* 2^32 - 2^17 + 1 */
    a = -1;
    check(23, (unsigned long)a == 0xFFFFFFFFUL);
    check(24, (a & 0xFFFF0000L) == 0xFFFF0000L);
    a = 0x7FFFFFFFL;
    check(25, (unsigned long)a + 1 == 0x80000000UL);
    check(26, (-2147483647L - 1) / 2 == -0x40000000L);
    check(27, ldiv_(0x40000000L, 0x8000L) == 0x8000L);
    return first_fail;
}
