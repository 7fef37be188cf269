/* host: yes */
/* Values whose high bits the program drops: stores into chars, casts,
   masks and shifts of longs, parts of longs compared with constants,
   bit-fields of many widths and offsets, char returns. A compiler that
   computes them in fewer bits, or reads only the needed part of a wide
   object, must give the same results as C's full-width arithmetic. */
#include <stdio.h>

static int failures;

static void check(const char *what, long got, long want)
{
    if (got != want) {
        printf("%s: got %ld, want %ld\n", what, got, want);
        ++failures;
    }
}

struct fields {
    unsigned a : 3;
    unsigned b : 5;
    unsigned c : 4;
    unsigned d : 4;
};

struct wide_fields {
    unsigned long lo : 6;
    unsigned long mid : 10;
    unsigned long hi : 12;
    unsigned long top : 4;
};

static long l = 0x12345678L;
static unsigned long ul = 0xF0E1D2C3UL;
static int i = -2;
static unsigned int u = 0xABCDu;
static signed char sc = -100;
static unsigned char uc = 200;

static signed char low_char(long v) { return (signed char)v; }
static unsigned char low_uchar(long v) { return v; }
static signed char sum_char(int a, int b) { return a + b; }

int main(void)
{
    signed char c;
    unsigned char b;
    short s;
    long k;
    struct fields f;
    struct wide_fields w;
    unsigned long *up = &ul;
    long *lp = &l;

    /* Stores into chars keep the low byte. */
    c = l;
    check("c = l", c, 0x78);
    b = ul;
    check("b = ul", b, 0xC3);
    b = l >> 8;
    check("b = l >> 8", b, 0x56);
    b = l >> 16;
    check("b = l >> 16", b, 0x34);
    b = l >> 24;
    check("b = l >> 24", b, 0x12);
    b = ul >> 24;
    check("b = ul >> 24", b, 0xF0);
    c = ul >> 24;
    check("c = ul >> 24", c, (signed char)0xF0);
    b = ul >> 20;
    check("b = ul >> 20", b, 0x0E);
    b = *up;
    check("b = *up", b, 0xC3);
    c = *lp >> 8;
    check("c = *lp >> 8", c, 0x56);
    s = ul;
    check("s = ul", s, (short)0xD2C3);
    s = ul >> 8;
    check("s = ul >> 8", s, (short)0xE1D2);
    s = ul >> 16;
    check("s = ul >> 16", s, (short)0xF0E1);
    s = l << 8;
    check("s = l << 8", s, 0x7800);
    b = u >> 8;
    check("b = u >> 8", b, 0xAB);
    c = i >> 8;
    check("c = i >> 8", c, -1);

    /* Arithmetic whose high bits are dropped. */
    b = uc + uc;
    check("b = uc + uc", b, 144);
    c = sc * 3;
    check("c = sc * 3", c, (signed char)-300);
    b = u * 3u + 1u;
    check("b = u * 3 + 1", b, (unsigned char)(0xABCDu * 3u + 1u));
    c = -l;
    check("c = -l", c, (signed char)-0x78);
    b = ~ul;
    check("b = ~ul", b, 0x3C);
    c = (signed char)(l + 0x100);
    check("(schar)(l + 0x100)", c, 0x78);
    b = (unsigned char)(u ^ 0xFF00u);
    check("(uchar)(u ^ 0xFF00)", b, 0xCD);
    c = i - 1 > 0 ? i : i * 2;
    check("c = i - 1 > 0 ? i : i * 2", c, -4);

    /* Division and remainder are not narrowed where it would change them. */
    c = (i * 100) / 7;
    check("(i * 100) / 7", c, (signed char)(-200 / 7));
    b = u % 300u;
    check("u % 300", b, (unsigned char)(0xABCDu % 300u));
    c = sc / 3;
    check("sc / 3", c, -33);
    b = uc / -1;
    check("uc / -1", b, (unsigned char)(200 / -1));

    /* Masks. */
    k = l & 0xFF;
    check("l & 0xFF", k, 0x78);
    check("ul & 0x80", (long)(ul & 0x80), 0x80);
    check("sc & 0xF0", sc & 0xF0, (-100) & 0xF0);
    check("sc | 1", sc | 1, -99);
    check("uc ^ sc", uc ^ sc, 200 ^ -100);
    check("sc & uc", sc & uc, -100 & 200);

    /* Parts of a long compared with constants. */
    check("(l & 0x00FF0000) == 0x00340000", (l & 0x00FF0000L) == 0x00340000L, 1);
    check("(l & 0x00FF0000) == 0x00350000", (l & 0x00FF0000L) == 0x00350000L, 0);
    check("(ul & 0xFF000000) != 0", (ul & 0xFF000000UL) != 0, 1);
    check("(ul & 0x0000FF00) == 0xD200", (ul & 0x0000FF00UL) == 0xD200UL, 1);
    check("(l & 0x00FFFF00) == 0x00345600", (l & 0x00FFFF00L) == 0x00345600L, 1);
    check("(l & 0xFF) == 0x178", (l & 0xFFL) == 0x178L, 0);
    check("(ul & 0xF0F00000) == 0xF0E00000", (ul & 0xF0F00000UL) == 0xF0E00000UL, 1);

    /* Bit-fields of several widths and offsets. */
    f.a = 5;
    f.b = 19;
    f.c = 9;
    f.d = 15;
    check("f.a", f.a, 5);
    check("f.b", f.b, 19);
    check("f.c", f.c, 9);
    check("f.d", f.d, 15);
    f.b = f.b + 20;
    check("f.b wraps", f.b, 7);
    f.c = f.d & 6;
    check("f.c = f.d & 6", f.c, 6);
    check("f.a kept", f.a, 5);
    w.lo = 63;
    w.mid = 1000;
    w.hi = 4000;
    w.top = 9;
    check("w.lo", (long)w.lo, 63);
    check("w.mid", (long)w.mid, 1000);
    check("w.hi", (long)w.hi, 4000);
    check("w.top", (long)w.top, 9);
    w.mid = w.mid + 30;
    check("w.mid wraps", (long)w.mid, 6);
    check("w.hi kept", (long)w.hi, 4000);
    b = w.hi;
    check("b = w.hi", b, 4000 & 0xFF);

    /* Char returns. */
    check("low_char", low_char(0x1234L), 0x34);
    check("low_char negative", low_char(0x12F0L), (signed char)0xF0);
    check("low_uchar", low_uchar(0x1FFL), 0xFF);
    check("sum_char", sum_char(100, 100), (signed char)200);

    if (failures)
        printf("%d failed\n", failures);
    return failures != 0;
}
