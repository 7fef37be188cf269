/* Main loop: steps through light patterns kept in constant tables. */
#include "board.h"

#pragma section const {rom}
static const unsigned char chase[4] = { 0x01, 0x02, 0x04, 0x08 };
static const unsigned char blink[2] = { 0x0F, 0x00 };
static const char banner[] = "patterns ready\n";
#pragma section const {}

struct pattern {
    const unsigned char *steps;
    unsigned char length;
};

static const struct pattern patterns[PATTERN_COUNT] = {
    { chase, 4 },
    { blink, 2 },
};

void main(void)
{
    enum pattern_id which;
    unsigned char step;
    unsigned int last;

    leds_init();
    timer_init();
    serial_puts(banner);
    which = PATTERN_CHASE;
    step = 0;
    last = timer_ticks();
    for (;;) {
        if (timer_ticks() - last < TICKS_PER_STEP)
            continue;
        last += TICKS_PER_STEP;
        leds_show(patterns[which].steps[step]);
        if (++step >= patterns[which].length) {
            step = 0;
            which = which == PATTERN_BLINK ? PATTERN_CHASE : PATTERN_BLINK;
        }
    }
}
