/* Multi-byte values are stored big-endian: unions and byte pointers show
   the most significant byte first. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_endian: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

union lbytes {
    long l;
    unsigned char b[4];
    unsigned short h[2];
};

union ibytes {
    int i;
    unsigned char b[2];
};

static unsigned long assemble(unsigned char *p)
{
    return ((unsigned long)p[0] << 24) | ((unsigned long)p[1] << 16) | ((unsigned)p[2] << 8) | p[3];
}

int main(void)
{
    union lbytes u;
    union ibytes w;
    unsigned v = 0xABCD;
    unsigned char *bp = (unsigned char *)&v;
    long arr[2] = { 0x01020304L, -1L };
    unsigned char *ap = (unsigned char *)arr;

    u.l = 0x12345678L;
    check(1, u.b[0] == 0x12 && u.b[1] == 0x34 && u.b[2] == 0x56 && u.b[3] == 0x78);
    check(2, u.h[0] == 0x1234 && u.h[1] == 0x5678);
    u.b[3] = 0xFF;
    check(3, u.l == 0x123456FFL);
    u.h[0] = 0x8000;
    check(4, u.l < 0 && (unsigned long)u.l == 0x800056FFUL);
    w.i = -2;
    check(5, w.b[0] == 0xFF && w.b[1] == 0xFE);
    w.b[0] = 0x01;
    check(6, w.i == 0x01FE);
    check(7, bp[0] == 0xAB && bp[1] == 0xCD);
    check(8, ap[3] == 0x04 && ap[4] == 0xFF && assemble(ap) == 0x01020304UL);
    check(9, sizeof(union lbytes) == 4 && sizeof(union ibytes) == 2);
    return first_fail;
}
