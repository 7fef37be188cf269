// The passes a function body goes through after the statement reader, each
// called from one place. Those of later stages are named and placed here
// already; until they are built they leave the body as it is.
#pragma once
#include <cstdint>

struct Node;
struct Stmt;
struct Symbol;

// Body preparation: 2 when the loop test `condition` is known to hold for
// the value the initialization `init` gives, 1 when it is known not to,
// 0 when it cannot be told.
int loop_test(Node *init, Node *condition);
// Body preparation: a for loop offered for the counted-loop conversion,
// with its loop record's weight, the operators read in its body, its
// start stamp, the loop depth around it and whether its body may be
// written more than once (it holds no switch). True when the loop became a
// counted loop (kind 176; flag 0x400 when it is to be unrolled); a final
// value assignment may then stand behind it as its `next`.
bool convert_counted_loop(Stmt *loop, std::uint16_t weight, std::int32_t body_operators,
                          std::uint32_t start_stamp, std::int32_t depth, bool copyable);
// The value an unrolled counted loop leaves in its counter, recorded as
// the counter's known value (not under -cp).
void record_unrolled_final_value(const Stmt *loop);
// Body preparation: final folding and narrowing of every expression,
// dead branches and loops removed, switches simplified, and the frame
// layout of every reachable block's locals ("%.*s undefined" for names a
// body used without declaring them).
void prepare_statement(Stmt *stmt);
// The frame starts empty for the next function; the lowest offset a local
// took (0 or negative) is what the function record announces.
void begin_frame();
extern std::int32_t lowest_frame_offset;

// Flow analysis over a function body (not under -ns or -an): "used before
// set" warnings, stores nobody reads turned into plain evaluations, calls
// that end the function marked, and locals whose lifetimes never overlap
// bound to one storage place (storage class SC_SHARED, laid out by body
// preparation).
void analyse_flow(Stmt *body);
// Calls marked as the last action of their function in this unit: by the
// statement reader for returned calls, by the flow analysis for the rest.
extern std::int32_t tail_call_count;
