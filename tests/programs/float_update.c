/* host: yes */
/* Floating objects updated in place: increments, compound assignments whose
   object or value is an integer, negation in place, conditional values that
   mix integer and floating operands, and floating members and elements. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("float_update: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct sample {
    char tag;
    float v[3];
    long count;
};

static struct sample table[2] = { { 'a', { 0.5f, 1.5f, -2.0f }, 3 }, { 'b', { 4.0f, 0.25f, 8.0f }, 1 } };

/* Read from memory, so that the compound assignments below meet a
   floating value that is not a constant. */
static float rates[3] = { 2.5f, 0.5f, 2.75f };

static float pick(int which, float a, int b) { return which ? a : b; }
static float scale(float *p, int n, float by)
{
    float last = 0;
    while (n-- > 0)
        last = *p++ *= by;
    return last;
}

int main(void)
{
    float f = 1.5f, g;
    double d = -2.5;
    int i = 7, k;
    unsigned char uc = 10;
    long l = 100000L;
    struct sample *s = &table[0];

    g = f++;
    check(1, g == 1.5f && f == 2.5f);
    g = --f;
    check(2, g == 1.5f && f == 1.5f);
    d++;
    check(3, d == -1.5);
    i += rates[0];                     /* 7 + 2.5 = 9.5, stored as 9 */
    check(4, i == 9);
    i *= rates[1];                     /* 4.5, stored as 4 */
    check(5, i == 4);
    uc *= rates[2];                    /* 27.5 */
    check(6, uc == 27);
    l -= rates[1];                     /* 99999.5 */
    check(7, l == 99999L);
    f = -f;
    check(8, f == -1.5f);
    for (k = 0; k < 3; k++)
        s->v[k] = -s->v[k];
    check(9, table[0].v[0] == -0.5f && table[0].v[2] == 2.0f);
    check(10, pick(1, 0.75f, 3) == 0.75f && pick(0, 0.75f, 3) == 3.0f);
    g = i > 3 ? 1 : 0.5f;              /* the int 1 becomes 1.0f */
    check(11, g == 1.0f);
    check(12, scale(table[1].v, 3, 0.5f) == 4.0f && table[1].v[0] == 2.0f && table[1].v[1] == 0.125f);
    table[1].count += table[1].v[2];   /* 1 + 4.0 */
    check(13, table[1].count == 5L && table[1].tag == 'b');
    f = 0.1f;
    for (k = 0; k < 9; k++)
        f += 0.1f;
    check(14, f > 0.99f && f < 1.01f && f != 1.0f);
    k = -f;
    check(15, k == -1 && (int)(-f * 10) == -10);
    return first_fail;
}
