/* Checksums computed bit by bit and byte by byte: Fletcher-16, an
   Internet-style ones' complement sum with end-around carry, and parity. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_checksum: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static unsigned fletcher16(unsigned char *p, int n)
{
    unsigned s1 = 0, s2 = 0;
    while (n-- > 0) {
        s1 = (s1 + *p++) % 255;
        s2 = (s2 + s1) % 255;
    }
    return (s2 << 8) | s1;
}

static unsigned ones_sum(unsigned *w, int n)
{
    unsigned long s = 0;
    while (n-- > 0)
        s += *w++;
    while (s >> 16)
        s = (s & 0xFFFF) + (s >> 16);
    return ~(unsigned)s;                  /* 16-bit complement */
}

static int parity_bits(unsigned char b)
{
    int p = 0;
    while (b) {
        p ^= b & 1;
        b >>= 1;
    }
    return p;
}

int main(void)
{
    static unsigned char abcde[] = "abcde";
    static unsigned words[] = { 0x4500, 0x0073, 0x0000, 0x4000, 0x4011, 0x0000, 0xC0A8, 0x0001, 0xC0A8, 0x00C7 };
    check(1, fletcher16(abcde, 5) == 0xC8F0);
    check(2, ones_sum(words, 10) == 0xB861);
    words[5] = 0xB861;
    check(3, ones_sum(words, 10) == 0);   /* a correct checksum sums to all ones */
    check(4, parity_bits(0x00) == 0 && parity_bits(0x07) == 1 && parity_bits(0xFF) == 0);
    return first_fail;
}
