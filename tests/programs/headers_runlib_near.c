/* The declarations of zpc-run's library (tools/run/include): each
   function called through its header with the argument types the header
   gives, its result checked. exit ends the program with the failure
   count; the return after it is never reached. */
#include <string.h>
#include <stdio.h>
#include <stdlib.h>

static int failures;
#define CHECK(cond) ((cond) ? 0 : (printf("%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond), ++failures))

int main(void)
{
    char buf[16];
    char other[16];
    size_t n;

    CHECK(memset(buf, 'x', 4) == buf && buf[0] == 'x' && buf[3] == 'x');
    buf[4] = 0;
    n = strlen(buf);
    CHECK(n == 4 && sizeof n == sizeof(unsigned));
    CHECK(strcpy(other, "abc") == other && strcmp(other, "abc") == 0);
    CHECK(strcmp("abc", "abd") < 0 && strcmp("b", "a") > 0);
    CHECK(strncmp("abcx", "abcy", 3) == 0 && strncmp("abcx", "abcy", 4) < 0);
    CHECK(memcpy(buf, "hello", 6) == buf && memcmp(buf, "hello", 6) == 0);
    CHECK(memcmp(buf, "help", 4) < 0 && memcmp("b", "a", 1) > 0);
    CHECK(memmove(buf + 1, buf, 5) == buf + 1 && memcmp(buf, "hhello", 6) == 0);
    CHECK(printf("%s %d %ld\n", "printf", -3, 70000L) == 16);
    CHECK(putchar('+') == '+' && putchar('\n') == '\n');
    CHECK(puts("puts") >= 0 && EOF < 0);
    CHECK(EXIT_SUCCESS == 0 && EXIT_FAILURE != 0 && NULL == (void *)0);
    exit(failures);
    return 99;
}
