/* float.h: characteristics of the floating types on the S12X target.

   float is IEEE single precision, double and long double IEEE double.
   Under option -f (the value 2 in the option mask of __ZPKW__) double and
   long double are single precision too, and every DBL_ and LDBL_ value
   is then float's.

   FLT_EVAL_METHOD is -1: the program computes each float operation in
   float, but the compiler folds constant expressions in double, so
   16777216.0f + 1.0f + 1.0f is 16777218 when folded and 16777216 when
   computed from variables. */
#ifndef _FLOAT_H
#define _FLOAT_H

#define FLT_RADIX 2
#define FLT_ROUNDS 1

#define FLT_MANT_DIG 24
#define FLT_DIG 6
#define FLT_MIN_EXP (-125)
#define FLT_MIN_10_EXP (-37)
#define FLT_MAX_EXP 128
#define FLT_MAX_10_EXP 38
#define FLT_MAX 3.40282347e+38F
#define FLT_EPSILON 1.19209290e-07F
#define FLT_MIN 1.17549435e-38F

#if __ZPKW__ & 2
#define DBL_MANT_DIG 24
#define DBL_DIG 6
#define DBL_MIN_EXP (-125)
#define DBL_MIN_10_EXP (-37)
#define DBL_MAX_EXP 128
#define DBL_MAX_10_EXP 38
#define DBL_MAX 3.40282347e+38
#define DBL_EPSILON 1.19209290e-07
#define DBL_MIN 1.17549435e-38
#else
#define DBL_MANT_DIG 53
#define DBL_DIG 15
#define DBL_MIN_EXP (-1021)
#define DBL_MIN_10_EXP (-307)
#define DBL_MAX_EXP 1024
#define DBL_MAX_10_EXP 308
/* The decimal 1.7976931348623157e+308 would be the largest double, but
   the compiler's decimal conversion turns it into infinity; the product
   (2 - 2^-52) * 2^1023 is exact and folds to the largest double. */
#define DBL_MAX ((2.0 - DBL_EPSILON) * (2.0 / DBL_MIN))
#define DBL_EPSILON 2.2204460492503131e-16
#define DBL_MIN 2.2250738585072014e-308
#endif

#define LDBL_MANT_DIG DBL_MANT_DIG
#define LDBL_DIG DBL_DIG
#define LDBL_MIN_EXP DBL_MIN_EXP
#define LDBL_MIN_10_EXP DBL_MIN_10_EXP
#define LDBL_MAX_EXP DBL_MAX_EXP
#define LDBL_MAX_10_EXP DBL_MAX_10_EXP
#define LDBL_MAX DBL_MAX
#define LDBL_EPSILON DBL_EPSILON
#define LDBL_MIN DBL_MIN

#if __CC99__
#define FLT_EVAL_METHOD (-1)
#if __ZPKW__ & 2
#define DECIMAL_DIG 9
#else
#define DECIMAL_DIG 17
#endif
#endif

#endif
