/* The application half: installs its own (static) filter in the driver,
   reads the driver's sample array as an extern of unknown size, and keeps
   a static of the same name as one of the driver's. */
int printf(const char *, ...);

extern int samples[];
void drv_init(int (*f)(int));
void drv_push(int raw);
int drv_count(void);
long drv_sum(void);
unsigned int drv_overruns(void);
int (*drv_filter(void))(int);
int drv_fold(int (*op)(int, int), int init);

static int count = 99;           /* not the driver's count */
static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("driver_units: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int clamp100(int v)
{
    return v > 100 ? 100 : v < -100 ? -100 : v;
}

static int max_of(int a, int b)
{
    return a > b ? a : b;
}

static int add(int a, int b)
{
    return a + b;
}

int main(void)
{
    int i;

    drv_init(0);
    drv_push(5);
    drv_push(7);
    drv_push(-3);
    check(1, drv_count() == 3 && drv_sum() == 9L && samples[0] == 5 && samples[2] == -3);
    check(2, drv_filter() == 0);

    drv_init(clamp100);
    drv_push(250);
    drv_push(-250);
    drv_push(40);
    check(3, drv_filter() == clamp100 && drv_filter()(-7) == -7);
    check(4, samples[0] == 100 && samples[1] == -100 && samples[2] == 40 && drv_sum() == 40L);

    /* 1..5 fill slots 3..7; 6, 7, 8 overwrite slots 0, 1, 2 (100, -100, 40) */
    for (i = 1; i <= 8; i++)
        drv_push(i);
    check(5, drv_count() == 8 && drv_overruns() == 3);
    check(6, samples[0] == 6 && samples[2] == 8 && samples[3] == 1 && samples[7] == 5);
    check(7, drv_sum() == 36L);
    check(8, drv_fold(max_of, -32767 - 1) == 8 && drv_fold(add, 0) == 36);

    samples[3] = 1000;               /* the application writes the driver's array */
    check(9, drv_fold(max_of, 0) == 1000 && drv_sum() == 36L);
    check(10, count == 99 && drv_count() == 8);
    return first_fail;
}
