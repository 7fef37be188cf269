/* Plain char when it is unsigned (option -u): values 128..255 stay positive,
   character constants and string bytes above 0x7F are positive. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("arith_char_uchar: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static char table[] = { 0x80, 0xFF, 0x7F, 1 };
static char text[] = "\xe9\x80z";

static int total(char *p)
{
    int s = 0;
    while (*p)
        s += *p++;
    return s;
}

int main(void)
{
    char c = 200;
    char m = -1;

    check(1, c == 200);
    check(2, c + 100 == 300);
    check(3, c > 0);
    check(4, m == 255);                        /* -1 stored in an unsigned char */
    check(5, '\xff' == 255);                   /* constant takes the value of an unsigned char */
    check(6, text[0] == 0xE9 && text[1] == 0x80);
    check(7, total(text) == 0xE9 + 0x80 + 'z');
    check(8, table[0] + table[1] + table[2] + table[3] == 511);
    check(9, (int)table[1] == 255);
    check(10, (table[0] >> 4) == 8);
    check(11, (char)-56 == 200);
    check(12, sizeof(char) == 1 && (char)256 == 0);
    m = 0;
    m--;
    check(13, m == 255);
    check(14, (long)m == 255L);
    return first_fail;
}
