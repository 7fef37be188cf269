/* Narrowing at its edges: signed values shifted right, constants shifted,
   casts of negative values, long indexes of pointers, comparisons stored
   into chars, conditionals and commas whose operands differ in width,
   compound assignments into chars from wide values. */
#include <stdio.h>

static int failures;

static void check(const char *what, long got, long want)
{
    if (got != want) {
        printf("%s: got %ld, want %ld\n", what, got, want);
        ++failures;
    }
}

static int neg = -300;
static unsigned int big = 0xFEDCu;
static long lneg = -70000L;
static unsigned char table[8] = {10, 11, 12, 13, 14, 15, 16, 17};
static signed char sc = -5;
static unsigned char uc = 250;

static unsigned char pass_through(unsigned char v) { return v; }

int main(void)
{
    unsigned char b;
    signed char c;
    short s;
    long idx = 3;
    unsigned char *p = table;
    int k;

    b = neg >> 4;
    check("b = neg >> 4", b, (unsigned char)(-300 >> 4));
    c = neg >> 8;
    check("c = neg >> 8", c, (signed char)(-300 >> 8));
    b = big >> 12;
    check("b = big >> 12", b, 0x0F);
    b = 0x1234 >> 8;
    check("b = 0x1234 >> 8", b, 0x12);
    b = (unsigned)(signed char)uc;
    check("b = (unsigned)(schar)uc", b, 250);
    k = (unsigned char)sc;
    check("k = (uchar)sc", k, 251);
    k = (signed char)big;
    check("k = (schar)big", k, (signed char)0xDC);
    b = p[idx];
    check("b = p[idx]", b, 13);
    b = *(p + idx + 2);
    check("b = *(p + idx + 2)", b, 15);
    c = (sc < 0) == 1;
    check("c = (sc < 0) == 1", c, 1);
    c = sc < uc;
    check("c = sc < uc", c, 1);
    b = neg < 0 ? big : 7;
    check("b = neg < 0 ? big : 7", b, 0xDC);
    b = (k = 0x1FF, k + 1);
    check("b = (k = 0x1FF, k + 1)", b, 0);
    check("k after comma", k, 0x1FF);
    b = 7;
    b += big;
    check("b += big", b, (unsigned char)(7 + 0xFEDC));
    b = 200;
    b -= lneg;
    check("b -= lneg", b, (unsigned char)(200 + 70000L));
    c = 3;
    c *= neg;
    check("c *= neg", c, (signed char)(3 * -300));
    b = 0x0F;
    b |= big;
    check("b |= big", b, 0xDF);
    b &= lneg;
    check("b &= lneg", b, (unsigned char)(0xDF & -70000L));
    s = lneg;
    check("s = lneg", s, -4464); /* -70000 is 0xFFFEEE90 */
    s = lneg >> 4;
    check("s = lneg >> 4", s, -4375); /* 0xFFFFEEE9 */
    b = lneg % 7;
    check("b = lneg % 7", b, (unsigned char)(-70000L % 7));
    b = pass_through(big);
    check("pass_through(big)", b, 0xDC);
    b = pass_through(neg + 1);
    check("pass_through(neg + 1)", b, (unsigned char)(-299));
    b = !big;
    check("b = !big", b, 0);
    b = -uc;
    check("b = -uc", b, 6);
    c = ~sc;
    check("c = ~sc", c, 4);
    b = (big & 0xF0) == 0xD0;
    check("(big & 0xF0) == 0xD0", b, 1);
    b = (lneg & 0x8000L) != 0;
    check("(lneg & 0x8000) != 0", b, (-70000L & 0x8000L) != 0);

    if (failures)
        printf("%d failed\n", failures);
    return failures != 0;
}
