/* The data the other units share, a static of a name they also use, and a
   function handed out through a pointer. */
int shared_counter = 10;
long shared_table[4] = { 70000L, 2, 3, 4 };
char greeting[] = "hello";

static int local = 30;

static int square(int v)
{
    return v * v;
}

int unit_c_local(void)
{
    return local++;
}

int (*get_callback(void))(int)
{
    return square;
}
