/* signed char and unsigned char named explicitly: their widening does not
   depend on whether plain char is signed. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_char_sign: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static signed char sbytes[] = { (signed char)0x80, (signed char)0xFF, 0x7F, 1 };
static unsigned char ubytes[] = { 0x80, 0xFF, 0x7F, 1 };

static int as_int(int v) { return v; }
static long as_long(long v) { return v; }

static int sum_signed(signed char *p, int n)
{
    int s = 0;
    while (n-- > 0)
        s += *p++;
    return s;
}

static int sum_unsigned(unsigned char *p, int n)
{
    int s = 0;
    while (n-- > 0)
        s += *p++;
    return s;
}

int main(void)
{
    signed char c = -1;
    unsigned char d;
    signed char lo = -128, hi = 127;

    check(1, sum_signed(sbytes, 4) == -1);      /* -128 - 1 + 127 + 1 */
    check(2, sum_unsigned(ubytes, 4) == 511);   /* 128 + 255 + 127 + 1 */
    check(3, c < 0);
    d = c;
    check(4, d == 255);
    check(5, d > c);                            /* 255 > -1 as ints */
    check(6, as_int(sbytes[0]) == -128 && as_int(ubytes[0]) == 128);
    check(7, as_long(sbytes[1]) == -1L && as_long(ubytes[1]) == 255L);
    check(8, (sbytes[0] & 0xFFFF) == 0xFF80u);  /* sign extension reaches bit 15 */
    check(9, (ubytes[0] | 0) == 0x80);
    check(10, hi + 1 == 128 && lo - 1 == -129);
    check(11, (unsigned)sbytes[1] == 0xFFFFu);
    check(12, (sbytes[0] >> 4) < 0);            /* the widened value keeps its sign */
    check(13, (ubytes[0] >> 4) == 8);
    check(14, (signed char)ubytes[1] == -1);
    check(15, (unsigned char)sbytes[0] == 128);
    check(16, sbytes[1] == -1 && ubytes[1] != -1);
    return first_fail;
}
