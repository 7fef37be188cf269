/* float.h against the floating types the program really computes with:
   the digits, exponents, epsilon, minimum and maximum of float and double
   are measured at run time (through volatile objects, so that nothing is
   folded) and compared with the macros. Under -f double is float and the
   DBL_ macros must describe it. */
#include <float.h>
#include "check.h"

static volatile float vf;
static volatile double vd;
/* The limits are constant expressions. */
static const float float_limits[] = { FLT_MIN, FLT_MAX, FLT_EPSILON };
static const double double_limits[] = { DBL_MIN, DBL_MAX, DBL_EPSILON, LDBL_MAX };

/* Bits of the significand: halve e until 1 + e rounds to 1. */
static int float_digits(void)
{
    float e = 1.0f;
    int n = 1;
    for (;;) {
        vf = 1.0f + e / 2.0f;
        if (vf == 1.0f)
            return n;
        e = e / 2.0f;
        ++n;
    }
}

static int double_digits(void)
{
    double e = 1.0;
    int n = 1;
    for (;;) {
        vd = 1.0 + e / 2.0;
        if (vd == 1.0)
            return n;
        e = e / 2.0;
        ++n;
    }
}

static float float_power2(int n)
{
    float p = 1.0f;
    for (; n > 0; --n)
        p = p * 2.0f;
    for (; n < 0; ++n)
        p = p / 2.0f;
    return p;
}

static double double_power2(int n)
{
    double p = 1.0;
    for (; n > 0; --n)
        p = p * 2.0;
    for (; n < 0; ++n)
        p = p / 2.0;
    return p;
}

int main(void)
{
    float f;
    double d;
    int k;

    CHECK(FLT_RADIX == 2 && FLT_ROUNDS == 1);
    CHECK(sizeof(float) == 4 && sizeof(long double) == sizeof(double));
    CHECK(float_limits[0] == FLT_MIN && float_limits[1] == FLT_MAX && float_limits[2] == FLT_EPSILON);
    CHECK(double_limits[0] == DBL_MIN && double_limits[1] == DBL_MAX && double_limits[2] == DBL_EPSILON);
    CHECK(double_limits[3] == DBL_MAX && double_limits[1] > double_limits[1] / 2.0);

    /* float */
    CHECK(float_digits() == FLT_MANT_DIG);
    vf = 1.0f + FLT_EPSILON;
    CHECK(vf > 1.0f && vf - 1.0f == FLT_EPSILON);
    CHECK(FLT_EPSILON == float_power2(1 - FLT_MANT_DIG));
    CHECK(FLT_DIG == (int)((FLT_MANT_DIG - 1) * 0.30103));
    CHECK(FLT_MIN == float_power2(FLT_MIN_EXP - 1));
    vf = FLT_MAX;
    CHECK(vf == (2.0f - FLT_EPSILON) * float_power2(FLT_MAX_EXP - 1));
    vf = vf * 2.0f;
    CHECK(vf > FLT_MAX);
    vf = FLT_MAX;
    vf = vf + vf * FLT_EPSILON / 4.0f;
    CHECK(vf == FLT_MAX);
    f = 1.0f;
    for (k = 0; k < FLT_MAX_10_EXP; k++)
        f = f * 10.0f;
    vf = f * 10.0f;
    CHECK(f <= FLT_MAX && vf > FLT_MAX);
    f = 1.0f;
    for (k = 0; k > FLT_MIN_10_EXP; k--)
        f = f / 10.0f;
    vf = f / 10.0f;
    CHECK(f >= FLT_MIN && vf < FLT_MIN);
    /* Round to nearest: three quarters of a unit in the last place
       round up, one quarter rounds down. */
    vf = 1.0f + FLT_EPSILON * 0.75f;
    CHECK(vf == 1.0f + FLT_EPSILON);
    vf = 1.0f + FLT_EPSILON * 0.25f;
    CHECK(vf == 1.0f);

    /* double, which is float under -f */
    CHECK(double_digits() == DBL_MANT_DIG);
    CHECK((sizeof(double) == 4) == (DBL_MANT_DIG == FLT_MANT_DIG));
    vd = 1.0 + DBL_EPSILON;
    CHECK(vd > 1.0 && vd - 1.0 == DBL_EPSILON);
    CHECK(DBL_EPSILON == double_power2(1 - DBL_MANT_DIG));
    CHECK(DBL_DIG == (int)((DBL_MANT_DIG - 1) * 0.30103));
    CHECK(DBL_MIN == double_power2(DBL_MIN_EXP - 1));
    vd = DBL_MAX;
    CHECK(vd == (2.0 - DBL_EPSILON) * double_power2(DBL_MAX_EXP - 1));
    vd = vd * 2.0;
    CHECK(vd > DBL_MAX);
    d = 1.0;
    for (k = 0; k < DBL_MAX_10_EXP; k++)
        d = d * 10.0;
    vd = d * 10.0;
    CHECK(d <= DBL_MAX && vd > DBL_MAX);
    d = 1.0;
    for (k = 0; k > DBL_MIN_10_EXP; k--)
        d = d / 10.0;
    vd = d / 10.0;
    CHECK(d >= DBL_MIN && vd < DBL_MIN);

    /* long double is double. */
    CHECK(LDBL_MANT_DIG == DBL_MANT_DIG && LDBL_DIG == DBL_DIG && LDBL_EPSILON == DBL_EPSILON);
    CHECK(LDBL_MIN == DBL_MIN && LDBL_MAX == DBL_MAX && LDBL_MIN_EXP == DBL_MIN_EXP && LDBL_MAX_EXP == DBL_MAX_EXP);
    CHECK(LDBL_MIN_10_EXP == DBL_MIN_10_EXP && LDBL_MAX_10_EXP == DBL_MAX_10_EXP);

#if __CC99__
    /* Enough decimal digits to write any double and read it back. */
    CHECK(DECIMAL_DIG == (int)(DBL_MANT_DIG * 0.30103) + 2);
    CHECK(FLT_EVAL_METHOD == -1);
#endif
    return failures;
}
