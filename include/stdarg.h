/* stdarg.h: variable argument lists for the S12X target.

   The caller lays the arguments out one after the other from the lowest
   address, in the size each takes when passed:
   - char and short (and tiny pointers) are widened to a 16-bit int,
     float to double, unless option -nw is given; under -f double is 4
     bytes and float stays float;
   - big-endian: a widened value's own bytes are the last ones of its
     slot;
   - under option -b (without -nw) an argument of two bytes or more
     starts at an even offset;
   - far pointers take 4 bytes, structs and unions their own size.

   "sizeof @(type)" is the size a type takes when passed, so va_arg steps
   over that and reads the value from the end of the slot: va_arg(ap, int)
   and va_arg(ap, char) both read a char argument. The last named
   parameter must keep its type when passed (not float unless -f or -nw),
   as C requires; a char or short one also works.

   va_list is a plain char pointer, in the default data space (-m) like
   the arguments themselves. va_copy exists under option -c99. */
#ifndef _STDARG_H
#define _STDARG_H

typedef char *va_list;

#define va_start(ap, last) ((void)((ap) = (char *)&(last) + sizeof(last)))

#if (__ZPKW__ & 9) == 8
/* One byte of padding before an argument of two bytes or more that would
   start at an odd address. */
#define __va_pad(ap, type) \
    (sizeof @(type) > 1 && ((unsigned char)(unsigned long)(ap) & 1) ? 1 : 0)
#else
#define __va_pad(ap, type) 0
#endif

#define va_arg(ap, type) \
    (*(type *)(((ap) += __va_pad(ap, type) + sizeof @(type)) - sizeof(type)))

#define va_end(ap) ((void)0)

#if __CC99__
#define va_copy(dest, src) ((void)((dest) = (src)))
#endif

#endif
