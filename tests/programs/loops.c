/* Every loop form with break and continue, nested loops and goto. */
#include "check.h"

int main(void)
{
    int i, j, n, sum;

    for (i = 0, sum = 0; i < 10; i++) {
        if (i == 3)
            continue;
        if (i == 8)
            break;
        sum += i;
    }
    CHECK(sum == 0 + 1 + 2 + 4 + 5 + 6 + 7);
    CHECK(i == 8);

    n = 0;
    while (n < 100)
        n += 7;
    CHECK(n == 105);

    n = 0;
    do
        n++;
    while (n < 0);
    CHECK(n == 1);

    sum = 0;
    for (i = 0; i < 5; i++)
        for (j = 0; j < 5; j++) {
            if (j > i)
                break;
            sum += j;
        }
    CHECK(sum == 0 + 1 + 3 + 6 + 10);

    n = 0;
    for (;;) {
        if (++n == 50)
            break;
    }
    CHECK(n == 50);

    i = 0;
again:
    i += 2;
    if (i < 9)
        goto again;
    CHECK(i == 10);

    sum = 0;
    i = 10;
    while (i--) {
        if (i & 1)
            continue;
        sum += i;
    }
    CHECK(sum == 8 + 6 + 4 + 2 + 0 && i == -1);

    for (i = 0; i < 3; i++)
        for (j = 0; j < 3; j++)
            if (i * j == 2)
                goto done;
done:
    CHECK(i == 1 && j == 2);
    return failures;
}
