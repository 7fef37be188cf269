/* string.h for programs run by zpc-run: the string and memory functions
   the runner provides itself, and nothing else.

   The runner reads every pointer argument as a 2-byte near address, so
   the parameters say @near: in a model with far data (-m0x3000) a far
   object passed to them is refused at compile time instead of being read
   at a wrong address. */
#ifndef _ZPC_RUN_STRING_H
#define _ZPC_RUN_STRING_H

#ifndef _SIZE_T
#define _SIZE_T
typedef unsigned int size_t;
#endif

#ifndef NULL
#define NULL ((void *)0)
#endif

void @near *memcpy(void @near *dest, const void @near *src, size_t n);
void @near *memmove(void @near *dest, const void @near *src, size_t n);
void @near *memset(void @near *dest, int c, size_t n);
int memcmp(const void @near *a, const void @near *b, size_t n);
size_t strlen(const char @near *s);
int strcmp(const char @near *a, const char @near *b);
int strncmp(const char @near *a, const char @near *b, size_t n);
char @near *strcpy(char @near *dest, const char @near *src);

#endif
