/* stdbool.h: bool, true and false for the S12X target.

   The language has no _Bool type, so bool is a plain int: a value stored
   in it is not reduced to 0 or 1 (write b = (x != 0), not b = x, when x
   may be other than 0 or 1). */
#ifndef _STDBOOL_H
#define _STDBOOL_H

#define bool int
#define true 1
#define false 0
#define __bool_true_false_are_defined 1

#endif
