// The checks run on each node as it is built: they validate the operand
// types, report, set the node's type, insert the conversions made
// explicit, and return the node that replaces the one given.
#pragma once

struct Node;
struct Type;

// An OP_CAST with `left` and the target `type` set: the cast node, the
// operand retyped in place, or a constant.
Node *check_cast(Node *node);

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
Node *check_binary(Node *node);

// The tree in *slot used as a truth value: a comparison, `&&` or `||`
// (through any comma chain), also stored in *slot; null when the tree is
// not scalar.
Node *make_condition(Node **slot);

// Warns when `value`, transferred to an object of `target` type by the
// assignment operator `op` (or a prototyped argument, or a recorded known
// value), does not fit: "value out of range" for constants, "truncating
// assignment" for wider values.
void range_check(unsigned op, const Type *target, Node *value);
