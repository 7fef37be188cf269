/* Polled serial output. */
#include "regs.h"
#include "board.h"

#define TDRE 0x80

void serial_put(char c)
{
    while (!(SCISR & TDRE))
        ;
    SCIDR = c;
}

void serial_puts(const char *s)
{
    while (*s) {
        if (*s == '\n')
            serial_put('\r');
        serial_put(*s++);
    }
}
