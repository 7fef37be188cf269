/* host: yes */
/* Floating arithmetic on values that float holds exactly, so that the
   answers are the same whether double is 64 or 32 bits wide. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_arith: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static float fadd(float a, float b) { return a + b; }
static double dmul(double a, double b) { return a * b; }

int main(void)
{
    float a = 1.5f, b = 2.25f, s = 0.0f;
    double d = 0.5, acc = 1.0;
    int i;

    check(1, a + b == 3.75f);
    check(2, a * b == 3.375f);
    check(3, b / a == 1.5f);
    check(4, a - b == -0.75f);
    check(5, d * d == 0.25);
    for (i = 1; i <= 10; i++) {
        d *= 0.5;
        s += 1.0f / (1 << i);
    }
    check(6, d == 1.0 / 2048);          /* 0.5 halved ten more times */
    check(7, s == 1.0f - 1.0f / 1024);  /* sum of 1/2 .. 1/1024 */
    check(8, fadd(0.125f, 0.375f) == 0.5f);
    check(9, dmul(-3.0, 0.25) == -0.75);
    check(10, 3 / 2.0f == 1.5f);
    check(11, 3 / 2 * 1.0f == 1.0f);    /* integer division happens first */
    for (i = 0; i < 5; i++)
        acc = acc * 2 + 1;
    check(12, acc == 63.0);
    a = -a;
    check(13, a == -1.5f && -a == 1.5f);
    a += 10;
    check(14, a == 8.5f);
    a *= 2;
    a /= 4;
    a -= 0.25f;
    check(15, a == 4.0f);
    check(16, 1e3f == 1000.0f && 2.5e-1 == 0.25);
    check(17, 100.0f * 100.0f == 10000.0f);
    a = 0.0f;
    check(18, !a && (b ? 1 : 0));       /* a floating value as a condition */
    return first_fail;
}
