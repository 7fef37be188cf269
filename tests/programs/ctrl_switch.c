/* host: yes */
/* switch: dense and sparse case sets, fall-through, default in the middle,
   negative cases, char and long selectors. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_switch: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int dense(int v)
{
    switch (v) {
    case 0: return 10;
    case 1: return 11;
    case 2: return 12;
    case 3: return 13;
    case 4: return 14;
    case 5: return 15;
    case 6: return 16;
    case 7: return 17;
    default: return -1;
    }
}

static int sparse(int v)
{
    switch (v) {
    case -1000: return 1;
    case -1: return 2;
    case 7: return 3;
    case 300: return 4;
    case 32000: return 5;
    }
    return 0;
}

static int fall(int v)
{
    int r = 0;
    switch (v) {
    case 1: r += 1;
    case 2: r += 2;
    default: r += 100;
    case 3: r += 3;
        break;
    case 4: r += 4;
    }
    return r;
}

static int kind(char c)
{
    switch (c) {
    case 'a': case 'e': case 'i': case 'o': case 'u': return 1;
    case ' ': return 2;
    case '0': case '1': case '2': return 3;
    default: return 0;
    }
}

static int by_long(long v)
{
    switch (v) {
    case 65536L: return 1;
    case -70000L: return 2;
    case 1L: return 3;
    case 0x7FFFFFFFL: return 4;
    default: return 0;
    }
}

int main(void)
{
    int i, s = 0;
    for (i = -1; i <= 8; i++)
        s += dense(i);
    check(1, s == 108 - 2);                    /* 10 + ... + 17 and two defaults */
    check(2, sparse(-1000) == 1 && sparse(-1) == 2 && sparse(7) == 3 && sparse(300) == 4);
    check(3, sparse(32000) == 5 && sparse(0) == 0 && sparse(301) == 0);
    check(4, fall(1) == 106 && fall(2) == 105 && fall(3) == 3 && fall(4) == 4 && fall(9) == 103);
    check(5, kind('o') == 1 && kind(' ') == 2 && kind('2') == 3 && kind('z') == 0);
    check(6, by_long(65536L) == 1 && by_long(-70000L) == 2 && by_long(1) == 3);
    check(7, by_long(0x7FFFFFFFL) == 4 && by_long(0) == 0 && by_long(0x10001L) == 0);
    return first_fail;
}
