/* The library half of the multi-unit program. */
int shared_counter = 5;
int table[3] = {10, 20, 30};
static int hidden = 1;

static int local_twice(int v) { return v + v + 1; }

int bump(int by)
{
    shared_counter += by;
    hidden = local_twice(hidden) - hidden;
    return hidden;
}

const char *unit_name(void) { return "lib"; }
