/* Loops whose trip count is known when they start: every counter and
   bound kind, counters read after the loop, loops left early, and the
   loops that must keep their test (counter or bound changed in the body,
   volatile counters, counters that wrap). */
#include "check.h"

static int a[300];
static unsigned long total;

static int up_to(int n)
{
    int i, t = 0;
    for (i = 0; i < n; i++)
        t += 2;
    return t + i * 1000;  /* i is n, or 0 when n <= 0 */
}

static unsigned down_from(unsigned n)
{
    unsigned i, t = 0;
    for (i = n; i != 0; i--)
        t++;
    return t + i;  /* i is 0 */
}

static int keep_nothing(int n)
{
    int i;
    for (i = 0; i < n; i++)
        ;
    return i;
}

int main(void)
{
    int i, j, n, s;
    unsigned u;
    unsigned char uc;
    long l;
    volatile int v;

    /* Constant bounds: 0, 1, 255, 256, and the counter after the loop. */
    s = 0;
    for (i = 0; i < 0; i++)
        s++;
    CHECK(s == 0 && i == 0);
    for (i = 0; i < 1; i++)
        s++;
    CHECK(s == 1 && i == 1);
    s = 0;
    for (i = 0; i < 255; i++)
        s++;
    CHECK(s == 255 && i == 255);
    s = 0;
    for (i = 0; i < 256; i++)
        s++;
    CHECK(s == 256 && i == 256);
    s = 0;
    for (i = 5; i <= 9; i++)
        s++;
    CHECK(s == 5 && i == 10);
    s = 0;
    for (i = 3; i == 3; i++)
        s++;
    CHECK(s == 1 && i == 4);
    s = 0;
    for (i = -4; i != 4; i++)
        s++;
    CHECK(s == 8 && i == 4);

    /* Counting down. */
    s = 0;
    for (i = 10; i > 0; i--)
        s++;
    CHECK(s == 10 && i == 0);
    s = 0;
    for (i = 10; i >= -3; i -= 1)
        s++;
    CHECK(s == 14 && i == -4);
    s = 0;
    for (i = 7; i != 2; --i)
        s++;
    CHECK(s == 5 && i == 2);

    /* The counter used in the body. */
    for (i = 0; i < 300; i++)
        a[i] = i;
    CHECK(a[0] == 0 && a[299] == 299 && i == 300);
    s = 0;
    for (i = 299; i >= 0; i--)
        s += a[i] == i;
    CHECK(s == 300 && i == -1);

    /* Unsigned counters up to the type's top. */
    total = 0;
    for (u = 0; u < 65535u; u++)
        total++;
    CHECK(total == 65535ul && u == 65535u);
    total = 0;
    for (u = 65535u; u > 0; u--)
        total++;
    CHECK(total == 65535ul && u == 0);
    total = 0;
    for (u = 65534u; u <= 65534u; u++)
        total++;
    CHECK(total == 1 && u == 65535u);
    /* u <= 65535u never ends in C: left by the break. */
    total = 0;
    for (u = 65530u; u <= 65535u; u++) {
        total++;
        if (total == 20)
            break;
    }
    CHECK(total == 20 && u == 13);

    /* An unsigned char counter. */
    s = 0;
    for (uc = 0; uc < 200; uc++)
        s++;
    CHECK(s == 200 && uc == 200);
    s = 0;
    for (uc = 250; uc != 4; uc++)
        s++;
    CHECK(s == 10 && uc == 4);

    /* A long counter. */
    total = 0;
    for (l = 0; l < 70000L; l++)
        total++;
    CHECK(total == 70000ul && l == 70000L);

    /* Bounds known only at the start. */
    CHECK(up_to(0) == 0);
    CHECK(up_to(-5) == 0);
    CHECK(up_to(3) == 3006);
    CHECK(up_to(30) == 30060);
    CHECK(down_from(0) == 0);
    CHECK(down_from(1) == 1);
    CHECK(down_from(40000u) == 40000u);
    CHECK(keep_nothing(17) == 17 && keep_nothing(-3) == 0);

    /* Counter or bound changed in the body: the test still decides. */
    s = 0;
    for (i = 0; i < 20; i++) {
        s++;
        if (i == 4)
            i += 10;
    }
    CHECK(s == 10 && i == 20);
    s = 0;
    n = 10;
    for (i = 0; i < n; i++) {
        s++;
        n--;
    }
    CHECK(s == 5 && i == 5);

    /* A volatile counter. */
    s = 0;
    for (v = 0; v < 6; v++)
        s++;
    CHECK(s == 6 && v == 6);

    /* Left by break and by goto. */
    s = 0;
    for (i = 0; i < 100; i++) {
        if (i == 7)
            break;
        s++;
    }
    CHECK(s == 7 && i == 7);
    s = 0;
    for (i = 0; i < 100; i++) {
        if (i == 9)
            goto out;
        s++;
    }
    s = -1;
out:
    CHECK(s == 9 && i == 9);

    /* continue. */
    s = 0;
    for (i = 0; i < 10; i++) {
        if (i & 1)
            continue;
        s++;
    }
    CHECK(s == 5 && i == 10);
    s = 0;
    for (i = 0; i < 10; i++) {
        if (s > 100)
            continue;
        s++;
    }
    CHECK(s == 10 && i == 10);

    /* A while loop made a for loop. */
    s = 0;
    i = 0;
    while (i < 12) {
        s += 3;
        i += 1;
    }
    CHECK(s == 36 && i == 12);

    /* Nested, and as the branch of an if or the body of another loop. */
    s = 0;
    for (i = 0; i < 4; i++)
        for (j = 0; j < 5; j++)
            s++;
    CHECK(s == 20 && i == 4 && j == 5);
    n = 1;
    if (n)
        for (j = 0; j < 3; j++)
            s++;
    CHECK(s == 23 && j == 3);
    if (!n)
        s = 0;
    else
        for (j = 9; j > 6; j--)
            s++;
    CHECK(s == 26 && j == 6);

    /* Inside a switch, and a switch inside. */
    s = 0;
    switch (n) {
    case 1:
        for (i = 0; i < 2; i++)
            switch (i) {
            case 0: s += 1; break;
            default: s += 10; break;
            }
        break;
    }
    CHECK(s == 11 && i == 2);

    return failures;
}
