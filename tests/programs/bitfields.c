/* Bit-fields and unions read back through byte pointers on the big-endian
   model: fields fill a unit from its low-order bit, multi-byte values store
   their most significant byte first. */
#include "check.h"

struct flags {
    unsigned ready : 1;
    unsigned mode : 3;
    unsigned count : 4;
};

struct wide {
    unsigned low : 4;
    unsigned high : 12;
};

union word {
    unsigned long l;
    unsigned int half[2];
    unsigned char b[4];
};

int main(void)
{
    struct flags f;
    struct wide w;
    union word u;
    unsigned char *bytes;

    f.ready = 1;
    f.mode = 5;
    f.count = 9;
    bytes = (unsigned char *)&f;
    CHECK(sizeof f == 1);
    CHECK(bytes[0] == (1 | 5 << 1 | 9 << 4));
    f.mode = 12;                        /* keeps the low 3 bits: 4 */
    CHECK(f.mode == 4);
    CHECK(f.ready == 1 && f.count == 9);
    f.count++;
    CHECK(f.count == 10);
    f.count += 7;                       /* 17 wraps to 1 in 4 bits */
    CHECK(f.count == 1);

    w.low = 0xA;
    w.high = 0x123;
    bytes = (unsigned char *)&w;
    CHECK(sizeof w == 2);
    CHECK(bytes[0] == 0x12 && bytes[1] == 0x3A);

    u.l = 0x11223344ul;
    CHECK(u.b[0] == 0x11 && u.b[3] == 0x44);
    CHECK(u.half[0] == 0x1122u && u.half[1] == 0x3344u);
    u.b[1] = 0xFF;
    CHECK(u.l == 0x11FF3344ul);
    return failures;
}
