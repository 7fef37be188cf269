/* CRC-16 three ways over the standard check string "123456789": bit by bit
   (CCITT, XMODEM), reflected (ARC), and through a table built at run time. */
#include "check.h"

unsigned int crc_ccitt(const unsigned char *p, int n, unsigned int crc)
{
    int bit;
    while (n-- > 0) {
        crc ^= (unsigned int)*p++ << 8;
        for (bit = 0; bit < 8; bit++)
            crc = crc & 0x8000u ? (crc << 1) ^ 0x1021u : crc << 1;
    }
    return crc;
}

unsigned int crc_arc(const unsigned char *p, int n)
{
    unsigned int crc = 0;
    int bit;
    while (n-- > 0) {
        crc ^= *p++;
        for (bit = 0; bit < 8; bit++)
            crc = crc & 1 ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    return crc;
}

unsigned int table[256];

void build_table(void)
{
    unsigned int i, crc;
    int bit;
    for (i = 0; i < 256; i++) {
        crc = i << 8;
        for (bit = 0; bit < 8; bit++)
            crc = crc & 0x8000u ? (crc << 1) ^ 0x1021u : crc << 1;
        table[i] = crc;
    }
}

unsigned int crc_table(const unsigned char *p, int n, unsigned int crc)
{
    while (n-- > 0)
        crc = (crc << 8) ^ table[(crc >> 8) ^ *p++];
    return crc;
}

int main(void)
{
    const unsigned char *check = (const unsigned char *)"123456789";
    CHECK(crc_ccitt(check, 9, 0xFFFFu) == 0x29B1u);
    CHECK(crc_ccitt(check, 9, 0) == 0x31C3u);
    CHECK(crc_arc(check, 9) == 0xBB3Du);
    build_table();
    CHECK(table[1] == 0x1021u && table[255] == 0x1EF0u);
    CHECK(crc_table(check, 9, 0xFFFFu) == 0x29B1u);
    return failures;
}
