/* Static initializers of every scalar type, arrays sized by their
   initializer, strings, addresses, and zero-filled remainders. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("init_static: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static signed char sc = -5;
static unsigned char uc = 250;
static short sh = -30000;
static unsigned short us = 60000u;
static int in = -1;
static unsigned un = 0xFFFF;
static long lo = -100000L;
static unsigned long ul = 4000000000UL;
static int sized[] = { 1, 2, 3, 4, 5 };
static char text[] = "hello";
static char fixed[8] = "abc";
static char *msg = "message";
static int *ptr = &sized[3];
static int partial[6] = { 9, 8 };
static long longs[3] = { 70000L };
static int zero;
static unsigned char narrow = 0x1234 & 0xFF;
static int expr = sizeof(long) * 3 + 1;
static long mixed = 40000u;                 /* 40000 as an unsigned int, then widened */
static int wrapped = (int)70000L;
static char *chained = "chained" + 3;

int main(void)
{
    check(1, sc == -5 && uc == 250 && sh == -30000 && us == 60000u);
    check(2, in == -1 && un == 65535u && lo == -100000L && ul == 4000000000UL);
    check(3, sizeof sized == 5 * sizeof(int) && sized[4] == 5);
    check(4, sizeof text == 6 && text[4] == 'o' && text[5] == 0);
    check(5, fixed[2] == 'c' && fixed[3] == 0 && fixed[7] == 0);
    check(6, msg[0] == 'm' && msg[6] == 'e');
    check(7, *ptr == 4 && ptr - sized == 3);
    check(8, partial[1] == 8 && partial[2] == 0 && partial[5] == 0);
    check(9, longs[0] == 70000L && longs[2] == 0);
    check(10, zero == 0 && narrow == 0x34 && expr == 13);
    check(11, mixed == 40000L);
    check(12, wrapped == 4464);              /* 70000 - 65536 */
    check(13, chained[0] == 'i' && chained[2] == 'e');
    return first_fail;
}
