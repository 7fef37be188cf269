/* Initializers: scalars, arrays with and without size, partial lists filled
   with zeros, nested braces, strings in arrays and pointers, addresses of
   objects and members, automatic aggregates. */
#include "check.h"

int scalar = -5;
int partial[5] = {1, 2};
int sized[] = {7, 8, 9};
char text[] = "abc";
char exact[3] = "xyz";
char *pointer = "hello";
struct pair { char c; int v; } pairs[2] = {{'a', 1}, {'b', 2}};
int matrix[2][3] = {{1, 2, 3}, {4}};
int *address = &sized[1];
int *member_address = &pairs[1].v;
long big = 0x12345678L;
unsigned char byte = 0x1FF & 0xFF;

int main(void)
{
    int local[4] = {5, 6};
    struct pair p = {'z', 26};
    static int counter = 3;

    CHECK(scalar == -5);
    CHECK(partial[1] == 2 && partial[2] == 0 && partial[4] == 0);
    CHECK(sizeof sized == 6 && sized[2] == 9);
    CHECK(sizeof text == 4 && text[3] == 0 && text[2] == 'c');
    CHECK(exact[2] == 'z');
    CHECK(pointer[4] == 'o' && pointer[5] == 0);
    CHECK(pairs[1].c == 'b' && pairs[1].v == 2);
    CHECK(matrix[1][0] == 4 && matrix[1][2] == 0 && matrix[0][2] == 3);
    CHECK(*address == 8);
    CHECK(*member_address == 2);
    CHECK(big == 0x12345678L);
    CHECK(byte == 0xFF);
    CHECK(local[1] == 6 && local[3] == 0);
    CHECK(p.c == 'z' && p.v == 26);
    CHECK(++counter == 4);
    return failures;
}
