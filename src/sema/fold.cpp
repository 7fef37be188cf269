#include "sema/fold.h"

#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "model/types.h"
#include "sema/check.h"
#include "tree/tree.h"

namespace {

std::uint32_t reduce_to_width(std::uint32_t value, unsigned kind)
{
    switch (kind) {
    case KIND_CHAR:
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int8_t>(value & 0xFF)));
    case KIND_UCHAR:
        return value & 0xFF;
    case KIND_SHORT:
    case KIND_INT:
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int16_t>(value & 0xFFFF)));
    case KIND_USHORT:
    case KIND_UINT:
        return value & 0xFFFF;
    default:
        return value;
    }
}

}  // namespace

std::uint32_t reduce_value(std::uint32_t value, unsigned kind) { return no_const_cast ? value : reduce_to_width(value, kind); }

void reduce_to_type(Node *leaf, const Type *type) { leaf->value = reduce_value(leaf->value, type->kind); }

void set_float_constant(Node *leaf, double value, Type *type)
{
    PoolEntry *entry = pool_intern(&value, sizeof value);
    if ((leaf->leaf & LEAF_LITERAL) && leaf->literal)
        pool_release(leaf->literal);
    leaf->literal = entry;
    leaf->leaf = static_cast<std::uint8_t>(LEAF_LITERAL | (leaf->leaf & (LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS)));
    leaf->value = 0;
    leaf->type = type;
}

double int_constant_as_double(const Node *leaf)
{
    std::uint32_t v = leaf->value;
    switch (leaf->type->kind) {
    case KIND_UCHAR:
    case KIND_BITS8:
        return v & 0xFF;
    case KIND_USHORT:
    case KIND_UINT:
    case KIND_BITS16:
    case KIND_BITSINT:
        return v & 0xFFFF;
    case KIND_ULONG:
    case KIND_BITS32:
        return v;
    default:
        return static_cast<std::int32_t>(v);
    }
}

void int_to_float_constant(Node *leaf, Type *type)
{
    double value = int_constant_as_double(leaf);
    // The saved position of a zero divisor moves out of `left`, which
    // takes the pool entry.
    SavedPosition *position = zero_divisor_position(leaf);
    leaf->left = nullptr;
    leaf->leaf &= LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS;
    set_float_constant(leaf, value, type);
    leaf->float_position = position;
}

std::uint32_t float_to_integer(double value)
{
    // Out of range, a hardware conversion gives the lowest value of its
    // width: 0x80000000 for 32 bits, low 32 bits 0 for 64 bits.
    constexpr double two_to_64 = 18446744073709551616.0;
    if (value >= 0)
        return value < two_to_64 ? static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)) : 0;
    if (value > -2147483649.0)
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
    return 0x80000000u;  // also a NaN
}

void float_to_int_constant(Node *leaf, Type *type)
{
    std::uint32_t value = float_to_integer(float_constant_value(leaf));
    SavedPosition *position = zero_divisor_position(leaf);
    if (leaf->literal)
        pool_release(leaf->literal);
    leaf->leaf &= LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS;
    leaf->position = position;
    leaf->value_node = nullptr;
    leaf->value = value;
    leaf->type = type;
}

namespace {

std::uint32_t reduce_unary_result(std::uint32_t value, unsigned kind)
{
    // The result has the promoted type: the narrow kinds become int.
    if (kind == KIND_CHAR || kind == KIND_UCHAR || kind == KIND_SHORT)
        kind = KIND_INT;
    return reduce_value(value, kind);
}

}  // namespace

void negate_int_constant(Node *leaf) { leaf->value = reduce_unary_result(0u - leaf->value, leaf->type->kind); }

void complement_int_constant(Node *leaf) { leaf->value = reduce_unary_result(~leaf->value, leaf->type->kind); }

bool negate_float_constant(Node *leaf)
{
    double value = float_constant_value(leaf);
    if (value != value)
        return false;
    set_float_constant(leaf, -value, leaf->type);
    return true;
}

namespace {

// The compound code of a binary operator that has one: `+` gives `+=`.
unsigned compound_code(unsigned op)
{
    switch (op) {
    case OP_ADD: case OP_SUB: case OP_MUL: case OP_DIV: case OP_MOD:
    case OP_SHL: case OP_SHR: case OP_AND: case OP_XOR: case OP_OR:
        return (op & 31) + 80;
    default:
        return 0;
    }
}

bool exchangeable(unsigned op) { return op == OP_ADD || op == OP_MUL || op == OP_AND || op == OP_XOR || op == OP_OR; }

}  // namespace

bool is_constant(const Node *n) { return is_int_constant(n) || is_float_constant(n); }

std::int32_t bits_of(const Type *t)
{
    if (is_bitfield_kind(t->kind))
        return t->bit_width;
    return 8 * type_size(t);
}

std::uint32_t fullmask_of(const Type *t)
{
    std::int32_t bits = bits_of(t);
    return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
}

bool is_unsigned_type(const Type *t) { return is_integer_kind(t->kind) && (t->kind & KIND_UNSIGNED_BIT); }

Node *become_int_constant(Node *node, std::uint32_t value, Type *type)
{
    node = make_int_constant(node, static_cast<std::int32_t>(reduce_value(value, type->kind)));
    node->type = type;
    return node;
}

Node *int_constant(std::uint32_t value, Type *type) { return become_int_constant(nullptr, value, type); }

void release_constant(Node *n)
{
    if (is_float_constant(n) && n->literal) {
        pool_release(n->literal);
        n->literal = nullptr;
    }
}

void mark_zero_divisor(Node *divisor, unsigned op)
{
    if (divisor->leaf & (LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS))
        return;
    SavedPosition *position = save_position();
    if (is_float_constant(divisor))
        divisor->float_position = position;
    else
        divisor->position = position;
    divisor->leaf |= op == OP_MOD || op == OP_MODASG ? LEAF_ZERO_MODULUS : LEAF_ZERO_DIVISOR;
}

bool fold_int_operation(unsigned op, std::uint32_t a, std::uint32_t b, const Type *type, std::uint32_t *result)
{
    unsigned kind = type->kind;
    bool is_shift = op == OP_SHL || op == OP_SHR;
    a = reduce_value(a, kind);
    b = reduce_value(b, is_shift ? KIND_UCHAR : kind);
    bool is_signed = !(kind & KIND_UNSIGNED_BIT);
    auto sa = static_cast<std::int32_t>(a), sb = static_cast<std::int32_t>(b);
    std::uint32_t r;
    switch (op) {
    case OP_ADD: r = a + b; break;
    case OP_SUB: r = a - b; break;
    case OP_MUL: r = a * b; break;
    case OP_AND: r = a & b; break;
    case OP_OR: r = a | b; break;
    case OP_XOR: r = a ^ b; break;
    case OP_SHL: r = a << (b & 31); break;
    case OP_SHR:
        r = is_signed ? static_cast<std::uint32_t>(sa >> (b & 31)) : a >> (b & 31);
        break;
    case OP_DIV:
    case OP_MOD:
        if (b == 0)
            return false;
        if (!is_signed)
            r = op == OP_DIV ? a / b : a % b;
        else if (sb == -1)
            r = op == OP_DIV ? 0u - a : 0u;  // the one quotient that overflows wraps
        else
            r = static_cast<std::uint32_t>(op == OP_DIV ? sa / sb : sa % sb);
        break;
    default:
        r = a;
        break;
    }
    *result = reduce_value(r, kind);
    return true;
}

namespace {

bool is_power_of_two(std::uint32_t v) { return v > 1 && !(v & (v - 1)); }

std::uint32_t log2_of(std::uint32_t v)
{
    std::uint32_t n = 0;
    while (v > 1) {
        v >>= 1;
        ++n;
    }
    return n;
}

// Whether a constant of `kind` stands for `value` itself: an int holds
// -32768 to 32767, an unsigned int 0 to 65535.
bool holds_value(std::uint32_t value, unsigned kind) { return reduce_to_width(value, kind) == value; }

// `leaf`, a constant of an operation of type `t`, takes `value` computed
// in `t`. It keeps its own type where that holds the value; where it does
// not and `t` is wider, it takes `t`: 20000 + 15000 added to a long is the
// long 35000, not the int -30536. Returns the value stored.
std::uint32_t store_combined(Node *leaf, std::uint32_t value, Type *t)
{
    if (type_size(t) > type_size(leaf->type) && !holds_value(value, leaf->type->kind))
        leaf->type = t;
    leaf->value = reduce_value(value, leaf->type->kind);
    return leaf->value;
}

bool is_zero(const Node *n)
{
    return (is_int_constant(n) && n->value == 0) || (is_float_constant(n) && float_constant_value(n) == 0.0);
}

// The type of the 0 that `x * 0`, `x & 0` or `x % 1` leaves: the
// operation's own integer type, so that an unsigned or long operation
// stays one for the operators around it (`(ul * 0) - 1` is ULONG_MAX, not
// -1); int for a floating operation.
Type *zero_type_of(Type *t) { return is_integer_kind(t->kind) ? t : &type_int; }

// The operand of a rewrite into `-x`, `~x` or `x` that stands for an
// operation of type `t`: converted to `t` when its promotion gives another
// integer type, so that `u * -1L` negates a long and `i ^ 65535u` is
// complemented as an unsigned int.
Node *in_type(Node *x, Type *t)
{
    if (!is_integer_kind(t->kind) || !is_integer_kind(x->type->kind) || binary_promoted_type(x->type)->kind == t->kind)
        return x;
    return convert_to(x, t);
}

Node *as_rvalue(Node *n)
{
    n->flags |= NODE_RVALUE;
    return n;
}

Node *converted_rvalue(Node *n, Type *type) { return as_rvalue(convert_to(n, type)); }

Node *new_binary(unsigned op, Node *left, Node *right)
{
    Node *n = new_node(static_cast<std::uint8_t>(op));
    n->left = left;
    n->right = right;
    n->value = 0;
    n->type = left->type;
    return n;
}

Node *checked_binary(unsigned op, Node *left, Node *right) { return check_binary(new_binary(op, left, right)); }

Node *checked_unary(unsigned op, Node *operand)
{
    Node *n = new_node(static_cast<std::uint8_t>(op));
    n->left = operand;
    n->value = 0;
    n->type = operand->type;
    return check_unary(n);
}

// ---- Arithmetic and bitwise rewrites (no pointer operand) ----

// Whether a conversion from `from` to `to` keeps every value: a wider or
// equal type of the same signedness, or a wider signed one.
bool keeps_values(const Type *from, const Type *to)
{
    if (!is_integer_kind(from->kind) || !is_integer_kind(to->kind))
        return type_size(to) >= type_size(from);
    bool from_unsigned = is_unsigned_type(from), to_unsigned = is_unsigned_type(to);
    if (from_unsigned == to_unsigned)
        return bits_of(to) >= bits_of(from);
    return from_unsigned && bits_of(to) > bits_of(from);
}

// An operator that a cast retyped in place computes in the cast's type:
// the rewrites that remove it or move it out of its operand do not apply,
// `(char)-i * (char)-j` is not `i * j`.
bool retyped(const Node *n) { return n->flags & NODE_RETYPED; }

// The operand of `~`, under the conversion its promotion may have added.
const Node *complemented(const Node *n)
{
    const Node *x = n->left;
    return x->op == OP_CAST && keeps_values(x->left->type, x->type) ? x->left : x;
}

// `a*x + a*y` and its kin: the factor `a` taken out. `outer` is the
// operator of the node, `inner` that of both operands.
Node *take_out_factor(Node *node)
{
    Node *l = node->left, *r = node->right;
    if (same_tree(l, r, true))
        return nullptr;
    Node *const ls[2] = {l->left, l->right};
    Node *const rs[2] = {r->left, r->right};
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            if (!same_tree(ls[i], rs[j], true))
                continue;
            // The rest is computed in its own operands' type: narrower than
            // the node it would skip the widening of each term, as in
            // l * 65531u - (i | c) * l or (ul & u) | (ul & -3).
            Type *rest_type = higher_type(binary_promoted_type(ls[1 - i]->type), binary_promoted_type(rs[1 - j]->type));
            if (type_size(rest_type) < type_size(node->type))
                return nullptr;
            Node *rest = checked_binary(node->op, ls[1 - i], rs[1 - j]);
            node->op = l->op;
            node->left = ls[i];
            node->right = rest;
            return check_binary(node);
        }
    return nullptr;
}

Node *rewrite_algebra(Node *node)
{
    unsigned op = node->op;
    Node *l = node->left, *r = node->right;
    // The rewrites that move an operator out of both operands compute it in
    // the other width when the operands' widths differ: ~u & ~l is not
    // ~(u | l), (u << 2) & (ul << 2) is not (ul & u) << 2, and
    // u * 65535L - u * 65535u is not u * 0.
    bool same_width = type_size(l->type) == type_size(r->type) && !retyped(l) && !retyped(r);
    if (op == OP_AND || op == OP_OR) {
        const Node *x = nullptr;
        if (r->op == OP_COMPL && !retyped(r) && (same_tree(l, r->left, true) || same_tree(l, complemented(r), true)))
            x = l;
        else if (l->op == OP_COMPL && !retyped(l) &&
                 (same_tree(r, l->left, true) || same_tree(r, complemented(l), true)))
            x = r;
        // In the operation's type: `u | ~(long)u` is -1L.
        if (x)
            return become_int_constant(node, op == OP_AND ? 0 : 0xFFFFFFFFu, node->type);
        if (l->op == OP_COMPL && r->op == OP_COMPL && same_width) {
            node->op = op == OP_AND ? OP_OR : OP_AND;
            node->left = l->left;
            node->right = r->left;
            l->left = check_binary(node);
            return check_unary(l);
        }
    }
    if ((op == OP_ADD || op == OP_SUB) && l->op == OP_NEG && r->op == OP_NEG && same_width) {
        node->left = l->left;
        node->right = r->left;
        l->left = check_binary(node);
        return check_unary(l);
    }
    if ((op == OP_MUL || op == OP_DIV) && l->op == OP_NEG && r->op == OP_NEG && same_width) {
        node->left = l->left;
        node->right = r->left;
        return check_binary(node);
    }
    if (op == OP_SUB && is_int_constant(l) && l->value == 1 && is_bitfield_kind(r->type->kind) && r->type->bit_width == 1) {
        node->op = OP_XOR;
        node->left = r;
        node->right = l;
        return check_binary(node);
    }
    unsigned inner = (op == OP_ADD || op == OP_SUB) ? OP_MUL : (op == OP_OR || op == OP_XOR) ? OP_AND : op == OP_AND ? OP_OR : 0;
    if (inner && l->op == inner && r->op == inner && same_width)
        if (Node *result = take_out_factor(node))
            return result;
    // The shifts must compute in one type, that of their shifted operands,
    // for the operator to move inside: (c >> 4) ^ (u >> 4) shifts c
    // arithmetically, and (x * 32768L) made a long shift of an int.
    if ((op == OP_AND || op == OP_OR || op == OP_XOR) && (l->op == OP_SHL || l->op == OP_SHR) && r->op == l->op &&
        same_width && same_tree(l->right, r->right, true) && l->type->kind == r->type->kind &&
        binary_promoted_type(l->left->type)->kind == l->type->kind &&
        binary_promoted_type(r->left->type)->kind == r->type->kind) {
        node->left = l->left;
        node->right = r->left;
        l->left = check_binary(node);
        return check_binary(l);
    }
    if (op == OP_SHR && l->op == OP_AND && is_int_constant(l->right) && is_int_constant(r) && !retyped(l) &&
        is_unsigned_type(l->left->type)) {
        // (x & m) >> n is (x >> n) & (m >> n).
        std::uint32_t shifted = 0;
        fold_int_operation(OP_SHR, l->right->value, r->value, l->right->type, &shifted);
        Node *shift = new_binary(OP_SHR, l->left, r);
        shift->type = node->type;
        l->left = shift;
        l->right->value = shifted;
        l->type = node->type;
        return l;
    }
    return nullptr;
}

// ---- Rules with an integer constant right operand ----

// The rules for `x op c` with a non-constant `x`; null when none applies
// and the node stays (it may have been rewritten in place, `/` into `>>`
// for instance, for the rules that follow).
Node *fold_constant_right(Node *node)
{
    Node *l = node->left, *r = node->right;
    Type *t = node->type;
    std::uint32_t c = r->value;
    unsigned op = node->op;
    bool additive = op == OP_ADD || op == OP_SUB;

    // (integer) &object + c: the offset goes into the address.
    if (additive && l->op == OP_CAST && is_integer_kind(l->type->kind) && is_address_value(l->left) &&
        type_size(r->type) <= type_size(l->left->type)) {
        l->left->value += op == OP_ADD ? c : 0u - c;
        return convert_to(l, t);
    }
    // (t ? a : b) op c with constant branches: applied to both.
    if (l->op == OP_COND && is_int_constant(l->value_node) && is_int_constant(l->right)) {
        std::uint32_t a, b;
        if (!fold_int_operation(op, l->value_node->value, c, t, &a) ||
            !fold_int_operation(op, l->right->value, c, t, &b)) {
            mark_zero_divisor(r, op);
            return node;
        }
        become_int_constant(l->value_node, a, t);
        become_int_constant(l->right, b, t);
        l->type = t;
        return l;
    }
    if (c == 0) {
        switch (op) {
        case OP_DIV:
        case OP_MOD:
            mark_zero_divisor(r, op);
            return node;
        case OP_MUL:
        case OP_AND:
            return become_int_constant(node, 0, zero_type_of(t));
        default:
            return converted_rvalue(l, t);
        }
    }
    // (k - x) + c is (k + c) - x.
    if (additive && l->op == OP_SUB && is_int_constant(l->left) && !retyped(l) &&
        types_compatible(l->left->type, r->type)) {
        Node *k = l->left;
        if (store_combined(k, op == OP_ADD ? k->value + c : k->value - c, t) == 0)
            return checked_unary(OP_NEG, in_type(l->right, t));
        return l;
    }
    if (c == 1) {
        if (op == OP_DIV || op == OP_MUL)
            return converted_rvalue(l, t);
        if (op == OP_MOD)
            return become_int_constant(node, 0, zero_type_of(t));
    }
    if (c == 0xFFFFFFFFu) {
        switch (op) {
        case OP_DIV:
            if (is_unsigned_type(t))
                break;
            [[fallthrough]];
        case OP_MUL:
            return checked_unary(OP_NEG, in_type(l, t));
        case OP_XOR:
            return checked_unary(OP_COMPL, in_type(l, t));
        case OP_OR:
            return become_int_constant(node, reduce_value(0xFFFFFFFFu, t->kind), t);
        case OP_AND:
            return converted_rvalue(l, t);
        default:
            break;
        }
    }
    if (l->type->kind >= 0x4C)
        return nullptr;
    std::int32_t bits = bits_of(l->type);
    std::uint32_t fullmask = fullmask_of(l->type);
    bool covers = (c & fullmask) == fullmask;
    bool same_size = type_size(l->type) == type_size(t);
    // `^` and `|` by all the bits: a 16-bit operand below long, or a 32-bit
    // one, of the node's size or unsigned with nothing beyond its bits.
    bool whole_width = ((bits == 16 && t->kind < KIND_LONG) || bits == 32) &&
                       (same_size || (is_unsigned_type(l->type) && !(c & ~fullmask)));
    bool unsigned_division = is_unsigned_type(l->type) || is_unsigned_type(t);
    if (op == OP_DIV && is_power_of_two(c) && unsigned_division) {
        node->left = l = convert_to(l, t);
        node->op = op = OP_SHR;
        r->value = c = log2_of(c);
        bits = bits_of(l->type);  // the `>>` rule reads the converted operand
    } else if (op == OP_MOD && is_power_of_two(c) && unsigned_division) {
        node->op = op = OP_AND;
        r->value = c = c - 1;
        covers = (c & fullmask) == fullmask;
    }
    switch (op) {
    case OP_SHL:
        if (c >= static_cast<std::uint32_t>(8 * type_size(binary_promoted_type(l->type))))
            return become_int_constant(node, 0, &type_int);
        break;
    case OP_SHR:
        if (is_unsigned_type(l->type) && c >= static_cast<std::uint32_t>(bits))
            return become_int_constant(node, 0, &type_int);
        break;
    case OP_XOR:
        if (covers && whole_width)
            return checked_unary(OP_COMPL, in_type(l, t));
        break;
    case OP_OR:
        // All ones of the operation's type: `u | 0xFFFF` is 65535u, which
        // stays 65535 when shifted or widened.
        if (covers && whole_width)
            return become_int_constant(node, fullmask, t);
        break;
    case OP_MUL:
        if (is_power_of_two(c)) {
            node->op = OP_SHL;
            r->value = log2_of(c);
        }
        break;
    case OP_AND:
        if (covers && (same_size || is_unsigned_type(l->type)))
            return converted_rvalue(l, t);
        if (is_bitfield_kind(l->type->kind) && c < fullmask && is_power_of_two(c + 1)) {
            // A mask of the low k bits of a field reads a k-bit field.
            Type *narrow = new_type(l->type->kind, nullptr);
            narrow->bit_offset = l->type->bit_offset;
            narrow->bit_width = static_cast<std::uint8_t>(log2_of(c + 1));
            l->type = narrow;
            return as_rvalue(l);
        }
        break;
    default:
        break;
    }
    return nullptr;
}

// ---- Reassociation of constants ----

unsigned kind_rank(unsigned kind)
{
    if (kind == KIND_INT)
        return KIND_SHORT;
    if (kind == KIND_UINT)
        return KIND_USHORT;
    return kind;
}

// `inner` (the left operand, or its own left operand `x`) is the result:
// its constant takes the larger of the two constants' kinds, its type is
// raised likewise, and it is converted to the node's type.
Node *finish_reassociation(Node *node, Node *left, Node *result)
{
    Node *c1 = left->right;
    Type *ct = binary_promoted_type(node->right->type);
    if (kind_rank(c1->type->kind) > kind_rank(ct->kind))
        ct = c1->type;
    // Constants combined in a long operation may need the long.
    if (type_size(node->type) > type_size(ct) && is_integer_kind(node->type->kind) && !holds_value(c1->value, ct->kind))
        ct = node->type;
    c1->type = ct;
    c1->value = reduce_value(c1->value, ct->kind);
    // `x` itself keeps its type: raised, `l / 300L` would divide unsigned
    // and `u + v` would no longer wrap at 16 bits.
    if (result != left->left && result->op != OP_LEAF && result->op != OP_DEREF && result->op != OP_CALL)
        result->type = higher_type(ct, result->type);
    return converted_rvalue(result, node->type);
}

Node *reassociate(Node *node)
{
    Node *l = node->left, *r = node->right;
    // A cast that retyped the inner operation in place changed what it
    // computes: its constant is not combined across it.
    if (l->op == OP_LEAF || l->op == OP_COND || l->op < 32 || is_unary_op(l->op) || !l->right ||
        !is_int_constant(l->right) || is_constant(l->left) || (l->flags & NODE_RETYPED))
        return nullptr;
    Type *t = node->type;
    Node *x = l->left, *c1 = l->right;
    unsigned op = node->op, op1 = l->op;
    std::uint32_t v1 = c1->value, v2 = r->value;
    bool compatible = types_compatible(l->type, t);
    bool additive = op == OP_ADD || op == OP_SUB, additive1 = op1 == OP_ADD || op1 == OP_SUB;
    // Unsigned products wrap, so (u * 6) / 3 is not u * 2; a signed one that
    // would overflow has no meaning in C anyway.
    if (op == OP_DIV && op1 == OP_MUL && v2 != 0 && !is_unsigned_type(t) && !is_unsigned_type(l->type)) {
        std::uint32_t rem = 1, quotient = 0;
        if (fold_int_operation(OP_MOD, v1, v2, t, &rem) && rem == 0 && fold_int_operation(OP_DIV, v1, v2, t, &quotient)) {
            if (quotient == 1)
                return finish_reassociation(node, l, x);
            c1->value = quotient;
            return finish_reassociation(node, l, l);
        }
        return nullptr;
    }
    // One shift by the sum, while the sum stays below the width (beyond it
    // the count would be taken modulo 32 and bits would come back) and the
    // inner shift is as wide as the outer one (else it drops bits first).
    if ((op == OP_SHL || op == OP_SHR) && op1 == op && v1 + v2 < static_cast<std::uint32_t>(bits_of(t)) &&
        type_size(l->type) >= type_size(t)) {
        c1->value = v1 + v2;
        return finish_reassociation(node, l, l);
    }
    // `x << c2` and `x * c2` are computed in the types of x and c2: not
    // narrower than the operation they stand for, and an unsigned sum
    // narrower than the operation wraps before it is widened.
    bool no_early_wrap = type_size(l->type) >= type_size(t) || !is_unsigned_type(l->type);
    Type *px = binary_promoted_type(x->type);
    bool keeps_width = type_size(px) >= type_size(t) && no_early_wrap;
    if (op == OP_SHL && additive1 && compatible && keeps_width) {
        l->left = checked_binary(OP_SHL, x, int_constant(v2, r->type));
        std::uint32_t shifted = 0;
        fold_int_operation(OP_SHL, v1, v2, t, &shifted);
        store_combined(c1, shifted, t);
        l->type = t;
        return l;
    }
    if (additive && additive1 && compatible) {
        auto sum = static_cast<std::int32_t>((op1 == OP_ADD ? v1 : 0u - v1) + (op == OP_ADD ? v2 : 0u - v2));
        l->op = sum < 0 ? OP_SUB : OP_ADD;
        c1->value = sum < 0 ? 0u - static_cast<std::uint32_t>(sum) : static_cast<std::uint32_t>(sum);
        if (reduce_value(c1->value, t->kind) == 0)
            return finish_reassociation(node, l, x);
        return finish_reassociation(node, l, l);
    }
    if (op == OP_MUL && op1 == OP_MUL && compatible) {
        c1->value = v1 * v2;
        return finish_reassociation(node, l, l);
    }
    if (op == OP_MUL && additive1 && static_cast<std::int32_t>(v2) > 0 && no_early_wrap &&
        type_size(l->type) >= type_size(t) &&
        type_size(higher_type(px, binary_promoted_type(r->type))) >= type_size(t)) {
        l->left = checked_binary(OP_MUL, x, int_constant(v2, r->type));
        std::uint32_t product = 0;
        fold_int_operation(OP_MUL, v1, v2, t, &product);
        store_combined(c1, product, t);
        l->type = t;
        return l;
    }
    if (op == OP_AND && op1 == OP_SHR) {
        std::int32_t bits = bits_of(x->type);
        if (v1 >= static_cast<std::uint32_t>(bits))
            return nullptr;
        std::int32_t width = bits - static_cast<std::int32_t>(v1);
        std::uint32_t m = width >= 32 ? 0xFFFFFFFFu : (1u << width) - 1;
        if (v2 > m && !(v2 & m) && is_unsigned_type(x->type))
            return become_int_constant(node, 0, zero_type_of(t));
        if (v2 > m)
            return nullptr;
        switch (x->type->kind) {
        case KIND_CHAR: l->left = convert_to(x, &type_uchar); break;
        case KIND_SHORT: l->left = convert_to(x, &type_ushort); break;
        case KIND_INT: l->left = convert_to(x, &type_uint); break;
        case KIND_LONG: l->left = convert_to(x, &type_ulong); break;
        default: break;
        }
        // The shift then is the unsigned one: (i >> 1) & 32767 is
        // (unsigned)i >> 1, not an int shift that copies the sign.
        if (l->left != x && type_size(l->type) == type_size(l->left->type))
            l->type = l->left->type;
        if (v2 == m)
            return finish_reassociation(node, l, l);
        std::uint64_t mask = static_cast<std::uint64_t>(v2) << v1;
        if (mask >= 1 && mask <= 255) {
            // The byte that holds the bits is enough.
            l->type = &type_uchar;
            node->type = &type_uchar;
            return convert_to(node, t);
        }
    }
    return nullptr;
}

// k - (x + c), k - (c - x), k - (x - c): one constant.
Node *subtract_from_constant(Node *node)
{
    Node *k = node->left, *r = node->right;
    Type *t = node->type;
    Node *x;
    std::uint32_t combined;
    bool negate;  // the result is (combined - x), else (x + combined)
    if (r->op == OP_ADD && is_int_constant(r->right)) {
        x = r->left;
        combined = k->value - r->right->value;
        negate = true;
    } else if (r->op == OP_SUB && is_int_constant(r->left)) {
        x = r->right;
        combined = k->value - r->left->value;
        negate = false;
    } else if (r->op == OP_SUB && is_int_constant(r->right)) {
        x = r->left;
        combined = k->value + r->right->value;
        negate = true;
    } else {
        return nullptr;
    }
    if (retyped(r))
        return nullptr;
    // A sum narrower than the subtraction wraps first: 3L - (u + 5) is not
    // -2L - u, and an int sum that earlier folds reordered or combined may
    // wrap where the source did not.
    if (type_size(r->type) < type_size(t))
        return nullptr;
    combined = reduce_value(combined, t->kind);
    if (combined == 0)
        return as_rvalue(negate ? checked_unary(OP_NEG, in_type(x, t)) : in_type(x, t));
    Node *constant = int_constant(combined, t);
    if (negate) {
        node->left = constant;
        node->right = x;
    } else {
        node->op = OP_ADD;
        node->left = x;
        node->right = constant;
    }
    return as_rvalue(node);
}

}  // namespace

Node *fold_binary(Node *node)
{
    if (Node *result = rewrite_algebra(node))
        return result;
    unsigned op = node->op;
    Node *l = node->left, *r = node->right;
    Type *t = node->type;
    // Constants go to the right of the commutative operators, and leaves
    // after what is not a leaf.
    if (exchangeable(op) && ((is_constant(l) && !is_int_constant(r)) || (l->op == OP_LEAF && r->op != OP_LEAF))) {
        node->left = r;
        node->right = l;
        l = node->left;
        r = node->right;
    }
    bool arithmetic = op == OP_ADD || op == OP_SUB || op == OP_MUL || op == OP_DIV;
    if (is_floating_kind(t->kind) && arithmetic) {
        if (op == OP_DIV && is_constant(r) && is_zero(r)) {
            mark_zero_divisor(r, op);
            return node;
        }
        if (is_constant(l) && is_constant(r)) {
            double a = is_float_constant(l) ? float_constant_value(l) : int_constant_as_double(l);
            double b = is_float_constant(r) ? float_constant_value(r) : int_constant_as_double(r);
            double value = op == OP_ADD ? a + b : op == OP_SUB ? a - b : op == OP_MUL ? a * b : a / b;
            release_constant(l);
            release_constant(r);
            node->op = OP_LEAF;
            node->left = nullptr;
            node->right = nullptr;
            node->value_node = nullptr;
            set_float_constant(node, value, t);
            return node;
        }
    }
    Type *zero_type = is_floating_kind(t->kind) ? &type_int : t;
    if (!is_constant(r)) {
        if ((op == OP_DIV || op == OP_MOD) && is_constant(l) && is_zero(l))
            return become_int_constant(node, 0, zero_type);
        if (op == OP_SUB && is_constant(l) && is_zero(l))
            return checked_unary(OP_NEG, in_type(r, t));
        // A cast on the left is looked through when it keeps every value:
        // `(char)i - i` is not 0, nor `(unsigned char)c ^ c`.
        const Node *x = l->op == OP_CAST && keeps_values(l->left->type, l->type) ? l->left : l;
        if (same_tree(l, r, false) || same_tree(x, r, false)) {
            switch (op) {
            case OP_DIV:
                return become_int_constant(node, 1, zero_type);
            case OP_SUB:
            case OP_MOD:
            case OP_XOR:
                return become_int_constant(node, 0, zero_type);
            case OP_OR:
            case OP_AND:
                return convert_to(l, t);
            case OP_ADD:
                if (is_integer_kind(l->type->kind))
                    return checked_binary(OP_SHL, l, int_constant(1, &type_int));
                break;
            default:
                break;
            }
        }
    }
    if (is_int_constant(r) && !is_constant(l)) {
        if (Node *result = fold_constant_right(node))
            return result;
        op = node->op;
        l = node->left;
    }
    if (is_int_constant(l) && is_int_constant(r)) {
        std::uint32_t value;
        if (!fold_int_operation(op, l->value, r->value, t, &value)) {
            mark_zero_divisor(r, op);
            return node;
        }
        return become_int_constant(node, value, t);
    }
    if (is_int_constant(r))
        if (Node *result = reassociate(node))
            return result;
    if (op == OP_SUB && is_int_constant(l) && !is_constant(r))
        if (Node *result = subtract_from_constant(node))
            return result;
    // (x + c) + y is (x + y) + c.
    if (op == OP_ADD && l->op == OP_ADD && is_int_constant(l->right) && !is_constant(r) && !retyped(l) &&
        types_compatible(l->type, t)) {
        Node *c = l->right;
        l->right = r;
        l->type = t;
        node->right = c;
    }
    return node;
}

// ---- Pointer arithmetic ----

namespace {

Node *address_base(Node *p)
{
    while (p->op == OP_ADD) {
        if (p->flags & NODE_BASE_KNOWN)
            return p->value_node;
        p = p->left;
    }
    return is_address_value(p) ? p : nullptr;
}

// The addition `node` stays: what lies at the foot of its chain is
// remembered for the additions built on top of it.
Node *remember_base(Node *node, Node *base)
{
    if (node->op == OP_ADD) {
        node->value_node = base;
        node->flags |= NODE_BASE_KNOWN;
    }
    return node;
}

// A plain number as a pointer: @tiny while it fits a byte, not beyond.
void adjust_tiny_space(Node *leaf)
{
    if (leaf->leaf & (LEAF_SYMBOL | LEAF_LITERAL) || leaf->type->kind != KIND_POINTER)
        return;
    Type *t = leaf->type;
    std::uint16_t space = t->attr & ATTR_SPACE;
    std::uint16_t attr;
    if (space == SPACE_TINY && leaf->value > 255)
        attr = static_cast<std::uint16_t>(t->attr & ~ATTR_SPACE);
    else if (space == 0 && leaf->value >= 1 && leaf->value <= 255)
        attr = static_cast<std::uint16_t>(t->attr | SPACE_TINY);
    else
        return;
    Type *pointer = new_type(KIND_POINTER, t->of);
    pointer->attr = attr;
    leaf->type = pointer;
}

bool is_struct_argument(const Node *base)
{
    if (!(base->leaf & LEAF_SYMBOL))
        return false;
    const Symbol *s = base->symbol;
    return (s->sclass == SC_ARGUMENT || s->sclass == SC_REGARG) && s->type && is_struct_or_union_kind(s->type->kind);
}

bool is_additive_with_constant(const Node *n)
{
    return (n->op == OP_ADD || n->op == OP_SUB) && is_int_constant(n->right) && !(n->flags & NODE_RETYPED);
}

}  // namespace

Node *fold_pointer_arithmetic(Node *node)
{
    Node *p = node->left, *r = node->right;
    bool add = node->op == OP_ADD;
    if (is_int_constant(r)) {
        if (r->value == 0)
            return as_rvalue(p);
        if (Node *base = address_base(p)) {
            base->value += add ? r->value : 0u - r->value;
            adjust_tiny_space(base);
            return p;
        }
        return remember_base(node, nullptr);
    }
    Node *base = address_base(p);
    if (add && base && !is_struct_argument(base) && !(r->flags & NODE_RETYPED)) {
        if (is_additive_with_constant(r)) {
            std::uint32_t c = r->right->value;
            base->value += r->op == OP_ADD ? c : 0u - c;
            node->right = r = r->left;
            adjust_tiny_space(base);
        } else if ((r->op == OP_MUL || r->op == OP_SHL) && is_int_constant(r->right) && is_additive_with_constant(r->left) &&
                   r->left->type->kind >= KIND_INT) {
            Node *inner = r->left;
            std::uint32_t c = inner->right->value, k = r->right->value;
            std::uint32_t delta = r->op == OP_MUL ? c * k : c << (k & 31);
            base->value += inner->op == OP_ADD ? delta : 0u - delta;
            r->left = inner->left;
            adjust_tiny_space(base);
        } else if (r->op == OP_CAST && is_char_kind(r->left->type->kind)) {
            node->right = r = r->left;
        }
    }
    // A far address plus a scaled byte index: the product is unsigned.
    if ((p->type->attr & ATTR_SPACE) == SPACE_FAR && (r->op == OP_MUL || r->op == OP_SHL) && r->type->kind == KIND_INT &&
        r->left->type->kind == KIND_UCHAR && is_int_constant(r->right) && static_cast<std::int32_t>(r->right->value) > 0)
        r->type = &type_uint;
    return remember_base(node, base);
}

// ---- Assignments ----

namespace {

unsigned effective_op(const Node *assignment)
{
    switch (assignment->op) {
    case OP_POSTINC: return OP_ADDASG;
    case OP_POSTDEC: return OP_SUBASG;
    default: return assignment->op;
    }
}

}  // namespace

Node *fold_assignment(Node *node)
{
    unsigned op = effective_op(node);
    Node *target = node->left, *value = node->right;
    if (is_int_constant(value) && node->op != OP_POSTINC && node->op != OP_POSTDEC) {
        std::uint32_t c = value->value;
        if (c == 0) {
            switch (op) {
            case OP_ADDASG: case OP_SUBASG: case OP_SHLASG: case OP_SHRASG: case OP_XORASG: case OP_ORASG:
                return target;
            case OP_MULASG: case OP_ANDASG:
                node->op = OP_ASSIGN;
                return node;
            case OP_DIVASG: case OP_MODASG:
                mark_zero_divisor(value, op);
                return node;
            default:
                break;
            }
        } else if (c == 1) {
            if (op == OP_MULASG || op == OP_DIVASG)
                return target;
            if (op == OP_MODASG) {
                node->op = OP_ASSIGN;
                become_int_constant(value, 0, value->type);
                return node;
            }
        } else if (c == 0xFFFFFFFFu) {
            switch (op) {
            case OP_DIVASG:
                // Divided as unsigned, u / -1 is u / 65535u: no negation.
                if (is_unsigned_type(higher_type(binary_promoted_type(target->type), binary_promoted_type(value->type))))
                    break;
                [[fallthrough]];
            case OP_MULASG:
                node->op = OP_ASSIGN;
                node->right = checked_unary(OP_NEG, copy_tree(target));
                return node;
            case OP_ANDASG:
                return target;
            case OP_ORASG:
                node->op = OP_ASSIGN;
                return node;
            default:
                break;
            }
        } else if (is_power_of_two(c) && is_integer_kind(target->type->kind)) {
            if (op == OP_MULASG) {
                node->op = OP_SHLASG;
                value->value = log2_of(c);
            } else if (op == OP_DIVASG && is_unsigned_type(node->type)) {
                node->op = OP_SHRASG;
                value->value = log2_of(c);
            } else if (op == OP_MODASG && is_unsigned_type(node->type)) {
                node->op = OP_ANDASG;
                value->value = c - 1;
            }
            return node;
        }
    }
    if (same_tree(target, value, true)) {
        switch (op) {
        case OP_ADDASG:
            if (is_integer_kind(target->type->kind)) {
                node->op = OP_SHLASG;
                node->right = int_constant(1, &type_int);
            }
            break;
        case OP_DIVASG:
            node->op = OP_ASSIGN;
            node->right = int_constant(1, &type_int);
            break;
        case OP_SUBASG: case OP_MODASG: case OP_XORASG:
            node->op = OP_ASSIGN;
            node->right = int_constant(0, &type_int);
            break;
        case OP_ANDASG: case OP_ORASG: case OP_ASSIGN:
            return convert_to(target, node->type);
        default:
            break;
        }
    }
    return node;
}

Node *fold_assignment_chain(Node *node)
{
    if (node->op != OP_ASSIGN)
        return node;
    const Node *v = node->right;
    while (v->op == OP_COMMA)
        v = v->right;
    if (v->op != OP_ASSIGN || !is_int_constant(v->right) || v->right->value != 0)
        return node;
    // a = (..., b = 0) stores 0 twice: (..., b = 0), a = 0.
    Node *store = new_binary(OP_ASSIGN, node->left, int_constant(0, &type_int));
    store->type = node->type;
    track_assignment(store);
    node->op = OP_COMMA;
    node->left = node->right;
    node->right = store;
    return node;
}


bool fold_into_compound(Node *assignment)
{
    Node *target = assignment->left;
    Node *value = assignment->right;
    // A cast that does not change the type is looked through.
    if (value->op == OP_CAST && types_compatible(value->type, target->type))
        value = value->left;
    unsigned code = compound_code(value->op);
    if (!code)
        return false;
    // A pointer target only takes a pointer result: `p = p - q` is an
    // integer and stays an assignment of one.
    if (target->type->kind == KIND_POINTER && value->type->kind != KIND_POINTER)
        return false;
    Node *other;
    if (same_tree(value->left, target, true))
        other = value->right;
    else if (exchangeable(value->op) && same_tree(value->right, target, true))
        other = value->left;
    else
        return false;
    assignment->op = static_cast<std::uint8_t>(code);
    assignment->right = other;
    return true;
}
