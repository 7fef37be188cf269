/* stdint.h: integer types of given widths for the S12X target.

   char is 8 bits, short and int 16, long 32. The language has no long
   long, so there are no 64-bit types: intmax_t and uintmax_t are 32 bits,
   and INT64_C and the like do not exist.

   The fast types: the 16-bit int is the natural width of the machine's
   arithmetic and of argument passing (char arguments are passed widened
   to int), so int_fast8_t and int_fast16_t are int.

   intptr_t and uintptr_t are 32 bits, so that a pointer of any space
   (tiny, near or far) and of any memory model (-m) converts to them and
   back unchanged. A near pointer also fits uint16_t.

   ptrdiff_t (stddef.h) is int, or long when plain pointers are far or
   under option -sa; PTRDIFF_MIN and PTRDIFF_MAX follow it.

   Each limit and each constant macro has the type its own type takes
   after the integer promotions (UINT8_MAX and UINT8_C(1) are int,
   UINT16_MAX and UINT16_C(1) unsigned int). */
#ifndef _STDINT_H
#define _STDINT_H

typedef signed char int8_t;
typedef unsigned char uint8_t;
typedef int int16_t;
typedef unsigned int uint16_t;
typedef long int32_t;
typedef unsigned long uint32_t;

typedef signed char int_least8_t;
typedef unsigned char uint_least8_t;
typedef int int_least16_t;
typedef unsigned int uint_least16_t;
typedef long int_least32_t;
typedef unsigned long uint_least32_t;

typedef int int_fast8_t;
typedef unsigned int uint_fast8_t;
typedef int int_fast16_t;
typedef unsigned int uint_fast16_t;
typedef long int_fast32_t;
typedef unsigned long uint_fast32_t;

typedef long intptr_t;
typedef unsigned long uintptr_t;
#define INTPTR_MIN (-2147483647L - 1)
#define INTPTR_MAX 2147483647L
#define UINTPTR_MAX 4294967295UL

/* Under option -sa (seen as -ne with -nc) #if cannot ask sizeof. */
#if (__ZPKW__ & 160) == 160
#define PTRDIFF_MIN (-2147483647L - 1)
#define PTRDIFF_MAX 2147483647L
#elif sizeof(void *) == 4
#define PTRDIFF_MIN (-2147483647L - 1)
#define PTRDIFF_MAX 2147483647L
#else
#define PTRDIFF_MIN (-32767 - 1)
#define PTRDIFF_MAX 32767
#endif

typedef long intmax_t;
typedef unsigned long uintmax_t;

#define INT8_MIN (-127 - 1)
#define INT8_MAX 127
#define UINT8_MAX 255
#define INT16_MIN (-32767 - 1)
#define INT16_MAX 32767
#define UINT16_MAX 65535u
#define INT32_MIN (-2147483647L - 1)
#define INT32_MAX 2147483647L
#define UINT32_MAX 4294967295UL

#define INT_LEAST8_MIN INT8_MIN
#define INT_LEAST8_MAX INT8_MAX
#define UINT_LEAST8_MAX UINT8_MAX
#define INT_LEAST16_MIN INT16_MIN
#define INT_LEAST16_MAX INT16_MAX
#define UINT_LEAST16_MAX UINT16_MAX
#define INT_LEAST32_MIN INT32_MIN
#define INT_LEAST32_MAX INT32_MAX
#define UINT_LEAST32_MAX UINT32_MAX

#define INT_FAST8_MIN INT16_MIN
#define INT_FAST8_MAX INT16_MAX
#define UINT_FAST8_MAX UINT16_MAX
#define INT_FAST16_MIN INT16_MIN
#define INT_FAST16_MAX INT16_MAX
#define UINT_FAST16_MAX UINT16_MAX
#define INT_FAST32_MIN INT32_MIN
#define INT_FAST32_MAX INT32_MAX
#define UINT_FAST32_MAX UINT32_MAX

#define INTMAX_MIN INT32_MIN
#define INTMAX_MAX INT32_MAX
#define UINTMAX_MAX UINT32_MAX

/* sizeof yields unsigned int; plain char is the type of wide characters
   (see stddef.h); wint_t, which no freestanding header defines, would be
   int. sig_atomic_t belongs to signal.h, which a freestanding program
   lacks; its limits are those of int, the widest type the machine reads
   and writes in one access. */
#define SIZE_MAX 65535u
#if __ZPKW__ & 4
#define WCHAR_MIN 0
#define WCHAR_MAX 255
#else
#define WCHAR_MIN (-127 - 1)
#define WCHAR_MAX 127
#endif
#define WINT_MIN (-32767 - 1)
#define WINT_MAX 32767
#define SIG_ATOMIC_MIN (-32767 - 1)
#define SIG_ATOMIC_MAX 32767

#define INT8_C(c) c
#define UINT8_C(c) c
#define INT16_C(c) c
#define UINT16_C(c) c##u
#define INT32_C(c) c##L
#define UINT32_C(c) c##UL
#define INTMAX_C(c) c##L
#define UINTMAX_C(c) c##UL

#endif
