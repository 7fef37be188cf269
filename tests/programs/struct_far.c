/* A table of measurement channels kept in the far space, reached through
   4-byte pointers to whole records and to single members: scalars, arrays
   inside a record, byte views of a member, and copies out of far data. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_far: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct channel {
    char name[6];
    unsigned char flags;
    int gain;
    long total;
    int samples[4];
};

@far struct channel chans[3] = {
    { "temp", 1, 10, 0L, { 1, 2, 3, 4 } },
    { "press", 2, -3, 100000L, { 0, 0, 0, 0 } },
    { "flow", 0, 7, -1L, { 5, 6, 7, 8 } }
};
@far struct channel spare;

static void accumulate(@far long *total, @far int *s, int n)
{
    while (n-- > 0)
        *total += *s++;
}

static void scale(@far int *g, int by)
{
    *g *= by;
}

static int name_len(@far char *p)
{
    int n = 0;
    while (*p++)
        n++;
    return n;
}

static @far struct channel *find(@far const char *first)
{
    int i;
    for (i = 0; i < 3; i++)
        if (chans[i].name[0] == first[0])
            return &chans[i];
    return 0;
}

int main(void)
{
    @far int *gp = &chans[1].gain;
    @far long *tp = &chans[0].total;
    @far char *np = chans[1].name;
    @far int *sp = &chans[2].samples[3];
    @far struct channel *cp = &chans[2];
    @far unsigned char *bp;

    check(1, sizeof gp == 4 && sizeof cp == 4 && sizeof np == 4);
    scale(gp, 2);
    check(2, chans[1].gain == -6 && *gp == -6);
    accumulate(tp, chans[0].samples, 4);
    accumulate(&chans[2].total, chans[2].samples, 4);
    check(3, chans[0].total == 10L && chans[2].total == 25L);   /* -1 + 5 + 6 + 7 + 8 */
    check(4, name_len(np) == 5 && np[4] == 's' && name_len(chans[2].name) == 4);
    check(5, *sp == 8 && sp - chans[2].samples == 3L && *(sp - 3) == 5);
    cp->flags |= 0x80;
    (cp - 1)->flags <<= 2;
    check(6, chans[2].flags == 0x80 && chans[1].flags == 8);
    check(7, (@far char *)&chans[1] - (@far char *)&chans[0] == (long)sizeof(struct channel));
    /* gain and total are adjacent whether or not members are even aligned */
    check(8, &chans[0].gain != 0 && (@far char *)&chans[0].total - (@far char *)&chans[0].gain == 2L);
    bp = (@far unsigned char *)&chans[1].total;    /* 100000 = 0x000186A0, high byte first */
    check(9, bp[0] == 0 && bp[1] == 0x01 && bp[2] == 0x86 && bp[3] == 0xA0);
    bp[3] = 0xA1;
    check(10, chans[1].total == 100001L);
    spare = chans[0];
    spare.samples[0] = 99;
    check(11, spare.total == 10L && name_len(spare.name) == 4 && chans[0].samples[0] == 1);
    check(12, find("flow") == cp && find("press") == &chans[1] && find("x") == 0);
    find("temp")->gain += 5;
    check(13, chans[0].gain == 15);
    return first_fail;
}
