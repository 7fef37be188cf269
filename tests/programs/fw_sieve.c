/* host: yes */
/* The sieve of Eratosthenes below 1000 (168 primes), with a sum and the
   largest prime as further known answers. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_sieve: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static char composite[1000];

int main(void)
{
    int i, j, count = 0, largest = 0;
    long sum = 0;
    for (i = 2; i * i < 1000; i++)
        if (!composite[i])
            for (j = i * i; j < 1000; j += i)
                composite[j] = 1;
    for (i = 2; i < 1000; i++)
        if (!composite[i]) {
            count++;
            sum += i;
            largest = i;
        }
    check(1, count == 168);
    check(2, sum == 76127L);
    check(3, largest == 997);
    check(4, !composite[2] && composite[999] && !composite[991]);
    return first_fail;
}
