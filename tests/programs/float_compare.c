/* host: yes */
/* Comparisons of floating values among themselves and against integers,
   with a small sort and min/max search over a float table. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_compare: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static float table[6] = { 2.5f, -1.25f, 100.0f, 0.0f, -8.5f, 3.0f };

static void sort(float *v, int n)
{
    int i, j;
    for (i = 1; i < n; i++) {
        float x = v[i];
        for (j = i; j > 0 && v[j - 1] > x; j--)
            v[j] = v[j - 1];
        v[j] = x;
    }
}

int main(void)
{
    float lo = table[0], hi = table[0];
    double d = -0.0;
    unsigned zero = 0;
    int i;

    for (i = 1; i < 6; i++) {
        if (table[i] < lo)
            lo = table[i];
        if (table[i] > hi)
            hi = table[i];
    }
    check(1, lo == -8.5f && hi == 100.0f);
    check(2, 0.1f < 0.2f && 0.2f > 0.1f);
    check(3, d == 0.0);                        /* negative zero equals zero */
    check(4, 1.5f > 1 && 1.5f < 2);
    check(5, -1.0f < zero);                    /* zero converts to 0.0: no unsigned surprise */
    check(6, 65535u == 65535.0f);
    check(7, 70000L > 69999.5f);
    check(8, !(1.0f != 1.0));
    check(9, (2.5f >= 2.5f) + (2.5f <= 2.5f) == 2);
    sort(table, 6);
    check(10, table[0] == -8.5f && table[1] == -1.25f && table[2] == 0.0f);
    check(11, table[3] == 2.5f && table[4] == 3.0f && table[5] == 100.0f);
    check(12, (table[1] < 0 ? -table[1] : table[1]) == 1.25f);
    check(13, (0.5f && 0) == 0 && (0.0f || 0.25) == 1);
    return first_fail;
}
