/* Pointers and arrays: indexing, pointer arithmetic scaled by the element
   size, differences, walking with ++, pointers to pointers, far pointers. */
#include "check.h"

int table[6] = {10, 20, 30, 40, 50, 60};
long longs[3] = {100000L, -2L, 7L};
@far int far_table[4] = {1, 2, 3, 4};

int sum(const int *p, int n)
{
    int s = 0;
    while (n-- > 0)
        s += *p++;
    return s;
}

void swap(int *a, int *b)
{
    int t = *a;
    *a = *b;
    *b = t;
}

int main(void)
{
    int *p = table, *q = &table[5];
    int **pp = &p;
    long *lp = longs;
    @far int *fp = far_table;
    int a = 1, b = 2;
    char bytes[4];
    char *c = bytes;

    CHECK(sizeof fp == 4);
    CHECK(*(p + 2) == 30);
    CHECK(q - p == 5);
    CHECK(p[3] == 40 && 3[p] == 40);
    CHECK(**pp == 10);
    (*pp)++;
    CHECK(*p == 20);
    CHECK(sum(table, 6) == 210);
    CHECK(lp[1] == -2L && *(lp + 2) == 7L);
    CHECK((char *)&longs[1] - (char *)&longs[0] == 4);
    swap(&a, &b);
    CHECK(a == 2 && b == 1);
    fp += 2;
    CHECK(*fp == 3);
    fp[1] = 9;
    CHECK(far_table[3] == 9);
    c[0] = 1; c[1] = 2; c[2] = 3; c[3] = 4;
    CHECK(*(int *)bytes == 0x0102);     /* big-endian */
    CHECK(*(long *)bytes == 0x01020304L);
    CHECK(&table[2] > &table[1]);
    CHECK(q != p);
    return failures;
}
