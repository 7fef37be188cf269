/* stddef.h: common definitions for the S12X target.

   sizeof yields unsigned int, so size_t is unsigned int. The difference of
   two pointers is an int, or a long when the pointers are @far; ptrdiff_t
   follows the default data space (-m), so it is long when plain pointers
   are far. Under option -sa (seen as -ne with -nc in __ZPKW__) #if cannot
   ask sizeof, and ptrdiff_t is then long, which holds either. Wide string literals hold one byte per character, so wchar_t is
   plain char (signed, or unsigned under -u).

   offsetof gives an integer constant: it may size an array and label a
   case. It is written as the difference of two address constants, which
   the compiler folds; the form that casts an address to an integer is not
   a constant expression here. The addresses are @far so that the same
   form holds in every memory model: with tiny default data (-m0x1000) the
   compiler refuses the plain-pointer form's cast to char *. */
#ifndef _STDDEF_H
#define _STDDEF_H

#ifndef _SIZE_T
#define _SIZE_T
typedef unsigned int size_t;
#endif

#if (__ZPKW__ & 160) == 160
typedef long ptrdiff_t;
#elif sizeof(void *) == 4
typedef long ptrdiff_t;
#else
typedef int ptrdiff_t;
#endif

#ifndef _WCHAR_T
#define _WCHAR_T
typedef char wchar_t;
#endif

#ifndef NULL
#define NULL ((void *)0)
#endif

#define offsetof(type, member) \
    ((size_t)((char @far *)&((type @far *)0)->member - (char @far *)0))

#endif
