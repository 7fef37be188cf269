// The statement reader: statements, blocks and case labels of a function
// body read into the records of tree/stmt.h.
#pragma once
#include <cstdint>

#include "tree/stmt.h"

// One statement with the labels in front of it. `continue_target` and
// `break_target` are the innermost loop and loop-or-switch (null: none);
// `previous` the statement before it in its block.
Stmt *parse_statement(Stmt *continue_target, Stmt *break_target, Stmt *previous);
// A case (SC_CASE) or default (SC_DEFAULT) label on `stmt`.
void add_case(std::uint8_t kind, std::int32_t value, Stmt *stmt);
// A block after its `{`: its declarations and statements up to `}`.
// `block` is a nested block already begun (its record made by the caller),
// null for a function body.
Stmt *parse_block(Stmt *continue_target, Stmt *break_target, Stmt *block);

// Under -c99, a declaration among the statements: `block` (begun by the
// statement reader) holds it and everything after it up to the end of the
// enclosing block, whose `}` is left for that block.
Stmt *parse_rest_as_block(Stmt *continue_target, Stmt *break_target, Stmt *block);

// The statement reader's state back to that of a function's start.
void statements_begin_function();
// Every record a function made comes back to its pool.
void end_function_statements();
void statements_reset();

// Called with every function body once it is read and checked, before the
// later passes run (null: nobody). The statement printer's tool and the
// tests look at bodies through it.
extern void (*function_body_hook)(Symbol *function, Stmt *body);
