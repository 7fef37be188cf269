/* host: yes */
/* Bit manipulation on 32-bit values held in unsigned long: rotations,
   population count two ways, bit reversal two ways, the lowest set bit
   and register fields read and written through masks built from 1UL. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("bits_long: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

#define LOW32 0xFFFFFFFFUL

static unsigned long rotl(unsigned long v, int n)
{
    n &= 31;
    return n ? ((v << n) | (v >> (32 - n))) & LOW32 : v;
}

static unsigned long rotr(unsigned long v, int n)
{
    return rotl(v, 32 - (n & 31));
}

static int popcount_loop(unsigned long v)
{
    int n = 0;
    while (v != 0) {
        v &= v - 1;                      /* clears the lowest set bit */
        n++;
    }
    return n;
}

static int popcount_swar(unsigned long v)
{
    v = v - ((v >> 1) & 0x55555555UL);
    v = (v & 0x33333333UL) + ((v >> 2) & 0x33333333UL);
    v = (v + (v >> 4)) & 0x0F0F0F0FUL;
    return (int)(((v * 0x01010101UL) >> 24) & 0xFF);   /* the top byte sums the four */
}

static unsigned long reverse_swap(unsigned long v)
{
    v = ((v >> 1) & 0x55555555UL) | ((v & 0x55555555UL) << 1);
    v = ((v >> 2) & 0x33333333UL) | ((v & 0x33333333UL) << 2);
    v = ((v >> 4) & 0x0F0F0F0FUL) | ((v & 0x0F0F0F0FUL) << 4);
    v = ((v >> 8) & 0x00FF00FFUL) | ((v & 0x00FF00FFUL) << 8);
    return ((v >> 16) & 0xFFFFUL) | ((v & 0xFFFFUL) << 16);
}

static unsigned long reverse_loop(unsigned long v)
{
    unsigned long r = 0;
    int i;
    for (i = 0; i < 32; i++) {
        r = (r << 1) | (v & 1UL);
        v >>= 1;
    }
    return r;
}

static unsigned long field_mask(int lo, int width)
{
    return width >= 32 ? LOW32 : ((1UL << width) - 1) << lo;
}

static unsigned long field_get(unsigned long reg, int lo, int width)
{
    return (reg & field_mask(lo, width)) >> lo;
}

static unsigned long field_set(unsigned long reg, int lo, int width, unsigned long v)
{
    return (reg & ~field_mask(lo, width) & LOW32) | ((v << lo) & field_mask(lo, width));
}

static int trailing_zeros(unsigned long v)
{
    int n = 0;
    while (n < 32 && !(v & (1UL << n)))
        n++;
    return n;
}

int main(void)
{
    static const unsigned long samples[6] = {
        0UL, 1UL, 0x80000000UL, 0x12345678UL, 0xF0F0F0F0UL, 0xFFFFFFFFUL
    };
    unsigned long reg = 0;
    int i, bad = 0;

    check(1, rotl(0x12345678UL, 8) == 0x34567812UL && rotl(0x80000001UL, 1) == 3UL);
    check(2, rotr(0x80000001UL, 1) == 0xC0000000UL && rotr(0x12345678UL, 4) == 0x81234567UL);
    check(3, rotl(0xDEADBEEFUL, 0) == 0xDEADBEEFUL && rotl(0xDEADBEEFUL, 32) == 0xDEADBEEFUL
             && rotr(rotl(0xDEADBEEFUL, 13), 13) == 0xDEADBEEFUL);
    check(4, popcount_loop(0x12345678UL) == 13 && popcount_loop(0xF0F0F0F0UL) == 16);
    /* 0x1E6A2C48: the nibbles 8 7 6 5 4 3 2 1, each read backwards */
    check(5, reverse_swap(0x12345678UL) == 0x1E6A2C48UL && reverse_swap(1UL) == 0x80000000UL);
    for (i = 0; i < 6; i++) {
        unsigned long v = samples[i];
        if (popcount_swar(v) != popcount_loop(v) || reverse_loop(v) != reverse_swap(v)
            || reverse_swap(reverse_swap(v)) != v || popcount_loop(rotl(v, i * 5)) != popcount_loop(v))
            bad++;
    }
    check(6, bad == 0 && popcount_swar(0xFFFFFFFFUL) == 32 && popcount_swar(0x80000000UL) == 1);
    reg = field_set(reg, 4, 8, 0xABUL);
    reg = field_set(reg, 28, 4, 0xFUL);
    check(7, reg == 0xF0000AB0UL && field_get(reg, 4, 8) == 0xABUL && field_get(reg, 28, 4) == 0xFUL);
    reg = field_set(reg, 8, 8, 0x1FFUL);         /* only the low 8 bits of the value fit */
    check(8, reg == 0xF000FFB0UL && field_get(reg, 0, 32) == reg);
    check(9, field_mask(31, 1) == (1UL << 31) && field_mask(0, 32) == LOW32 && field_mask(16, 16) == 0xFFFF0000UL);
    check(10, (0x00A00000UL & (0 - 0x00A00000UL) & LOW32) == 0x00200000UL);
    check(11, trailing_zeros(0x00A00000UL) == 21 && trailing_zeros(1UL) == 0 && trailing_zeros(0UL) == 32);
    check(12, (popcount_loop(0x12345678UL) & 1) == 1 && (1UL << 31 >> 31) == 1UL);
    return first_fail;
}
