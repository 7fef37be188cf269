/* host: yes */
/* Floating values through functions, arrays and structs: a polynomial by
   Horner's rule, a mean, a square root by Newton's method. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_funcs: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct point {
    float x, y;
};

static float horner(float *c, int n, float x)
{
    float r = 0;
    while (n-- > 0)
        r = r * x + *c++;
    return r;
}

static float mean(float *v, int n)
{
    float s = 0;
    int i;
    for (i = 0; i < n; i++)
        s += v[i];
    return s / n;
}

static float fsqrt(float a)
{
    float x = a > 1 ? a / 2 : 1;
    int i;
    for (i = 0; i < 30; i++)
        x = (x + a / x) / 2;
    return x;
}

static struct point mid(struct point a, struct point b)
{
    struct point m;
    m.x = (a.x + b.x) / 2;
    m.y = (a.y + b.y) / 2;
    return m;
}

static double dsum(double a, float b, int c) { return a + b + c; }

int main(void)
{
    float coef[4] = { 2.0f, -3.0f, 0.5f, 4.0f };  /* 2x^3 - 3x^2 + x/2 + 4 */
    float samples[5] = { 1.0f, 2.0f, 3.0f, 4.0f, 10.0f };
    struct point a, b, m;
    float r;

    check(1, horner(coef, 4, 2.0f) == 9.0f);      /* 16 - 12 + 1 + 4 */
    check(2, horner(coef, 4, 0.5f) == 3.75f);     /* 0.25 - 0.75 + 0.25 + 4 */
    check(3, mean(samples, 5) == 4.0f);
    r = fsqrt(144.0f);
    check(4, r > 11.999f && r < 12.001f);
    r = fsqrt(2.0f);
    check(5, r * r > 1.999f && r * r < 2.001f);
    a.x = 1.0f; a.y = -2.0f;
    b.x = 4.0f; b.y = 6.0f;
    m = mid(a, b);
    check(6, m.x == 2.5f && m.y == 2.0f);
    check(7, dsum(0.5, 0.25f, 3) == 3.75);
    check(8, (int)(horner(coef, 4, -1.0f) * 2) == -3);  /* -2 - 3 - 0.5 + 4 = -1.5 */
    return first_fail;
}
