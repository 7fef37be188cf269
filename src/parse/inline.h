// Inline functions: the calls of an @inline function are replaced by its
// body, read again from the tokens recorded when it was defined. The
// statement reader hands every expression it reads to
// expand_inline_calls(); the block reader and the return statement ask
// current_expansion whether they are reading such a body.
#pragma once
#include <cstdint>

struct Name;
struct Node;
struct Stmt;
struct Symbol;

// The body being read in place of a call.
struct InlineExpansion {
    InlineExpansion *outer;  // the expansion this one was read inside
    Symbol *function;
    Stmt *block;             // the body's block record
    Node **arguments;        // the call's arguments in order
    std::uint32_t argument_count;
    Name *return_label;      // ".return_N.": where its returns jump
    Node *target;            // what receives the returned value; null: nothing
};
extern InlineExpansion *current_expansion;

// Expansions made in the unit so far: a loop body that made one holds
// return labels and may not be written twice.
extern std::uint32_t expansion_count;

// The pending calls of @inline functions in the expression at *slot are
// expanded: the expression becomes an OP_SEQ node holding the expansions'
// statements and what remains of the expression. `from_statement` gives
// made statements their position; `value_used` is false for expressions
// evaluated only for their effect. Nothing is done while a body is being
// recorded or when no call is pending.
void expand_inline_calls(Node **slot, Stmt *from_statement, bool value_used);

// The body block of the current expansion begins: its parameters become
// locals of the block bound to the arguments; the binding statements are
// appended at *tail.
void bind_parameters(Stmt *block, Stmt ***tail);
// The body block ends: the labelled empty statement that its returns jump
// to is appended at *tail.
void append_return_label(Stmt *block, Stmt ***tail);
// A return statement of the body (after its checks and the conversion of
// `value` to the result type) made a jump to the return label.
void inline_return(Stmt *s, Node *value);

// A definition of an inline function ends: its recorded body is kept for
// the calls that follow. A declaration without a body drops it.
void keep_inline_body(Symbol *fn, struct RecordedToken *body);
void drop_inline_body(Symbol *fn);

void inline_reset();
