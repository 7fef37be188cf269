#!/bin/sh
# Compiles a unit that includes every header of include/ and of
# tools/run/include/ twice and expands each of their macros, under every
# option that changes what the headers define or how zpc reads them, and
# under each memory model; fails when zpc says anything at all or does not
# succeed.
# usage: headers_compile.sh BIN_DIR REPO_DIR
set -u
bin=$1
repo=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat > "$work/all.c" <<'UNIT'
#include <stddef.h>
#include <stdint.h>
#include <stdbool.h>
#include <stdarg.h>
#include <limits.h>
#include <float.h>
#include <iso646.h>
#include <string.h>
#include <stdio.h>
#include <stdlib.h>
#include <stddef.h>
#include <stdint.h>
#include <stdbool.h>
#include <stdarg.h>
#include <limits.h>
#include <float.h>
#include <iso646.h>
#include <string.h>
#include <stdio.h>
#include <stdlib.h>

struct s { char c; long l; };
long integers[] = {
    CHAR_BIT, MB_LEN_MAX, SCHAR_MIN, SCHAR_MAX, UCHAR_MAX, CHAR_MIN, CHAR_MAX,
    SHRT_MIN, SHRT_MAX, INT_MIN, INT_MAX, LONG_MIN, LONG_MAX,
    INT8_MIN, INT8_MAX, UINT8_MAX, INT16_MIN, INT16_MAX, INT32_MIN, INT32_MAX,
    INT_LEAST8_MIN, INT_LEAST8_MAX, UINT_LEAST8_MAX, INT_LEAST16_MIN, INT_LEAST16_MAX,
    INT_LEAST32_MIN, INT_LEAST32_MAX, INT_FAST8_MIN, INT_FAST8_MAX,
    INT_FAST16_MIN, INT_FAST16_MAX, INT_FAST32_MIN, INT_FAST32_MAX,
    INTMAX_MIN, INTMAX_MAX, INTPTR_MIN, INTPTR_MAX, PTRDIFF_MIN, PTRDIFF_MAX,
    WCHAR_MIN, WCHAR_MAX, WINT_MIN, WINT_MAX, SIG_ATOMIC_MIN, SIG_ATOMIC_MAX,
    INT8_C(1), UINT8_C(1), INT16_C(1), INT32_C(1), INTMAX_C(1),
    offsetof(struct s, l), true, false, __bool_true_false_are_defined, EOF, EXIT_SUCCESS, EXIT_FAILURE,
    FLT_RADIX, FLT_ROUNDS, FLT_MANT_DIG, FLT_DIG, FLT_MIN_EXP, FLT_MIN_10_EXP, FLT_MAX_EXP, FLT_MAX_10_EXP,
    DBL_MANT_DIG, DBL_DIG, DBL_MIN_EXP, DBL_MIN_10_EXP, DBL_MAX_EXP, DBL_MAX_10_EXP,
    LDBL_MANT_DIG, LDBL_DIG, LDBL_MIN_EXP, LDBL_MIN_10_EXP, LDBL_MAX_EXP, LDBL_MAX_10_EXP,
#if __CC99__
    FLT_EVAL_METHOD, DECIMAL_DIG,
#endif
};
unsigned long unsigned_integers[] = {
    USHRT_MAX, UINT_MAX, ULONG_MAX, UINT16_MAX, UINT32_MAX, UINT_LEAST16_MAX, UINT_LEAST32_MAX,
    UINT_FAST8_MAX, UINT_FAST16_MAX, UINT_FAST32_MAX, UINTMAX_MAX, UINTPTR_MAX, SIZE_MAX,
    UINT16_C(1), UINT32_C(1), UINTMAX_C(1),
};
double reals[] = { FLT_MAX, FLT_EPSILON, FLT_MIN, DBL_MAX, DBL_EPSILON, DBL_MIN, LDBL_MAX, LDBL_EPSILON, LDBL_MIN };
int8_t i8; uint8_t u8; int16_t i16; uint16_t u16; int32_t i32; uint32_t u32;
int_least8_t il8; uint_least8_t ul8; int_least16_t il16; uint_least16_t ul16; int_least32_t il32; uint_least32_t ul32;
int_fast8_t if8; uint_fast8_t uf8; int_fast16_t if16; uint_fast16_t uf16; int_fast32_t if32; uint_fast32_t uf32;
intmax_t im; uintmax_t um; intptr_t ip; uintptr_t up; size_t sz; ptrdiff_t pd; wchar_t wc; bool b;

/* Under -m0x04 functions are @nostack, which cannot take variable
   arguments: that model only compiles the declarations. */
#ifndef NOSTACK_MODEL
static int total(int n, ...)
{
    va_list ap;
    int sum = 0;
    va_start(ap, n);
    while (n-- > 0)
        sum += va_arg(ap, int);
#if __CC99__
    {
        va_list copy;
        va_copy(copy, ap);
        va_end(copy);
    }
#endif
    va_end(ap);
    return sum;
}
#else
static int total(int n, int a, int b) { return n + a + b; }
#endif

/* zpc-run's functions take near pointers in every model. */
@near char text[4];

int main(void)
{
    int k = 1;
    k and_eq 3; k or_eq 4; k xor_eq 1;
    k = (k and not k) or (compl k bitand 1) bitor (k xor 2) not_eq 0;
    memset(text, 0, sizeof text);
    strcpy(text, "ab");
    return total(2, k, (int)strlen(text)) == 0 && (char *)NULL == 0;
}
UNIT
status=0
for options in "" "-c99" "-u" "-f" "-b" "-nw" "-sa" "-p" "-ck" "-w1" "-w1 -c99" \
               "-m0x1000" "-m0x2000" "-m0x3000" "-m0x10" "-m0x20" "-m0x30" "-m0x04 -dNOSTACK_MODEL" "-m0x3030" \
               "-c99 -u -f -b -m0x3000" "-ck -c99 -nw -f"; do
    # shellcheck disable=SC2086
    out=$("$bin/zpc" $options -i "$repo/include" -i "$repo/tools/run/include" -o "$work/all.o" "$work/all.c" 2>&1)
    code=$?
    if [ $code -ne 0 ] || [ -n "$out" ]; then
        echo "zpc $options: exit status $code"
        echo "$out"
        status=1
    fi
done
exit $status
