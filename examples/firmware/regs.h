/* Register map of the board's peripherals: byte registers in the direct
   page (tiny addresses), a timer block laid out as a struct with bitfields,
   and a far flash window. */
#ifndef REGS_H
#define REGS_H

struct timer_ctl {
    unsigned enable : 1;
    unsigned irq : 1;
    unsigned prescale : 3;
    unsigned mode : 2;
};

volatile unsigned char PORTA @ 0x0000;
volatile unsigned char DDRA @ 0x0002;
volatile unsigned char PORTB @ 0x0001;
volatile unsigned char DDRB @ 0x0003;
volatile struct timer_ctl TCTL @ 0x0046;
volatile unsigned char TFLG1 @ 0x004E;
volatile unsigned int TCNT @ 0x0044;
volatile unsigned char SCISR @ 0x00CC;
volatile unsigned char SCIDR @ 0x00CF;

#endif
