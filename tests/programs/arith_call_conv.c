/* Conversions at calls and returns under prototypes: arguments convert to
   the parameter types, return values to the declared return type. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_call_conv: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static unsigned char ret_uc(int v) { return v; }
static signed char ret_sc(int v) { return v; }
static int ret_int(long v) { return v; }
static long ret_long(int v) { return v; }
static unsigned long ret_ul(int v) { return v; }
static long add_l(long a, long b) { return a + b; }
static unsigned add_u(unsigned a, unsigned b) { return a + b; }
static int take_uc(unsigned char c) { return c; }
static int take_sc(signed char c) { return c; }
static long mix(signed char a, unsigned char b, short c, unsigned short d, long e)
{
    return a + b + c + d + e;
}

int main(void)
{
    int i = 300;
    check(1, ret_uc(300) == 44);
    check(2, ret_sc(200) == -56);
    check(3, ret_int(70000L) == 4464);
    check(4, ret_long(-5) == -5L);
    check(5, ret_ul(-1) == 0xFFFFFFFFUL);     /* int -1 converted to unsigned long */
    check(6, add_l(32767, 1) == 32768L);      /* converted before the addition */
    check(7, add_u(65535u, 2) == 1);
    check(8, take_uc(i) == 44);
    check(9, take_sc(i) == 44);
    check(10, take_uc(-1) == 255 && take_sc(255) == -1);
    check(11, mix(-1, 255, -1000, 65535u, 100000L) == 164789L);  /* -1 + 255 - 1000 + 65535 + 100000 */
    check(12, mix(127, 0, 0, 0, -127L) == 0);
    check(13, add_l(i, i) * 200 == 120000L);
    return first_fail;
}
