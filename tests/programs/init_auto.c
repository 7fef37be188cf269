/* Automatic initializers: evaluated on every entry, from run-time values,
   with arrays and structs partly given and the rest zero. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("init_auto: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct cfg {
    int rate;
    long limit;
    char name[4];
};

static int entries;

static int run(int base)
{
    int a = base * 2, b = a + 1;
    long l = a * 1000L;
    unsigned char c = base + 250;
    int arr[5] = { base, base + 1 };
    struct cfg cfg = { 9600, 70000L };
    char word[6] = "ab";
    int sum = 0, i;

    entries++;
    for (i = 0; i < 5; i++)
        sum += arr[i];
    if (b != a + 1 || l != base * 2000L)
        return 1;
    if (sum != 2 * base + 1)
        return 2;
    if (cfg.rate != 9600 || cfg.limit != 70000L || cfg.name[0] || cfg.name[3])
        return 3;
    if (word[1] != 'b' || word[2] || word[5])
        return 4;
    if (c != (unsigned char)(base + 250))
        return 5;
    arr[4] = 77;                /* must not survive into the next call */
    word[4] = 'x';
    return 0;
}

int main(void)
{
    int k;
    for (k = 0; k < 4; k++)
        check(1 + k, run(k * 3) == 0);
    check(10, entries == 4);
    {
        long big = 0x12345678L;
        int low = (int)big, high = (int)(big >> 16);
        unsigned char wrapped = 1000;
        check(11, low == 0x5678 && high == 0x1234 && wrapped == 232);   /* 1000 - 3 * 256 */
    }
    return first_fail;
}
