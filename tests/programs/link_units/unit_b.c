/* Functions that work on data defined in another unit. */
extern int shared_counter;
extern long shared_table[];

static int local = 20;

int bump(int by)
{
    shared_counter += by;
    return shared_counter;
}

long table_sum(void)
{
    long s = 0;
    int i;
    for (i = 0; i < 4; i++)
        s += shared_table[i];
    return s;
}

int unit_b_local(void)
{
    return local++;
}
