/* Two units linked together: shared objects and functions by name, statics
   of one name in each unit kept apart, string literals of each unit. */
#include "../check.h"

extern int shared_counter;
extern int table[];
int bump(int by);
const char *unit_name(void);
static int hidden = 100;

static int local_twice(int v) { return 2 * v; }

int main(void)
{
    CHECK(shared_counter == 5);
    CHECK(bump(3) == 2 && bump(4) == 3);
    CHECK(shared_counter == 12);
    CHECK(hidden == 100);
    CHECK(table[2] == 30);
    CHECK(unit_name()[0] == 'l' && unit_name()[3] == 0);
    CHECK(local_twice(21) == 42);
    return failures;
}
