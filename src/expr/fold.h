// Constant folds shared by the checks: integer constants reduced to the
// width of their type, and conversions between integer and floating
// constants. Floating constants hold one use of a constant-pool entry with
// their value as an 8-byte double.
#pragma once
#include <cstdint>

struct Node;
struct Type;

// `value` reduced to the width of `kind`: char sign-extended from 8 bits,
// unsigned char its low 8 bits, short and int sign-extended from 16 bits,
// their unsigned kinds the low 16 bits; other kinds unchanged. Under -cc
// nothing is reduced.
std::uint32_t reduce_value(std::uint32_t value, unsigned kind);
// The integer constant leaf's value reduced to the width of `type`.
void reduce_to_type(Node *leaf, const Type *type);

// The double of a floating constant leaf.
double float_constant_value(const Node *leaf);
// `leaf` made a floating constant of `type` holding `value`; an entry it
// held before loses its use.
void set_float_constant(Node *leaf, double value, Type *type);
// An integer constant leaf turned into the floating constant of `type`,
// its value read as signed or unsigned by its own kind. A zero-divisor
// mark carries over.
void int_to_float_constant(Node *leaf, Type *type);
// The integer a cast of `value` to an integer type gives: truncated toward
// zero, through 64 bits when not negative and through 32 bits otherwise.
std::uint32_t float_to_integer(double value);
// A floating constant leaf turned into the integer constant of `type`;
// its value is not reduced to the width of `type`.
void float_to_int_constant(Node *leaf, Type *type);

// The unary folds of integer constants: the value negated or complemented,
// then reduced to 16 bits (sign-extended for char, unsigned char, short and
// int, zero-extended for their unsigned kinds; other kinds unchanged, and
// nothing under -cc).
void negate_int_constant(Node *leaf);
void complement_int_constant(Node *leaf);
// A floating constant leaf negated, its pool entry replaced; false (and the
// leaf unchanged) for a NaN.
bool negate_float_constant(Node *leaf);

// The bit-test rewrite of an `==` or `!=` condition, such as
// `((x & m) >> n) == 0` into `(x & m) == 0`: the condition or its
// replacement.
Node *simplify_bit_test(Node *condition);

// The simplifications the checks run on the nodes they build. Each takes
// the checked node and returns it or the tree that replaces it. The ones
// marked "not built yet" return the node as it came.

// Arithmetic and bitwise rewrites, operand exchange, and the folding of
// integer and floating constants of a binary operator. Not built yet.
Node *fold_binary(Node *node);
// A comparison after its type rules: constants compared, operands
// exchanged, range tests against the left operand's width. Not built yet.
Node *fold_comparison(Node *node);
// `?:` after its type rules: a constant test picks a branch, equal
// branches drop the test. Not built yet.
Node *fold_conditional(Node *node);
// `&&` and `||` of two conditions: constant operands and pairs of
// comparisons of the same operands combined. Not built yet.
Node *fold_logical(Node *node);
// `p + c` and `p - c` after scaling: a constant offset moved into an
// address leaf. Not built yet.
Node *fold_pointer_arithmetic(Node *node);

// `x = x op y` (and `x = y op x` for a commutative op) made `x op= y` in
// place; true when the node was rewritten.
bool fold_into_compound(Node *assignment);
// A compound assignment of a constant (`x += 0`, `x *= 1`, `x *= 8`, ...)
// and `x op= x`: the target alone, a cheaper assignment, or the node.
// Not built yet.
Node *fold_assignment(Node *assignment);
// `a = (..., b = 0)` made `(..., b = 0), a = 0`. Not built yet.
Node *fold_assignment_chain(Node *assignment);

// Value tracking: the assignment `node` recorded in the known-value list,
// and the list emptied. Not built yet: nothing is tracked.
void record_assignment(Node *assignment);
void forget_known_values();
