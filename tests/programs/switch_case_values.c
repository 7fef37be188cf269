/* Case values are converted to the promoted type of the selector, as C
   says: a char selector compares its promoted value (so `case 0xFF`
   never matches a signed char -1, and `case 256` never matches an
   unsigned char 0), and in a switch on an unsigned int `case -1` is
   65535, found after the other cases. */
#include <stdio.h>

static int pick_char(char c)
{
    switch (c) {
    case 0xFF: return 1;   /* only where plain char is unsigned */
    case -1: return 2;     /* only where it is signed */
    default: return 3;
    }
}

static int pick_schar(signed char c)
{
    switch (c) {
    case 200: return 1;    /* never */
    case -56: return 2;
    default: return 3;
    }
}

static int pick_uchar(unsigned char c)
{
    switch (c) {
    case 256: return 1;    /* never */
    case 0: return 2;
    case -56: return 4;    /* never */
    case 200: return 5;
    default: return 3;
    }
}

static int pick_uint(unsigned int u)
{
    switch (u) {
    case -1: return 1;     /* 65535 */
    case 0: return 2;
    case 1: return 3;
    case 2: return 5;
    case 3: return 6;
    default: return 4;
    }
}

static int pick_int(int i)
{
    switch (i) {
    case 0xFFFF: return 1; /* -1 */
    case 0x8000: return 2; /* -32768 */
    case 7: return 3;
    default: return 4;
    }
}

int main(void)
{
    int failed = 0;
    char minus_one = (char)-1;
    if (pick_char(minus_one) != (minus_one < 0 ? 2 : 1)) { printf("pick_char\n"); failed = 1; }
    if (pick_schar(-56) != 2) { printf("pick_schar -56\n"); failed = 1; }
    if (pick_uchar(0) != 2) { printf("pick_uchar 0\n"); failed = 1; }
    if (pick_uchar(200) != 5) { printf("pick_uchar 200\n"); failed = 1; }
    if (pick_uint(65535u) != 1) { printf("pick_uint 65535\n"); failed = 1; }
    if (pick_uint(1) != 3 || pick_uint(3) != 6) { printf("pick_uint 1, 3\n"); failed = 1; }
    if (pick_uint(9) != 4) { printf("pick_uint 9\n"); failed = 1; }
    if (pick_int(-1) != 1) { printf("pick_int -1\n"); failed = 1; }
    if (pick_int(-32767 - 1) != 2) { printf("pick_int -32768\n"); failed = 1; }
    if (pick_int(7) != 3 || pick_int(0) != 4) { printf("pick_int 7, 0\n"); failed = 1; }
    return failed;
}
