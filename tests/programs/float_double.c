/* host: yes */
/* Double with its full 64-bit precision: values that float cannot hold. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_double: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static double half(double v) { return v / 2; }

int main(void)
{
    double big = 16777217.0;          /* 2^24 + 1: exact in double, not in float */
    float f = 16777216.0f;
    long l = 2147483647L;
    double d = l;
    double tenth = 0.1, sum = 0;
    int i;

    check(1, sizeof(double) == 8);
    check(2, big - 16777216.0 == 1.0);
    check(3, (float)big == f);        /* rounds to the nearest float: 2^24 */
    check(4, d == 2147483647.0 && (long)d == l);
    check(5, tenth + 0.2 != 0.3);     /* the classic binary rounding */
    for (i = 0; i < 10; i++)
        sum += tenth;
    check(6, sum != 1.0 && sum > 0.9999999 && sum < 1.0000001);
    check(7, half(1e15) == 5e14);
    check(8, (unsigned long)4294967295.0 == 4294967295UL);
    check(9, 1.0 + 1e-10 != 1.0);     /* below float's precision */
    check(10, (double)(float)0.1 != 0.1);
    return first_fail;
}
