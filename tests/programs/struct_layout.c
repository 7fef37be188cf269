/* Member offsets and the bytes of bit-field units read through a byte
   pointer. Members are ordered so that no padding can arise with or
   without even alignment. Bit-fields fill a unit from its low bit up. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_layout: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct header {
    long stamp;
    int length;
    unsigned flags;
    char code[2];
    unsigned char kind, spare;
};

struct small {
    unsigned a : 3;
    unsigned b : 4;
};

struct twelve {
    unsigned a : 4;
    unsigned b : 8;
};

#define OFFSET(type, member) ((char *)&((type *)0)->member - (char *)0)

int main(void)
{
    struct header h;
    union { struct small s; unsigned char byte; } u1;
    union { struct twelve t; unsigned char b[2]; } u2;
    unsigned char *bp = (unsigned char *)&h;

    check(1, (char *)&h.length - (char *)&h == 4);
    check(2, (char *)&h.flags - (char *)&h == 6 && (char *)&h.code[1] - (char *)&h == 9);
    check(3, (char *)&h.spare - (char *)&h == 11 && sizeof h == 12);
    h.stamp = 0x01020304L;
    h.length = 0x0506;
    check(4, bp[0] == 1 && bp[3] == 4 && bp[4] == 5 && bp[5] == 6);
    check(5, OFFSET(struct header, kind) == 10);
    check(6, sizeof(struct small) == 1);          /* an int unit of 7 bits shrinks to one byte */
    u1.byte = 0;
    u1.s.a = 5;
    u1.s.b = 9;
    check(7, u1.byte == 0x4D);                    /* 5 | 9 << 3 */
    check(8, sizeof(struct twelve) == 2);
    u2.b[0] = u2.b[1] = 0;
    u2.t.a = 0xA;
    u2.t.b = 0x5C;
    check(9, u2.b[0] == 0x05 && u2.b[1] == 0xCA); /* unit 0x05CA, high byte first */
    return first_fail;
}
