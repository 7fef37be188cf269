/* stddef.h, stdbool.h and iso646.h: the types against what the compiler
   gives sizeof and pointer differences, offsetof against the addresses
   of members and as a constant (array size, case label, #if-free static
   initializer), bool's values, and every operator spelling. */
#include <stddef.h>
#include <stdbool.h>
#include <iso646.h>
#include <limits.h>
#include "check.h"

#define UNSIGNED(x) ((x) - (x) - 1 > 0)

struct inner { char tag; long value; };
struct record {
    char kind;
    int count;
    char name[3];
    struct inner in;
    long total;
    unsigned char flags[5];
};

/* offsetof as constants. */
static char before_total[offsetof(struct record, total)];
static const size_t offsets[] = { offsetof(struct record, kind), offsetof(struct record, count),
                                  offsetof(struct record, name), offsetof(struct record, in),
                                  offsetof(struct record, total), offsetof(struct record, flags) };

static int which(size_t offset)
{
    switch (offset) {
    case offsetof(struct record, count): return 1;
    case offsetof(struct record, total): return 2;
    }
    return 0;
}

#if true != 1 || false != 0 || __bool_true_false_are_defined != 1
static const int pp_bool = 0;
#else
static const int pp_bool = 1;
#endif

int main(void)
{
    struct record r;
    char *base = (char *)&r;
    char *p = r.name, *q = r.name + 2;
    wchar_t wide[] = L"ab";
    bool yes = true, no = false;
    int x = 6, y = 3;

    /* size_t and ptrdiff_t */
    CHECK(sizeof(size_t) == sizeof(sizeof(int)) && UNSIGNED(sizeof(int)) && (size_t)-1 > 0);
    CHECK(sizeof(ptrdiff_t) == sizeof(q - p) && q - p == 2 && p - q == -2 && (ptrdiff_t)-1 < 0);
    /* wchar_t: wide literals hold one plain char per character. */
    CHECK(sizeof(wchar_t) == 1 && sizeof wide == 3 * sizeof(wchar_t) && wide[1] == 'b' && wide[2] == 0);
    CHECK(((wchar_t)-1 < 0) == (CHAR_MIN < 0));
    /* NULL */
    p = NULL;
    CHECK(p == 0 && !p && sizeof(NULL) == sizeof(void *));

    /* offsetof: each member, a nested member and an array element, against
       the addresses of a real object. */
    CHECK(offsetof(struct record, kind) == 0);
    CHECK(offsetof(struct record, count) == (size_t)((char *)&r.count - base));
    CHECK(offsetof(struct record, name) == (size_t)((char *)r.name - base));
    CHECK(offsetof(struct record, in) == (size_t)((char *)&r.in - base));
    CHECK(offsetof(struct record, in.value) == (size_t)((char *)&r.in.value - base));
    CHECK(offsetof(struct record, total) == (size_t)((char *)&r.total - base));
    CHECK(offsetof(struct record, flags[3]) == (size_t)((char *)&r.flags[3] - base));
    CHECK(offsetof(struct inner, value) == (size_t)((char *)&r.in.value - (char *)&r.in));
    CHECK(offsetof(struct record, flags) + sizeof r.flags <= sizeof r);
    CHECK(sizeof(offsetof(struct record, total)) == sizeof(size_t) && UNSIGNED(offsetof(struct record, total)));
    CHECK(sizeof before_total == offsetof(struct record, total));
    CHECK(offsets[1] == offsetof(struct record, count) && offsets[4] == offsetof(struct record, total));
    CHECK(offsets[3] + offsetof(struct inner, value) == offsetof(struct record, in.value));
    CHECK(which(offsetof(struct record, count)) == 1 && which(offsets[4]) == 2 && which(offsets[0]) == 0);

    /* bool */
    CHECK(pp_bool);
    CHECK(yes == 1 && no == 0 && true == (1 < 2) && false == (2 < 1));
    yes = x > y;
    no = x < y;
    CHECK(yes == true && no == false && !no);
    CHECK(sizeof(bool) == sizeof(int));

    /* iso646.h */
    CHECK((x and y) == 1 && (no and yes) == 0 && (no or yes) == 1 && (not no) == 1);
    CHECK((x bitand y) == 2 && (x bitor y) == 7 && (x xor y) == 5 && (compl x) == -7);
    CHECK((x not_eq y) == 1 && (x not_eq 6) == 0);
    x and_eq 3;
    CHECK(x == 2);
    x or_eq 8;
    CHECK(x == 10);
    x xor_eq 15;
    CHECK(x == 5);
    return failures;
}
