/* LED driver: the low four bits of port B. */
#include "regs.h"
#include "board.h"

static unsigned char shown;

void leds_init(void)
{
    DDRB |= LED_MASK;
    PORTB &= ~LED_MASK;
    shown = 0;
}

void leds_show(unsigned char bits)
{
    bits &= LED_MASK;
    if (bits == shown)
        return;
    PORTB = (PORTB & ~LED_MASK) | bits;
    shown = bits;
}
