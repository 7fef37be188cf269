/* Loops written out once per trip (#pragma unroll): the counter read in
   each copy as its value on that trip, its value after the loop, copies of
   bodies that hold loops, ifs and blocks, and the loops that must not be
   copied (break, continue, goto, a switch inside). */
#include "check.h"

static int a[16];
static unsigned char bytes[8];
static int calls;

static int sum(int n)
{
    int k, s = 0;
    for (k = 0; k < n; k++)
        s += a[k];
    return s;
}

int main(void)
{
    int i, j, s;
    unsigned u;
    long l;

#pragma unroll 64
    for (i = 0; i < 4; i++)
        a[i] = i * 3;
    CHECK(a[0] == 0 && a[1] == 3 && a[2] == 6 && a[3] == 9 && i == 4);

    /* A count that is no power of two, counting down, read as bytes. */
    for (i = 6; i >= 0; i--)
        bytes[i & 7] = (unsigned char)(i + 250);
    CHECK(bytes[0] == 250 && bytes[5] == 255 && bytes[6] == 0 && i == -1);
    for (u = 65530u; u < 65535u; u++)
        a[u - 65530u] = (int)(u & 0xFF);
    CHECK(a[0] == 250 && a[4] == 254 && u == 65535u);
    for (l = 70000L; l > 69997L; --l)
        a[(int)(l - 69998L)] = (int)(l >> 8);
    CHECK(a[0] == 273 && a[2] == 273 && l == 69997L);

    /* The value left after the loop is used at once and later. */
    s = 0;
    for (i = 0; i < 5; i++)
        s += i;
    CHECK(s == 10 && i == 5);
    j = i * 2;
    CHECK(j == 10);

    /* The counter not read in the body. */
    s = 0;
    for (i = 10; i != 13; i++)
        s += 7;
    CHECK(s == 21 && i == 13);

    /* Nested copies, an if and a block inside. */
    s = 0;
    for (i = 0; i < 3; i++)
        for (j = 0; j < 2; j++) {
            if ((i + j) & 1)
                s += 10;
            else
                s += 1;
        }
    CHECK(s == 33 && i == 3 && j == 2);

    /* A single trip is copied under any count. */
#pragma unroll
    s = 0;
    for (i = 4; i < 5; i++)
        s += i;
    CHECK(s == 4 && i == 5);
    for (i = 0; i < 3; i++)
        s++;
    CHECK(s == 7 && i == 3);

#pragma unroll 100
    /* Loops that are not copied: left early, continued, a switch inside. */
    s = 0;
    for (i = 0; i < 6; i++) {
        if (i == 2)
            break;
        s++;
    }
    CHECK(s == 2 && i == 2);
    s = 0;
    for (i = 0; i < 6; i++) {
        if (i & 1)
            continue;
        s++;
    }
    CHECK(s == 3 && i == 6);
    s = 0;
    for (i = 0; i < 3; i++) {
        if (i == 1)
            goto next;
        s++;
    }
next:
    CHECK(s == 1 && i == 1);
    s = 0;
    for (i = 0; i < 3; i++)
        switch (i) {
        case 1: s += 5; break;
        default: s += 1; break;
        }
    CHECK(s == 7 && i == 3);

    /* A call in the body keeps the loop. */
    for (i = 0; i < 4; i++)
        a[i] = 1;
    s = 0;
    for (i = 0; i < 2; i++)
        s += sum(4);
    CHECK(s == 8 && i == 2);
    (void)calls;

    return failures;
}
