/* limits.h against the target: each limit is the boundary where the value
   still fits its type and the next one wraps, computed both by the
   compiler's folding and at run time through volatile copies; each limit
   has the promoted type of its own type; CHAR_MIN and CHAR_MAX follow -u;
   and #if sees the same values. */
#include <limits.h>
#include "check.h"

/* True when the expression's type is unsigned. */
#define UNSIGNED(x) ((x) - (x) - 1 > 0)

/* What #if sees, to compare with what the program computes. */
#if CHAR_MIN < 0
static const int pp_char_signed = 1;
#else
static const int pp_char_signed = 0;
#endif
#if CHAR_BIT == 8 && SCHAR_MAX == 127 && UCHAR_MAX == 255 && SHRT_MAX == 32767 \
    && INT_MAX == 32767 && INT_MIN == -32768L && UINT_MAX == 65535u \
    && LONG_MAX == 2147483647L && ULONG_MAX == 4294967295UL && MB_LEN_MAX == 1
static const int pp_values = 1;
#else
static const int pp_values = 0;
#endif

int main(void)
{
    volatile int vi;
    volatile unsigned vu;
    volatile long vl;
    volatile unsigned long vul;
    volatile char vc;
    volatile signed char vsc;
    volatile unsigned char vuc;
    volatile unsigned short vus;

    CHECK(pp_values);

    /* char */
    CHECK((unsigned char)(1 << CHAR_BIT) == 0 && (unsigned char)(1 << (CHAR_BIT - 1)) != 0);
    CHECK(SCHAR_MAX == 127 && SCHAR_MIN == -SCHAR_MAX - 1 && UCHAR_MAX == 255);
    vsc = SCHAR_MAX;
    CHECK(vsc == SCHAR_MAX);
    vsc = vsc + 1;
    CHECK(vsc == SCHAR_MIN && vsc < 0);
    CHECK((signed char)(SCHAR_MAX + 1) == SCHAR_MIN);
    CHECK((unsigned char)(UCHAR_MAX + 1) == 0);
    vuc = UCHAR_MAX;
    CHECK(vuc == UCHAR_MAX);
    vuc = vuc + 1;
    CHECK(vuc == 0);
    CHECK(!UNSIGNED(UCHAR_MAX) && sizeof(UCHAR_MAX) == sizeof(int));

    /* Plain char: signed unless -u. */
    CHECK(((char)-1 < 0) == (CHAR_MIN < 0));
    CHECK(pp_char_signed == ((char)-1 < 0));
    vc = CHAR_MAX;
    CHECK(vc == CHAR_MAX);
    vc = vc + 1;
    CHECK(vc == CHAR_MIN);
    vc = CHAR_MIN;
    CHECK(vc == CHAR_MIN && (int)(char)(CHAR_MIN - 1) == CHAR_MAX);
    CHECK(CHAR_MIN < 0 ? CHAR_MIN == SCHAR_MIN && CHAR_MAX == SCHAR_MAX : CHAR_MIN == 0 && CHAR_MAX == UCHAR_MAX);
    CHECK((int)(char)0x80 == (CHAR_MIN < 0 ? -128 : 128));

    /* short and int: both 16 bits. */
    CHECK(sizeof(short) * CHAR_BIT == 16 && sizeof(int) * CHAR_BIT == 16);
    CHECK(SHRT_MAX == 32767 && SHRT_MIN == -SHRT_MAX - 1 && USHRT_MAX == 65535u);
    CHECK(INT_MAX == 32767 && INT_MIN == -INT_MAX - 1 && UINT_MAX == 65535u);
    CHECK(INT_MAX + 1u == 32768u && (unsigned)INT_MIN == 32768u);
    CHECK(UINT_MAX + 1u == 0 && (unsigned short)(USHRT_MAX + 1u) == 0);
    CHECK(sizeof(INT_MIN) == sizeof(int) && sizeof(SHRT_MIN) == sizeof(int) && INT_MIN < 0);
    CHECK(!UNSIGNED(INT_MAX) && !UNSIGNED(SHRT_MAX) && UNSIGNED(UINT_MAX) && UNSIGNED(USHRT_MAX));
    vi = INT_MAX;
    vu = vi;
    CHECK(vu + 1u == 32768u);
    vi = INT_MIN;
    CHECK(vi < 0 && vi - 1L == -32769L && (unsigned)vi == 0x8000u);
    vu = UINT_MAX;
    vu = vu + 1;
    CHECK(vu == 0);
    vus = USHRT_MAX;
    CHECK(vus == 65535u);
    vus = vus + 1;
    CHECK(vus == 0);

    /* long: 32 bits. */
    CHECK(sizeof(long) * CHAR_BIT == 32);
    CHECK(LONG_MAX == 2147483647L && LONG_MIN == -LONG_MAX - 1 && ULONG_MAX == 4294967295UL);
    CHECK(LONG_MAX + 1UL == 2147483648UL && (unsigned long)LONG_MIN == 0x80000000UL);
    CHECK(ULONG_MAX + 1UL == 0);
    CHECK(sizeof(LONG_MAX) == 4 && sizeof(LONG_MIN) == 4 && sizeof(ULONG_MAX) == 4);
    CHECK(!UNSIGNED(LONG_MAX) && UNSIGNED(ULONG_MAX) && LONG_MIN < 0);
    vl = LONG_MAX;
    vul = vl;
    CHECK(vul + 1 == 2147483648UL);
    vl = LONG_MIN;
    CHECK(vl < 0 && (unsigned long)vl == 0x80000000UL);
    vul = ULONG_MAX;
    vul = vul + 1;
    CHECK(vul == 0);

    CHECK(MB_LEN_MAX == 1);
    return failures;
}
