/* stdio.h for programs run by zpc-run: the output functions the runner
   provides itself, and nothing else (no streams, no input).

   printf knows the conversions d i u x X o c s f F e E g G p and %%, the
   flags - 0 + blank #, a width and a precision (also as *), and the
   length letters l and h. It reads pointer arguments (%s, %p) as 2-byte
   near addresses, so the format says @near and a %s string must be near
   too. */
#ifndef _ZPC_RUN_STDIO_H
#define _ZPC_RUN_STDIO_H

#ifndef _SIZE_T
#define _SIZE_T
typedef unsigned int size_t;
#endif

#ifndef NULL
#define NULL ((void *)0)
#endif

#define EOF (-1)

int putchar(int c);
int puts(const char @near *s);
int printf(const char @near *format, ...);

#endif
