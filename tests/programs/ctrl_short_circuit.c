/* host: yes */
/* && and || evaluate their right operand only when needed; their value is
   0 or 1; the conditional runs one arm only. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_short_circuit: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int trace;

static int mark(int bit, int value)
{
    trace |= bit;
    return value;
}

int main(void)
{
    int *null = 0, v = 5, r;

    trace = 0;
    r = mark(1, 0) && mark(2, 1);
    check(1, r == 0 && trace == 1);
    trace = 0;
    r = mark(1, 1) || mark(2, 1);
    check(2, r == 1 && trace == 1);
    trace = 0;
    r = mark(1, 7) && mark(2, 9);
    check(3, r == 1 && trace == 3);
    check(4, !(null && *null) && (null == 0 || *null));   /* never dereferences null */
    trace = 0;
    r = (mark(1, 0) || mark(2, 0)) && mark(4, 1);
    check(5, r == 0 && trace == 3);
    r = v > 3 && v < 10 && v != 7;
    check(6, r == 1);
    r = !v + !!v * 2;
    check(7, r == 2);
    trace = 0;
    r = v ? mark(1, 10) : mark(2, 20);
    check(8, r == 10 && trace == 1);
    check(9, (70000L && 0.5) + (0L || 0) == 1);
    return first_fail;
}
