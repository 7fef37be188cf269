/* host: yes */
/* A byte ring buffer with a power-of-two size, as used between a receive
   interrupt and the main loop: wrap-around, full and empty states. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_ringbuf: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

#define SIZE 8

struct ring {
    unsigned char data[SIZE];
    unsigned char head, tail;     /* free-running counters, masked on use */
};

static struct ring rx;

static int put(struct ring *r, unsigned char c)
{
    if ((unsigned char)(r->head - r->tail) == SIZE)
        return 0;
    r->data[r->head++ & (SIZE - 1)] = c;
    return 1;
}

static int get(struct ring *r)
{
    if (r->head == r->tail)
        return -1;
    return r->data[r->tail++ & (SIZE - 1)];
}

static int count(struct ring *r)
{
    return (unsigned char)(r->head - r->tail);
}

int main(void)
{
    int i, ok = 1, sum = 0;

    check(1, get(&rx) == -1 && count(&rx) == 0);
    for (i = 0; i < 8; i++)
        ok &= put(&rx, (unsigned char)(i + 1));
    check(2, ok && count(&rx) == 8 && !put(&rx, 99));
    check(3, get(&rx) == 1 && get(&rx) == 2 && count(&rx) == 6);
    check(4, put(&rx, 200) && put(&rx, 201) && !put(&rx, 202));
    while ((i = get(&rx)) >= 0)
        sum += i;
    check(5, sum == 3 + 4 + 5 + 6 + 7 + 8 + 200 + 201);
    for (i = 0; i < 1000; i++) {          /* counters wrap past 255 many times */
        put(&rx, (unsigned char)i);
        if (get(&rx) != (i & 0xFF))
            ok = 0;
    }
    check(6, ok && count(&rx) == 0);
    return first_fail;
}
