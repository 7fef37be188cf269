/* Objects in the far space and 4-byte pointers to them: indexing, walking,
   differences (of type long), comparisons, and near addresses widened to far. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_far: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct rec {
    int id;
    long value;
};

@far int ftable[8];
@far long flongs[4] = { 100000L, -2L, 3L, 4L };
@far char fmsg[] = "far text";
@far struct rec frecs[3] = { { 1, 10L }, { 2, 20L }, { 3, 30L } };
int near_vals[3] = { 7, 8, 9 };

static long far_sum(@far int *p, int n)
{
    long s = 0;
    while (n-- > 0)
        s += *p++;
    return s;
}

static int far_len(@far char *s)
{
    @far char *p = s;
    while (*p)
        p++;
    return (int)(p - s);
}

int main(void)
{
    @far int *p = ftable;
    @far int *q;
    @far struct rec *rp = frecs;
    @far long *lp = &flongs[3];
    int i;

    for (i = 0; i < 8; i++)
        ftable[i] = i * 3;
    check(1, sizeof p == 4 && sizeof ftable == 8 * sizeof(int));
    q = p + 5;
    check(2, *q == 15 && q[-1] == 12 && q - p == 5L);
    check(3, sizeof(q - p) == sizeof(long));   /* difference of far pointers */
    check(4, p < q && q > p && q != p && q == &ftable[5]);
    check(5, far_sum(ftable, 8) == 84L);       /* 3 * (0 + ... + 7) */
    check(6, far_sum(near_vals, 3) == 24L);    /* a near address widens to far */
    check(7, far_len(fmsg) == 8 && fmsg[4] == 't');
    check(8, *lp == 4L && lp[-3] == 100000L && lp - flongs == 3L);
    lp -= 2;
    *lp += 10;
    check(9, flongs[1] == 8L);
    check(10, rp[1].value == 20L && (rp + 2)->id == 3);
    rp++;
    rp->value++;
    check(11, frecs[1].value == 21L && rp - frecs == 1L);
    p = ftable;
    p += 7;
    (*p)++;
    check(12, ftable[7] == 22);
    return first_fail;
}
