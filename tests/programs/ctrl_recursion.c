/* host: yes */
/* Recursion: factorial in long, Fibonacci, a small Ackermann value, mutual
   recursion, and a recursive digit sum. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_recursion: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static long fact(int n) { return n <= 1 ? 1L : n * fact(n - 1); }
static int fib(int n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }
static int ack(int m, int n)
{
    if (m == 0)
        return n + 1;
    if (n == 0)
        return ack(m - 1, 1);
    return ack(m - 1, ack(m, n - 1));
}
static int is_odd(unsigned n);
static int is_even(unsigned n) { return n == 0 ? 1 : is_odd(n - 1); }
static int is_odd(unsigned n) { return n == 0 ? 0 : is_even(n - 1); }
static unsigned digit_sum(unsigned long v) { return v ? (unsigned)(v % 10) + digit_sum(v / 10) : 0; }
static int gcd(int a, int b) { return b ? gcd(b, a % b) : a; }
static int hanoi(int n) { return n ? 2 * hanoi(n - 1) + 1 : 0; }

int main(void)
{
    check(1, fact(10) == 3628800L && fact(12) == 479001600L);
    check(2, fact(8) == 40320L);                  /* still fits 16 bits unsigned */
    check(3, fib(20) == 6765 && fib(23) == 28657);
    check(4, ack(2, 3) == 9 && ack(3, 3) == 61);
    check(5, is_even(100) && is_odd(37) && !is_odd(0));
    check(6, digit_sum(4294967295UL) == 4 + 2 + 9 + 4 + 9 + 6 + 7 + 2 + 9 + 5);
    check(7, gcd(1071, 462) == 21 && gcd(17, 5) == 1);
    check(8, hanoi(15) == 32767);
    return first_fail;
}
