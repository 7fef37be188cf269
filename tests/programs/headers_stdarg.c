/* stdarg.h against the way calls lay out their arguments: one routine
   walks a list of mixed arguments described by a letter string (char,
   short, int, unsigned, long, double and float, near, tiny and far
   pointers, structs of one, three and six bytes), and the same list is read
   again through a va_list handed to a second routine, through va_copy
   under -c99, and after a char as last named parameter. */
#include <stdarg.h>
#include "check.h"

struct odd { char a, b, c; };
struct one { char a; };
struct pair { int x; long y; };

static @tiny char tiny_object = 't';
static @far char far_object = 'f';
static char near_object = 'n';

/* Adds up the arguments that `kinds` describes; each letter names the
   argument's type and how it is read. */
static long walk(const char *kinds, va_list ap)
{
    long sum = 0;
    for (; *kinds; kinds++) {
        switch (*kinds) {
        case 'c': sum += va_arg(ap, signed char); break;
        case 'U': sum += va_arg(ap, unsigned char); break;
#if !(__ZPKW__ & 1)
        /* Widened arguments read as int, which C's promotions say. */
        case 'C': sum += va_arg(ap, int); break;
        case 'H': sum += va_arg(ap, int); break;
        case 'F': sum += (long)va_arg(ap, double); break;
#endif
        case 'h': sum += va_arg(ap, short); break;
        case 'i': sum += va_arg(ap, int); break;
        case 'u': sum += va_arg(ap, unsigned); break;
        case 'l': sum += va_arg(ap, long); break;
        case 'd': sum += (long)va_arg(ap, double); break;
        case 'n': sum += *va_arg(ap, char *); break;
        case 't': sum += *va_arg(ap, char @tiny *); break;
        case 'f': sum += *va_arg(ap, char @far *); break;
        case 'o': {
            struct odd o = va_arg(ap, struct odd);
            sum += o.a * 100 + o.b * 10 + o.c;
            break;
        }
        case '1': sum += va_arg(ap, struct one).a; break;
        case 'p': {
            struct pair p = va_arg(ap, struct pair);
            sum += p.x + p.y;
            break;
        }
        default: return -1;
        }
    }
    return sum;
}

static long sum_of(const char *kinds, ...)
{
    va_list ap;
    long sum;
    va_start(ap, kinds);
    sum = walk(kinds, ap);
    va_end(ap);
    return sum;
}

/* The same arguments read twice: through a copy and through the
   original. */
static long twice(const char *kinds, ...)
{
    va_list ap;
    long sum;
    va_start(ap, kinds);
#if __CC99__
    {
        va_list again;
        va_copy(again, ap);
        sum = walk(kinds, again);
        va_end(again);
    }
#else
    sum = walk(kinds, ap);
#endif
    sum += walk(kinds, ap);
    va_end(ap);
    return sum;
}

/* A plain char as the last named parameter, and a count of int arguments. */
static int after_char(char count, ...)
{
    va_list ap;
    int sum = 0;
    va_start(ap, count);
    while (count-- > 0)
        sum += va_arg(ap, int);
    va_end(ap);
    return sum;
}

/* A long as the last named parameter. */
static long after_long(long first, ...)
{
    va_list ap;
    long second;
    va_start(ap, first);
    second = va_arg(ap, long);
    va_end(ap);
    return first * 10 + second;
}

int main(void)
{
    signed char c = -5, c2 = 7;
    unsigned char uc = 200;
    short s = -300;
    float fl = 2.5f;
    struct odd o = { 1, 2, 3 }, o2 = { 4, 5, 6 };
    struct pair p = { 10, 100000L };
    struct one b = { 9 };

    CHECK(sum_of("") == 0);
    CHECK(sum_of("i", 42) == 42);
    CHECK(sum_of("cic", c, 1000, c2) == 1002);
    CHECK(sum_of("uc", 65535u, c) == 65530L);
    CHECK(sum_of("UcU", uc, c, uc) == 395);
    CHECK(sum_of("hl", s, -70000L) == -70300L);
    CHECK(sum_of("ldi", 1L, 2.75, 3) == 6);
    CHECK(sum_of("ntf", &near_object, &tiny_object, &far_object) == 'n' + 't' + 'f');
    CHECK(sum_of("oio", o, 9, o2) == 123 + 9 + 456);
    CHECK(sum_of("cocpc", c2, o, c, p, c2) == 7 + 123 - 5 + 100010L + 7);
    CHECK(sum_of("olp", o, 5L, p) == 123 + 5 + 100010L);
    /* A 1-byte struct leaves the next argument at an odd offset, which
       -b moves to an even one. */
    CHECK(sum_of("1i11l1p", b, 1, b, b, 2L, b, p) == 9 + 1 + 9 + 9 + 2 + 9 + 100010L);
#if !(__ZPKW__ & 1)
    CHECK(sum_of("CCHF", c, uc, s, fl) == -5 + 200 - 300 + 2);
    CHECK(sum_of("dFc", 1e3, fl, c2) == 1000 + 2 + 7);
#endif
    CHECK(twice("cdol", c2, 4.0, o, 70000L) == 2 * (7 + 4 + 123 + 70000L));
    CHECK(after_char(3, 100, 20, 3) == 123);
    CHECK(after_char(0) == 0);
    CHECK(after_long(7L, 8L) == 78);
    return failures;
}
