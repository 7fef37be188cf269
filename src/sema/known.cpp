// Constant replacement: reads of const objects with constant initializers,
// of string literals at constant offsets, and of variables whose value an
// earlier assignment in straight-line code made known, become constants.
#include <cstdint>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "model/types.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/init_entry.h"
#include "tree/tree.h"

std::int32_t constant_replacement_off;
bool constant_replacement_forced;

namespace {

// The known-value list, newest cell first. Forgetting it starts a new
// epoch, which makes every symbol's chain of cells stale at once.
Node *known_values = nullptr;
std::uint32_t known_epoch = 1;

bool is_aggregate(const Type *t) { return t->kind == KIND_ARRAY || is_struct_or_union_kind(t->kind); }
bool is_far_pointer(const Type *t) { return t->kind == KIND_POINTER && (t->attr & ATTR_SPACE) == SPACE_FAR; }

bool is_variable(const Node *n)
{
    return n->op == OP_LEAF && (n->leaf & ~LEAF_INIT) == (LEAF_SYMBOL | LEAF_LVALUE);
}

// `*a` of a constant address.
bool is_fixed_indirection(const Node *n)
{
    return n->op == OP_DEREF && is_address_value(n->left) && !(n->left->flags & NODE_RETYPED);
}

// The symbol an lvalue is part of: a variable's, or that of the address
// an indirection reads.
Symbol *base_symbol(const Node *lvalue)
{
    if (lvalue->op == OP_DEREF)
        lvalue = lvalue->left;
    return lvalue->op == OP_LEAF && (lvalue->leaf & LEAF_SYMBOL) ? lvalue->symbol : nullptr;
}

// The newest cell of the symbol's object, when it has any in this epoch.
Node *symbol_cells(const Symbol *s) { return s->known_epoch == known_epoch ? s->known_cell : nullptr; }

// The newest cell whose lvalue is `lvalue`. Two lvalues are the same tree
// only when they have the same base symbol, so a symbol's chain holds
// every candidate; lvalues without one are looked for in the whole list.
Node *find_known(const Node *lvalue)
{
    if (const Symbol *s = base_symbol(lvalue)) {
        for (Node *cell = symbol_cells(s); cell; cell = cell->older_cell)
            if (same_tree(cell_lvalue(cell), lvalue, true))
                return cell;
        return nullptr;
    }
    for (Node *cell = known_values; cell; cell = cell_next(cell))
        if (!base_symbol(cell_lvalue(cell)) && same_tree(cell_lvalue(cell), lvalue, true))
            return cell;
    return nullptr;
}

void remember(const Node *lvalue, Node *known)
{
    Node *cell = new_known_cell(copy_tree(lvalue), known, known_values);
    known_values = cell;
    if (Symbol *s = base_symbol(lvalue)) {
        cell->older_cell = symbol_cells(s);
        s->known_cell = cell;
        s->known_epoch = known_epoch;
    }
}

// Everything known about parts of the object of `s` becomes unknown.
void forget_object(const Symbol *s)
{
    if (!s)
        return;
    // New cells go in front of the chain: the walk sees only the old ones.
    for (Node *cell = symbol_cells(s); cell; cell = cell->older_cell)
        if (cell_known(cell))
            remember(cell_lvalue(cell), nullptr);
}

// The value in *slot replaced by a copy of `value` of the read's type.
Node *replace(Node **slot, const Node *value)
{
    Type *type = (*slot)->type;
    Node *copy = copy_tree(value);
    copy->flags &= static_cast<std::uint8_t>(~NODE_RVALUE);
    if (is_bitfield_kind(copy->type->kind))
        copy->type = &type_int;
    *slot = convert_to(copy, type);
    return *slot;
}

Node *character_constant(const PoolEntry *bytes, std::uint32_t index, Type *type)
{
    std::uint32_t c = index < bytes->length ? bytes->bytes[index] : 0;
    return int_constant(reduce_value(c, type->kind), type);
}

// What the initializer of a const aggregate holds at `offset` for a read
// of `type`; null when the entries do not tell (a read that only partly
// overlaps an element).
Node *initializer_value(const InitEntry *entries, std::uint32_t offset, Type *type)
{
    std::uint32_t size = static_cast<std::uint32_t>(type_size(type));
    std::uint32_t mask = is_bitfield_kind(type->kind) ? fullmask_of(type) << type->bit_offset : 0;
    bool overlapped = false;
    for (const InitEntry *e = entries; e; e = e->next) {
        auto esize = static_cast<std::uint32_t>(type_size(e->type));
        if (offset + size <= e->offset || e->offset + esize <= offset)
            continue;
        if (e->type->kind == KIND_ARRAY) {
            // A string: the character at the offset, for a character read.
            const Node *literal = e->value;
            if (!is_char_kind(type->kind) || size != 1 || !literal || !literal->literal)
                return nullptr;
            return character_constant(literal->literal, offset - e->offset, type);
        }
        if (e->offset == offset && e->mask == mask && (mask || esize == size))
            return e->value;
        // Another field of the same unit does not touch the read's bits.
        if (mask && e->mask && e->offset == offset && !(e->mask & mask))
            continue;
        overlapped = true;
    }
    if (overlapped)
        return nullptr;
    return int_constant(0, &type_int);
}

// The operator a compound assignment applies.
unsigned binary_code(unsigned op)
{
    static constexpr std::uint8_t codes[] = {OP_ADD, OP_SUB, OP_MUL, OP_DIV, OP_MOD,
                                             OP_SHL, OP_SHR, OP_AND, OP_XOR, OP_OR};
    return codes[op - OP_ADDASG];
}

bool may_be_known(const Node *n)
{
    if (is_variable(n)) {
        const Symbol *s = n->symbol;
        return !(s->attr & (ATTR_CONST | ATTR_VOLATILE)) && !(s->flags & SYM_ADDRESSED);
    }
    // A part of an object whose address was taken may have been changed
    // through a pointer since it was stored.
    const Symbol *base = base_symbol(n);
    return is_fixed_indirection(n) && !(base && (base->flags & SYM_ADDRESSED));
}

}  // namespace

Node *fetch_value(Node **slot)
{
    Node *n = *slot;
    if (constant_replacement_off > 0 || (no_const_replacement && !constant_replacement_forced))
        return n;
    if (is_aggregate(n->type))
        return n;
    if (is_fixed_indirection(n) && !(n->flags & NODE_OVERLAID)) {
        Node *base = n->left;
        if (base->leaf & LEAF_SYMBOL) {
            const Symbol *s = base->symbol;
            if ((s->attr & ATTR_CONST) && !(s->attr & ATTR_VOLATILE) && s->type && is_aggregate(s->type) &&
                s->const_entries) {
                Node *value = initializer_value(s->const_entries, base->value, n->type);
                return value ? replace(slot, value) : n;
            }
        } else if ((base->leaf & LEAF_LITERAL) && base->literal && base->value <= base->literal->length) {
            Node *c = character_constant(base->literal, base->value, n->type);
            pool_release(base->literal);
            base->literal = nullptr;
            *slot = c;
            return c;
        }
    } else if (is_variable(n) && !(n->symbol->attr & ATTR_VOLATILE)) {
        const Symbol *s = n->symbol;
        if ((s->attr & ATTR_CONST) && s->const_value && s->type && !is_aggregate(s->type)) {
            if (type_size(n->type) != type_size(s->type))
                return n;
            return replace(slot, s->const_value);
        }
    } else {
        return n;
    }
    if (no_const_propagation || error_count != 0 || !may_be_known(n))
        return n;
    Node *cell = find_known(n);
    const Node *known = cell ? cell_known(cell) : nullptr;
    if (!known)
        return n;
    if (n->type->kind == KIND_POINTER && known->type->kind == KIND_POINTER &&
        is_far_pointer(n->type) != is_far_pointer(known->type))
        return n;
    return replace(slot, known);
}

void track_assignment(Node *assignment)
{
    if (no_const_propagation)
        return;
    if (conditional_operand_depth > 0)
        forget_known_values();
    else
        record_assignment(assignment);
}

void record_assignment(Node *node)
{
    if (no_const_propagation)
        return;
    Node *target = node->left;
    const Type *tt = target->type;
    if (tt->kind == KIND_STRUCT) {
        forget_object(base_symbol(target));
        return;
    }
    if (is_bitfield_kind(tt->kind))
        return;
    if (target->op == OP_DEREF && target->left->op == OP_ADD) {
        const Node *q = target->left->left;
        forget_object(q->op == OP_LEAF && (q->leaf & LEAF_SYMBOL) ? q->symbol : nullptr);
        return;
    }
    bool tracked;
    if (is_variable(target)) {
        const Symbol *s = target->symbol;
        tracked = !(target->flags & NODE_UNION) && !(s->attr & (ATTR_CONST | ATTR_VOLATILE)) && !(s->flags & SYM_ADDRESSED);
    } else {
        // A part of an object reached through its constant address; not
        // one whose address was taken, which a store through a pointer
        // may change unseen, as for a variable.
        const Symbol *base = base_symbol(target);
        tracked = target->op == OP_DEREF && is_address_value(target->left) &&
                  !(target->left->flags & (NODE_RETYPED | NODE_UNION)) &&
                  !(target->left->type->attr & (ATTR_CONST | ATTR_VOLATILE)) &&
                  !(base && (base->flags & SYM_ADDRESSED));
    }
    if (!tracked)
        return;
    Node *value = node->right;
    while (value->op == OP_ASSIGN && types_compatible(value->type, target->type))
        value = value->right;
    Node *known = nullptr;
    bool constant = is_int_constant(value) || is_float_constant(value) || is_address_value(value);
    if (node->op == OP_ASSIGN && constant && conditional_depth == 0) {
        known = copy_tree(value);
    } else {
        Node *cell = find_known(target);
        if (!cell)
            return;
        const Node *old = cell_known(cell);
        if (old && is_int_constant(old) && is_int_constant(value) && is_compound_assign_op(node->op) &&
            conditional_depth == 0) {
            // x op= c of a known x: the new value, computed as the operator
            // computes it; a zero divisor leaves 0.
            unsigned op = binary_code(node->op);
            bool shift = op == OP_SHL || op == OP_SHR;
            Type *in = binary_promoted_type(target->type);
            if (!shift)
                in = higher_type(in, binary_promoted_type(value->type));
            std::uint32_t result = 0;
            if (!fold_int_operation(op, old->value, value->value, in, &result))
                result = 0;
            known = int_constant(result, in);
            if (check_level != 0 && is_integer_kind(target->type->kind))
                range_check(OP_ASSIGN, target->type, known);
        }
    }
    if (known) {
        Type *t = target->type;
        if (is_floating_kind(t->kind) || is_float_constant(known))
            known = convert_to(known, t);
        else if (is_int_constant(known) && is_integer_kind(t->kind))
            become_int_constant(known, reduce_value(known->value, t->kind), t);
    }
    remember(target, known);
}

void forget_known_values()
{
    known_values = nullptr;
    ++known_epoch;
}

// The known-value list is made of nodes: it goes whenever they come back.
void nodes_return_to(void *mark)
{
    forget_known_values();
    release_nodes_to(mark);
}

void end_function_nodes()
{
    forget_known_values();
    end_node_generation();
}

Node *known_values_mark() { return known_values; }

void restore_known_values(Node *mark)
{
    if (mark == known_values)
        return;
    // Cells are never changed once made, so the list as it was is still
    // whole; only the symbols' chains must be pointed back at it.
    known_values = mark;
    ++known_epoch;
    for (Node *cell = mark; cell; cell = cell_next(cell)) {
        Symbol *s = base_symbol(cell_lvalue(cell));
        if (s && s->known_epoch != known_epoch) {
            s->known_cell = cell;
            s->known_epoch = known_epoch;
        }
    }
}
