/* host: yes */
/* A serial frame decoder driven by tables of next states and actions:
   frames between 0x7E flags, 0x7D escaping the next byte (XOR 0x20),
   then address, command, length, data and a checksum that makes the byte
   sum 0. Checked on hand-made byte streams and on frames from the encoder. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("proto_frame: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

#define FLAG 0x7E
#define ESC 0x7D

enum state { HUNT, BODY, ESCAPED, NSTATES };
enum byte_class { C_FLAG, C_ESC, C_DATA, NCLASSES };
enum action { A_NONE, A_START, A_STORE, A_STORE_X, A_END, A_ABORT };

static const unsigned char next_state[NSTATES][NCLASSES] = {
    /* HUNT */    { BODY, HUNT, HUNT },
    /* BODY */    { BODY, ESCAPED, BODY },    /* a flag ends one frame and opens the next */
    /* ESCAPED */ { HUNT, HUNT, BODY },       /* a flag or escape after an escape aborts */
};
static const unsigned char action[NSTATES][NCLASSES] = {
    { A_START, A_NONE, A_NONE },
    { A_END, A_NONE, A_STORE },
    { A_ABORT, A_ABORT, A_STORE_X },
};

struct decoder {
    unsigned char state, overflowed;
    unsigned char buf[12];
    int len;
    int good, bad_sum, bad_len, overflows, aborts;
    unsigned char addr, cmd, n, data[8];
};

static void store(struct decoder *d, unsigned char b)
{
    if (d->len < (int)sizeof d->buf)
        d->buf[d->len++] = b;
    else
        d->overflowed = 1;
}

static void end_frame(struct decoder *d)
{
    unsigned char sum = 0;
    int i;
    if (d->overflowed)
        d->overflows++;
    else if (d->len > 0) {                 /* back-to-back flags are no frame */
        for (i = 0; i < d->len; i++)
            sum += d->buf[i];
        if (d->len < 4 || d->buf[2] != d->len - 4)
            d->bad_len++;
        else if (sum != 0)
            d->bad_sum++;
        else {
            d->good++;
            d->addr = d->buf[0];
            d->cmd = d->buf[1];
            d->n = d->buf[2];
            for (i = 0; i < d->n; i++)
                d->data[i] = d->buf[3 + i];
        }
    }
    d->len = 0;
    d->overflowed = 0;
}

/* The received bytes are not const: they come from the receive buffer,
   which the driver writes. */
static void feed(struct decoder *d, unsigned char *p, int n)
{
    while (n-- > 0) {
        unsigned char b = *p++;
        int cls = b == FLAG ? C_FLAG : b == ESC ? C_ESC : C_DATA;
        switch (action[d->state][cls]) {
        case A_START: d->len = 0; d->overflowed = 0; break;
        case A_STORE: store(d, b); break;
        case A_STORE_X: store(d, (unsigned char)(b ^ 0x20)); break;
        case A_END: end_frame(d); break;
        case A_ABORT: d->aborts++; d->len = 0; break;
        }
        d->state = next_state[d->state][cls];
    }
}

/* Writes a whole frame with its flags; returns its length on the wire. */
static int encode(unsigned char *out, unsigned char addr, unsigned char cmd,
                  const unsigned char *data, int n)
{
    unsigned char body[12];
    unsigned char sum = 0;
    int i, len = 0, k = 0;
    body[k++] = addr;
    body[k++] = cmd;
    body[k++] = (unsigned char)n;
    for (i = 0; i < n; i++)
        body[k++] = data[i];
    for (i = 0; i < k; i++)
        sum += body[i];
    body[k++] = (unsigned char)-sum;
    out[len++] = FLAG;
    for (i = 0; i < k; i++) {
        if (body[i] == FLAG || body[i] == ESC) {
            out[len++] = ESC;
            out[len++] = (unsigned char)(body[i] ^ 0x20);
        } else
            out[len++] = body[i];
    }
    out[len++] = FLAG;
    return len;
}

int main(void)
{
    /* sum 01+10+02+7E+55 = 0xE6, checksum 0x1A; 7E on the wire as 7D 5E */
    static unsigned char frame1[] = { 0x55, 0xAA, FLAG, 0x01, 0x10, 0x02, ESC, 0x5E, 0x55, 0x1A, FLAG };
    /* 02+20+01+60 = 0x83, so the checksum 0x7D is itself escaped; the last
       flag of frame1 opens this frame */
    static unsigned char frame2[] = { 0x02, 0x20, 0x01, 0x60, ESC, 0x5D, FLAG };
    static unsigned char bad[] = { FLAG, 0x01, 0x10, 0x00, 0x00, FLAG,      /* sum 0x11 */
                                         0x03, 0x30, 0x05, 0xC8, FLAG,            /* length 5, no data */
                                         0x01, ESC, FLAG,                          /* abort */
                                         0x09, 0x09, FLAG, FLAG };                 /* hunting, then empty */
    static const unsigned char payload[8] = { ESC, FLAG, 0x00, 0xFF, 0x20, 1, 2, 3 };
    unsigned char wire[32];
    struct decoder d = { 0 };
    int len;

    feed(&d, frame1, sizeof frame1);
    check(1, d.good == 1 && d.addr == 0x01 && d.cmd == 0x10 && d.n == 2 && d.data[0] == 0x7E && d.data[1] == 0x55);
    check(2, d.state == BODY && d.len == 0);
    feed(&d, frame2, sizeof frame2);
    check(3, d.good == 2 && d.addr == 0x02 && d.n == 1 && d.data[0] == 0x60);
    feed(&d, bad, sizeof bad);
    check(4, d.good == 2 && d.bad_sum == 1 && d.bad_len == 1 && d.aborts == 1 && d.overflows == 0);
    len = encode(wire, 0x7D, 0x7E, payload, 5);
    /* 2 flags + 9 bytes + one escape each for 7D, 7E, 7D, 7E; the checksum
       -(7D+7E+05+7D+7E+00+FF+20) = -0x31A, low byte 0xE6, needs none */
    check(5, len == 15 && wire[1] == ESC && wire[2] == 0x5D && wire[3] == ESC && wire[4] == 0x5E && wire[13] == 0xE6);
    feed(&d, wire, len);
    check(6, d.good == 3 && d.addr == 0x7D && d.cmd == 0x7E && d.n == 5
             && d.data[0] == ESC && d.data[1] == FLAG && d.data[3] == 0xFF && d.data[4] == 0x20);
    len = encode(wire, 1, 2, payload, 8);       /* 3 + 8 + 1 = 12 bytes fit, with escapes too */
    feed(&d, wire, len);
    check(7, d.good == 4 && d.n == 8 && d.data[1] == FLAG && d.data[7] == 3);
    wire[0] = FLAG;
    for (len = 1; len < 20; len++)
        wire[len] = 0x11;
    wire[len++] = FLAG;
    feed(&d, wire, len);
    check(8, d.overflows == 1 && d.good == 4 && d.len == 0);
    return first_fail;
}
