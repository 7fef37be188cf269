/* host: yes */
/* A cooperative scheduler: a table of tasks with periods and function
   pointers, run for a number of ticks; counts show who ran when. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_scheduler: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct task {
    void (*run)(void);
    unsigned period;
    unsigned next;
};

static int runs_a, runs_b, runs_c, order[8], order_len;

static void task_a(void) { runs_a++; if (order_len < 8) order[order_len++] = 'a'; }
static void task_b(void) { runs_b++; if (order_len < 8) order[order_len++] = 'b'; }
static void task_c(void) { runs_c++; if (order_len < 8) order[order_len++] = 'c'; }

static struct task tasks[] = {
    { task_a, 2, 0 },
    { task_b, 5, 1 },
    { task_c, 10, 3 },
};

static void tick(unsigned now)
{
    unsigned i;
    for (i = 0; i < sizeof tasks / sizeof tasks[0]; i++)
        if (now == tasks[i].next) {
            tasks[i].run();
            tasks[i].next += tasks[i].period;
        }
}

int main(void)
{
    unsigned t;
    for (t = 0; t < 100; t++)
        tick(t);
    check(1, runs_a == 50);                 /* 0, 2, ..., 98 */
    check(2, runs_b == 20);                 /* 1, 6, ..., 96 */
    check(3, runs_c == 10);                 /* 3, 13, ..., 93 */
    check(4, order[0] == 'a' && order[1] == 'b' && order[2] == 'a' && order[3] == 'c' && order[4] == 'a');
    check(5, tasks[0].next == 100 && tasks[2].next == 103);
    return first_fail;
}
