/* host: yes */
/* Insertion sort and quicksort over the same pseudo-random data (a 16-bit
   linear congruential generator), checked for order and for content. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_sort: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

#define N 64

static unsigned seed = 1;

static unsigned next_rand(void)
{
    seed = (seed * 25173u + 13849u) & 0xFFFFu;
    return seed;
}

static void insertion(int *a, int n)
{
    int i, j, x;
    for (i = 1; i < n; i++) {
        x = a[i];
        for (j = i - 1; j >= 0 && a[j] > x; j--)
            a[j + 1] = a[j];
        a[j + 1] = x;
    }
}

static void quick(int *a, int lo, int hi)
{
    int i = lo, j = hi, p = a[(lo + hi) / 2], t;
    while (i <= j) {
        while (a[i] < p)
            i++;
        while (a[j] > p)
            j--;
        if (i <= j) {
            t = a[i]; a[i] = a[j]; a[j] = t;
            i++;
            j--;
        }
    }
    if (lo < j)
        quick(a, lo, j);
    if (i < hi)
        quick(a, i, hi);
}

int main(void)
{
    int a[N], b[N], i, sorted = 1, same = 1;
    long sum_before = 0, sum_after = 0;
    for (i = 0; i < N; i++) {
        a[i] = b[i] = (int)(next_rand() % 2001) - 1000;
        sum_before += a[i];
    }
    insertion(a, N);
    quick(b, 0, N - 1);
    for (i = 0; i < N; i++) {
        sum_after += a[i];
        if (i && a[i - 1] > a[i])
            sorted = 0;
        if (a[i] != b[i])
            same = 0;
    }
    check(1, sorted);
    check(2, same);
    check(3, sum_before == sum_after);
    check(4, a[0] >= -1000 && a[N - 1] <= 1000 && a[0] < a[N - 1]);
    return first_fail;
}
