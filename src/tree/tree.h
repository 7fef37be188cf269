// The expression tree: the Node record, its operator codes, leaf bits and
// flags, the leaf predicates, the node pool, and the small operations every
// expression stage shares (constants, structural equality, negation of a
// condition, implicit conversion, array and function decay), plus the
// one-line text form of a tree used by tests and dumps.
#pragma once
#include <cstddef>
#include <cstdint>

struct PoolEntry;
struct Stmt;
struct Symbol;
struct TextBuffer;
struct Type;

// Where a deferred diagnostic points: a copy of the current token's
// position. Kept until the subsystem is reset.
struct SavedPosition {
    SavedPosition *next;  // every saved position, for tree_reset()
    std::uint32_t line;
    std::uint16_t column;
    char file[1];  // the file name, NUL-terminated, allocated with the record
};

// One record for every kind of node.
struct Node {
    Node *link;  // the pool's chain; never written by expression code
    union {
        Type *type;         // never an enum type: its integer type stands instead
        Node *older_cell;   // known-value cell: the next older one of the same symbol
    };
    std::uint32_t flow_used;  // owned by the flow analysis
    std::uint32_t flow_set;
    // The payload: left, value, value_node, right and aux travel together
    // (copy_payload).
    union {
        Node *left;                // first operand
        Symbol *symbol;            // leaf with LEAF_SYMBOL
        PoolEntry *literal;        // leaf with LEAF_LITERAL (string bytes or a double)
        SavedPosition *position;   // integer constant 0 marked as a zero divisor
        Stmt *seq_first;           // OP_SEQ holding one statement: that statement
    };
    std::uint32_t value;  // leaf: the number, or the offset added to the base address
    // Pointers that belong in `value` but do not fit its 32 bits on this
    // host: OP_COND's middle operand; the next cell of a known-value list;
    // the saved position of a floating constant marked as a zero divisor
    // (its `left` holds the pool entry).
    union {
        Node *value_node;
        SavedPosition *float_position;
    };
    union {
        Node *right;        // second operand
        std::uint8_t leaf;  // leaf: the LEAF_* bits; the rest of the word is zero
        Stmt *seq_last;     // an inner OP_SEQ link: the last of its statements
    };
    std::uint32_t aux;  // copied with the payload, otherwise left alone
    std::uint8_t flags;
    std::uint8_t op;
    // The height of the subtree as the parser measured it when it built
    // this node (limit_height in parse.cpp); 0 when not measured. Only the
    // parser reads it.
    std::uint16_t height;
};

// Operator codes. A binary operator's code is the token code of its
// spelling; a unary operator's is that code with bit 0x40 cleared.
constexpr std::uint8_t OP_LEAF = 0;
constexpr std::uint8_t OP_COMMA = 1;
constexpr std::uint8_t OP_COND = 9;
constexpr std::uint8_t OP_POSTINC = 14;
constexpr std::uint8_t OP_POSTDEC = 15;
constexpr std::uint8_t OP_ARG = 25;
constexpr std::uint8_t OP_CAST = 26;
constexpr std::uint8_t OP_CALL = 27;
constexpr std::uint8_t OP_NEG = 34;
constexpr std::uint8_t OP_DEREF = 35;
constexpr std::uint8_t OP_ADDR = 40;
constexpr std::uint8_t OP_NOT = 61;
constexpr std::uint8_t OP_COMPL = 62;
constexpr std::uint8_t OP_DIV = 68;
constexpr std::uint8_t OP_MOD = 69;
constexpr std::uint8_t OP_SHL = 70;
constexpr std::uint8_t OP_SHR = 71;
constexpr std::uint8_t OP_XOR = 73;
constexpr std::uint8_t OP_OR = 74;
constexpr std::uint8_t OP_LT = 75;
constexpr std::uint8_t OP_GE = 76;
constexpr std::uint8_t OP_GT = 77;
constexpr std::uint8_t OP_LE = 78;
constexpr std::uint8_t OP_EQ = 79;
constexpr std::uint8_t OP_NE = 80;
constexpr std::uint8_t OP_ADDASG = 81;
constexpr std::uint8_t OP_SUBASG = 82;
constexpr std::uint8_t OP_MULASG = 83;
constexpr std::uint8_t OP_DIVASG = 84;
constexpr std::uint8_t OP_MODASG = 85;
constexpr std::uint8_t OP_SHLASG = 86;
constexpr std::uint8_t OP_SHRASG = 87;
constexpr std::uint8_t OP_ANDASG = 88;
constexpr std::uint8_t OP_XORASG = 89;
constexpr std::uint8_t OP_ORASG = 90;
constexpr std::uint8_t OP_ANDAND = 91;
constexpr std::uint8_t OP_OROR = 92;
constexpr std::uint8_t OP_ASSIGN = 95;
constexpr std::uint8_t OP_ADD = 97;
constexpr std::uint8_t OP_SUB = 98;
constexpr std::uint8_t OP_MUL = 99;
constexpr std::uint8_t OP_AND = 104;
constexpr std::uint8_t OP_SEQ = 254;

inline bool is_comparison_op(unsigned op) { return op >= OP_LT && op <= OP_NE; }
inline bool is_compound_assign_op(unsigned op) { return op >= OP_ADDASG && op <= OP_ORASG; }
inline bool is_unary_op(unsigned op) { return (op & 0x60) == 0x20; }
// `<` and `>=`, `>` and `<=`, `==` and `!=`, `&&` and `||` swap.
inline std::uint8_t negated_op(unsigned op) { return static_cast<std::uint8_t>(((op - 1) ^ 1) + 1); }
// Operands exchanged: `<` and `>`, `>=` and `<=` swap; `==`, `!=` stay.
inline std::uint8_t mirrored_op(unsigned op)
{
    switch (op) {
    case OP_LT: return OP_GT;
    case OP_GT: return OP_LT;
    case OP_GE: return OP_LE;
    case OP_LE: return OP_GE;
    default: return static_cast<std::uint8_t>(op);
    }
}
inline bool is_commutative_op(unsigned op)
{
    return op == OP_ADD || op == OP_MUL || op == OP_AND || op == OP_OR || op == OP_XOR || op == OP_EQ || op == OP_NE;
}

// Leaf bits.
constexpr std::uint8_t LEAF_LVALUE = 0x01;   // the object at base + value, not its address
constexpr std::uint8_t LEAF_SYMBOL = 0x02;
constexpr std::uint8_t LEAF_LITERAL = 0x04;  // string literal, or the double of a floating constant
constexpr std::uint8_t LEAF_INIT = 0x08;     // target of a local initialization: const may be assigned
constexpr std::uint8_t LEAF_ZERO_DIVISOR = 0x20;
constexpr std::uint8_t LEAF_ZERO_MODULUS = 0x40;

// Node flags.
constexpr std::uint8_t NODE_RETYPED = 0x01;        // a cast changed the type in place
constexpr std::uint8_t NODE_TEST_HOLDS = 0x02;     // a loop test known to hold on entry
constexpr std::uint8_t NODE_RVALUE = 0x04;         // not an lvalue although its form is one
constexpr std::uint8_t NODE_UNION = 0x08;          // reached through a union member
// A pointer addition whose `value_node` holds the address leaf at the
// foot of its chain of additions, or null when there is none: a long
// chain is not walked again for every term added to it. A copy of the
// node does not keep it.
constexpr std::uint8_t NODE_BASE_KNOWN = 0x10;
constexpr std::uint8_t NODE_OVERLAID = 0x20;       // anonymous union member other than the first
constexpr std::uint8_t NODE_CALL_COUNTED = 0x40;   // a call already counted once

// An inline expansion's sequence (OP_SEQ): `left` holds the statements
// that run first and `right` the rest of the expression (null when no
// value is left). `value` counts the statements held in `left`: with none
// `left` is null, with one it is that statement (`seq_first`), with more
// it is an OP_SEQ link whose own `left` holds all but the last, counted
// and laid out the same way, and whose `right` is the last (`seq_last`).
// The statements of `seq` in the order they run, appended to `out`.
void sequence_statements(const Node *seq, Stmt **out);
// A statement appended to the ones `seq` holds (a link node when needed).
void append_to_sequence(Node *seq, Stmt *stmt);

// Leaf classifications.
bool is_int_constant(const Node *n);
bool is_int_or_pointer_constant(const Node *n);
bool is_float_constant(const Node *n);
bool is_address_value(const Node *n);
bool is_string_literal(const Node *n);

// A node from the pool with `op` set and `flags`, `right` and `height`
// clear; the other fields hold what they held before and are the caller's
// to set.
Node *new_node(std::uint8_t op);
// Nodes taken from the pool so far: a tree built since the count was n has
// at most nodes_made - n levels.
extern std::uint32_t nodes_made;
// `node` (or a new node when null) made the int constant `value`.
Node *make_int_constant(Node *node, std::int32_t value);

// The payload of `from` (left, value, value_node, right, aux) into `to`;
// `to`'s link, type, flags and op stay.
void copy_payload(Node *to, const Node *from);
// `node` takes over its operand's op and payload, and its type unless
// `keep_type`; link and flags stay.
void replace_by_operand(Node *node, const Node *from, bool keep_type = false);

// A deep copy of a tree (an lvalue to be read again, a value to be
// remembered). A literal's pool entry gains a user for each copied leaf.
Node *copy_tree(const Node *from);
// Structural equality; under `strict` trees with effects or volatile
// accesses are never equal.
bool same_tree(const Node *a, const Node *b, bool strict);
// The logical negation of a condition, made in place.
Node *negate_condition(Node *node);
// A leaf that designates the object of symbol `s`, read as `type`.
Node *symbol_leaf(Symbol *s, Type *type);
// The double of a floating constant leaf.
double float_constant_value(const Node *leaf);
// Array or function to pointer, in place; the new pointer type.
Type *decay(Node *node);
SavedPosition *save_position();
// The position saved in a leaf marked as a zero divisor or modulus: `left`
// of an integer constant, `value_node` of a floating one.
SavedPosition *zero_divisor_position(const Node *leaf);

// A known-value list cell: the tracked lvalue, the known value (a leaf, or
// null when the value is known to be unknown) and the next cell. Cells of
// lvalues in one symbol's object are also chained from the symbol, newest
// first, through `older_cell`, so that a lookup visits only those.
inline Node *&cell_lvalue(Node *cell) { return cell->left; }
inline Node *&cell_known(Node *cell) { return cell->right; }
inline Node *&cell_next(Node *cell) { return cell->value_node; }
Node *new_known_cell(Node *lvalue, Node *known, Node *next);

// The node pool. Every node belongs to the current generation: the nodes
// of one function definition, and the ones made outside since the last
// definition ended, come back together in end_node_generation(). The
// initializer reader gives back the nodes of one element early
// (release_nodes_to). The parsers call these through nodes_return_to()
// and end_function_nodes(), which also drop the known values.
void *node_mark();
void release_nodes_to(void *mark);
void end_node_generation();
void tree_reset();

// The tree as one line of text, appended to `out` (format: dump.cpp).
void dump_tree(TextBuffer &out, const Node *node);
void dump_type(TextBuffer &out, const Type *type);
