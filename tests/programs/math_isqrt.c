/* host: yes */
/* Integer square roots as a sensor front end uses them: bit by bit for
   32-bit values, Newton's method for 16-bit ones, the magnitude of a
   vector and the RMS of a block of samples. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("math_isqrt: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

/* One result bit per step, from the highest even power of two down. */
static unsigned int isqrt32(unsigned long n)
{
    unsigned long root = 0, bit = 1UL << 30;
    while (bit > n)
        bit >>= 2;
    while (bit != 0) {
        if (n >= root + bit) {
            n -= root + bit;
            root = (root >> 1) + bit;
        } else {
            root >>= 1;
        }
        bit >>= 2;
    }
    return (unsigned int)root;
}

/* Starts at n / 2, which is never below the root for n >= 2, so that
   x + n / x stays below 65536. */
static unsigned int isqrt16(unsigned int n)
{
    unsigned int x, y;
    if (n < 2)
        return n;
    x = n / 2;
    y = (x + n / x) / 2;
    while (y < x) {
        x = y;
        y = (x + n / x) / 2;
    }
    return x;
}

/* The sum is taken unsigned: two squares of -32768 make 2^31, one more
   than a long holds. */
static unsigned int magnitude(int dx, int dy)
{
    unsigned long sq = (long)dx * dx;
    sq += (long)dy * dy;
    return isqrt32(sq);
}

static unsigned int rms(const int *s, int n)
{
    unsigned long acc = 0;
    int i;
    for (i = 0; i < n; i++)
        acc += (long)s[i] * s[i];
    return isqrt32(acc / n);
}

/* r is the root of n when r*r <= n < (r+1)*(r+1); the upper bound is
   written as n - r*r <= 2r so that it cannot overflow at r = 65535. */
static int is_root(unsigned long n, unsigned long r)
{
    return r * r <= n && n - r * r <= 2 * r;
}

int main(void)
{
    static const int samples[6] = { 300, -300, 400, -400, 0, 0 };
    unsigned long n;
    unsigned int m;
    int bad32 = 0, bad16 = 0;

    check(1, isqrt32(0) == 0 && isqrt32(1) == 1 && isqrt32(3) == 1 && isqrt32(4) == 2);
    check(2, isqrt32(65535UL) == 255 && isqrt32(65536UL) == 256);
    check(3, isqrt32(999999UL) == 999 && isqrt32(1000000UL) == 1000);
    check(4, isqrt32(4294967295UL) == 65535u);     /* 65535^2 = 4294836225 */
    check(5, isqrt32(4294836225UL) == 65535u && isqrt32(4294836224UL) == 65534u);
    check(6, isqrt16(2) == 1 && isqrt16(3) == 1 && isqrt16(15) == 3 && isqrt16(16) == 4);
    check(7, isqrt16(65535u) == 255 && isqrt16(65025u) == 255 && isqrt16(65024u) == 254);
    for (n = 0; n < 70000UL; n += 37)
        if (!is_root(n, isqrt32(n)))
            bad32++;
    for (n = 4294967295UL; n > 4000000000UL; n -= 9999991UL)
        if (!is_root(n, isqrt32(n)))
            bad32++;
    check(8, bad32 == 0);
    for (m = 0; m < 65000u; m += 13)
        if (isqrt16(m) != isqrt32(m))
            bad16++;
    check(9, bad16 == 0 && isqrt16(65534u) == isqrt32(65534UL));
    check(10, magnitude(3000, 4000) == 5000 && magnitude(-5, 12) == 13);
    /* 30000^2 + 20000^2 = 1.3e9; 36055^2 = 1299963025, 36056^2 = 1300035136 */
    check(11, magnitude(-30000, 20000) == 36055u);
    check(12, magnitude(-32767 - 1, -32767 - 1) == 46340u);  /* 2^31 has root 46340.95 */
    /* mean squares: (90000 * 2 + 160000 * 2) / 6 = 83333, root 288.67;
       over the first four 125000, root 353.55 */
    check(13, rms(samples, 6) == 288 && rms(samples, 4) == 353);
    return first_fail;
}
