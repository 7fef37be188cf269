#include "tree/tree.h"

#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/types.h"
#include "runtime/alloc.h"
#include "runtime/pool.h"

namespace {

RecordPool node_pool = record_pool<Node>();
SavedPosition *saved_positions = nullptr;

bool is_effect_op(unsigned op)
{
    // Calls, stores and increments; an inline sequence runs statements.
    return op == OP_CALL || op == OP_ASSIGN || is_compound_assign_op(op) || op == OP_POSTINC || op == OP_POSTDEC ||
           op == OP_SEQ;
}

}  // namespace

bool is_int_constant(const Node *n)
{
    return n->op == OP_LEAF && !(n->leaf & (LEAF_LVALUE | LEAF_SYMBOL)) && n->type->kind < 0x42;
}

bool is_int_or_pointer_constant(const Node *n)
{
    return n->op == OP_LEAF && !(n->leaf & (LEAF_LVALUE | LEAF_SYMBOL | LEAF_LITERAL)) &&
           (n->type->kind < 0x42 || n->type->kind == KIND_POINTER);
}

bool is_float_constant(const Node *n)
{
    return n->op == OP_LEAF && !(n->leaf & LEAF_LVALUE) && is_floating_kind(n->type->kind);
}

bool is_address_value(const Node *n)
{
    return n->op == OP_LEAF &&
           (n->type->kind == KIND_FUNCTION || (!(n->leaf & LEAF_LVALUE) && n->type->kind == KIND_POINTER));
}

bool is_string_literal(const Node *n)
{
    return n->op == OP_LEAF && (n->leaf & LEAF_LITERAL) && n->type->kind == KIND_ARRAY;
}

std::uint32_t nodes_made;

Node *new_node(std::uint8_t op)
{
    ++nodes_made;
    Node *n = static_cast<Node *>(pool_take(&node_pool, true));
    n->op = op;
    n->flags = 0;
    n->right = nullptr;
    n->height = 0;
    return n;
}

Node *make_int_constant(Node *node, std::int32_t value)
{
    if (!node)
        node = new_node(OP_LEAF);
    node->op = OP_LEAF;
    node->type = &type_int;
    node->left = nullptr;
    node->right = nullptr;  // leaf bits 0
    node->value_node = nullptr;
    node->value = static_cast<std::uint32_t>(value);
    // Whatever the node was, a constant is a plain value now.
    node->flags = 0;
    return node;
}

void copy_payload(Node *to, const Node *from)
{
    to->left = from->left;
    to->value = from->value;
    to->value_node = from->value_node;
    to->right = from->right;
    to->aux = from->aux;
}

void replace_by_operand(Node *node, const Node *from, bool keep_type)
{
    node->op = from->op;
    copy_payload(node, from);
    if (!keep_type)
        node->type = from->type;
}

void sequence_statements(const Node *seq, Stmt **out)
{
    std::uint32_t count = seq->value;
    if (count == 0)
        return;
    // The links run from the last statement back to the first.
    const Node *n = seq;
    for (std::uint32_t i = count; i > 1; --i) {
        n = n->left;
        out[i - 1] = n->seq_last;
    }
    out[0] = n->seq_first;
}

void append_to_sequence(Node *seq, Stmt *stmt)
{
    if (seq->value == 0) {
        seq->seq_first = stmt;
    } else {
        Node *link = new_node(OP_SEQ);
        link->type = seq->type;
        link->left = seq->left;
        link->value = seq->value;
        link->seq_last = stmt;
        seq->left = link;
    }
    ++seq->value;
}

Node *copy_tree(const Node *from)
{
    if (!from)
        return nullptr;
    Node *n = new_node(from->op);
    n->type = from->type;
    n->flags = static_cast<std::uint8_t>(from->flags & ~NODE_BASE_KNOWN);
    n->flow_used = from->flow_used;
    n->flow_set = from->flow_set;
    copy_payload(n, from);
    if (from->op == OP_LEAF) {
        // A literal or a floating constant: one more user of its pool entry.
        if ((from->leaf & LEAF_LITERAL) && from->literal)
            ++from->literal->refs;
        return n;
    }
    if (from->op == OP_SEQ)
        return n;  // statement records stay shared
    n->left = copy_tree(from->left);
    if (from->op == OP_COND)
        n->value_node = copy_tree(from->value_node);
    if (from->op != OP_CAST && !is_unary_op(from->op))
        n->right = copy_tree(from->right);
    return n;
}

bool same_tree(const Node *a, const Node *b, bool strict)
{
    if (!a || !b)
        return a == b;
    if (a->op != b->op)
        return false;
    if (a->type != b->type) {
        if (!(a->type->kind == KIND_POINTER && b->type->kind == KIND_POINTER) && !types_compatible(a->type, b->type))
            return false;
        if (is_bitfield_kind(a->type->kind) &&
            (a->type->bit_offset != b->type->bit_offset || a->type->bit_width != b->type->bit_width))
            return false;
    }
    if (a->op == OP_LEAF) {
        if ((a->leaf & ~LEAF_INIT) != (b->leaf & ~LEAF_INIT) || a->left != b->left || a->value != b->value)
            return false;
        // Every read of a volatile variable is an access of its own.
        return !(strict && (a->leaf & ~LEAF_INIT) == (LEAF_SYMBOL | LEAF_LVALUE) && (a->symbol->attr & ATTR_VOLATILE));
    }
    if (is_effect_op(a->op))
        return false;
    if (strict && a->op == OP_DEREF && a->left->type->kind == KIND_POINTER && (a->left->type->attr & ATTR_VOLATILE))
        return false;
    if (a->op == OP_CAST || is_unary_op(a->op))
        return same_tree(a->left, b->left, true);
    if (a->op == OP_COND && !same_tree(a->value_node, b->value_node, true))
        return false;
    if (same_tree(a->left, b->left, true) && same_tree(a->right, b->right, true))
        return true;
    return is_commutative_op(a->op) && same_tree(a->left, b->right, true) && same_tree(a->right, b->left, true);
}

Node *negate_condition(Node *node)
{
    switch (node->op) {
    case OP_COMMA:
        node->right = negate_condition(node->right);
        break;
    case OP_ANDAND:
    case OP_OROR:
        node->left = negate_condition(node->left);
        node->right = negate_condition(node->right);
        node->op = negated_op(node->op);
        break;
    case OP_LEAF:
        node->value = !node->value;
        break;
    default:
        node->op = negated_op(node->op);
        break;
    }
    return node;
}

Type *decay(Node *node)
{
    Type *of = node->type->kind == KIND_ARRAY ? node->type->of : node->type;
    Type *pointer = new_type(KIND_POINTER, of);
    pointer->attr = 0;
    if (strict_ansi && (node->flags & NODE_RVALUE))
        report("invalid lvalue");
    if (node->op == OP_LEAF) {
        if (node->leaf & LEAF_SYMBOL)
            pointer->attr = node->symbol->attr;
        else if ((node->leaf & LEAF_LITERAL) && !strict_ansi)
            pointer->attr = ATTR_CONST;  // string literals are read-only data
        node->leaf &= static_cast<std::uint8_t>(~LEAF_LVALUE);
    } else if (node->op == OP_DEREF) {
        // *p of array type is p again, with the element as its target.
        pointer->attr = node->left->type->attr;
        replace_by_operand(node, node->left, true);
    }
    node->type = pointer;
    return pointer;
}

SavedPosition *save_position()
{
    const char *file = source_is_open() ? current_file_name() : "";
    std::size_t length = std::strlen(file);
    auto *p = static_cast<SavedPosition *>(allocate(sizeof(SavedPosition) + length, saved_positions));
    saved_positions = p;
    const Token *token = current_token;
    bool has_token = token && token->code != 0;
    p->line = has_token ? token->line : static_cast<std::uint32_t>(source_is_open() ? current_line() : 0);
    p->column = has_token ? token->column : 0;
    std::memcpy(p->file, file, length + 1);
    return p;
}

SavedPosition *zero_divisor_position(const Node *leaf)
{
    if (!(leaf->leaf & (LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS)))
        return nullptr;
    return (leaf->leaf & LEAF_LITERAL) ? leaf->float_position : leaf->position;
}

Node *new_known_cell(Node *lvalue, Node *known, Node *next)
{
    Node *cell = new_node(OP_LEAF);
    cell->older_cell = nullptr;
    cell->left = lvalue;
    cell->right = known;
    cell->value_node = next;
    cell->value = 0;
    return cell;
}

Node *symbol_leaf(Symbol *s, Type *type)
{
    Node *n = new_node(OP_LEAF);
    n->symbol = s;
    n->value = 0;
    n->value_node = nullptr;
    n->right = nullptr;
    n->leaf = LEAF_SYMBOL | LEAF_LVALUE;
    n->type = type;
    return n;
}

double float_constant_value(const Node *leaf)
{
    double value = 0;
    if (leaf->literal && leaf->literal->length == sizeof value)
        std::memcpy(&value, leaf->literal->bytes, sizeof value);
    return value;
}

void *node_mark() { return pool_mark(&node_pool); }

void release_nodes_to(void *mark) { pool_return_to(&node_pool, mark); }

void end_node_generation() { pool_end_generation(&node_pool); }

void tree_reset()
{
    pool_reset(&node_pool);
    while (saved_positions)
        saved_positions = static_cast<SavedPosition *>(release(saved_positions, saved_positions->next));
}
