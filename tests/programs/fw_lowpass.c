/* A first-order low-pass filter in fixed point (Q8 in a long accumulator)
   and a moving average over 16-bit samples with a running sum. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_lowpass: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static long state;                  /* filter output times 256 */

static int lowpass(int sample)
{
    /* y += (x - y) / 4, kept with 8 fraction bits */
    state += (((long)sample << 8) - state) / 4;
    return (int)(state >> 8);
}

static int window[4];
static long wsum;
static int widx;

static int average(int sample)
{
    wsum += (long)sample - window[widx];   /* the difference may exceed int */
    window[widx] = sample;
    widx = (widx + 1) & 3;
    return (int)(wsum / 4);
}

int main(void)
{
    int i, y = 0;
    state = 0;
    y = lowpass(1000);
    check(1, y == 250);
    y = lowpass(1000);
    check(2, y == 437);                  /* 250 + 750 / 4 = 437.5, floor of the Q8 value */
    for (i = 0; i < 60; i++)
        y = lowpass(1000);
    check(3, y == 999 || y == 1000);
    for (i = 0; i < 60; i++)
        y = lowpass(-2000);
    check(4, y >= -2000 && y <= -1999);
    check(5, average(30000) == 7500 && average(30000) == 15000);   /* the sum exceeds int */
    average(30000);
    check(6, average(30000) == 30000 && average(-30000) == 15000);
    return first_fail;
}
