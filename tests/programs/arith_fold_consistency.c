/* The same expressions computed from constants (folded while compiling) and
   from values only known at run time must agree, and match the 16/32-bit
   results. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_fold_consistency: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

/* Values passed through a table so that no expression below can be folded. */
static int ints[] = { 40000 - 65536, -7, 2, 0x1234, 300, -1, 8 };
static long longs[] = { 1000L, 100000L, -3L };

#define V(i) ints[i]
#define L(i) longs[i]

int main(void)
{
    unsigned u40000 = (unsigned)V(0);     /* 40000 as a 16-bit unsigned */

    check(1, 40000u * 2 == 14464u && u40000 * 2 == 14464u);
    check(2, -7 / 2 == -3 && V(1) / V(2) == -3);
    check(3, -7 % 2 == -1 && V(1) % V(2) == -1);
    check(4, (0x1234u << 8) == 0x3400u && ((unsigned)V(3) << 8) == 0x3400u);
    check(5, (unsigned char)300 == 44 && (unsigned char)V(4) == 44);
    check(6, 1000L * 1000 == 1000000L && L(0) * L(0) == 1000000L);
    check(7, (int)100000L == -31072 && (int)L(1) == -31072);       /* 100000 - 131072 */
    check(8, (unsigned)-1 >> 8 == 0xFF && (unsigned)V(5) >> 8 == 0xFF);
    check(9, -3L / 2 == -1L && L(2) / 2 == -1L);
    check(10, (-1 & 0xFF) == 255 && (V(5) & 0xFF) == 255);
    check(11, 1L << 8 << 8 << 8 == 0x1000000L && (1L << V(6) << V(6) << V(6)) == 0x1000000L);
    check(12, (signed char)0x1FF == -1 && (signed char)(V(4) + 211) == -1);  /* 511 keeps 0xFF */
    check(13, 0x7FFF + 0u + 1 == 0x8000u && (unsigned)V(3) + 0x6DCCu == 0x8000u);
    check(14, (unsigned long)-1 == 0xFFFFFFFFUL && (unsigned long)V(5) == 0xFFFFFFFFUL);
    check(15, (100000L % 7) == 5 && L(1) % 7 == 5);     /* 7 * 14285 = 99995 */
    check(16, -(-32767) == 32767 && -(V(1) * 4681) == 32767);
    return first_fail;
}
