/* Locals whose lifetimes the compiler follows: stores nobody reads are
   dropped, locals whose lifetimes never overlap share one place in the
   frame. Each function keeps several values alive across loops, calls,
   switch cases, gotos and short-circuit operators, and checks that none
   of them was lost to a shared place or a dropped store.
   host: yes */
#include "check.h"

static int calls;

/* An opaque value: the compiler cannot know what comes back. */
static int id(int v)
{
    ++calls;
    return v;
}

static void set_to(int *p, int v) { *p = v; }

/* A value made before a loop and read after it, next to locals that live
   only inside one trip. */
static int across_loop(int n)
{
    int before, inside, t = 0;
    before = id(100);
    while (n-- > 0) {
        inside = id(n);
        t += inside;
    }
    return before + t;
}

/* One local reused in every trip, another one's last read before the next
   is born: the two may share, and the values must still be right. */
static int reused(int n)
{
    int i, a, b, sum = 0;
    for (i = 0; i < n; i++) {
        a = id(i * 2);
        sum += a;
        b = id(i * 3);
        sum += b;
    }
    return sum;
}

/* Values live across calls. */
static int across_calls(void)
{
    int a = id(1), b = id(2), c = id(3);
    id(a + b);
    id(c);
    return a * 100 + b * 10 + c;
}

/* A value set before a switch, read in one case only; locals of the cases. */
static int across_cases(int k)
{
    int kept = id(7), r = 0, x, y;
    switch (k) {
    case 0:
        x = id(10);
        r = x + 1;
        break;
    case 1:
        y = id(20);
        r = y + kept;
        break;
    case 2:
        r = kept;
        /* falls through */
    default:
        x = id(30);
        r += x;
        break;
    }
    return r;
}

/* Addresses taken: the functions write through them, so no store to
   these locals may be dropped and they never share. */
static int through_pointers(void)
{
    int a, b, c;
    a = 1;
    set_to(&b, 2);
    c = a + b;
    set_to(&a, c * 10);
    return a + b;
}

/* The first local's last read comes before the second is set: if they
   share, the second overwrites a value nobody needs any more. */
static int after_last_use(void)
{
    int first, second, r;
    first = id(5);
    r = first * 2;
    second = id(9);
    r += second;
    second += id(1);
    return r * 100 + second;
}

/* A store that only one path reads again. */
static int one_path_reads(int c)
{
    int x;
    x = id(1);
    if (c)
        x = id(2);
    return x;
}

/* The right operand of && and || may not run: the store before them is
   what the other path reads. */
static int short_circuit(int c)
{
    int x, y, r;
    x = id(1);
    if (c && (x = id(2)) != 0)
        r = 10;
    else
        r = 20;
    y = id(3);
    if (c || (y = id(4)) != 0)
        r += 1;
    return r * 100 + x * 10 + y;
}

/* A conditional expression that stores on one side only. */
static int conditional_store(int c)
{
    int x = id(5), r;
    r = c ? (x = id(6)) : id(7);
    return r * 10 + x;
}

/* Two locals changed in one expression, one of them never read again. */
static int two_stores(void)
{
    int a, b, r;
    b = id(4);
    a = b++;
    r = id(a);
    return r;
}

/* Going back with a goto keeps a value alive over the jump. */
static int backwards(int n)
{
    int kept, step, t = 0;
    kept = id(1000);
again:
    step = id(n);
    t += step;
    if (--n > 0)
        goto again;
    return kept + t;
}

/* A do loop with continue, a value read only in the first trip of the
   test, and one set in the body and read after the loop. */
static int do_continue(int n)
{
    int i = 0, last = -1, odd = 0;
    do {
        if (i & 1) {
            odd++;
            continue;
        }
        last = id(i);
    } while (++i < n);
    return last * 100 + odd;
}

/* Locals of nested and sibling blocks. */
static int nested(int n)
{
    int outer = id(3), r = 0;
    {
        int a = id(n);
        r += a;
        {
            int b = id(a * 2);
            r += b;
        }
    }
    {
        int c = id(outer);
        r += c;
    }
    {
        long d = id(40);
        r += (int)d;
    }
    return r + outer;
}

/* Values live around a loop whose body stores a fresh value into a local
   that also carried a value into the loop. */
static int carried(int n)
{
    int v = id(1), w = 0, k;
    for (k = 0; k < n; k++) {
        w += v;
        v = id(v + 1);
    }
    return w * 10 + v;
}

/* More locals than the analysis follows: the ones it leaves alone keep
   their own places. */
static int many(void)
{
    int a0 = id(0), a1 = id(1), a2 = id(2), a3 = id(3), a4 = id(4), a5 = id(5), a6 = id(6), a7 = id(7);
    int b0 = id(10), b1 = id(11), b2 = id(12), b3 = id(13), b4 = id(14), b5 = id(15), b6 = id(16), b7 = id(17);
    int c0 = id(20), c1 = id(21), c2 = id(22), c3 = id(23), c4 = id(24), c5 = id(25), c6 = id(26), c7 = id(27);
    int d0 = id(30), d1 = id(31), d2 = id(32), d3 = id(33), d4 = id(34), d5 = id(35), d6 = id(36), d7 = id(37);
    int e0 = id(40), e1 = id(41), e2 = id(42);
    int s1 = a0 + a1 + a2 + a3 + a4 + a5 + a6 + a7;
    int s2 = b0 + b1 + b2 + b3 + b4 + b5 + b6 + b7;
    int s3 = c0 + c1 + c2 + c3 + c4 + c5 + c6 + c7;
    int s4 = d0 + d1 + d2 + d3 + d4 + d5 + d6 + d7;
    int s5 = e0 + e1 + e2 + a0 + e0;
    return s1 + s2 + s3 + s4 + s5;
}

/* Floating and long locals next to ints: only equal sizes may share. */
static long mixed_sizes(void)
{
    int i = id(2);
    long l;
    double d;
    l = (long)id(7000) * 20 * i;
    d = l / 2.0;
    i = id(3);
    return (long)d + i;
}

int main(void)
{
    CHECK(across_loop(4) == 106);
    CHECK(reused(4) == 30);
    CHECK(across_calls() == 123);
    CHECK(across_cases(0) == 11 && across_cases(1) == 27 && across_cases(2) == 37 && across_cases(5) == 30);
    CHECK(through_pointers() == 32);
    CHECK(after_last_use() == 1910);
    CHECK(one_path_reads(0) == 1 && one_path_reads(1) == 2);
    CHECK(short_circuit(0) == 2114 && short_circuit(1) == 1123);
    CHECK(conditional_store(1) == 66 && conditional_store(0) == 75);
    CHECK(two_stores() == 4);
    CHECK(backwards(3) == 1006);
    CHECK(do_continue(6) == 403 && do_continue(1) == 0);
    CHECK(nested(5) == 5 + 10 + 3 + 40 + 3);
    CHECK(carried(3) == 64);
    CHECK(many() == 28 + 108 + 188 + 268 + 123 + 0 + 40);
    CHECK(mixed_sizes() == 140003L);
    CHECK(calls > 50);
    return failures;
}
