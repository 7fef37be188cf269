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

// The double an integer constant leaf stands for: unsigned char and 8-bit
// fields by their low 8 bits, the 16-bit unsigned kinds by their low 16,
// unsigned long and 32-bit fields as unsigned 32-bit numbers, the others
// as signed 32-bit numbers.
double int_constant_as_double(const Node *leaf);

// Small pieces the folds share.
// An integer or floating constant leaf.
bool is_constant(const Node *n);
// The width in bits of a value of `t`: a bit-field's width, else 8 times
// its size; and all the bits of that width set.
std::int32_t bits_of(const Type *t);
std::uint32_t fullmask_of(const Type *t);
// An integer kind with the unsigned bit (bit-fields have it).
bool is_unsigned_type(const Type *t);
// `node` made the integer constant `value` of `type`.
Node *become_int_constant(Node *node, std::uint32_t value, Type *type);
// A new integer constant leaf.
Node *int_constant(std::uint32_t value, Type *type);
// A floating constant that is dropped gives back its use of the pool entry.
void release_constant(Node *n);
// The constant 0 or 0.0 divisor of `/` (`/=`) or `%` (`%=`) marked, with
// the current position saved for the message the last pass gives.
void mark_zero_divisor(Node *divisor, unsigned op);
// `a op b` for a binary integer operator computed in `type`: both operands
// reduced to it (a shift count to unsigned char), `/`, `%` and `>>` signed
// or unsigned by it, shift counts modulo 32, the result reduced. False for
// a zero divisor, which is not computed.
bool fold_int_operation(unsigned op, std::uint32_t a, std::uint32_t b, const Type *type, std::uint32_t *result);

// The bit-test rewrite of an `==` or `!=` condition, such as
// `((x & m) >> n) == 0` into `(x & m) == 0`: the condition or its
// replacement.
Node *simplify_bit_test(Node *condition);

// The simplifications the checks run on the nodes they build. Each takes
// the checked node and returns it or the tree that replaces it.

// Arithmetic and bitwise rewrites, operand exchange, the folding of
// integer and floating constants, the rules for a constant operand,
// reassociation of constants, of a binary operator (not a comparison,
// `?:`, `&&`, `||` or pointer arithmetic).
Node *fold_binary(Node *node);
// A comparison after its type rules: operands exchanged, constants
// compared, comparisons of comparisons, range tests against the left
// operand's width ("W2compare out of range").
Node *fold_comparison(Node *node);
// `?:` after its type rules: a constant test picks a branch, equal
// branches drop the test.
Node *fold_conditional(Node *node);
// `&&` and `||` of two conditions: constant operands, and pairs of
// comparisons of the same operands combined into one.
Node *fold_logical(Node *node);
// `p + c` and `p - c` after scaling: constant offsets moved into an
// address leaf, with its @tiny space gained or lost.
Node *fold_pointer_arithmetic(Node *node);

// `x = x op y` (and `x = y op x` for a commutative op) made `x op= y` in
// place; true when the node was rewritten.
bool fold_into_compound(Node *assignment);
// A compound assignment of a constant (`x += 0`, `x *= 1`, `x *= 8`, ...)
// and `x op= x` to a non-pointer target: the target alone, the node
// rewritten in place, or the node as it came.
Node *fold_assignment(Node *assignment);
// `a = (..., b = 0)` made `(..., b = 0), a = 0`.
Node *fold_assignment_chain(Node *assignment);

// Value tracking. The known-value list remembers, for lvalues assigned
// in straight-line code, the constant or address they hold (or that they
// hold something unknown); fetch_value() reads it. The assignment
// `node`, just checked, is recorded (or, inside the operands of `?:`,
// everything is forgotten); forget_known_values() empties the list
// (after calls, at labels and branches, and whenever the nodes it is
// made of are recycled).
void track_assignment(Node *assignment);
void record_assignment(Node *assignment);
void forget_known_values();
// The node pool given back to a mark, or the function's nodes ended, the
// known values with them.
void nodes_return_to(void *mark);
void end_function_nodes();
// Constant replacement is switched off inside sizeof and forced on by the
// #if and #elif constant expressions (even under -nc).
extern std::int32_t constant_replacement_off;
extern bool constant_replacement_forced;
// The list as it stands now, and the list put back to such a mark (taken
// earlier in the same function: the statement code joins the values known
// after the branches of an if).
Node *known_values_mark();
void restore_known_values(Node *mark);

// The final pass over a finished expression: the zero divisors the folds
// only marked are reported (once, at the division's position), strlen of
// a literal through an @inline strlen becomes its length, and every
// subtree computes in the width its consumer uses (`want`: an integer
// kind whose width class is used, 0 for the whole value), reading only
// the part of a wide object that is wanted. Volatile objects are read
// whole. narrow() works on the tree at *link, which it may replace.
void narrow(Node **link, unsigned want);
Node *final_fold(Node *tree);
