/* host: yes */
/* Strings as char arrays: the usual routines written out, and a number
   formatter and parser. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_strings: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int slen(char *s)
{
    char *p = s;
    while (*p)
        p++;
    return p - s;
}

static char *scopy(char *d, char *s)
{
    char *r = d;
    while ((*d++ = *s++) != 0)
        ;
    return r;
}

static int scmp(char *a, char *b)
{
    for (; *a == *b; a++, b++)
        if (!*a)
            return 0;
    return *a < *b ? -1 : 1;
}

static void reverse(char *s)
{
    char *e = s + slen(s) - 1;
    while (s < e) {
        char t = *s;
        *s++ = *e;
        *e-- = t;
    }
}

static char *itoa10(int v, char *buf)
{
    char *p = buf;
    unsigned u = v < 0 ? -(unsigned)v : (unsigned)v;
    do {
        *p++ = '0' + u % 10;
        u /= 10;
    } while (u);
    if (v < 0)
        *p++ = '-';
    *p = 0;
    reverse(buf);
    return buf;
}

static int atoi10(char *s)
{
    int sign = 1, v = 0;
    if (*s == '-') {
        sign = -1;
        s++;
    }
    while (*s >= '0' && *s <= '9')
        v = v * 10 + (*s++ - '0');
    return sign * v;
}

int main(void)
{
    char buf[20];
    char word[] = "firmware";

    check(1, slen("") == 0 && slen("hello") == 5 && sizeof "hello" == 6);
    check(2, scmp(scopy(buf, "copy"), "copy") == 0);
    check(3, scmp("abc", "abd") < 0 && scmp("b", "a") > 0);
    reverse(word);
    check(4, scmp(word, "erawmrif") == 0);
    check(5, scmp(itoa10(-32767, buf), "-32767") == 0);
    check(6, scmp(itoa10(0, buf), "0") == 0);
    check(7, scmp(itoa10(12345, buf), "12345") == 0);
    check(8, atoi10("-4096") == -4096 && atoi10("321x") == 321);
    check(9, "hello"[1] == 'e' && *("abc" + 2) == 'c');
    check(10, sizeof word == 9 && word[8] == 0);
    check(11, slen("tab\there") == 8 && "\101"[0] == 'A');
    return first_fail;
}
