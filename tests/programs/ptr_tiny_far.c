/* Objects in the tiny space reached through 1-byte pointers, and tiny and
   near addresses widened to far pointers. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_tiny_far: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

@tiny unsigned char tbuf[8];
@tiny int tcount;
@far unsigned char fbuf[8];

static void fill(@tiny unsigned char *p, int n, unsigned char v)
{
    while (n-- > 0)
        *p++ = v++;
}

static int far_total(@far unsigned char *p, int n)
{
    int s = 0;
    while (n-- > 0)
        s += *p++;
    return s;
}

static void far_copy(@far unsigned char *d, @far unsigned char *s, int n)
{
    while (n-- > 0)
        *d++ = *s++;
}

int main(void)
{
    @tiny unsigned char *tp = tbuf;
    @tiny unsigned char *te = tbuf + 8;
    @far unsigned char *fp;
    @tiny int *cp = &tcount;

    check(1, sizeof tp == 1 && sizeof fp == 4);
    fill(tbuf, 8, 250);                       /* 250 .. 255, then 0, 1 */
    check(2, tbuf[0] == 250 && tbuf[5] == 255 && tbuf[6] == 0 && tbuf[7] == 1);
    check(3, te - tp == 8 && tp < te);
    tp += 3;
    check(4, *tp == 253 && tp[-1] == 252 && tp - tbuf == 3);
    tp--;
    check(5, *tp == 252);
    fp = tbuf;                                /* tiny widens to far */
    check(6, far_total(fp, 8) == 250 + 251 + 252 + 253 + 254 + 255 + 0 + 1);
    far_copy(fbuf, tbuf, 8);
    check(7, fbuf[1] == 251 && far_total(fbuf, 8) == 1516);
    *cp = 300;
    (*cp)++;
    check(8, tcount == 301);
    fp = fbuf + 7;
    check(9, *fp == 1 && fp - fbuf == 7L);
    return first_fail;
}
