/* Inline functions: bodies expanded at their calls must keep the meaning
   of a call. Arguments are evaluated once each, parameters are private
   copies, every return ends the body with its value, and the body sees
   the names of its definition, not the caller's. */
#include "check.h"

struct pt {
    int x, y;
};

static int count;           /* the body's `count`, not the caller's */
static int calls;
static int g;
static const int table[4] = {10, 20, 30, 40};

int next(void) { return ++calls; }

@inline int sq(int x) { return x * x; }
@inline int sum_sq(int a, int b) { return sq(a) + sq(b); }
@inline int quad(int x) { return sq(sq(x)); }

@inline int clamp(int v, int lo, int hi)
{
    if (v < lo)
        return lo;
    if (v > hi)
        return hi;
    return v;
}

@inline int ignore(int unused) { return 7; }
@inline int peek_then_set(int v)
{
    g = 100;
    return v;
}
@inline int read_after_write(int a, int *p)
{
    *p = 5;
    return a;
}
@inline void set(int *p, int v) { *p = v; }
@inline void tick(void) { count++; }
@inline int bump(void) { return ++count; }
@inline int lookup(int i) { return table[i & 3]; }
@inline int sum_to(int n)
{
    int s = 0, i;
    for (i = 1; i <= n; i++)
        s += i;
    return s;
}
@inline int twice(int n)
{
    n = n * 2;  /* assigns its own copy */
    return n;
}
@inline struct pt make_pt(int x, int y)
{
    struct pt p;
    p.x = x;
    p.y = y;
    return p;
}
@inline int as_schar(signed char c) { return c; }
@inline int first_odd(int *v, int n)
{
    int i;
    for (i = 0; i < n; i++) {
        if (v[i] & 1)
            goto found;
    }
    return -1;
found:
    return v[i];
}
@inline void store_if_positive(int *p, int v)
{
    if (v <= 0)
        return;
    *p = v;
}
@inline int below(int i, int n) { return i < n; }
@inline int next_even(int i) { return (i + 2) & ~1; }
@inline int get_g(void) { return g; }
@inline int counted(int v) { return (calls++, v); }

int wrap(int v) { return clamp(v, 0, 10); }

int main(void)
{
    int a = 3, b = 4, r, i, k;
    int count = 1000; /* hides the file-scope count from main, not from tick() */
    int arr[5] = {4, 8, 9, 11, 2};
    unsigned char big = 200;
    struct pt p;
    int z = sq(5);

    CHECK(z == 25);
    CHECK(sq(3) == 9);
    r = sq(a) + sq(b);
    CHECK(r == 25);
    CHECK(sum_sq(a, b) == 25);
    CHECK(quad(3) == 81);
    CHECK(sq(a + 1) * 2 == 32);

    /* early returns reach one end */
    CHECK(clamp(-5, 0, 10) == 0);
    CHECK(clamp(50, 0, 10) == 10);
    CHECK(clamp(a, 0, 10) == 3);
    CHECK(wrap(11) == 10 && wrap(-1) == 0 && wrap(4) == 4);

    /* each argument once, side effects kept */
    calls = 0;
    r = sum_sq(next(), next());
    CHECK(calls == 2 && r == 1 * 1 + 2 * 2);
    k = 0;
    r = ignore(k++);
    CHECK(r == 7 && k == 1);
    i = 2;
    r = sq(i++);
    CHECK(r == 4 && i == 3);

    /* parameters are copies taken at the call */
    g = 5;
    CHECK(peek_then_set(g) == 5 && g == 100);
    r = 1;
    CHECK(read_after_write(r, &r) == 1 && r == 5);
    i = 6;
    CHECK(twice(i) == 12 && i == 6);
    set(&i, 9);
    CHECK(i == 9);
    CHECK(as_schar(big) == -56);

    /* names of the definition */
    tick();
    tick();
    CHECK(count == 1000);
    CHECK(bump() == 3);

    /* short-circuit and choice keep their conditions */
    r = 0 && bump();
    CHECK(r == 0 && bump() == 4);
    r = a > 0 || bump();
    CHECK(r == 1 && bump() == 5);
    r = a > 100 ? sq(2) : sq(3);
    CHECK(r == 9);
    r = a < 100 ? sq(2) : 0;
    CHECK(r == 4);

    /* a comma runs its left side first */
    r = (g = 7, get_g());
    CHECK(r == 7);
    calls = 0;
    CHECK(counted(5) == 5 && counted(b) == 4 && calls == 2);

    /* static data, loops and labels inside a body */
    CHECK(lookup(2) == 30 && lookup(5) == 20);
    CHECK(sum_to(10) == 55);
    CHECK(first_odd(arr, 5) == 9);
    CHECK(first_odd(arr, 2) == -1);
    i = 0;
    store_if_positive(&i, -3);
    CHECK(i == 0);
    store_if_positive(&i, 3);
    CHECK(i == 3);

    /* structures returned */
    p = make_pt(2, 3);
    CHECK(p.x == 2 && p.y == 3);
    CHECK(make_pt(a, b).y == 4);

    /* in the tests and steps of statements */
    i = 0;
    while (below(i, 5))
        i++;
    CHECK(i == 5);
    k = 0;
    for (i = 0; i < 10; i = next_even(i))
        k++;
    CHECK(k == 5);
    i = 0;
    do
        i++;
    while (sq(i) < 50);
    CHECK(i == 8);
    switch (sq(a)) {
    case 9:
        r = 1;
        break;
    default:
        r = 2;
        break;
    }
    CHECK(r == 1);
    if (sq(a) > 8 && sq(b) > 15)
        r = 10;
    else
        r = 20;
    CHECK(r == 10);
    return failures;
}
