/* host: yes */
/* Branches that constant conditions make dead, loops that never run,
   and switches a compiler may simplify: what runs must be what C runs,
   also where a jump reaches a label inside a dead branch or a case label
   stands inside a statement that looks dead. */
#include <stdio.h>

static int failures;
static int trace;

static void check(const char *what, int got, int want)
{
    if (got != want) {
        printf("%s: got %d, want %d\n", what, got, want);
        ++failures;
    }
}

static int step(int v)
{
    trace = trace * 10 + v;
    return v;
}

static int constant_ifs(void)
{
    int r = 0;
    if (0)
        r += 100;
    else
        r += step(1);
    if (1)
        r += step(2);
    else
        r += 100;
    if (0) {
        r += 1000;
    }
    return r;
}

static int jump_into_dead(int n)
{
    int r = 0;
    if (n)
        goto inside;
    if (0) {
    inside:
        r += 5;
    }
    while (0) {
    again:
        r += 7;
        n = 0;
    }
    if (n > 1)
        goto again;
    return r;
}

static int loops_never_run(void)
{
    int i, r = 0;
    for (i = 5; i < 3; i++)
        r += 100;
    r += i;
    i = 0;
    while (i < 4)
        i++;
    for (i = 1; i <= 3; i++)
        r += i;
    for (; 0;)
        r += 1000;
    return r;
}

static int jump_into_loop(int n)
{
    int i = 9, r = 0;
    if (n)
        goto mid;
    for (i = 5; i < 3; i++) {
    mid:
        r += i;
    }
    return r * 100 + i;
}

static int constant_switch(void)
{
    int r = 0;
    switch (2) {
    case 1:
        r += 1;
        break;
    case 2:
        r += 20;
    case 3:
        r += 300;
        break;
    case 4:
        r += 4000;
    default:
        r += 50000;
    }
    switch (9) {
    case 1:
        r += 1;
        break;
    default:
        r += 600;
        break;
    }
    switch (7) {
    case 1:
        r += 1;
    }
    return r;
}

static int break_cases(int v)
{
    int r = 0;
    switch (v) {
    case 1:
        break;
    case 2:
        r = 2;
        break;
    default:
        r = 9;
        break;
    }
    return r;
}

static int only_breaks(int v)
{
    int r = 1;
    switch (step(v)) {
    case 1:
        break;
    case 2:
        break;
    }
    return r;
}

static int one_case(int v)
{
    switch (v) {
    case 3:
        return 30;
    default:
        return -1;
    }
}

static int one_case_no_default(unsigned v)
{
    int r = 0;
    switch (v) {
    case 65535u:
        r = 7;
        break;
    }
    return r;
}

static int only_default(int v)
{
    int r = 0;
    switch (step(v)) {
    default:
        r = 4;
    }
    return r;
}

static int before_first_case(int v)
{
    int r = 0;
    switch (v) {
        r = 100;
    there:
        r += 1;
        break;
    case 1:
        r = 10;
        if (v == 1)
            goto there;
        break;
    }
    return r;
}

static int case_in_dead_if(int v)
{
    int r = 0;
    switch (v) {
    case 1:
        if (0) {
        case 2:
            r += 20;
        }
        r += 1;
        break;
    }
    return r;
}

static int case_in_loop(int count)
{
    int r = 0, n = (count + 3) / 4;
    switch (count % 4) {
    case 0:
        do {
            r++;
        case 3:
            r++;
        case 2:
            r++;
        case 1:
            r++;
        } while (--n > 0);
    }
    return r;
}

int main(void)
{
    trace = 0;
    check("constant_ifs", constant_ifs(), 3);
    check("constant_ifs trace", trace, 12);
    check("jump_into_dead 0", jump_into_dead(0), 0);
    check("jump_into_dead 1", jump_into_dead(1), 5);
    check("jump_into_dead 2", jump_into_dead(2), 12);
    check("loops_never_run", loops_never_run(), 11);
    check("jump_into_loop 0", jump_into_loop(0), 5);
    check("jump_into_loop 1", jump_into_loop(1), 910);
    check("constant_switch", constant_switch(), 920);
    check("break_cases 1", break_cases(1), 0);
    check("break_cases 2", break_cases(2), 2);
    check("break_cases 3", break_cases(3), 9);
    trace = 0;
    check("only_breaks", only_breaks(2), 1);
    check("only_breaks evaluates", trace, 2);
    check("one_case 3", one_case(3), 30);
    check("one_case 4", one_case(4), -1);
    check("one_case_no_default", one_case_no_default(65535u), 7);
    check("one_case_no_default 0", one_case_no_default(0), 0);
    trace = 0;
    check("only_default", only_default(8), 4);
    check("only_default evaluates", trace, 8);
    check("before_first_case 1", before_first_case(1), 11);
    check("before_first_case 2", before_first_case(2), 0);
    check("case_in_dead_if 1", case_in_dead_if(1), 1);
    check("case_in_dead_if 2", case_in_dead_if(2), 21);
    check("case_in_loop 7", case_in_loop(7), 7);
    check("case_in_loop 8", case_in_loop(8), 8);
    check("case_in_loop 1", case_in_loop(1), 1);
    if (failures)
        printf("%d failed\n", failures);
    return failures != 0;
}
