/* Structs: member layout without padding, copies, arguments and results by
   value, nested members, arrays of structs and pointers to members. */
#include "check.h"

struct point { int x, y; };
struct rect { struct point min, max; char tag; };

struct point make_point(int x, int y)
{
    struct point p;
    p.x = x;
    p.y = y;
    return p;
}

int area(struct rect r) { return (r.max.x - r.min.x) * (r.max.y - r.min.y); }

void grow(struct rect *r, int by)
{
    r->min.x -= by;
    r->min.y -= by;
    r->max.x += by;
    r->max.y += by;
}

struct point points[3] = {{1, 2}, {3, 4}, {5, 6}};

int main(void)
{
    struct rect r, copy;
    struct point *pp = points;
    int *member;

    CHECK(sizeof(struct point) == 4);
    r.min = make_point(0, 0);
    r.max = make_point(4, 3);
    r.tag = 'r';
    CHECK(area(r) == 12);
    copy = r;
    grow(&r, 1);
    CHECK(area(r) == 30);
    CHECK(area(copy) == 12);
    CHECK(copy.tag == 'r');
    CHECK(pp[2].y == 6);
    CHECK((pp + 1)->x == 3);
    member = &points[1].y;
    *member = 40;
    CHECK(points[1].y == 40);
    CHECK(make_point(7, 8).y == 8);
    CHECK((char *)&r.max - (char *)&r == 4);
    return failures;
}
