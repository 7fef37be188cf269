/* host: yes */
/* Function pointers: an operation table, callbacks, a pointer returned
   from a function, and calls through (*f)() and f() alike. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_funcptr: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

typedef int (*binop)(int, int);

static int add(int a, int b) { return a + b; }
static int sub(int a, int b) { return a - b; }
static int mul(int a, int b) { return a * b; }
static int maxi(int a, int b) { return a > b ? a : b; }

static binop ops[] = { add, sub, mul, maxi };

static int fold(int *v, int n, binop f, int start)
{
    while (n-- > 0)
        start = f(start, *v++);
    return start;
}

static binop pick(char c)
{
    switch (c) {
    case '+': return add;
    case '-': return sub;
    case '*': return &mul;
    }
    return 0;
}

static int count;
static void tick(void) { count++; }
static void each(void (*cb)(void), int times) { while (times--) (*cb)(); }

int main(void)
{
    int v[4] = { 3, 1, 4, 1 };
    int (*f)(int, int) = ops[2];
    check(1, fold(v, 4, add, 0) == 9 && fold(v, 4, mul, 1) == 12);
    check(2, fold(v, 4, maxi, -100) == 4 && fold(v, 4, ops[1], 10) == 1);
    check(3, (*f)(6, 7) == 42 && f(2, 3) == 6);
    check(4, pick('-')(10, 4) == 6 && pick('*') == mul && pick('?') == 0);
    each(tick, 5);
    check(5, count == 5);
    check(6, ops[0] != ops[1] && sizeof ops / sizeof ops[0] == 4);
    return first_fail;
}
