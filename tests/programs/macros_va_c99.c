/* host: yes */
// Variadic macros as firmware uses them: counting arguments, passing a
// variable argument list on to a function or to another macro, turning it
// into text for an event log, building tables, and empty arguments.
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("macros_va_c99: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

// Commas inside the condition are fine: it is the variable part.
#define CHECK(n, ...) check(n, (__VA_ARGS__))

#define NARGS(...) NARGS_(__VA_ARGS__, 6, 5, 4, 3, 2, 1, 0)
#define NARGS_(a, b, c, d, e, f, n, ...) n
#define STR(...) #__VA_ARGS__
#define CALL(f, ...) f(__VA_ARGS__)
#define APPLY(m, ...) m(__VA_ARGS__)
#define SUB(a, b) ((a) - (b))
#define OPT(x, ...) (x __VA_ARGS__)
#define SCALE(v, k) ((v) * (1 k))
#define TABLE(name, ...) static const int name[] = { __VA_ARGS__ }; \
    enum { name##_len = NARGS(__VA_ARGS__) }
#define LOG(level, ...) log_event(level, #__VA_ARGS__, NARGS(__VA_ARGS__))
#define LIMIT 3 // the comment is not part of the value

struct event { int level; const char *text; int nargs; };
static struct event events[4];
static int nevents;

static void log_event(int level, const char *text, int nargs)
{
    if (nevents < 4) {
        events[nevents].level = level;
        events[nevents].text = text;
        events[nevents].nargs = nargs;
        nevents++;
    }
}

static int same(const char *a, const char *b)
{
    while (*a && *a == *b)
        a++, b++;
    return *a == *b;
}

static int add3(int a, int b, int c)
{
    return a + 10 * b + 100 * c;
}

TABLE(thresholds, 10, 20, 40, 80);
TABLE(single, 7);

int main(void)
{
    int temp = 21, limit = 30;

    CHECK(1, NARGS(x) == 1 && NARGS(1, 2, 3) == 3 && NARGS(a, b, c, d, e, f) == 6);
    CHECK(2, NARGS((1, 2), 3) == 2 && NARGS("a,b", ',') == 2 && NARGS() == 1);
    CHECK(3, CALL(add3, 1, 2, 3) == 321 && APPLY(SUB, 10, 3) == 7);
    CHECK(4, OPT(5) == 5 && OPT(5, + 2) == 7 && OPT(5, ) == 5);
    CHECK(5, SCALE(4, ) == 4 && SCALE(4, + 2) == 12);
    CHECK(6, thresholds_len == 4 && sizeof thresholds / sizeof thresholds[0] == thresholds_len);
    CHECK(7, single_len == 1 && single[0] == 7 && thresholds[3] == 80);
    CHECK(8, same(STR(a, b), "a, b") && sizeof STR() == 1 && sizeof STR(x,y) == 4);
    CHECK(9, sizeof STR("a,b", 'c') == 11 && STR("a,b", 'c')[0] == '"' && STR("a,b", 'c')[7] == '\'');
    LOG(2, temp, limit);
    LOG(1, temp > LIMIT);
    if (temp < limit)
        LOG(0, temp);
    CHECK(10, nevents == 3 && events[0].level == 2 && events[0].nargs == 2 && same(events[0].text, "temp, limit"));
    CHECK(11, same(events[1].text, "temp > LIMIT") && events[1].nargs == 1 && events[2].level == 0);
    CHECK(12, LIMIT * 2 == 6);
    return first_fail;
}
