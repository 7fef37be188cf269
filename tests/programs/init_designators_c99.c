/* host: yes */
/* Designated initializers: members and elements named out of order, later
   entries continuing from a designator, the rest zero. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("init_designators_c99: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct uart {
    long baud;
    unsigned char bits, parity, stop;
    int flags;
};

static struct uart u = { .stop = 1, .baud = 115200L, .bits = 8 };
static int table[8] = { [5] = 50, [1] = 10, 11, [7] = 70 };
static int sized[] = { [3] = 3 };
static struct uart ports[2] = { [1] = { .baud = 9600L, .flags = -1 }, [0].bits = 7 };

int main(void)
{
    int i, sum = 0;
    check(1, u.baud == 115200L && u.bits == 8 && u.parity == 0 && u.stop == 1 && u.flags == 0);
    check(2, table[1] == 10 && table[2] == 11 && table[5] == 50 && table[7] == 70);
    for (i = 0; i < 8; i++)
        sum += table[i];
    check(3, sum == 141);
    check(4, sizeof sized == 4 * sizeof(int) && sized[3] == 3 && sized[0] == 0);
    check(5, ports[1].baud == 9600L && ports[1].flags == -1 && ports[0].bits == 7 && ports[0].baud == 0);
    {
        int local[4] = { [2] = i, [0] = i * 2 };
        struct uart l = { .flags = 3 };
        check(6, local[2] == 8 && local[0] == 16 && local[1] == 0 && local[3] == 0);
        check(7, l.flags == 3 && l.baud == 0);
    }
    sum += 1;
    int late = sum;                 /* a declaration after a statement */
    sum = late;
    check(8, sum == 142);
    return first_fail;
}
