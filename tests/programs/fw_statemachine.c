/* host: yes */
/* A state machine that parses a byte stream into frames: a start byte 0x7E,
   a length, the payload and an 8-bit sum; bad frames are counted. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_statemachine: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

enum state { IDLE, LENGTH, PAYLOAD, SUM };

static enum state st = IDLE;
static unsigned char len, got, sum, payload[16];
static int frames, errors;
static long total;

static void feed(unsigned char b)
{
    switch (st) {
    case IDLE:
        if (b == 0x7E)
            st = LENGTH;
        break;
    case LENGTH:
        if (b == 0 || b > 16) {
            errors++;
            st = IDLE;
        } else {
            len = b;
            got = 0;
            sum = 0;
            st = PAYLOAD;
        }
        break;
    case PAYLOAD:
        payload[got++] = b;
        sum += b;
        if (got == len)
            st = SUM;
        break;
    case SUM:
        if (b == sum) {
            int i;
            frames++;
            for (i = 0; i < len; i++)
                total += payload[i];
        } else
            errors++;
        st = IDLE;
        break;
    }
}

int main(void)
{
    static unsigned char stream[] = {
        0x00, 0x7E, 3, 10, 20, 30, 60,              /* good: sum 60 */
        0x7E, 2, 0xFF, 0x02, 0x01,                   /* good: 0xFF + 2 wraps to 1 */
        0x7E, 2, 1, 1, 3,                            /* bad sum */
        0x7E, 40,                                    /* bad length */
        0x55, 0x7E, 1, 0x7E, 0x7E                    /* good: payload is the start byte */
    };
    int i;
    for (i = 0; i < (int)sizeof stream; i++)
        feed(stream[i]);
    check(1, frames == 3);
    check(2, errors == 2);
    check(3, total == 60 + 0xFF + 2 + 0x7E);
    check(4, st == IDLE);
    return first_fail;
}
