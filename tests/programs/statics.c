/* Static locals keep their values between calls; statics of one name in two
   functions are distinct objects; a static function is called through. */
#include "check.h"

static int helper(int v) { return v * 2; }

int next_id(void)
{
    static int id = 100;
    return id++;
}

int counter_a(void)
{
    static int count;
    return ++count;
}

int counter_b(void)
{
    static int count = 10;
    return ++count;
}

static long total;

void accumulate(int v) { total += helper(v); }

int main(void)
{
    CHECK(next_id() == 100);
    CHECK(next_id() == 101);
    CHECK(counter_a() == 1 && counter_a() == 2);
    CHECK(counter_b() == 11 && counter_a() == 3);
    accumulate(5);
    accumulate(10000);
    CHECK(total == 20010L);
    return failures;
}
