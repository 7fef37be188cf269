/* host: yes */
/* Nested braces, brace elision and zero-filling in arrays of structs and
   arrays of arrays. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("init_nested: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct pin {
    unsigned char port;
    int mask;
    long delay;
};

static struct pin pins[] = { { 1, 0x10, 100L }, { 2, 0x20 }, 3, 0x40, 300L };
static int grid[3][3] = { { 1 }, { 4, 5 }, 7, 8, 9 };
static int flat[2][2] = { 1, 2, 3 };
static struct { int a[2]; char s[3]; } combo = { { 5 }, "xy" };

int main(void)
{
    struct pin local[2] = { { 7 } };
    int lgrid[2][3] = { { 1, 2, 3 } };
    check(1, sizeof pins == 3 * sizeof(struct pin));
    check(2, pins[1].port == 2 && pins[1].mask == 0x20 && pins[1].delay == 0);
    check(3, pins[2].port == 3 && pins[2].mask == 0x40 && pins[2].delay == 300L);  /* braces elided */
    check(4, grid[0][0] == 1 && grid[0][2] == 0 && grid[1][1] == 5 && grid[1][2] == 0);
    check(5, grid[2][0] == 7 && grid[2][2] == 9);
    check(6, flat[1][0] == 3 && flat[1][1] == 0);
    check(7, combo.a[0] == 5 && combo.a[1] == 0 && combo.s[1] == 'y' && combo.s[2] == 0);
    check(8, local[0].port == 7 && local[0].mask == 0 && local[1].delay == 0);
    check(9, lgrid[0][2] == 3 && lgrid[1][0] == 0 && lgrid[1][2] == 0);
    return first_fail;
}
