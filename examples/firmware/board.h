/* Board configuration shared by the drivers. */
#ifndef BOARD_H
#define BOARD_H

#include <stdint.h>

#define LED_MASK 0x0Fu
#define TICKS_PER_STEP 25

enum pattern_id { PATTERN_CHASE, PATTERN_BLINK, PATTERN_COUNT };

void leds_init(void);
void leds_show(uint8_t bits);
void timer_init(void);
uint16_t timer_ticks(void);
void serial_put(char c);
void serial_puts(const char *s);

#endif
