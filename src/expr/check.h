// The checks run on each node as it is built: they validate the operand
// types, report, set the node's type, insert the conversions made
// explicit, and return the node that replaces the one given.
#pragma once

struct Node;

// An OP_CAST with `left` and the target `type` set: the cast node, the
// operand retyped in place, or a constant.
Node *check_cast(Node *node);

// The operand in *slot about to be read, or the constant or known value
// put in its place (also stored in *slot).
Node *fetch_value(Node **slot);
