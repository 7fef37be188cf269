/* Increment and decrement of every integer type and of pointers, in prefix
   and postfix form, including the wrap at each type's limits. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_incdec: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct item {
    int count;
    long big;
};

int main(void)
{
    signed char sc = 127;
    unsigned char uc = 255;
    short sh = -1;
    unsigned short ush = 0;
    int i = 5, j;
    unsigned u = 65535u;
    long l = 65535L;
    unsigned long ul = 0xFFFFFFFFUL;
    int arr[4] = { 10, 20, 30, 40 };
    int *p = arr;
    long larr[3] = { 1, 2, 3 };
    long *lp = &larr[2];
    struct item it, *ip = &it;

    sc++;
    check(1, sc == -128);        /* 128 wraps in a signed char */
    check(2, ++uc == 0);
    check(3, uc-- == 0 && uc == 255);
    check(4, ++sh == 0 && --sh == -1);
    ush--;
    check(5, ush == 65535u);
    j = i++;
    check(6, j == 5 && i == 6);
    j = --i;
    check(7, j == 5 && i == 5);
    check(8, ++u == 0);          /* 65535 + 1 wraps at 16 bits */
    u--;
    check(9, u == 65535u);
    l++;
    check(10, l == 65536L);      /* the carry reaches the high half */
    l--;
    check(11, l == 0xFFFFL);
    check(12, ++ul == 0);
    check(13, --ul == 0xFFFFFFFFUL);
    l = -1;
    check(14, ++l == 0);
    check(15, l-- == 0 && l == -1L);
    check(16, *p++ == 10 && *p == 20);
    check(17, *++p == 30);
    check(18, (*p)++ == 30 && arr[2] == 31);
    check(19, --p == &arr[1] && *p == 20);
    check(20, *lp-- == 3 && *lp == 2);
    lp--;
    check(21, lp == larr && *lp == 1);
    it.count = 0;
    it.big = 0xFFFFL;
    ip->count++;
    ++ip->big;
    check(22, it.count == 1 && it.big == 0x10000L);
    ip->count--;
    --it.big;
    check(23, it.count == 0 && it.big == 0xFFFFL);
    i = 0;
    arr[i++]++;
    check(24, arr[0] == 11 && i == 1);
    return first_fail;
}
