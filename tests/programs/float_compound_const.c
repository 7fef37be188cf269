/* host: yes */
/* Compound assignment of a floating constant to an integer object: the
   operation is done in floating point and only its result is converted. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_compound_const: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

int main(void)
{
    int i = 9;
    unsigned char uc = 10;
    long l = 100000L;

    i *= 0.5;                          /* 4.5, stored as 4 */
    check(1, i == 4);
    uc *= 2.75f;                       /* 27.5 */
    check(2, uc == 27);
    l -= 0.5;                          /* 99999.5 */
    check(3, l == 99999L);
    i += 0.75f;                        /* 4.75 */
    i += 0.75f;                        /* 4.75 again */
    check(4, i == 4);
    return first_fail;
}
