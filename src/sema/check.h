// The checks run on each node as it is built: they validate the operand
// types, report, set the node's type, insert the conversions made
// explicit, and return the node that replaces the one given.
#pragma once
#include <cstdint>

struct Node;
struct Type;

// Counters the parsers keep and the checks read. The sequence counter
// stamps declarations, assignments and uses of symbols; the statement
// parser also advances it at loop tests. The conditional-evaluation depth
// is raised while an operand that may not run is built (the right operand
// of `&&` and `||`, the third of `?:`); the conditional-operand depth from
// a `?` until its `?:` node is checked.
extern std::uint32_t sequence_counter;
// Stores that may reach memory another expression reads: every assignment
// whose target is not a local variable (automatic or argument) whose
// address was never taken. The loops compare it before and after their
// body, as they do the call counter.
extern std::int32_t memory_store_count;
// Of the other stores: those to an automatic variable or argument whose
// address is not taken yet, and those through a pointer (whose target is
// not a variable named in the tree). Code read later may take such a
// variable's address and come back into a loop: a loop that can be entered
// again after text not read yet counts these too.
extern std::int32_t automatic_store_count;
extern std::int32_t indirect_store_count;
extern std::int32_t conditional_depth;
extern std::int32_t conditional_operand_depth;
// The counters back to their initial state.
void check_reset();

// A leaf (lvalue, symbol) for an unnamed automatic object of `type`: a
// temporary of a compatible type that no statement uses any more and whose
// object cannot be reached otherwise, or a new one named ".temp_N.".
// The temporary is marked in use (SYM_ASSIGNED) and referenced once more.
Node *new_temp(Type *type);
// Counts the temporaries given back for reuse (their in-use mark cleared,
// by the inline expansion when it is built); new_temp looks for a free one
// only when this is not 0.
extern std::uint32_t temporaries_released;

// An OP_CAST with `left` and the target `type` set: the cast node, the
// operand retyped in place, or a constant.
Node *check_cast(Node *node);
// An OP_CAST to `type` run through the cast check when the types differ.
Node *convert_to(Node *node, Type *type);

// The operand in *slot about to be read, or the constant or known value
// put in its place (also stored in *slot).
Node *fetch_value(Node **slot);

// OP_NEG, OP_DEREF, OP_ADDR, OP_NOT or OP_COMPL with `left` set: the
// checked node or what replaces it. Failures of `-`, `!` and `~` report
// "invalid operand type" once.
Node *check_unary(Node *node);
// OP_ADDR built for the `.` of a member access: like check_unary(), but the
// symbol is only marked as having its address used for a member (so that
// value tracking stays possible) and `&*p` loses NODE_RVALUE.
Node *check_member_address(Node *node);

// Every binary code and OP_COND: the checked node or its replacement.
// The assignment codes and the increments go on to check_assignment().
Node *check_binary(Node *node);

// OP_ASSIGN, OP_ADDASG .. OP_ORASG, OP_POSTINC or OP_POSTDEC with the
// target in `left` and the value in `right` (the constant 1 for the
// increments, which are checked as `+=` and `-=` and keep their code):
// the checked node or its replacement.
Node *check_assignment(Node *node);

// The tree in *slot used as a truth value: a comparison, `&&` or `||`
// (through any comma chain), also stored in *slot; null when the tree is
// not scalar.
Node *make_condition(Node **slot);

// Warns when `value`, transferred to an object of `target` type by the
// assignment operator `op` (or a prototyped argument, or a recorded known
// value), does not fit: "value out of range" for constants, "truncating
// assignment" for wider values.
void range_check(unsigned op, const Type *target, Node *value);

// An enum type's integer type; any other type as it is.
Type *integer_type_of(Type *t);
// The type a value of `type` is widened to: the binary promotion when not
// `for_argument`; as an argument, float also becomes double (unless -f)
// and a pointer to a @tiny object unsigned int.
Type *argument_widened_type(Type *type, bool for_argument);
// The type a binary operator computes an operand in; the operand itself
// is not converted. `float` is not widened.
Type *binary_promoted_type(Type *t);
// The higher of two promoted types: int ranks as short and unsigned int
// as unsigned short, so that int < unsigned int < long < unsigned long <
// float < double. On equal ranks the right operand's type is taken.
Type *higher_type(Type *left, Type *right);
