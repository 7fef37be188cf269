/* host: yes */
// A serial console's command parser in the C99 style: declarations placed
// where their values are known, block scopes that begin mid-block, //
// comments and an enum with a trailing comma.
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("console_c99: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

enum cmd { CMD_NONE, CMD_SET, CMD_GET, CMD_RESET, };

struct setting { const char *name; int value; };

static int is_digit(char c) { return c >= '0' && c <= '9'; }
static int is_space(char c) { return c == ' ' || c == '\t'; }

// True when the len characters at w spell the whole of kw.
static int word_is(const char *w, int len, const char *kw)
{
    int i = 0;
    while (i < len && kw[i] == w[i])
        i++;
    return i == len && kw[i] == 0;
}

static const char *skip_spaces(const char *p)
{
    while (is_space(*p))
        p++;
    return p;
}

// "set NAME VALUE", "get NAME" or "reset"; anything else is CMD_NONE.
static enum cmd parse(const char *line, char *name, int *value)
{
    const char *p = skip_spaces(line);
    const char *w = p;
    while (*p && !is_space(*p))
        p++;
    int len = (int)(p - w);
    enum cmd c = word_is(w, len, "set") ? CMD_SET
               : word_is(w, len, "get") ? CMD_GET
               : word_is(w, len, "reset") ? CMD_RESET : CMD_NONE;
    if (c == CMD_NONE || c == CMD_RESET)
        return c;
    p = skip_spaces(p);
    int n = 0;
    while (*p && !is_space(*p) && n < 7)
        name[n++] = *p++;
    name[n] = 0;
    if (n == 0)
        return CMD_NONE;
    if (c == CMD_GET)
        return c;
    p = skip_spaces(p);
    int neg = *p == '-';
    if (neg)
        p++;
    if (!is_digit(*p))
        return CMD_NONE;
    int v = 0;
    while (is_digit(*p))
        v = v * 10 + (*p++ - '0');
    *value = neg ? -v : v;
    return c;
}

static int lookup(const struct setting *t, int n, const char *name)
{
    int i;
    for (i = 0; i < n; i++) {
        const char *a = t[i].name;
        const char *b = name;
        while (*a && *a == *b)
            a++, b++;
        if (*a == *b)
            return i;
    }
    return -1;
}

int main(void)
{
    char name[8];
    int value = 0;

    check(1, parse("  set gain 42", name, &value) == CMD_SET && value == 42);
    check(2, name[0] == 'g' && name[3] == 'n' && name[4] == 0);
    check(3, parse("set offset -17", name, &value) == CMD_SET && value == -17);
    value = 5;
    check(4, parse("get\tlimit", name, &value) == CMD_GET && value == 5 && name[0] == 'l');
    check(5, parse("reset", name, &value) == CMD_RESET);
    check(6, parse("resets", name, &value) == CMD_NONE && parse("set gain x", name, &value) == CMD_NONE);
    check(7, parse("", name, &value) == CMD_NONE && parse("get", name, &value) == CMD_NONE);

    int total = 0;                      // a declaration after statements
    struct setting table[3] = { { "gain", 1 }, { "offset", 0 }, { "limit", 99 } };
    total = lookup(table, 3, "limit") * 10 + lookup(table, 3, "gain");
    check(8, total == 20 && lookup(table, 3, "lim") == -1);

    int x = 1;
    {
        x = 2;                          // still the outer x
        int x = 10;                     // from here on the block's own x
        x++;
        check(9, x == 11);
    }
    check(10, x == 2);

    struct setting pair[2] = { { "a", 1 }, { "b", x } };
    int picked = lookup(pair, 2, "b");
    const int steps[3] = { 1, 10, 100 };
    struct setting *s = &pair[picked];
    s->value += steps[1];
    check(11, picked == 1 && pair[1].value == 12 && pair[0].value == 1);

    int q = 8 //**/ 2
        ;                               // the // comment hides the division
    int spliced = 1; // this comment runs on over the next line \
    spliced = 2;
    check(12, q == 8 && spliced == 1);
    check(13, __STDC_VERSION__ == 199901L);
    return first_fail;
}
