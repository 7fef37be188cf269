/* Text bytes above 0x7F handled through plain char when plain char is
   unsigned: every byte value is positive, promotes to an int from 0 to
   255, indexes tables directly and decodes UTF-8 without casts. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("text_bytes_uchar: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int counts[256];

static char pass(char x)
{
    return x;
}

/* Bytes in a sequence that starts with lead; 0 for a continuation byte. */
static int utf8_len(char lead)
{
    if (lead < 0x80)
        return 1;
    if ((lead & 0xE0) == 0xC0)
        return 2;
    if ((lead & 0xF0) == 0xE0)
        return 3;
    if ((lead & 0xF8) == 0xF0)
        return 4;
    return 0;
}

/* Code points of a UTF-8 string (none above 0xFFFF here); returns how many. */
static int utf8_decode(const char *s, unsigned int *out)
{
    int n = 0, len, i;
    while (*s) {
        len = utf8_len(*s);
        if (len == 0 || len > 3)
            return -1;
        out[n] = len == 1 ? *s : *s & (0xFF >> (len + 1));
        for (i = 1; i < len; i++)
            out[n] = (out[n] << 6) | (s[i] & 0x3F);
        s += len;
        n++;
    }
    return n;
}

static unsigned int byte_sum(const char *s)
{
    unsigned int sum = 0;
    while (*s)
        sum += *s++;
    return sum;
}

int main(void)
{
    char c = 200, m = -1, k = 250, a = 0x80, b = 0x7F;
    signed char s = 200;                    /* signed char stays signed: -56 */
    unsigned int cp[4];
    const char *p;

    check(1, c > 0 && c == 200 && (long)c == 200L && sizeof c == 1);
    check(2, c + c == 400 && c - 201 == -1 && ~c == -201 && c >> 1 == 100);
    check(3, c * 100 == 20000 && (unsigned)c << 8 == 51200u && c < 300u);
    check(4, m == 255 && m > 0 && m > -1 && (unsigned)m == 255u);
    check(5, '\xff' == 255 && '\xff' == m && '\200' == 128 && '\310' == c);
    check(6, a > b && s < 0 && s == -56 && (char)s == c && (signed char)c == -56);
    k += 10;                                /* 260 stored in 8 bits */
    check(7, k == 4 && pass(-56) == 200 && pass(456) == 200);
    switch (c) {
    case 'a':
        check(8, 0);
        break;
    case 200:                               /* 0xC8 is 200, not -56 */
        break;
    default:
        check(8, 0);
    }
    for (p = "\xe9t\xe9\xff"; *p; p++)
        counts[*p]++;
    check(9, counts[0xE9] == 2 && counts[255] == 1 && counts['t'] == 1);
    check(10, byte_sum("\x80\x90\xff") == 527u);
    check(11, utf8_len('h') == 1 && utf8_len('\xc3') == 2 && utf8_len('\xe2') == 3
              && utf8_len('\xf0') == 4 && utf8_len('\xa9') == 0);
    /* h, U+00E9 (C3 A9), U+20AC (E2 82 AC) */
    check(12, utf8_decode("h\xc3\xa9\xe2\x82\xac", cp) == 3 && cp[0] == 0x68
              && cp[1] == 0xE9 && cp[2] == 0x20AC);
    check(13, utf8_decode("\xa9x", cp) == -1);
    return first_fail;
}
