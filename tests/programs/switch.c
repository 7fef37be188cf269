/* Switch: dense tables, sparse lists, fall-through, default in the middle,
   no default, negative cases, char and long values. */
#include "check.h"

int dense(int v)
{
    switch (v) {
    case 0: return 10;
    case 1: return 11;
    case 2: return 12;
    case 3:
    case 4: return 34;
    case 5: return 15;
    case 6: return 16;
    default: return -1;
    }
}

int sparse(unsigned int v)
{
    int r = 0;
    switch (v) {
    case 1: r = 1; break;
    case 100: r = 2; break;
    default: r = 9; break;
    case 40000u: r = 3; break;
    case 1000: r = 4;
    case 1001: r += 5; break;
    }
    return r;
}

int by_char(char c)
{
    switch (c) {
    case 'a': case 'e': case 'i': case 'o': case 'u': return 1;
    case -1: return 2;
    }
    return 0;
}

int by_long(long v)
{
    switch (v) {
    case 70000L: return 1;
    case -70000L: return 2;
    case 1: return 3;
    }
    return 0;
}

int main(void)
{
    int i, total = 0;
    for (i = -1; i <= 7; i++)
        total += dense(i);
    CHECK(total == -1 + 10 + 11 + 12 + 34 + 34 + 15 + 16 - 1);
    CHECK(sparse(1) == 1 && sparse(100) == 2 && sparse(40000u) == 3);
    CHECK(sparse(1000) == 9 && sparse(1001) == 5 && sparse(7) == 9);
    /* case -1 is the int -1: a plain char that is unsigned never equals it. */
    CHECK(by_char('e') == 1 && by_char('x') == 0 && by_char(-1) == ((char)-1 < 0 ? 2 : 0));
    CHECK(by_long(70000L) == 1 && by_long(-70000L) == 2 && by_long(1) == 3 && by_long(4464) == 0);
    return failures;
}
