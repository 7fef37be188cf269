/* Inline calls in every place a statement holds an expression: loop
   initializations (with assignments the loop moves out of its body),
   tests and steps, switch selectors with and without cases, if tests,
   conditions and comma lists, a return value, unrolled loops and the
   elements of local aggregates. */
#include "check.h"

@inline int sq(int x) { return x * x; }
@inline int inc(int x) { return x + 1; }

int a[10];
int g, h;

int twice_sq(int n) { return sq(n) * 2; }
char low(int n) { return sq(n); }

void run(int n)
{
    int i, j, x = 0;
    for (i = sq(n), j = 0; j < 10; j++) {
        x = 5; /* moved in front of the loop */
        a[j] = x;
    }
    g = x + i;
    for (i = 0; i < sq(3); i++)
        a[i] = 1;
    for (i = 0; i < 3; i += sq(1))
        a[i] = 2;
    i = 0;
    while (sq(i) < 50) {
        a[1] = i;
        i += 1;
    }
    do {
        x = sq(i);
        i--;
    } while (i > sq(2));
    CHECK(x == 25 && i == 4);
    switch (sq(n)) {
    default:
        break;
    }
    h = 0;
    switch (sq(n)) {
    case 4:
        h = 1;
    }
    CHECK(h == 1);
    switch (inc(n)) {
    }
    if (sq(2) == 4)
        h = 2;
    else
        h = 3;
    CHECK(h == 2);
    h = sq(n) ? sq(1) : sq(2);
    CHECK(h == 1);
    h = (sq(n), sq(n + 1));
    CHECK(h == 9);
}

struct pt {
    int x, y;
};

/* Elements of local aggregates computed by inline calls. */
void initializers(int n)
{
    int arr[3] = {sq(1), sq(n), 7};
    struct pt p = {sq(2), sq(n + 1)};
    int m = sq(arr[1]);
    CHECK(arr[0] == 1 && arr[1] == 9 && arr[2] == 7);
    CHECK(p.x == 4 && p.y == 16);
    CHECK(m == 81);
}

int main(void)
{
    int i, s;
    run(2);
    initializers(3);
    CHECK(g == 9);
    CHECK(a[0] == 2 && a[1] == 7 && a[2] == 2 && a[8] == 1 && a[9] == 5);
    CHECK(twice_sq(3) == 18);
    CHECK(low(16) == 0);
    s = 0;
#pragma unroll 100
    for (i = 0; i < 4; i++)
        s += inc(i);
    CHECK(s == 1 + 2 + 3 + 4);
    s = 0;
    for (i = 0; i < 1; i++)
        s = inc(s);
    CHECK(s == 1);
    return failures;
}
