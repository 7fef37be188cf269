/* Periodic timer: an interrupt counts ticks. */
#include "regs.h"
#include "board.h"

#pragma section [fastdata]
static uint16_t ticks;
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

uint16_t timer_ticks(void)
{
    uint16_t t;
    do {
        t = ticks;
    } while (t != ticks);
    return t;
}
