/* String literals and the library's string and memory functions. */
#include "check.h"

unsigned int strlen(const char *s);
int strcmp(const char *a, const char *b);
int strncmp(const char *a, const char *b, unsigned int n);
char *strcpy(char *d, const char *s);
void *memcpy(void *d, const void *s, unsigned int n);
void *memset(void *d, int c, unsigned int n);
int memcmp(const void *a, const void *b, unsigned int n);

int count_char(const char *s, char c)
{
    int n = 0;
    for (; *s; s++)
        if (*s == c)
            n++;
    return n;
}

void reverse(char *s)
{
    char *e = s + strlen(s) - 1, t;
    while (s < e) {
        t = *s;
        *s++ = *e;
        *e-- = t;
    }
}

int main(void)
{
    char buffer[16];
    const char *msg = "mississippi";
    CHECK(strlen(msg) == 11);
    CHECK(count_char(msg, 's') == 4);
    CHECK(sizeof "abc" == 4);
    CHECK("abc"[1] == 'b');
    CHECK(strcmp("abc", "abd") < 0 && strcmp("b", "a") > 0 && strcmp(msg, "mississippi") == 0);
    CHECK(strncmp("abcx", "abcy", 3) == 0);
    strcpy(buffer, "stressed");
    reverse(buffer);
    CHECK(strcmp(buffer, "desserts") == 0);
    memset(buffer, 'x', 4);
    buffer[4] = 0;
    CHECK(strcmp(buffer, "xxxx") == 0);
    memcpy(buffer + 1, "ab", 2);
    CHECK(memcmp(buffer, "xabx", 5) == 0);
    CHECK("\x41\102\n"[0] == 'A' && "\x41\102\n"[1] == 'B' && "\x41\102\n"[2] == 10);
    return failures;
}
