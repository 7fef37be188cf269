/* host: yes */
// A board description table written with designated initializers: nested
// members named through several levels, array elements of members, later
// values continuing after a designator, and automatic objects initialized
// from run-time values; everything not named is zero.
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("board_init_c99: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct pin { unsigned char port, bit; };

struct uart_cfg {
    long baud;
    unsigned char data_bits, stop_bits;
    struct pin tx, rx;
};

struct board {
    const char *name;
    struct uart_cfg uart[2];
    int adc_gain[4];
    struct { int lo, hi; } limits[3];
    unsigned char flags;
};

static const struct board boards[] = {
    [1] = {
        .name = "rev-b",
        .uart[1] = { .baud = 115200L, .tx = { 2, 5 }, .rx.port = 2, .rx.bit = 4 },
        .uart[0].baud = 9600L,
        .uart[0].data_bits = 7, 2,              // 2 goes on to stop_bits
        .adc_gain = { [2] = 4, 8 },             // 8 goes on to [3]
        .limits = { [1].hi = 500, [0] = { -10, 10 } },
        .flags = 0x81,
    },
    [0] = { "rev-a", { { 19200L, 8, 1, { 1, 0 }, { 1, 1 } } }, { 1, 1, 1, 1 } },
};

static int identity[3][3] = { [0][0] = 1, [1][1] = 1, [2][2] = 1 };
static char banner[8] = { [0] = 'o', 'k', [5] = '!' };

static long total_baud(const struct board *b)
{
    return b->uart[0].baud + b->uart[1].baud;
}

int main(void)
{
    const struct board *a = &boards[0], *b = &boards[1];
    int i, j, diag = 0, off = 0;

    check(1, sizeof boards / sizeof boards[0] == 2);
    check(2, a->name[4] == 'a' && a->uart[0].baud == 19200L && a->uart[0].rx.bit == 1
             && a->uart[1].baud == 0 && a->adc_gain[3] == 1 && a->flags == 0);
    check(3, b->name[4] == 'b' && b->uart[1].baud == 115200L && b->uart[1].tx.bit == 5
             && b->uart[1].rx.port == 2 && b->uart[1].rx.bit == 4 && b->uart[1].data_bits == 0);
    check(4, b->uart[0].baud == 9600L && b->uart[0].data_bits == 7 && b->uart[0].stop_bits == 2
             && b->uart[0].tx.port == 0);
    check(5, b->adc_gain[0] == 0 && b->adc_gain[1] == 0 && b->adc_gain[2] == 4 && b->adc_gain[3] == 8);
    check(6, b->limits[0].lo == -10 && b->limits[0].hi == 10 && b->limits[1].lo == 0
             && b->limits[1].hi == 500 && b->limits[2].hi == 0 && b->flags == 0x81);
    check(7, total_baud(a) == 19200L && total_baud(b) == 124800L);
    for (i = 0; i < 3; i++)
        for (j = 0; j < 3; j++)
            if (i == j)
                diag += identity[i][j];
            else
                off += identity[i][j];
    check(8, diag == 3 && off == 0);
    check(9, banner[0] == 'o' && banner[1] == 'k' && banner[2] == 0 && banner[5] == '!' && banner[7] == 0);

    // Automatic objects: run-time values, nested designators, the rest zero.
    long base = 4800L;
    unsigned char line = 3;
    struct uart_cfg u = { .rx = { .bit = line }, .baud = base * 2, .tx.port = line + 1 };
    check(10, u.baud == 9600L && u.rx.bit == 3 && u.rx.port == 0 && u.tx.port == 4
              && u.tx.bit == 0 && u.data_bits == 0 && u.stop_bits == 0);
    int gains[6] = { [4] = line, [1] = line * 2, line * 3 };
    check(11, gains[0] == 0 && gains[1] == 6 && gains[2] == 9 && gains[3] == 0 && gains[4] == 3 && gains[5] == 0);
    struct board local = { .limits[2] = { .hi = line }, .uart[1].stop_bits = 1 };
    check(12, local.limits[2].hi == 3 && local.limits[2].lo == 0 && local.uart[1].stop_bits == 1
              && local.name == 0 && local.uart[0].baud == 0 && local.adc_gain[3] == 0);
    return first_fail;
}
