/* A ring buffer as firmware keeps one for a serial line: 8 slots indexed by
   unsigned char counters that wrap, one slot left empty to tell full from
   empty. */
#include "check.h"

#define SLOTS 8
struct ring {
    unsigned char head, tail;
    unsigned char data[SLOTS];
};

int push(struct ring *r, unsigned char v)
{
    unsigned char next = (unsigned char)((r->head + 1) & (SLOTS - 1));
    if (next == r->tail)
        return 0;
    r->data[r->head] = v;
    r->head = next;
    return 1;
}

int pop(struct ring *r, unsigned char *v)
{
    if (r->head == r->tail)
        return 0;
    *v = r->data[r->tail];
    r->tail = (unsigned char)((r->tail + 1) & (SLOTS - 1));
    return 1;
}

struct ring serial;

int main(void)
{
    unsigned char v, i;
    int accepted = 0, sum = 0, popped = 0;
    for (i = 1; i <= 10; i++)
        accepted += push(&serial, i);
    CHECK(accepted == 7);
    for (i = 0; i < 3; i++)
        if (pop(&serial, &v))
            sum += v;
    CHECK(sum == 6);
    for (i = 11; i <= 13; i++)
        accepted += push(&serial, i);
    CHECK(accepted == 10);
    sum = 0;
    while (pop(&serial, &v)) {
        sum += v;
        popped++;
    }
    CHECK(sum == 58 && popped == 7);
    CHECK(!pop(&serial, &v));
    return failures;
}
