/* Decimal real constants are the nearest double or one of its neighbours,
   as C requires, also where scaling by powers of ten would land further
   away (the largest double would even become infinity). Each decimal
   spelling is checked against the exact hexadecimal spelling of its
   correctly rounded value: equal, or one unit away in the last place. */
#include <stdio.h>
#include <string.h>

struct pair {
    double decimal, exact;
    const char *text;
};

static const struct pair pairs[] = {
    { 97685667656062095e-111, 0x1.a14f861099f4cp-313, "97685667656062095e-111" },
    { 58264920080915771e-302, (0x1.62e19739d219cp-436 * 0x1p-512), "58264920080915771e-302" },
    { 58192187494971288e-170, 0x1.f358d461c8df1p-510, "58192187494971288e-170" },
    { 54331530051371346e224, (0x1.a12e8b2ed07cdp+287 * 0x1p+512), "54331530051371346e224" },
    { 48779931582730813e-136, 0x1.93140c3b09462p-397, "48779931582730813e-136" },
    { 1.7976931348623157e308, (0x1.fffffffffffffp+511 * 0x1p+512), "1.7976931348623157e308" },
    { 2.2250738585072014e-308, (0x1.0000000000000p-510 * 0x1p-512), "2.2250738585072014e-308" },
    { 0.1, 0x1.999999999999ap-4, "0.1" },
    { 3.141592653589793, 0x1.921fb54442d18p+1, "3.141592653589793" },
    { 1e23, 0x1.52d02c7e14af6p+76, "1e23" },
    { 8.98846567431158e307, (0x1.0000000000000p+511 * 0x1p+512), "8.98846567431158e307" },
};

/* The distance in units of the last place of two positive doubles: the
   difference of their bit patterns, read big-endian. */
static unsigned long units_apart(double a, double b)
{
    unsigned char x[8], y[8];
    unsigned long hi_x, lo_x, hi_y, lo_y;
    memcpy(x, &a, 8);
    memcpy(y, &b, 8);
    hi_x = ((unsigned long)x[0] << 24) | ((unsigned long)x[1] << 16) | ((unsigned long)x[2] << 8) | x[3];
    lo_x = ((unsigned long)x[4] << 24) | ((unsigned long)x[5] << 16) | ((unsigned long)x[6] << 8) | x[7];
    hi_y = ((unsigned long)y[0] << 24) | ((unsigned long)y[1] << 16) | ((unsigned long)y[2] << 8) | y[3];
    lo_y = ((unsigned long)y[4] << 24) | ((unsigned long)y[5] << 16) | ((unsigned long)y[6] << 8) | y[7];
    if (hi_x == hi_y)
        return lo_x > lo_y ? lo_x - lo_y : lo_y - lo_x;
    if (hi_x == hi_y + 1 && lo_x < lo_y)
        return lo_x + (0xFFFFFFFFul - lo_y) + 1;
    if (hi_y == hi_x + 1 && lo_y < lo_x)
        return lo_y + (0xFFFFFFFFul - lo_x) + 1;
    return 0xFFFFFFFFul;
}

int main(void)
{
    int failed = 0;
    unsigned i;
    for (i = 0; i < sizeof pairs / sizeof pairs[0]; ++i) {
        if (units_apart(pairs[i].decimal, pairs[i].exact) > 1) {
            printf("%s is %lu units away\n", pairs[i].text, units_apart(pairs[i].decimal, pairs[i].exact));
            failed = 1;
        }
    }
    if (pairs[5].decimal - pairs[5].decimal != 0.0) {
        printf("the largest double is infinite\n");
        failed = 1;
    }
    return failed;
}
