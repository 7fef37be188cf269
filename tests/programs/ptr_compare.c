/* host: yes */
/* Pointer comparisons: walking with end pointers, choosing the copy
   direction of an overlapping move, generic byte routines through void *. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_compare: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static void move(void *dst, void *src, int n)
{
    char *d = dst, *s = src;
    if (d < s)
        while (n--)
            *d++ = *s++;
    else if (d > s) {
        d += n;
        s += n;
        while (n--)
            *--d = *--s;
    }
}

static void swap(void *a, void *b, int n)
{
    unsigned char *x = a, *y = b;
    while (n--) {
        unsigned char t = *x;
        *x++ = *y;
        *y++ = t;
    }
}

static int *find(int *from, int *end, int v)
{
    for (; from != end; from++)
        if (*from == v)
            return from;
    return 0;
}

int main(void)
{
    int v[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    char s[10] = "abcdefgh";
    long a = 111111L, b = -222222L;
    int *end = v + 8, *hit;
    void *vp = v;

    check(1, v < end && end > v && v + 8 == end && &v[3] <= &v[3]);
    hit = find(v, end, 6);
    check(2, hit != 0 && hit - v == 5);
    check(3, find(v, end, 42) == 0);
    move(v + 2, v, 4 * sizeof(int));      /* overlapping, copies from the end */
    check(4, v[2] == 1 && v[3] == 2 && v[4] == 3 && v[5] == 4 && v[6] == 7);
    move(s, s + 1, 7);                    /* overlapping, copies from the start */
    check(5, s[0] == 'b' && s[6] == 'h' && s[7] == 'h');
    swap(&a, &b, sizeof a);
    check(6, a == -222222L && b == 111111L);
    check(7, (int *)vp == v && (char *)vp + sizeof(int) == (char *)&v[1]);
    check(8, (hit > v) + (hit < end) + (hit == &v[5]) == 3);
    check(9, !(v > &v[1]) && v != end);
    return first_fail;
}
