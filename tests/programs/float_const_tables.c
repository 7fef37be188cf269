/* Constant tables of floating values: the literal pool shares the values
   of a const table with the constants functions use, so a function's 2.5f
   may be read from inside the table. */
#include <stdio.h>

static const float gains[] = {1.0f, 2.5f, 0.125f};
static const double steps[2] = {0.5, 1024.0};

static float gain(int i) { return gains[i]; }
static float two_and_a_half(void) { return 2.5f; }
static double eighth(void) { return 0.125; }
static double big_step(void) { return 1024.0; }

int main(void)
{
    int failed = 0;
    if (gain(0) != 1.0f) { printf("gain 0\n"); failed = 1; }
    if (gain(1) != two_and_a_half()) { printf("gain 1\n"); failed = 1; }
    if (gain(2) * 8.0f != 1.0f) { printf("gain 2\n"); failed = 1; }
    if (eighth() * 8.0 != 1.0) { printf("eighth\n"); failed = 1; }
    if (steps[1] != big_step() || steps[0] * 2048.0 != big_step()) { printf("steps\n"); failed = 1; }
    if (sizeof gains != 3 * sizeof(float)) { printf("sizeof gains\n"); failed = 1; }
    return failed;
}
