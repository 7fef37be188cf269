/* Enumeration constants and const objects used in expressions, array
   sizes and case labels; small enums still compute in int. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_enum_const: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

enum color { RED, GREEN = 5, BLUE, LAST = BLUE + 10 };
enum sign { NEG = -2, POS = 2 };
enum bigval { HUGE = 70000L };   /* beyond int: this compiler gives such an enum a long type */

static const int limit = 12;
static const long scale = 100000L;
static const unsigned char mask = 0xF0;

static int name_len(enum color c)
{
    switch (c) {
    case RED: return 3;
    case GREEN: return 5;
    case BLUE: return 4;
    default: return 0;
    }
}

int main(void)
{
    int table[LAST];
    enum color c = BLUE;
    enum sign s = NEG;
    const int local = limit * 2;

    check(1, RED == 0 && GREEN == 5 && BLUE == 6 && LAST == 16);
    check(2, sizeof table == 16 * sizeof(int));
    check(3, name_len(c) == 4 && name_len(RED) == 3 && name_len(LAST) == 0);
    check(4, s + POS == 0 && s * 3 == -6);
    check(5, HUGE == 70000L && HUGE / 7 == 10000L);
    check(6, local == 24 && limit * scale == 1200000L);
    check(7, (mask | 0x0F) == 0xFF && (mask << 4) == 0xF00);   /* widened to int */
    c = GREEN;
    c++;
    check(8, c == BLUE);
    check(9, BLUE - 10 < 0);                 /* int arithmetic, not unsigned */
    return first_fail;
}
