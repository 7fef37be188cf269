/* Casts between integer widths: truncation keeps the low bits, widening
   sign-extends signed sources and zero-extends unsigned ones. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_casts: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static long to_long(int v) { return v; }
static unsigned long to_ulong(unsigned v) { return v; }
static unsigned char low_byte(unsigned v) { return (unsigned char)v; }

int main(void)
{
    int i = 0x1234, m = -2;
    long l = -2L, big = 70000L;
    unsigned char b;
    signed char s;
    unsigned short us;
    short sh;

    check(1, (unsigned char)i == 0x34);
    check(2, (signed char)0x80 == -128);
    check(3, (signed char)0xFF == -1);
    check(4, (unsigned char)-1 == 255);
    check(5, (int)(unsigned char)200 == 200);
    check(6, (int)(signed char)200 == -56);      /* 200 - 256 */
    check(7, (unsigned)(signed char)-1 == 65535u);
    check(8, (long)(unsigned)-1 == 65535L);      /* zero-extended from 16 bits */
    check(9, (long)-1 == -1L);
    check(10, (unsigned long)m == 0xFFFFFFFEUL); /* sign-extended, then reinterpreted */
    check(11, (unsigned long)(unsigned)m == 0xFFFEUL);
    check(12, (int)big == 4464);                 /* 70000 - 65536 */
    check(13, (short)-70000L == -4464);          /* -70000 + 2 * 65536 = 61072, as short */
    check(14, (unsigned char)(signed char)(int)-2 == 254);
    b = (unsigned char)l;
    check(15, b == 254);
    check(16, (unsigned short)-2L == 65534u);
    s = (signed char)i;
    check(17, s == 0x34);
    s = (signed char)0x1280;
    check(18, s == -128);
    us = (unsigned short)0x12345678L;
    check(19, us == 0x5678);
    sh = (short)0xABCDL;
    check(20, sh == (short)0xABCD && sh < 0);
    check(21, to_long(m) == -2L && to_ulong(0xFFFFu) == 65535UL);
    check(22, low_byte(0x1FF) == 0xFF);
    check(23, (long)(signed char)0x80 == -128L);
    check(24, (long)(unsigned char)0x80 == 128L);
    check(25, (unsigned long)(signed char)0x80 == 0xFFFFFF80UL);
    check(26, (int)(unsigned long)0x89ABCDEFUL == (int)0xCDEF);
    return first_fail;
}
