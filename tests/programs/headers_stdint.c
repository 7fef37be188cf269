/* stdint.h against the target: the width and signedness of every type,
   the limits at their boundaries, the types and values of the constant
   macros (also in #if), and intptr_t round trips for pointers of every
   space. */
#include <stdint.h>
#include <stddef.h>
#include <limits.h>
#include "check.h"

#define UNSIGNED(x) ((x) - (x) - 1 > 0)
#define BITS(t) (sizeof(t) * CHAR_BIT)
/* Signedness of a type: -1 converted to it. */
#define SIGNED_TYPE(t) ((t)-1 < 0)

#if INT32_C(2147483647) == INT32_MAX && UINT32_C(4294967295) == UINT32_MAX \
    && UINT16_C(65535) == UINT16_MAX && INT8_C(-128) == INT8_MIN && UINT8_C(255) == UINT8_MAX \
    && INTMAX_C(-2147483647) - 1 == INTMAX_MIN && UINTMAX_C(0) - 1 == UINTMAX_MAX \
    && INT16_MIN == -32768L && SIZE_MAX == 65535u
static const int pp_values = 1;
#else
static const int pp_values = 0;
#endif

/* One row per type: its size in bits, its signedness, and its limits as
   long (unsigned limits as unsigned long). */
struct row {
    int line;
    unsigned bits, want_bits;
    int is_signed, want_signed;
    long min, want_min;
    unsigned long max, want_max;
};

static char near_object[4];
static @tiny char tiny_object[2];
static @far char far_object[4];

int main(void)
{
    static const struct row rows[] = {
        { __LINE__, BITS(int8_t), 8, SIGNED_TYPE(int8_t), 1, INT8_MIN, -128, INT8_MAX, 127 },
        { __LINE__, BITS(uint8_t), 8, SIGNED_TYPE(uint8_t), 0, 0, 0, UINT8_MAX, 255 },
        { __LINE__, BITS(int16_t), 16, SIGNED_TYPE(int16_t), 1, INT16_MIN, -32768L, INT16_MAX, 32767 },
        { __LINE__, BITS(uint16_t), 16, SIGNED_TYPE(uint16_t), 0, 0, 0, UINT16_MAX, 65535u },
        { __LINE__, BITS(int32_t), 32, SIGNED_TYPE(int32_t), 1, INT32_MIN, -2147483647L - 1, INT32_MAX, 2147483647L },
        { __LINE__, BITS(uint32_t), 32, SIGNED_TYPE(uint32_t), 0, 0, 0, UINT32_MAX, 4294967295UL },
        { __LINE__, BITS(int_least8_t), 8, SIGNED_TYPE(int_least8_t), 1, INT_LEAST8_MIN, -128, INT_LEAST8_MAX, 127 },
        { __LINE__, BITS(uint_least8_t), 8, SIGNED_TYPE(uint_least8_t), 0, 0, 0, UINT_LEAST8_MAX, 255 },
        { __LINE__, BITS(int_least16_t), 16, SIGNED_TYPE(int_least16_t), 1, INT_LEAST16_MIN, -32768L, INT_LEAST16_MAX, 32767 },
        { __LINE__, BITS(uint_least16_t), 16, SIGNED_TYPE(uint_least16_t), 0, 0, 0, UINT_LEAST16_MAX, 65535u },
        { __LINE__, BITS(int_least32_t), 32, SIGNED_TYPE(int_least32_t), 1, INT_LEAST32_MIN, -2147483647L - 1, INT_LEAST32_MAX, 2147483647L },
        { __LINE__, BITS(uint_least32_t), 32, SIGNED_TYPE(uint_least32_t), 0, 0, 0, UINT_LEAST32_MAX, 4294967295UL },
        { __LINE__, BITS(int_fast8_t), 16, SIGNED_TYPE(int_fast8_t), 1, INT_FAST8_MIN, -32768L, INT_FAST8_MAX, 32767 },
        { __LINE__, BITS(uint_fast8_t), 16, SIGNED_TYPE(uint_fast8_t), 0, 0, 0, UINT_FAST8_MAX, 65535u },
        { __LINE__, BITS(int_fast16_t), 16, SIGNED_TYPE(int_fast16_t), 1, INT_FAST16_MIN, -32768L, INT_FAST16_MAX, 32767 },
        { __LINE__, BITS(uint_fast16_t), 16, SIGNED_TYPE(uint_fast16_t), 0, 0, 0, UINT_FAST16_MAX, 65535u },
        { __LINE__, BITS(int_fast32_t), 32, SIGNED_TYPE(int_fast32_t), 1, INT_FAST32_MIN, -2147483647L - 1, INT_FAST32_MAX, 2147483647L },
        { __LINE__, BITS(uint_fast32_t), 32, SIGNED_TYPE(uint_fast32_t), 0, 0, 0, UINT_FAST32_MAX, 4294967295UL },
        { __LINE__, BITS(intmax_t), 32, SIGNED_TYPE(intmax_t), 1, INTMAX_MIN, -2147483647L - 1, INTMAX_MAX, 2147483647L },
        { __LINE__, BITS(uintmax_t), 32, SIGNED_TYPE(uintmax_t), 0, 0, 0, UINTMAX_MAX, 4294967295UL },
        { __LINE__, BITS(intptr_t), 32, SIGNED_TYPE(intptr_t), 1, INTPTR_MIN, -2147483647L - 1, INTPTR_MAX, 2147483647L },
        { __LINE__, BITS(uintptr_t), 32, SIGNED_TYPE(uintptr_t), 0, 0, 0, UINTPTR_MAX, 4294967295UL },
    };
    unsigned k;
    volatile int8_t i8;
    volatile uint8_t u8;
    volatile int16_t i16;
    volatile uint16_t u16;
    volatile int32_t i32;
    volatile uint32_t u32;
    char *p = near_object, *q = near_object + 3;
    void *vp;
    char @tiny *tp = tiny_object;
    char @far *fp = far_object + 1;
    uintptr_t u;

    CHECK(pp_values);
    for (k = 0; k < sizeof rows / sizeof rows[0]; k++) {
        const struct row *r = &rows[k];
        if (r->bits != r->want_bits || r->is_signed != r->want_signed || r->min != r->want_min || r->max != r->want_max)
            printf("headers_stdint.c: row of line %d: %u bits, signed %d, min %ld, max %lu\n",
                   r->line, r->bits, r->is_signed, r->min, r->max), ++failures;
    }

    /* Exact widths: the maximum plus one wraps, the minimum minus one
       wraps to the maximum. */
    CHECK((uint8_t)(UINT8_MAX + 1) == 0 && (int8_t)(INT8_MAX + 1) == INT8_MIN);
    CHECK((uint16_t)(UINT16_MAX + 1u) == 0 && (int16_t)(INT16_MIN - 1L) == INT16_MAX);
    CHECK((uint32_t)(UINT32_MAX + 1UL) == 0 && (int32_t)(INT32_MAX + 1UL) == INT32_MIN);
    u8 = UINT8_MAX;
    u8++;
    i8 = INT8_MIN;
    i8--;
    CHECK(u8 == 0 && i8 == INT8_MAX);
    u16 = UINT16_MAX;
    u16++;
    i16 = INT16_MAX;
    CHECK(u16 == 0 && i16 + 1L == 32768L);
    u32 = UINT32_MAX;
    u32++;
    i32 = INT32_MIN;
    CHECK(u32 == 0 && i32 < 0 && (uint32_t)i32 == 0x80000000UL);

    /* Limits have the promoted type of their type. */
    CHECK(sizeof(UINT8_MAX) == sizeof(int) && !UNSIGNED(UINT8_MAX) && !UNSIGNED(INT8_MIN));
    CHECK(sizeof(UINT16_MAX) == sizeof(int) && UNSIGNED(UINT16_MAX) && !UNSIGNED(INT16_MAX));
    CHECK(sizeof(INT32_MAX) == 4 && !UNSIGNED(INT32_MIN) && sizeof(UINT32_MAX) == 4 && UNSIGNED(UINT32_MAX));
    CHECK(sizeof(INTMAX_MAX) == sizeof(intmax_t) && sizeof(UINTMAX_MAX) == sizeof(uintmax_t));

    /* Constant macros: value and promoted type. */
    CHECK(INT8_C(-100) == -100 && sizeof(INT8_C(1)) == sizeof(int) && !UNSIGNED(INT8_C(1)));
    CHECK(UINT8_C(200) == 200 && sizeof(UINT8_C(1)) == sizeof(int) && !UNSIGNED(UINT8_C(1)));
    CHECK(INT16_C(-30000) == -30000 && sizeof(INT16_C(1)) == 2 && !UNSIGNED(INT16_C(1)));
    CHECK(UINT16_C(65535) == UINT16_MAX && sizeof(UINT16_C(1)) == 2 && UNSIGNED(UINT16_C(1)));
    CHECK(UINT16_C(65535) + 1 == 0);
    CHECK(INT32_C(100000) == 100000L && sizeof(INT32_C(1)) == 4 && !UNSIGNED(INT32_C(1)));
    CHECK(UINT32_C(4294967295) == UINT32_MAX && sizeof(UINT32_C(1)) == 4 && UNSIGNED(UINT32_C(1)));
    CHECK(UINT32_C(4294967295) + 1 == 0 && INT32_C(1) << 20 == 0x100000L);
    CHECK(INTMAX_C(70000) == 70000L && sizeof(INTMAX_C(1)) == 4 && !UNSIGNED(INTMAX_C(1)));
    CHECK(UINTMAX_C(1) << 31 == 0x80000000UL && sizeof(UINTMAX_C(1)) == 4 && UNSIGNED(UINTMAX_C(1)));

    /* The limits of the other types. */
    CHECK(SIZE_MAX == (size_t)-1 && sizeof(SIZE_MAX) == sizeof(size_t) && UNSIGNED(SIZE_MAX));
    CHECK(sizeof(PTRDIFF_MAX) == sizeof(ptrdiff_t) && sizeof(q - p) == sizeof(ptrdiff_t));
    CHECK(PTRDIFF_MAX == (sizeof(ptrdiff_t) == 2 ? 32767L : 2147483647L) && PTRDIFF_MIN == -PTRDIFF_MAX - 1);
    CHECK(q - p == 3 && !UNSIGNED(PTRDIFF_MAX));
    CHECK(WCHAR_MIN == CHAR_MIN && WCHAR_MAX == CHAR_MAX && (wchar_t)WCHAR_MAX == WCHAR_MAX);
    CHECK(WINT_MIN == INT_MIN && WINT_MAX == INT_MAX && SIG_ATOMIC_MIN == INT_MIN && SIG_ATOMIC_MAX == INT_MAX);

    /* A pointer of any space converts to uintptr_t and back unchanged. */
    vp = p;
    u = (uintptr_t)vp;
    CHECK((void *)u == vp && (char *)(void *)(intptr_t)vp == p);
    u = (uintptr_t)tp;
    CHECK((char @tiny *)u == tp);
    u = (uintptr_t)fp;
    CHECK((char @far *)u == fp && *(char @far *)u == far_object[1]);
    CHECK((uintptr_t)(p + 1) - (uintptr_t)p == 1);
    return failures;
}
