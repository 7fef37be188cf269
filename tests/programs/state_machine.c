/* A character-driven state machine parsing a list of signed numbers such as
   a command line of a device: "+12,-7,30;". */
#include "check.h"

enum state { START, SIGN, DIGITS, DONE, ERROR };

struct parser {
    enum state state;
    int sign, value, count;
    long total;
};

void feed(struct parser *p, char c)
{
    switch (p->state) {
    case START:
        p->sign = 1;
        p->value = 0;
        if (c == '-' || c == '+') {
            p->sign = c == '-' ? -1 : 1;
            p->state = SIGN;
            break;
        }
        /* fall through: a digit starts the number at once */
    case SIGN:
        if (c >= '0' && c <= '9') {
            p->value = c - '0';
            p->state = DIGITS;
        } else {
            p->state = ERROR;
        }
        break;
    case DIGITS:
        if (c >= '0' && c <= '9') {
            p->value = p->value * 10 + (c - '0');
        } else if (c == ',' || c == ';') {
            p->total += (long)p->sign * p->value;
            p->count++;
            p->state = c == ';' ? DONE : START;
        } else {
            p->state = ERROR;
        }
        break;
    default:
        break;
    }
}

struct parser run(const char *s)
{
    struct parser p;
    p.state = START;
    p.count = 0;
    p.total = 0;
    while (*s)
        feed(&p, *s++);
    return p;
}

int main(void)
{
    struct parser p = run("+12,-7,30;");
    CHECK(p.state == DONE && p.count == 3 && p.total == 35);
    p = run("30000,30000,30000;");
    CHECK(p.total == 90000L);
    p = run("1,x;");
    CHECK(p.state == ERROR && p.count == 1);
    return failures;
}
