/* A sampling driver: its state is private to this unit and read through
   accessors, its sample ring is an array the application reads directly,
   and each raw value goes through a filter the application installs. */
#define NSAMPLES 8

int samples[NSAMPLES];

static int head;
static int count;
static long sum;
static unsigned int overruns;
static int (*filter)(int);

void drv_init(int (*f)(int))
{
    head = 0;
    count = 0;
    sum = 0;
    overruns = 0;
    filter = f;
}

void drv_push(int raw)
{
    int v = filter ? filter(raw) : raw;
    if (count == NSAMPLES) {
        sum -= samples[head];        /* the oldest value is overwritten */
        overruns++;
    } else {
        count++;
    }
    samples[head] = v;
    sum += v;
    head = (head + 1) % NSAMPLES;
}

int drv_count(void)
{
    return count;
}

long drv_sum(void)
{
    return sum;
}

unsigned int drv_overruns(void)
{
    return overruns;
}

int (*drv_filter(void))(int)
{
    return filter;
}

/* Folds the stored values, in array order, with the caller's operation. */
int drv_fold(int (*op)(int, int), int init)
{
    int acc = init, i;
    for (i = 0; i < count; i++)
        acc = op(acc, samples[i]);
    return acc;
}
