/* Comparisons between operands of different signedness and width: the
   operands are converted to a common type first. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_compare_mixed: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

enum level { LOW = 1, HIGH = 2 };

static int less(int a, unsigned b) { return a < b; }
static int less_l(long a, unsigned b) { return a < b; }
static int less_ul(long a, unsigned long b) { return a < b; }

int main(void)
{
    int m1 = -1, one = 1;
    unsigned u1 = 1, umax = 65535u;
    signed char sc = -1;
    unsigned char uc = 255;
    unsigned short us = 65535u;
    long lm1 = -1L;
    unsigned long ul1 = 1UL;
    enum level e = LOW;
    int count;

    check(1, (m1 < u1) == 0);            /* -1 becomes 65535u */
    check(2, (m1 > u1) == 1);
    check(3, (sc < uc) == 1);            /* both widen to int: -1 < 255 */
    check(4, (us > m1) == 0);            /* unsigned short widens to unsigned int; -1 becomes 65535u */
    check(5, (lm1 < u1) == 1);           /* long holds every unsigned int */
    check(6, (lm1 < ul1) == 0);          /* -1L becomes 0xFFFFFFFF */
    check(7, (uc == m1) == 0);
    check(8, (sc == m1) == 1);
    check(9, (umax == m1) == 1);
    check(10, less(-1, 0) == 0 && less(0, 65535u) == 1);
    check(11, less_l(-1L, 0) == 1 && less_l(65536L, 65535u) == 0);
    check(12, less_ul(-1L, 1UL) == 0 && less_ul(1L, 0x80000000UL) == 1);
    check(13, (e < m1) == 0);            /* the enum's value 1 against -1 */
    check(14, (one >= u1) && (one <= u1));
    count = (m1 < 0) + (u1 > 0) + (lm1 < 0) + (umax > 0x7FFF) + (uc > 127);
    check(15, count == 5);
    check(16, (-1 < (unsigned char)1) == 1);   /* unsigned char widens to int */
    check(17, ((unsigned)m1 >= 32768u) == 1);
    check(18, (m1 != umax) == 0);
    return first_fail;
}
