/* The conditional operator takes the common type of its two arms; the comma
   operator yields its right operand after evaluating the left one. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_ternary_comma: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int sign(long v)
{
    return v < 0 ? -1 : v > 0 ? 1 : 0;
}

static int calls;

static int bump(int v)
{
    calls++;
    return v;
}

int main(void)
{
    int yes = 1, no = 0, a = 5, x;
    int arr[3] = { 7, 8, 9 };
    int *p;
    unsigned char small = 200;
    signed char neg = -1;

    check(1, (yes ? -1 : 0u) == 65535u);       /* common type unsigned int */
    check(2, (yes ? -1 : 0u) > 0);
    check(3, sizeof(no ? 1L : 2u) == 4);
    check(4, (no ? 1L : 2u) == 2L);
    check(5, (no ? small : neg) == -1);        /* both arms widen to int */
    check(6, (yes ? small : neg) == 200);
    check(7, sign(-70000L) == -1 && sign(0) == 0 && sign(70000L) == 1);
    x = (a++, a + 10);
    check(8, x == 16 && a == 6);
    p = no ? arr : arr + 2;
    check(9, *p == 9);
    calls = 0;
    x = yes ? bump(1) : bump(2);
    check(10, x == 1 && calls == 1);           /* only one arm runs */
    x = (bump(3), bump(4), bump(5));
    check(11, x == 5 && calls == 4);
    for (a = 0, x = 10; a < x; a++, x--)
        ;
    check(12, a == 5 && x == 5);
    check(13, (yes ? 'a' : 'b') == 'a');
    x = no ? 1 : yes ? 2 : 3;
    check(14, x == 2);
    check(15, (yes ? (unsigned char)255 : 0L) == 255L);
    return first_fail;
}
