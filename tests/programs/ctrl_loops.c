/* host: yes */
/* Every loop form with break and continue, nested loops, and goto. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_loops: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int find_pair(int target, int *pi, int *pj)
{
    int i, j;
    for (i = 0; i < 10; i++)
        for (j = i; j < 10; j++)
            if (i * j == target) {
                *pi = i;
                *pj = j;
                goto found;
            }
    return 0;
found:
    return 1;
}

int main(void)
{
    int i, n, s, pi = 0, pj = 0;

    for (i = 0, s = 0; i < 20; i++) {
        if (i % 3 == 0)
            continue;
        if (i > 10)
            break;
        s += i;
    }
    check(1, s == 1 + 2 + 4 + 5 + 7 + 8 + 10);
    n = 27;
    s = 0;
    while (n != 1) {                 /* Collatz steps from 27 */
        n = n % 2 ? 3 * n + 1 : n / 2;
        s++;
    }
    check(2, s == 111);
    n = 0;
    do
        n++;
    while (n < 0);
    check(3, n == 1);                /* the body runs once */
    s = 0;
    i = 0;
    do {
        if (++i == 5)
            continue;
        s += i;
    } while (i < 8);
    check(4, s == 36 - 5);
    check(5, find_pair(42, &pi, &pj) && pi == 6 && pj == 7);
    check(6, !find_pair(97, &pi, &pj));
    s = 0;
    for (;;) {
        if (++s >= 50)
            break;
    }
    check(7, s == 50);
    i = 0;
again:
    i += 3;
    if (i < 10)
        goto again;
    check(8, i == 12);
    for (i = 0, s = 0; i < 4; i++) {
        int k = 0;
        while (1) {
            if (k++ == i)
                break;
            s++;
        }
    }
    check(9, s == 0 + 1 + 2 + 3);
    return first_fail;
}
