/* Periodic timer: an interrupt counts ticks. */
#include "regs.h"
#include "board.h"

#pragma section [fastdata]
static unsigned int ticks;
#pragma section []

void timer_isr(void)
{
    TFLG1 = 0x01;
    ticks++;
}

void timer_init(void)
{
    TCTL.prescale = 5;
    TCTL.mode = 1;
    TCTL.irq = 1;
    TCTL.enable = 1;
    ticks = 0;
}

unsigned int timer_ticks(void)
{
    unsigned int t;
    do {
        t = ticks;
    } while (t != ticks);
    return t;
}
