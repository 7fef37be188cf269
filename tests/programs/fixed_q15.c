/* host: yes */
/* Saturating fixed-point arithmetic for a control loop: Q15 (short, -1 to
   just under 1) and Q8.8 (short, 8 integer and 8 fraction bits), every
   result clamped to the type's range instead of wrapping. All sums and
   products are taken in long, so no int arithmetic can overflow. Right
   shifts of negative values are arithmetic (rounding toward minus
   infinity), divisions truncate toward zero. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fixed_q15: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

typedef short q15;
typedef short q88;

#define Q_MAX 32767
#define Q_MIN (-32767 - 1)

static short sat(long v)
{
    return v > Q_MAX ? Q_MAX : v < Q_MIN ? Q_MIN : (short)v;
}

static q15 q15_add(q15 a, q15 b) { return sat((long)a + b); }
static q15 q15_sub(q15 a, q15 b) { return sat((long)a - b); }
static q15 q15_neg(q15 a) { return sat(-(long)a); }

/* Rounded: half an LSB (0x4000) is added before the shift. */
static q15 q15_mul(q15 a, q15 b)
{
    return sat(((long)a * b + 0x4000L) >> 15);
}

/* Dot product with one wide accumulator, clamped once at the end. */
static q15 q15_dot(const q15 *x, const q15 *c, int n)
{
    long acc = 0;
    while (n-- > 0)
        acc += ((long)*x++ * *c++) >> 15;
    return sat(acc);
}

static q88 q88_from_int(int v) { return sat((long)v * 256); }
static int q88_round(q88 a) { return (int)(((long)a + 128) >> 8); }
static q88 q88_mul(q88 a, q88 b) { return sat(((long)a * b) >> 8); }

static q88 q88_div(q88 a, q88 b)
{
    if (b == 0)
        return a < 0 ? Q_MIN : Q_MAX;
    return sat(((long)a * 256) / b);
}

/* First-order low-pass step, y += (x - y) / 4, in Q15. */
static q15 lowpass(q15 y, q15 x)
{
    return sat((long)y + (((long)x - y) >> 2));
}

int main(void)
{
    static const q15 xs[3] = { 32767, 32767, 32767 };
    static const q15 half[3] = { 16384, 16384, 16384 };
    q15 y = 0;
    int i;

    check(1, q15_add(16384, 16384) == Q_MAX && q15_add(Q_MIN, -1) == Q_MIN && q15_add(1000, -3000) == -2000);
    check(2, q15_sub(Q_MIN, 1) == Q_MIN && q15_sub(Q_MAX, Q_MIN) == Q_MAX && q15_sub(-5, -5) == 0);
    check(3, q15_neg(Q_MIN) == Q_MAX && q15_neg(Q_MAX) == -32767 && q15_neg(0) == 0);
    check(4, q15_mul(16384, 16384) == 8192 && q15_mul(Q_MIN, Q_MIN) == Q_MAX);   /* (-1)(-1) = 1 saturates */
    /* 32767^2 + 16384 = 1073692673 = 32766 * 32768 + 16385 */
    check(5, q15_mul(Q_MAX, Q_MAX) == 32766 && q15_mul(Q_MIN, Q_MAX) == -32767);
    /* -268435456 + 16384 >> 15 = floor(-8191.5); -49152 + 16384 >> 15 = -1 */
    check(6, q15_mul(-16384, 16384) == -8192 && q15_mul(-3, 16384) == -1 && q15_mul(-1, 1) == 0);
    /* each product is 16383 (32767 * 16384 >> 15 = 16383.5 rounded down) */
    check(7, q15_dot(xs, half, 3) == Q_MAX && q15_dot(xs, half, 1) == 16383 && q15_dot(xs, half, 0) == 0);
    check(8, q88_from_int(3) == 768 && q88_from_int(-128) == Q_MIN && q88_from_int(200) == Q_MAX
             && q88_from_int(-200) == Q_MIN);
    check(9, q88_mul(384, 576) == 864 && q88_mul(-384, 576) == -864);           /* 1.5 * 2.25 = 3.375 */
    check(10, q88_mul(0x7F00, 0x0200) == Q_MAX && q88_mul(-0x7F00, 0x0200) == Q_MIN);
    check(11, q88_div(768, 512) == 384 && q88_div(-768, 512) == -384);
    /* 65536 / 768 = 85.33; -65536 / 768 truncates to -85 */
    check(12, q88_div(256, 768) == 85 && q88_div(-256, 768) == -85 && q88_div(1, 0) == Q_MAX && q88_div(-1, 0) == Q_MIN);
    check(13, q88_div(0x4000, 0x0080) == Q_MAX);                                /* 64 / 0.5 = 128 */
    check(14, q88_round(384) == 2 && q88_round(-384) == -1 && q88_round(383) == 1 && q88_round(-385) == -2);
    for (i = 0; i < 10; i++)
        y = lowpass(y, Q_MAX);
    check(15, y == 30921);        /* 8191, 14335, 18943, ..., 30306, 30921 */
    for (i = 0; i < 10; i++)
        y = lowpass(y, Q_MIN);
    check(16, y == -29183);       /* each step floors a quarter of the gap toward -32768 */
    return first_fail;
}
