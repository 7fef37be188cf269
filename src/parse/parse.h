// The expression parser: recursive descent for the unary and postfix forms,
// an operator-precedence loop for the binary operators. Every node is
// handed to its check as soon as its operands are complete, so the parser
// always works with checked, typed subtrees.
#pragma once
#include <cstdint>

struct Node;
struct Type;

// A full expression with `,`; null (the token given back) when none starts
// here. `unused`: the value is discarded (expression statements, the first
// and third clauses of `for`).
Node *parse_expression(int unused);
// One operand without a top-level `,`: arguments, initializers.
Node *parse_assignment();
// A unary expression with its postfix operators. `context` is the code of
// the unary operator being applied to it (OP_NEG for unary minus), else 0.
Node *parse_unary(unsigned context);
// A constant expression into *value. mode 0: it may be absent (no
// message); 1: it must be present; 2: as 1, and constant replacement stays
// on even under -nc (#if and #elif).
bool parse_constant(std::int32_t *value, int mode);


// Counters the parser keeps for the statement parser. The two conditional
// depths the checks read, and the sequence counter, live with the checks.
extern std::int32_t operator_count;     // operators built so far
extern std::int32_t call_count;         // calls in the current function
extern std::int32_t inline_call_count;  // calls of @inline functions that have a body
// Set by the statement and declaration parsers.
extern std::int32_t loop_depth;  // open loops around the statement
extern bool in_initializer;

// Nesting of the recursive parse (parentheses, unary operators, operator
// chains that recurse, abstract declarators) is limited so that the stack
// stays bounded; so is the height of every tree the parser builds, counted
// with the nesting it is built in, so that chains built in loops (left-
// grouping operators, commas, arguments, postfix forms) cannot make a tree
// that a walk over it could not follow. enter_nesting() is false past the limit; it has reported
// and skipped the rest of the nested text, and the caller puts the
// constant 0 (or nothing) in its place. Every true enter_nesting() is
// paired with leave_nesting().
constexpr std::int32_t EXPRESSION_NESTING_LIMIT = 10000;
// `weight`: how many levels one step of nesting counts for, for the
// recursions whose frames are larger than an expression's.
bool enter_nesting(std::int32_t weight = 1);
void leave_nesting(std::int32_t weight = 1);
// As enter_nesting(), but past the limit nothing is reported or skipped:
// the caller does both in its own way.
bool enter_nesting_quietly(std::int32_t weight = 1);

void parse_reset();
