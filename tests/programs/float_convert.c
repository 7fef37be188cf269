/* host: yes */
/* Conversions between floating and integer types: truncation toward zero,
   unsigned and long sources, and values at the edges of 16-bit types. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_convert: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int to_int(float f) { return (int)f; }
static long to_long(float f) { return (long)f; }
static unsigned to_uint(float f) { return (unsigned)f; }
static float from_uint(unsigned u) { return u; }
static float from_long(long l) { return l; }
static double from_ulong(unsigned long u) { return u; }

int main(void)
{
    float f = 3.75f;
    int i;
    long l;
    unsigned u = 40000u;
    unsigned char uc;

    check(1, (int)f == 3);
    check(2, (int)-f == -3);                   /* truncation toward zero */
    check(3, to_int(-0.5f) == 0);
    check(4, to_long(1000000.0f) == 1000000L);
    check(5, to_long(16777216.0f) == 16777216L);
    check(6, to_uint(40000.0f) == 40000u);
    check(7, from_uint(u) == 40000.0f);        /* converted as unsigned, not as -25536 */
    check(8, from_long(-16777215L) == -16777215.0f);
    check(9, from_ulong(3000000000UL) == 3000000000.0);  /* 0xB2D05E00: 24 significant bits */
    check(10, (unsigned long)3000000000.0f == 3000000000UL);
    check(11, (float)32767 == 32767.0f && (float)-32768L == -32768.0f);
    uc = (unsigned char)200.0f;
    check(12, uc == 200);
    i = 7;
    f = i / 2;
    check(13, f == 3.0f);
    f = i / 2.0f;
    check(14, f == 3.5f);
    i = f;
    check(15, i == 3);
    l = 123456L;
    f = l;
    l = f * 2;
    check(16, l == 246912L);
    f = 65535u;
    check(17, f == 65535.0f);
    f = -1;
    check(18, f == -1.0f && (long)f == -1L);
    check(19, (int)(0.1f * 30) == 3);          /* 3.0000001192: truncates to 3 */
    check(20, (long)-2.75 == -2L);
    return first_fail;
}
