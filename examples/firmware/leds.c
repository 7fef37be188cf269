/* LED driver: the low four bits of port B. */
#include "regs.h"
#include "board.h"

static uint8_t shown;

void leds_init(void)
{
    DDRB |= LED_MASK;
    PORTB &= ~LED_MASK;
    shown = 0;
}

void leds_show(uint8_t bits)
{
    bits &= LED_MASK;
    if (bits == shown)
        return;
    PORTB = (PORTB & ~LED_MASK) | bits;
    shown = bits;
}
