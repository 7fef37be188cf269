/* A Q8.8 fixed-point low-pass filter and multiply, as a sensor loop would
   run them without floating point. */
#include "check.h"

typedef int q8;

q8 q_mul(q8 a, q8 b) { return (q8)(((long)a * b) >> 8); }

q8 filter(q8 y, q8 x) { return y + ((x - y) >> 2); }

int main(void)
{
    q8 y = 0, x = 10 * 256;
    int step;
    for (step = 0; step < 8; step++)
        y = filter(y, x);
    CHECK(y == 2303);
    CHECK(q_mul(384, 576) == 864);          /* 1.5 * 2.25 = 3.375 */
    CHECK(q_mul(-384, 576) == -864);
    CHECK(q_mul(100 * 256, 100 * 256) == 4096);  /* 10000.0 overflows Q8.8: the low 16 bits of 2560000 */
    return failures;
}
