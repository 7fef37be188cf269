/* Integer promotions: operands narrower than int widen to the 16-bit int
   (or to unsigned int when int cannot hold every value) before arithmetic. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_promotions: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static unsigned char uc_a = 200, uc_b = 100;
static signed char sc_a = -100, sc_b = -50;
static unsigned short us_max = 65535u;

static int widen(int v)
{
    return v;
}

int main(void)
{
    unsigned char x = 200, y = 100;
    signed char s = 127;
    unsigned short a = 60000u, b = 10000u;
    short neg = -1;
    unsigned short from_neg;
    int sum;

    check(1, x + y == 300);              /* both widen to int: no wrap at 8 bits */
    sum = uc_a + uc_b;
    check(2, sum == 300);
    x = x + y;
    check(3, x == 44);                   /* 300 stored in 8 bits: 300 - 256 */
    check(4, sc_a + sc_b == -150);       /* signed char widens with its sign */
    y = 0xFF;
    check(5, ~y == -256);                /* ~ of int 0x00FF is 0xFF00 */
    check(6, us_max + 1 == 0);           /* unsigned short widens to unsigned int (16 bits): wraps */
    check(7, sizeof(x + y) == sizeof(int));
    check(8, uc_b - uc_a < 0);           /* int subtraction: -100 */
    x = 0x80;
    check(9, (x << 1) == 0x100);         /* shifted as int, the bit is kept */
    check(10, (unsigned)uc_a * uc_a == 40000u);
    check(11, uc_a * 100L == 20000L);
    check(12, s + 1 == 128);             /* int arithmetic, no 8-bit overflow */
    s = s + 1;
    check(13, s == -128);                /* 128 stored in a signed char wraps */
    check(14, a + b == 4464u);           /* unsigned int arithmetic: 70000 - 65536 */
    check(15, (long)a + b == 70000L);
    from_neg = neg;
    check(16, from_neg == 65535u);
    check(17, (unsigned char)-1 == 255);
    check(18, widen(sc_a) == -100);
    check(19, widen(uc_a) == 200);
    check(20, -uc_a == -200);            /* unary minus on the promoted value */
    check(21, -us_max == 1);             /* unsigned int negation: 65536 - 65535 */
    return first_fail;
}
