/* host: yes */
/* CRC-16/CCITT-FALSE, CRC-16/ARC and CRC-32 of the standard check string,
   bit by bit and (for CCITT) through a table built at start-up. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_crc: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static unsigned short table[256];

static unsigned crc_ccitt(unsigned char *p, int n)
{
    unsigned crc = 0xFFFF;
    int i;
    while (n-- > 0) {
        crc ^= (unsigned)*p++ << 8;
        for (i = 0; i < 8; i++)
            crc = crc & 0x8000 ? ((crc << 1) ^ 0x1021) & 0xFFFF : (crc << 1) & 0xFFFF;
    }
    return crc;
}

static unsigned crc_arc(unsigned char *p, int n)
{
    unsigned crc = 0;
    int i;
    while (n-- > 0) {
        crc ^= *p++;
        for (i = 0; i < 8; i++)
            crc = crc & 1 ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return crc;
}

static unsigned long crc32(unsigned char *p, int n)
{
    unsigned long crc = 0xFFFFFFFFUL;
    int i;
    while (n-- > 0) {
        crc ^= *p++;
        for (i = 0; i < 8; i++)
            crc = crc & 1 ? (crc >> 1) ^ 0xEDB88320UL : crc >> 1;
    }
    return ~crc & 0xFFFFFFFFUL;
}

static void make_table(void)
{
    unsigned i, j, c;
    for (i = 0; i < 256; i++) {
        c = i << 8;
        for (j = 0; j < 8; j++)
            c = c & 0x8000 ? ((c << 1) ^ 0x1021) & 0xFFFF : (c << 1) & 0xFFFF;
        table[i] = (unsigned short)c;
    }
}

static unsigned crc_ccitt_table(unsigned char *p, int n)
{
    unsigned crc = 0xFFFF;
    while (n-- > 0)
        crc = ((crc << 8) & 0xFFFF) ^ table[((crc >> 8) ^ *p++) & 0xFF];
    return crc;
}

int main(void)
{
    static unsigned char check_string[] = "123456789";
    unsigned char zeros[4] = { 0, 0, 0, 0 };
    check(1, crc_ccitt(check_string, 9) == 0x29B1);
    check(2, crc_arc(check_string, 9) == 0xBB3D);
    check(3, crc32(check_string, 9) == 0xCBF43926UL);
    make_table();
    check(4, table[1] == 0x1021 && table[255] == 0x1EF0);
    check(5, crc_ccitt_table(check_string, 9) == 0x29B1);
    check(6, crc_arc(zeros, 4) == 0 && crc_ccitt(zeros, 0) == 0xFFFF);
    return first_fail;
}
