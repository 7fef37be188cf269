/* CPU-bound benchmark for zpc-run: CRC-16 (polynomial 0x1021, initial
   value 0xFFFF, bit by bit) over 64 KiB of pseudo-random bytes, PASSES
   times. The bytes come from a 16-bit xorshift generator, a 4 KiB buffer
   at a time, so that the program fits the target's 64 KiB data space.
   main returns 0 when every pass gives the first pass's CRC and that CRC
   is the one recorded below (from the same program built natively);
   valid C for the host's compiler too. */

#define BUF_SIZE 4096
#define CHUNKS 16            /* 16 x 4 KiB = 64 KiB a pass */
#define PASSES 4
#define EXPECTED 0xB276u     /* the CRC of one pass */

static unsigned char buf[BUF_SIZE];
static unsigned short seed;

static void fill(void)
{
    unsigned int i;
    unsigned short x = seed;
    for (i = 0; i < BUF_SIZE; i++) {
        x = (unsigned short)(x ^ (x << 7));
        x = (unsigned short)(x ^ (x >> 9));
        x = (unsigned short)(x ^ (x << 8));
        buf[i] = (unsigned char)(x >> 3);
    }
    seed = x;
}

static unsigned short crc16(unsigned short crc, const unsigned char *p, unsigned int n)
{
    unsigned int i, bit;
    for (i = 0; i < n; i++) {
        crc = (unsigned short)(crc ^ ((unsigned short)p[i] << 8));
        for (bit = 0; bit < 8; bit++) {
            if (crc & 0x8000u)
                crc = (unsigned short)((crc << 1) ^ 0x1021u);
            else
                crc = (unsigned short)(crc << 1);
        }
    }
    return crc;
}

static unsigned short one_pass(void)
{
    unsigned short crc = 0xFFFFu;
    int c;
    seed = 0xACE1u;
    for (c = 0; c < CHUNKS; c++) {
        fill();
        crc = crc16(crc, buf, BUF_SIZE);
    }
    return crc;
}

int main(void)
{
    static const unsigned char check[] = "123456789";
    unsigned short first, crc;
    int pass;
    /* The standard check value of this CRC. */
    if (crc16(0xFFFFu, check, 9) != 0x29B1u)
        return 1;
    first = one_pass();
    for (pass = 1; pass < PASSES; pass++) {
        crc = one_pass();
        if (crc != first)
            return 2;
    }
    return first == EXPECTED ? 0 : 3;
}
