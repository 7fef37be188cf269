/* host: yes */
/* Number formatting for a display driver: signed and unsigned decimal of
   int and long, fixed-width hexadecimal, and packed BCD for a clock chip,
   checked against the text it should produce. */
int printf(const char *, ...);
int strcmp(const char *, const char *);
int memcmp(const void *, const void *, unsigned int);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fmt_number: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

/* The library's string routines take near pointers, so the buffers handed
   to them stay near even when data defaults to far; the host has no
   spaces. */
#ifdef __ZPKW__
#define NEAR @near
#else
#define NEAR
#endif

static NEAR char buf[16];
static NEAR char line[16];

/* Digits come out lowest first into tmp and are copied back reversed. */
static int utoa_dec(unsigned long v, char *out)
{
    char tmp[11];
    int n = 0, len;
    do {
        tmp[n++] = (char)('0' + (int)(v % 10));
        v /= 10;
    } while (v != 0);
    len = n;
    while (n > 0)
        *out++ = tmp[--n];
    *out = 0;
    return len;
}

static int ltoa_dec(long v, char *out)
{
    if (v < 0) {
        *out = '-';
        /* -(v + 1) + 1 keeps the most negative long from overflowing */
        return 1 + utoa_dec((unsigned long)-(v + 1) + 1, out + 1);
    }
    return utoa_dec((unsigned long)v, out);
}

static int itoa_dec(int v, char *out)
{
    return ltoa_dec(v, out);
}

static void to_hex(unsigned long v, int digits, char *out)
{
    static const char hex[] = "0123456789ABCDEF";
    out[digits] = 0;
    while (digits-- > 0) {
        out[digits] = hex[(int)(v & 0xF)];
        v >>= 4;
    }
}

/* Packed BCD of 0 .. 9999, one decimal digit per nibble. */
static unsigned int to_bcd(unsigned int v)
{
    unsigned int r = 0;
    int shift = 0;
    while (v != 0) {
        r |= (v % 10) << shift;
        v /= 10;
        shift += 4;
    }
    return r;
}

static unsigned int from_bcd(unsigned int b)
{
    unsigned int r = 0, scale = 1;
    while (b != 0) {
        r += (b & 0xF) * scale;
        scale *= 10;
        b >>= 4;
    }
    return r;
}

/* "HH:MM" from the clock chip's BCD hour and minute registers. */
static void clock_text(unsigned char hour, unsigned char minute, char *out)
{
    out[0] = (char)('0' + (hour >> 4));
    out[1] = (char)('0' + (hour & 0xF));
    out[2] = ':';
    out[3] = (char)('0' + (minute >> 4));
    out[4] = (char)('0' + (minute & 0xF));
    out[5] = 0;
}

int main(void)
{
    unsigned int i;
    int bad = 0, n;

    check(1, itoa_dec(0, buf) == 1 && strcmp(buf, "0") == 0);
    check(2, itoa_dec(-32767 - 1, buf) == 6 && strcmp(buf, "-32768") == 0);
    check(3, itoa_dec(32767, buf) == 5 && strcmp(buf, "32767") == 0);
    check(4, ltoa_dec(-2147483647L - 1, buf) == 11 && strcmp(buf, "-2147483648") == 0);
    check(5, utoa_dec(4294967295UL, buf) == 10 && strcmp(buf, "4294967295") == 0);
    check(6, utoa_dec((unsigned short)-1, buf) == 5 && strcmp(buf, "65535") == 0);
    check(7, ltoa_dec(100000L, buf) == 6 && memcmp(buf, "100000", 7) == 0);
    to_hex(0xBEEFUL, 4, buf);
    check(8, strcmp(buf, "BEEF") == 0);
    to_hex(0x12345678UL, 8, buf);
    check(9, strcmp(buf, "12345678") == 0);
    to_hex(0xABCUL, 6, buf);
    check(10, strcmp(buf, "000ABC") == 0);
    to_hex((unsigned long)-1L, 8, buf);          /* only the low 32 bits are shown */
    check(11, strcmp(buf, "FFFFFFFF") == 0);
    line[0] = 'T';
    line[1] = '=';
    n = itoa_dec(-40, line + 2);
    line[2 + n] = 'C';
    line[3 + n] = 0;
    check(12, n == 3 && memcmp(line, "T=-40C", 7) == 0);
    check(13, to_bcd(1234) == 0x1234 && to_bcd(59) == 0x59 && to_bcd(0) == 0);
    check(14, to_bcd(9999) == 0x9999 && from_bcd(0x2359) == 2359);
    for (i = 0; i < 10000; i += 7)
        if (from_bcd(to_bcd(i)) != i)
            bad++;
    check(15, bad == 0);
    clock_text(0x23, 0x59, buf);
    check(16, strcmp(buf, "23:59") == 0);
    clock_text((unsigned char)to_bcd(7), (unsigned char)to_bcd(5), buf);
    check(17, strcmp(buf, "07:05") == 0);
    return first_fail;
}
