/* host: yes */
/* Pointer arithmetic and differences over arrays of several element sizes. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_arith: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int ia[10];
static long la[5] = { 10, 20, 30, 40, 50 };
static char ca[8] = "abcdefg";

static int sum_range(int *from, int *to)
{
    int s = 0;
    while (from < to)
        s += *from++;
    return s;
}

int main(void)
{
    int *p, *q, i;
    long *lp;
    char *cp;

    for (i = 0; i < 10; i++)
        ia[i] = i * i;
    p = ia + 3;
    check(1, p[2] == ia[5] && *(p + 2) == 25);
    check(2, &ia[7] - &ia[2] == 5);
    check(3, (char *)&ia[1] - (char *)&ia[0] == sizeof(int));
    q = &ia[9];
    check(4, q - p == 6 && p - q == -6);
    check(5, sum_range(ia, ia + 10) == 285);          /* sum of squares 0..81 */
    check(6, sum_range(p, p + 3) == 9 + 16 + 25);
    lp = la + 4;
    check(7, *lp == 50 && lp[-2] == 30 && lp - la == 4);
    check(8, (char *)lp - (char *)la == 4 * sizeof(long));
    lp -= 3;
    check(9, *lp == 20);
    cp = ca;
    cp += 6;
    check(10, *cp == 'g' && cp[-6] == 'a' && cp - ca == 6);
    check(11, *(ca + 2) == 'c' && 2[ca] == 'c');     /* a[i] is *(a + i) */
    i = 4;
    check(12, *(p + i - 1) == ia[6]);
    p = &ia[0];
    p += i;
    p -= 1;
    check(13, p == &ia[3] && p == ia + 3);
    check(14, (int)(&la[3] - &la[1]) == 2);
    return first_fail;
}
