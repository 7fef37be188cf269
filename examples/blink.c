/* Blink an LED on port B from a periodic timer interrupt. */
#define PORTB   (*(volatile unsigned char *)0x0001)
#define DDRB    (*(volatile unsigned char *)0x0003)
#define TFLG1   (*(volatile unsigned char *)0x004E)
#define LED_BIT 0x01u
#define TICKS_PER_TOGGLE 50

static unsigned char ticks;
unsigned int toggles @0x1000;

static void led_toggle(void)
{
    PORTB ^= LED_BIT;
    toggles++;
}

void timer_isr(void)
{
    TFLG1 = 0x01;
    if (++ticks >= TICKS_PER_TOGGLE) {
        ticks = 0;
        led_toggle();
    }
}

void main(void)
{
    DDRB |= LED_BIT;
    for (;;) {
        _asm("wai");
    }
}
