/* Compound literals: unnamed objects made by (type){ ... }, in blocks and
   at file scope; lvalues, addresses, arrays that decay, one object per
   literal that keeps its value for the block, a fresh initialization each
   time the literal is evaluated. Expected values follow from C's rules. */
#include "check.h"

struct point { int x, y; };
struct box { struct point lo, hi; char tag; };

/* File scope: static objects, writable unless their type says const. */
static struct point *origin = &(struct point){ 3, 4 };
static int *table = (int[]){ 10, 20, 30, 40 };
static const char *word = (const char[]){ 'o', 'k', 0 };
static int table_size = sizeof (int[]){ 1, 2, 3, 4, 5 };
static int (*row)[3] = &(int[]){ 5, 6, 7 };

static int sum_point(struct point p) { return p.x + p.y; }

static struct point swap(struct point p) { return (struct point){ p.y, p.x }; }

static int read3(const int *p) { return p[0] * 100 + p[1] * 10 + p[2]; }

static int area(const struct box *b) { return (b->hi.x - b->lo.x) * (b->hi.y - b->lo.y); }

static int twice(int v) { return 2 * v; }

int main(void)
{
    int i, k = 5;

    /* An array literal decays to a pointer to its first element; its size
       comes from the initializer and sizeof sees the whole array. */
    int *p = (int[]){ 1, 2, 3 };
    CHECK(p[0] == 1 && p[1] == 2 && p[2] == 3);
    CHECK((sizeof (int[]){ 1, 2, 3 } == 3 * sizeof(int)));
    CHECK(sizeof (struct point){ 0 } == sizeof(struct point));
    CHECK((read3((int[]){ 7, 8, 9 }) == 789));
    CHECK(((int[]){ 4, 5, 6 }[2] == 6));
    {
        /* & of an array literal points to the whole array. */
        int (*pa)[2] = &(int[]){ 1, 2 };
        int *q = &(int[]){ 3, 4 }[1];
        CHECK(sizeof *pa == 2 * sizeof(int) && (*pa)[1] + *q == 6);
        CHECK(sizeof *row == 3 * sizeof(int) && (*row)[2] == 7);
    }
    p[1] = 20;  /* the object is writable and stays for the block */
    CHECK(p[0] + p[1] + p[2] == 24);

    /* Scalars and structures as lvalues and through their address. */
    CHECK(((int){ 1 } = 2) == 2);
    CHECK(++(int){ k } == 6);
    {
        int *q = &(int){ 41 };
        *q += 1;
        CHECK(*q == 42);
        struct point *sp = &(struct point){ .y = k, .x = k * 2 };
        CHECK(sp->x == 10 && sp->y == 5);
        sp->y = 7;
        CHECK(sp->x + sp->y == 17);
        CHECK(((struct point){ 1, 2 }.y == 2));
    }

    /* Two literals alive at once are two objects, in one expression and
       across statements of one block. */
    {
        int *a = &(int){ 1 };
        int *b = &(int){ 2 };
        CHECK(a != b && *a == 1 && *b == 2);
        *a = 3;
        CHECK(*b == 2);
        struct point *u = &(struct point){ 1, 1 }, *v = &(struct point){ 2, 2 };
        CHECK(u != v && u->x + v->x == 3);
        int *c = (int[]){ 5, 6 };
        CHECK(*a == 3 && *b == 2 && c[0] == 5 && c != a && c + 1 != b);
        CHECK(&(int){ 0 } != &(int){ 0 });
    }

    /* Structures passed to and returned from functions. */
    CHECK((sum_point((struct point){ 30, 12 }) == 42));
    CHECK((swap((struct point){ 1, 9 }).x == 9));
    struct point s = swap((struct point){ k, 2 * k });
    CHECK(s.x == 10 && s.y == 5);
    s = (struct point){ s.y, 0 };
    CHECK(s.x == 5 && s.y == 0);

    /* Nested literals and literals holding run-time values. */
    CHECK((area(&(struct box){ { 1, 2 }, { 4, 7 }, 'b' }) == 15));
    CHECK((area(&(struct box){ .hi = { k, twice(k) }, .lo.y = (int){ 1 } }) == 45));
    {
        struct box b = (struct box){ .hi = { 3, (struct point){ 0, 3 }.y }, .tag = 'z' };
        CHECK((b.lo.x == 0 && b.hi.x == 3 && b.hi.y == 3 && b.tag == 'z'));
        int *inner = ((struct { int pad, v[2]; }){ 0, { 11, *(int[]){ 22 } } }).v;
        CHECK(inner[0] + inner[1] == 33);
    }

    /* Inside the initializer of a local array of structures. */
    {
        struct point pts[3] = { { (int){ 3 }, 4 }, { k, (struct point){ 7, 8 }.y }, [2].x = *(int[]){ 9 } };
        CHECK(pts[0].x == 3 && pts[0].y == 4 && pts[1].x == 5 && pts[1].y == 8);
        CHECK(pts[2].x == 9 && pts[2].y == 0);
    }

    /* In a loop body the literal is initialized again on each evaluation:
       what the previous iteration stored is gone. */
    {
        int total = 0;
        for (i = 0; i < 4; i++) {
            int *r = (int[]){ i, i * i, 0 };
            CHECK(r[2] == 0);
            r[2] = r[0] + r[1];
            total += r[2];
        }
        CHECK(total == 0 + 2 + 6 + 12);
    }

    /* Reached again by a jump in the same block: the same object, given
       its initial value again, so the pointer kept from the first pass
       sees the new value. */
    {
        struct point *first = 0, *now;
        int j = 0;
    again:
        now = first, first = &(struct point){ j++, 0 };
        if (j < 2)
            goto again;
        CHECK(now == first && now->x == 1);
    }

    /* File-scope literals are static objects; a writable one keeps a
       store made through a pointer to it. */
    CHECK(origin->x == 3 && origin->y == 4);
    origin->x = 30;
    CHECK(origin->x + origin->y == 34);
    CHECK(table[0] + table[3] == 50);
    table[3] = 41;
    CHECK(table[3] == 41);
    CHECK(word[0] == 'o' && word[1] == 'k' && word[2] == 0);
    CHECK(table_size == 5 * sizeof(int));

    return failures;
}
