/* limits.h: sizes of the integer types on the S12X target.

   char is 8 bits, short and int 16, long 32; there is no long long. Plain
   char is signed unless option -u is given (the value 4 in the option mask of __ZPKW__), and
   CHAR_MIN and CHAR_MAX follow it. Each limit has the type its own type
   takes after the integer promotions: USHRT_MAX is unsigned int, since
   unsigned short promotes to unsigned int when both are 16 bits. */
#ifndef _LIMITS_H
#define _LIMITS_H

#define CHAR_BIT 8
#define MB_LEN_MAX 1

#define SCHAR_MIN (-127 - 1)
#define SCHAR_MAX 127
#define UCHAR_MAX 255

#if __ZPKW__ & 4
#define CHAR_MIN 0
#define CHAR_MAX UCHAR_MAX
#else
#define CHAR_MIN SCHAR_MIN
#define CHAR_MAX SCHAR_MAX
#endif

#define SHRT_MIN (-32767 - 1)
#define SHRT_MAX 32767
#define USHRT_MAX 65535u

#define INT_MIN (-32767 - 1)
#define INT_MAX 32767
#define UINT_MAX 65535u

#define LONG_MIN (-2147483647L - 1)
#define LONG_MAX 2147483647L
#define ULONG_MAX 4294967295UL

#endif
