/* Recursion: frames of arguments and locals stay apart on the model's stack. */
#include "check.h"

int fib(int n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }

unsigned int ackermann(unsigned int m, unsigned int n)
{
    if (m == 0)
        return n + 1;
    if (n == 0)
        return ackermann(m - 1, 1);
    return ackermann(m - 1, ackermann(m, n - 1));
}

long hanoi_moves(int disks, int from, int to, int via)
{
    long moves;
    if (disks == 0)
        return 0;
    moves = hanoi_moves(disks - 1, from, via, to);
    moves += 1;
    return moves + hanoi_moves(disks - 1, via, to, from);
}

int gcd(int a, int b) { return b == 0 ? a : gcd(b, a % b); }

int main(void)
{
    CHECK(fib(15) == 610);
    CHECK(ackermann(2, 3) == 9);
    CHECK(hanoi_moves(10, 1, 3, 2) == 1023L);
    CHECK(gcd(1071, 462) == 21);
    return failures;
}
