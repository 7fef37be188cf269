/* Three units linked together: data defined in one unit, functions in
   another, and a static of the same name in each unit. */
int printf(const char *, ...);

extern int shared_counter;
extern long shared_table[4];
extern char greeting[];
int bump(int by);
long table_sum(void);
int unit_b_local(void);
int unit_c_local(void);
int (*get_callback(void))(int);

static int local = 1;        /* unit_b and unit_c each have their own */

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("link_units: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

int main(void)
{
    check(1, shared_counter == 10);
    check(2, bump(5) == 15 && shared_counter == 15);
    shared_counter = 100;
    check(3, bump(1) == 101);
    check(4, table_sum() == 70000L + 2 + 3 + 4);
    shared_table[0] = 1;
    check(5, table_sum() == 10L);
    check(6, greeting[0] == 'h' && greeting[4] == 'o');
    check(7, local == 1 && unit_b_local() == 20 && unit_c_local() == 30);
    check(8, unit_b_local() == 21 && unit_c_local() == 31 && local == 1);
    check(9, get_callback()(4) == 16);
    return first_fail;
}
