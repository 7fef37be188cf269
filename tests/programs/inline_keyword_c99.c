/* The inline keyword of C99: static inline and inline functions of every
   arithmetic type, nested calls converting between them. */
#include "check.h"

static inline float half(float f) { return f / 2; }
inline double twice(double d) { return d * 2; }
inline long lmul(long a, long b) { return a * b; }
inline unsigned char wrap8(unsigned char c) { return c + 1; }
inline int sign(long v) { return v < 0 ? -1 : v > 0; }

int main(void)
{
    float f = 3.0f;
    double d = 1.5;
    long l = 70000L;
    CHECK(half(f) == 1.5f);
    CHECK(twice(d) == 3.0);
    CHECK(lmul(l, 3L) == 210000L);
    CHECK(wrap8(255) == 0);
    CHECK(half(twice(d)) == 1.5f);
    CHECK(sign(-l) == -1 && sign(l) == 1 && sign(0L) == 0);
    CHECK(lmul(sign(l), -5L) == -5L);
    return failures;
}
