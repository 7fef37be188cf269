/* Function pointers: a dispatch table, callbacks, pointers compared and
   passed as arguments, a function returning a function pointer. */
#include "check.h"

int add(int a, int b) { return a + b; }
int sub(int a, int b) { return a - b; }
int mul(int a, int b) { return a * b; }

int (*table[3])(int, int) = {add, sub, mul};

int apply(int (*op)(int, int), int a, int b) { return op(a, b); }

int fold(const int *v, int n, int (*op)(int, int), int start)
{
    int i;
    for (i = 0; i < n; i++)
        start = op(start, v[i]);
    return start;
}

int (*pick(char c))(int, int)
{
    return c == '+' ? add : c == '-' ? sub : mul;
}

int main(void)
{
    int values[4] = {1, 2, 3, 4};
    int (*f)(int, int) = sub;
    CHECK(table[0](2, 3) == 5);
    CHECK(table[2](6, 7) == 42);
    CHECK(apply(f, 10, 4) == 6);
    CHECK((*f)(1, 1) == 0);
    CHECK(fold(values, 4, add, 0) == 10);
    CHECK(fold(values, 4, mul, 1) == 24);
    CHECK(pick('-') == sub);
    CHECK(pick('*')(3, 3) == 9);
    CHECK(table[1] != table[2]);
    return failures;
}
