/* host: yes */
/* Static locals keep their values between calls; each function has its
   own, even with the same name; a block's static is initialized once. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ctrl_static_locals: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int next_id(void)
{
    static int id = 100;
    return id++;
}

static int other(void)
{
    static int id;
    return ++id;
}

static long running(long add)
{
    static long total = 70000L;
    total += add;
    return total;
}

static int *scratch(void)
{
    static int buf[3];
    return buf;
}

int main(void)
{
    int a, b, c;
    a = next_id();
    b = next_id();
    c = other();
    check(1, a == 100 && b == 101 && c == 1 && other() == 2 && next_id() == 102);
    check(2, running(5) == 70005L && running(-70005L) == 0);
    scratch()[1] = 42;
    check(3, scratch()[1] == 42 && scratch() == scratch());
    {
        int i, s = 0;
        for (i = 0; i < 3; i++) {
            static int once = 10;
            s += once++;
        }
        check(4, s == 33);
    }
    return first_fail;
}
