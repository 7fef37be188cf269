// The final folding pass over a finished expression: the deferred reports
// of constant zero divisors, strlen of a literal, the inline calls that
// stayed calls, and width narrowing. Each subtree is told how wide a
// result its consumer uses (`want`: an integer kind whose width class is
// used, 0 for the whole value) and computes in that narrower type where
// the result is the same; reads of wide objects whose low part alone is
// wanted become reads of that part (the target is big-endian: the low
// byte of an n-byte object is at offset n - 1).
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/position.h"
#include "lexer/constants.h"
#include "model/names.h"
#include "model/types.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

unsigned width_class(unsigned kind) { return kind >> 4; }

bool is_char_kind(unsigned kind) { return kind != 0 && kind < 0x20; }

bool is_signed_node(const Node *n)
{
    unsigned kind = n->type->kind;
    return kind != KIND_POINTER && !(kind & KIND_UNSIGNED_BIT);
}

bool is_memory_leaf(const Node *n)
{
    return n->op == OP_LEAF && (n->leaf & LEAF_LVALUE) && !(n->leaf & LEAF_LITERAL);
}

bool is_volatile_leaf(const Node *n)
{
    return is_memory_leaf(n) && (n->leaf & LEAF_SYMBOL) && (n->symbol->attr & ATTR_VOLATILE);
}

// A read through a pointer to a volatile object.
bool is_volatile_deref(const Node *n)
{
    if (n->op != OP_DEREF)
        return false;
    const Type *p = n->left->type;
    return p->kind == KIND_POINTER && (p->attr & ATTR_VOLATILE);
}

// The kind a node's width is judged by: a bit-field by the unit its width
// fills.
unsigned fit_kind(const Node *n)
{
    unsigned kind = n->type->kind;
    if (kind == KIND_BITS16 || kind == KIND_BITSINT || kind == KIND_BITS32) {
        unsigned w = n->type->bit_width;
        return w <= 8 ? KIND_UCHAR : w <= 16 ? KIND_USHORT : KIND_ULONG;
    }
    return kind;
}

bool fits(const Node *n, unsigned want)
{
    if (want == 0)
        return false;
    if (is_int_constant(n))
        return true;
    return width_class(fit_kind(n)) <= width_class(want);
}

// The basic type of `want`'s width with the node's own signedness.
void retype(Node *n, unsigned want)
{
    if (n->flags & NODE_RETYPED)
        return;
    bool is_unsigned = !is_signed_node(n);
    if (want == KIND_UCHAR && (n->op & 0x40) && n->op != OP_LEAF) {
        if ((n->left && n->left->type && n->left->type->kind == KIND_UCHAR) ||
            (n->right && n->right->type && n->right->type->kind == KIND_UCHAR))
            is_unsigned = true;
    }
    switch (width_class(want)) {
    case 1: n->type = is_unsigned ? &type_uchar : &type_char; break;
    case 2: n->type = is_unsigned ? &type_ushort : &type_short; break;
    case 3: n->type = is_unsigned ? &type_uint : &type_int; break;
    case 4: n->type = is_unsigned ? &type_ulong : &type_long; break;
    default: break;
    }
}

// The type record of kind `kind` given to the node, signedness and all.
void set_kind(Node *n, unsigned kind)
{
    switch (kind) {
    case KIND_CHAR: n->type = &type_char; break;
    case KIND_UCHAR: n->type = &type_uchar; break;
    case KIND_SHORT: n->type = &type_short; break;
    case KIND_USHORT: n->type = &type_ushort; break;
    case KIND_INT: n->type = &type_int; break;
    case KIND_UINT: n->type = &type_uint; break;
    default: break;
    }
}

bool value_fits(std::int64_t v, const Type *t)
{
    switch (t->kind) {
    case KIND_CHAR: return v >= -128 && v <= 127;
    case KIND_UCHAR: return v >= 0 && v <= 255;
    case KIND_SHORT: return v >= -32768 && v <= 32767;
    case KIND_USHORT: return v >= 0 && v <= 65535;
    default: return false;
    }
}

// A constant's value as its type reads it.
std::int64_t constant_value(const Node *n)
{
    std::uint32_t v = n->value;
    switch (width_class(n->type->kind)) {
    case 1: return is_signed_node(n) ? static_cast<std::int8_t>(v) : static_cast<std::uint8_t>(v);
    case 2:
    case 3: return is_signed_node(n) ? static_cast<std::int16_t>(v) : static_cast<std::uint16_t>(v);
    default: return is_signed_node(n) ? static_cast<std::int32_t>(v) : static_cast<std::int64_t>(v);
    }
}

void retype_bits(Node *n, unsigned kind)
{
    Type *t = new_type(kind, nullptr);
    t->bit_offset = n->type->bit_offset;
    t->bit_width = n->type->bit_width;
    n->type = t;
}

// Adds `bytes` to the address expression in *link.
void add_offset(Node **link, std::uint32_t bytes)
{
    Node *a = *link;
    if (a->op == OP_LEAF && !(a->leaf & LEAF_LVALUE)) {
        a->value += bytes;
        return;
    }
    if (a->op == OP_ADD) {
        if (is_int_constant(a->right)) {
            a->right->value += bytes;
            return;
        }
        if (a->left->op == OP_LEAF && !(a->left->leaf & LEAF_LVALUE)) {
            a->left->value += bytes;
            return;
        }
    }
    Node *sum = new_node(OP_ADD);
    sum->left = a;
    sum->right = int_constant(bytes, &type_int);
    sum->type = a->type;
    *link = sum;
}

// The bit-field unit of a read narrowed to the smallest unit that holds
// the field; `shift(bytes)` moves the read's address.
template <typename Shift> [[gnu::noinline]] void narrow_bit_unit(Node *n, bool is_volatile, Shift shift)
{
    unsigned o = n->type->bit_offset, w = n->type->bit_width;
    auto set = [&](unsigned kind, unsigned offset) {
        retype_bits(n, kind);
        n->type->bit_offset = static_cast<std::uint8_t>(offset);
    };
    if (n->type->kind == KIND_BITS32) {
        if (o < 16 && o + w <= 16) {
            set(KIND_BITS16, o);
            shift(2);
        } else if (o < 16 && o >= 8 && o + w <= 24 && !even_align_data) {
            set(KIND_BITS16, o - 8);
            shift(1);
        } else if (o >= 16) {
            set(KIND_BITS16, o - 16);
        } else {
            return;
        }
        o = n->type->bit_offset;
    }
    if ((n->type->kind == KIND_BITS16 || n->type->kind == KIND_BITSINT) && !is_volatile) {
        if (o < 8 && o + w <= 8) {
            set(KIND_BITS8, o);
            shift(1);
        } else if (o >= 8) {
            set(KIND_BITS8, o - 8);
        }
    }
}

void narrow_node(Node **link, unsigned want);

[[gnu::noinline]] void report_zero_divisor(const Node *leaf)
{
    const SavedPosition *p = zero_divisor_position(leaf);
    const char *message = (leaf->leaf & LEAF_ZERO_MODULUS) ? "zero modulus" : "zero divide";
    if (!p) {
        report(message);
        return;
    }
    // The message stands where the division was read, in its own file.
    const char *saved_override = file_name_override;
    file_name_override = p->file;
    report_at(p->line, p->column, message);
    file_name_override = saved_override;
}

// Reported once: the divisor is a plain constant afterwards, so that a tree
// folded again (an initializer, then the body it went into) says nothing
// more.
void forget_zero_divisor(Node *leaf)
{
    if (leaf->leaf & LEAF_LITERAL)
        leaf->float_position = nullptr;
    else
        leaf->left = nullptr;
    leaf->leaf &= static_cast<std::uint8_t>(~(LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS));
}

// A parameter of an inline expansion bound to its argument has no
// storage: every read of it stands for the argument. Reads are replaced as
// they are built; one that was built without a fetch of its value (the
// right side of a comma) is replaced here.
bool is_substituted_parameter(const Node *n)
{
    return (n->leaf & (LEAF_SYMBOL | LEAF_LVALUE)) == (LEAF_SYMBOL | LEAF_LVALUE) &&
           (n->symbol->flags & SYM_INLINE_BUSY) && (n->symbol->attr & ATTR_CONST) && n->symbol->const_value;
}

[[gnu::noinline]] Node *substitute_parameter(Node *n)
{
    Node *copy = copy_tree(n->symbol->const_value);
    copy->flags &= static_cast<std::uint8_t>(~NODE_RVALUE);
    return convert_to(copy, n->type);
}

[[gnu::noinline]] void narrow_leaf(Node *n, unsigned want)
{
    if (n->leaf & (LEAF_ZERO_DIVISOR | LEAF_ZERO_MODULUS)) {
        report_zero_divisor(n);
        forget_zero_divisor(n);
        return;
    }
    unsigned kind = n->type->kind;
    if (want == 0 && !is_bitfield_kind(kind))
        return;
    if (!is_memory_leaf(n)) {
        // A constant takes the narrower type with its value reduced to it,
        // as every folded constant is.
        if (want != 0 && !(n->leaf & (LEAF_LVALUE | LEAF_SYMBOL | LEAF_LITERAL)) && kind < 0x42 && want < kind) {
            retype(n, want);
            reduce_to_type(n, n->type);
        }
        return;
    }
    // A volatile object is read whole: the access is the program's.
    if (is_volatile_leaf(n))
        return;
    bool was_retyped = n->flags & NODE_RETYPED;
    n->flags &= static_cast<std::uint8_t>(~NODE_RETYPED);
    if (kind >= KIND_SHORT && kind <= KIND_UINT) {
        if (is_char_kind(want)) {
            n->value += 1;
            retype(n, want);
        }
    } else if (kind == KIND_POINTER) {
        std::int32_t size = type_size(n->type);
        if (size == 2 && !was_retyped && is_char_kind(want)) {
            n->value += 1;
            retype(n, want);
        } else if (size == 4 && !was_retyped && want != 0) {
            if (is_char_kind(want))
                n->value += 1;
            retype(n, want);
        }
    } else if (kind == KIND_LONG || kind == KIND_ULONG) {
        if (want != 0 && want < 0x40) {
            n->value += is_char_kind(want) ? 3 : 2;
            retype(n, want);
        }
    } else if (is_bitfield_kind(kind)) {
        narrow_bit_unit(n, false, [&](std::uint32_t bytes) { n->value += bytes; });
    }
    if (was_retyped)
        n->flags |= NODE_RETYPED;
}

// The width a stored value needs from its target's kind.
unsigned store_want(const Type *t)
{
    unsigned kind = t->kind;
    if (kind >= KIND_CHAR && kind <= KIND_UINT && !is_bitfield_kind(kind))
        return kind;
    if (kind == KIND_BITS8)
        return KIND_UCHAR;
    if (kind == KIND_BITS16 || kind == KIND_BITSINT)
        return t->bit_width <= 8 ? KIND_UCHAR : KIND_USHORT;
    if (kind == KIND_BITS32)
        return t->bit_width <= 8 ? KIND_UCHAR : t->bit_width <= 16 ? KIND_USHORT : KIND_ULONG;
    return 0;
}

[[gnu::noinline]] void narrow_call(Node *n)
{
    // The arguments are computed whole (or as their own char kind under
    // -nw), each marked so that nothing narrows its type further.
    for (Node **arg = &n->right; *arg;) {
        Node **value = (*arg)->op == OP_ARG ? &(*arg)->left : arg;
        (*value)->flags |= NODE_RETYPED;
        unsigned kind = (*value)->type->kind;
        narrow_node(value, no_widen_arguments && is_char_kind(kind) ? kind : 0);
        if ((*arg)->op != OP_ARG)
            break;
        arg = &(*arg)->right;
    }
    Node *f = n->left;
    if (f->op == OP_LEAF && (f->leaf & LEAF_SYMBOL) && (f->symbol->attr & ATTR_INLINE)) {
        Node *arg = n->right;
        if (arg && arg->op != OP_ARG) {
            while (arg->op == OP_CAST)
                arg = arg->left;
        } else {
            arg = nullptr;
        }
        const Name *name = f->symbol->name;
        if (name && name->length == 6 && std::memcmp(name->chars, "strlen", 6) == 0 && arg &&
            arg->op == OP_LEAF && (arg->leaf & LEAF_LITERAL)) {
            PoolEntry *literal = arg->literal;
            std::uint32_t length = 0;
            while (length < literal->length && literal->bytes[length] != 0)
                ++length;
            pool_release(literal);
            Type *type = n->type;
            n->op = OP_LEAF;
            n->left = nullptr;
            n->right = nullptr;
            n->value = length;
            n->type = type;
            return;
        }
        if (f->symbol->inline_body)
            report("invalid inline function usage");
        return;
    }
    narrow_node(&n->left, 0);
}

[[gnu::noinline]] void narrow_deref(Node *n, unsigned want)
{
    unsigned kind = n->type->kind;
    bool is_volatile = is_volatile_deref(n);
    if (!is_bitfield_kind(kind)) {
        if (want != 0 && want < 0x32 && want < kind && kind < 0x42 && !is_volatile) {
            std::int32_t d = type_size(n->type) - (want < 0x12 ? 1 : 2);
            if (d > 0)
                add_offset(&n->left, static_cast<std::uint32_t>(d));
            if (d >= 0) {
                n->flags &= static_cast<std::uint8_t>(~NODE_RETYPED);
                retype(n, want);
            }
        }
    } else {
        bool volatile_unit = is_volatile || is_volatile_leaf(n->left) ||
                             (n->left->op == OP_LEAF && (n->left->leaf & LEAF_SYMBOL) &&
                              (n->left->symbol->attr & ATTR_VOLATILE));
        if (!is_volatile)
            narrow_bit_unit(n, volatile_unit, [&](std::uint32_t bytes) { add_offset(&n->left, bytes); });
    }
    narrow_node(&n->left, 0);
}

[[gnu::noinline]] void narrow_shift(Node **link, unsigned want)
{
    Node *n = *link;
    Node *l = n->left;
    // A cast to the shift's kind of a leaf no wider and of the same
    // signedness changes nothing the shift needs.
    if (l->op == OP_CAST && l->type->kind == n->type->kind && l->left->op == OP_LEAF &&
        l->left->type->kind <= l->type->kind && is_signed_node(l->left) == is_signed_node(l) &&
        !is_bitfield_kind(l->left->type->kind) && l->left->type->kind < 0x42) {
        n->left = l = l->left;
    }
    Node *r = n->right;
    if (want != 0 && is_int_constant(r) && is_memory_leaf(l) && !is_volatile_leaf(l) && !(l->flags & NODE_RETYPED)) {
        std::uint32_t count = r->value;
        unsigned lk = l->type->kind;
        if (want < 0x32 && (lk == KIND_LONG || lk == KIND_ULONG)) {
            std::uint32_t s = is_char_kind(want) ? 1 : 2;
            if (n->op == OP_SHR && count == 8) {
                l->value += 3 - s;
                retype(l, want);
                *link = l;
                return;
            }
            if (n->op == OP_SHL && count == 8) {
                // The low word shifted: the node stays a shift.
                l->value += 2;
                l->type = &type_ushort;
                retype(n, want);
            }
            if (n->op == OP_SHR && count == 16) {
                l->value += 2 - s;
                retype(l, want);
                *link = l;
                return;
            }
            if (n->op == OP_SHR && count == 24) {
                retype(l, KIND_CHAR);
                *link = l;
                return;
            }
            if (n->op == OP_SHR && count > 16 && count < 32) {
                retype(l, KIND_SHORT);
                r->value = count - 16;
                retype(n, want);
            }
        } else if (is_char_kind(want) && lk >= KIND_SHORT && lk <= KIND_UINT && n->op == OP_SHR && count == 8) {
            set_kind(l, want == KIND_UCHAR ? KIND_UCHAR : KIND_CHAR);
            *link = l;
            return;
        }
    }
    narrow_node(&n->left, n->op == OP_SHL ? want : 0);
    l = n->left;
    r = n->right;
    if (!is_int_constant(r) && l->type->kind > KIND_UCHAR)
        narrow_node(&n->right, KIND_USHORT);
    else
        narrow_node(&n->right, KIND_UCHAR);
    r = n->right;
    if (n->op == OP_SHR && is_int_constant(l)) {
        std::int64_t v = constant_value(l);
        if (want == KIND_UCHAR && v >= 0 && v <= 255 && (l->type->kind != KIND_CHAR || v < 128))
            retype(n, KIND_UCHAR);
        return;
    }
    if (!fits(l, want))
        return;
    if (n->op == OP_SHR) {
        if ((l->type->kind ^ want) == 1)
            return;
        if (l->type->kind == want && r->type->kind == want + 1 && !(want & 1) && !is_signed_node(n))
            return;
    }
    retype(n, want);
}

[[gnu::noinline]] void narrow_bitwise(Node *n, unsigned want)
{
    Node *r = n->right;
    bool small_mask = n->op == OP_AND && is_int_constant(r) && r->value <= 255;
    bool skip_left = false;
    if (small_mask) {
        Node *l = n->left;
        if (want == 0 && !is_volatile_leaf(l) && !is_volatile_deref(l))
            narrow_node(&n->left, KIND_UCHAR);
        l = n->left;
        if (!is_bitfield_kind(l->type->kind) && fits(l, KIND_UCHAR) && n->type->kind != KIND_CHAR &&
            !(n->flags & NODE_RETYPED)) {
            if (want != 0)
                narrow_node(&n->left, want);
            n->type = &type_uchar;
            return;
        }
        if (want == 0)
            skip_left = true;
    }
    if (!skip_left)
        narrow_node(&n->left, want);
    narrow_node(&n->right, want);
    Node *l = n->left;
    r = n->right;
    if (!(n->flags & NODE_RETYPED) && (n->op == OP_AND || is_signed_node(l) == is_signed_node(r)) &&
        fits(l, KIND_CHAR)) {
        bool right_ok = is_int_constant(r) ? r->value <= (is_signed_node(l) ? 127u : 255u)
                                           : fits(r, KIND_CHAR);
        if (right_ok) {
            n->type = is_signed_node(l) && is_signed_node(r) ? &type_char : &type_uchar;
            return;
        }
    }
    if (want != 0 && fits(l, want) && fits(r, want))
        retype(n, want);
}

// (m & k) == c on a long in memory compared in the byte or word that
// holds every bit of k and c.
[[gnu::noinline]] void narrow_masked_comparison(Node *n)
{
    Node *l = n->left, *r = n->right;
    if (!is_int_constant(r) || l->op != OP_AND || !is_int_constant(l->right))
        return;
    Node *m = l->left;
    if (!is_memory_leaf(m) || is_volatile_leaf(m) || (m->type->kind != KIND_LONG && m->type->kind != KIND_ULONG))
        return;
    std::uint32_t k = l->right->value, c = r->value, bits = k | c;
    static const std::uint32_t byte_masks[4] = {0xFF000000u, 0x00FF0000u, 0x0000FF00u, 0x000000FFu};
    static const std::uint32_t word_masks[3] = {0xFFFF0000u, 0x00FFFF00u, 0x0000FFFFu};
    int offset = -1;
    unsigned shift = 0;
    Type *type = nullptr;
    for (int t = 0; t < 4 && offset < 0; ++t) {
        if ((bits & ~byte_masks[t]) == 0) {
            offset = t;
            shift = static_cast<unsigned>(24 - 8 * t);
            type = &type_uchar;
        }
    }
    for (int t = 0; t < 3 && offset < 0; ++t) {
        if ((bits & ~word_masks[t]) == 0) {
            offset = t;
            shift = static_cast<unsigned>(16 - 8 * t);
            type = &type_ushort;
        }
    }
    if (offset < 0)
        return;
    std::uint32_t slice = type == &type_uchar ? 0xFFu : 0xFFFFu;
    m->value += static_cast<std::uint32_t>(offset);
    m->type = type;
    l->type = type;
    l->right->value = (k >> shift) & slice;
    l->right->type = type;
    if (c != 0) {
        r->value = (c >> shift) & slice;
        r->type = type;
    }
}

[[gnu::noinline]] void narrow_comparison(Node *n, unsigned want)
{
    if (want != 0)
        n->type = &type_uchar;
    if (n->op == OP_EQ || n->op == OP_NE)
        narrow_masked_comparison(n);
    Node *l = n->left, *r = n->right;
    if (r->type->kind == KIND_CHAR && is_comparison_op(l->op)) {
        narrow_node(&n->right, KIND_CHAR);
        narrow_node(&n->left, 0);
        n->left->type = &type_char;
        return;
    }
    if (l->type->kind == KIND_CHAR && is_comparison_op(r->op)) {
        narrow_node(&n->left, KIND_CHAR);
        narrow_node(&n->right, 0);
        n->right->type = &type_char;
        return;
    }
    unsigned rk = r->type->kind, lk = l->type->kind;
    narrow_node(&n->right, rk < 0x40 ? rk : 0);
    narrow_node(&n->left, lk < 0x40 ? lk : 0);
}

// Trees are as high as the parser's nesting limit allows, and this walk
// follows them by recursion: the operator cases that need room of their
// own are functions apart, so that a level of the walk takes little stack.
void narrow_node(Node **link, unsigned want)
{
    Node *n = *link;
    if (!n)
        return;
    if (n->op == OP_SEQ) {
        // The statements of an inline expansion were prepared by the body
        // preparation, which reaches them first; the value part is what
        // is left to narrow.
        narrow_node(&n->right, want);
        return;
    }
    switch (n->op) {
    case OP_LEAF:
        if (is_substituted_parameter(n)) {
            *link = substitute_parameter(n);
            narrow_node(link, want);
            return;
        }
        narrow_leaf(n, want);
        return;
    case OP_COMMA:
        narrow_node(&n->left, 0);
        narrow_node(&n->right, want);
        if (fits(n->right, want)) {
            retype(n, want);
        } else if (is_bitfield_kind(n->type->kind) &&
                   (n->right->op == OP_LEAF || n->right->op == OP_ASSIGN) && is_bitfield_kind(n->right->type->kind) &&
                   n->right->type->kind != n->type->kind) {
            n->type = n->right->type;
        }
        return;
    case OP_COND:
        narrow_node(&n->left, 0);
        narrow_node(&n->value_node, want);
        narrow_node(&n->right, want);
        if (fits(n->value_node, want) && fits(n->right, want))
            retype(n, want);
        return;
    case OP_ASSIGN:
    case OP_ADDASG:
    case OP_SUBASG:
    case OP_MULASG:
    case OP_SHLASG:
    case OP_ANDASG:
    case OP_XORASG:
    case OP_ORASG:
    case OP_POSTINC:
    case OP_POSTDEC: {
        bool pointer_step = (n->op == OP_POSTINC || n->op == OP_POSTDEC || n->op == OP_ADDASG || n->op == OP_SUBASG) &&
                            n->left->type->kind == KIND_POINTER && type_size(n->left->type) == 1;
        if (pointer_step)
            narrow_node(&n->right, KIND_UCHAR);
        narrow_node(&n->left, 0);
        if (is_bitfield_kind(n->type->kind) && n->type->kind != n->left->type->kind)
            n->type = n->left->type;
        if ((n->op == OP_POSTINC || n->op == OP_POSTDEC) && fits(n->left, want))
            retype(n, want);
        narrow_node(&n->right, store_want(n->left->type));
        return;
    }
    case OP_DIVASG:
    case OP_MODASG:
    case OP_SHRASG:
        narrow_node(&n->right, 0);
        narrow_node(&n->left, 0);
        return;
    case OP_CAST: {
        unsigned kind = n->type->kind;
        bool far_pointer_to_ulong = kind == KIND_ULONG && n->left->type->kind == KIND_POINTER &&
                                    (n->left->type->attr & ATTR_SPACE) == SPACE_FAR;
        if (want != 0 && want < kind && kind < 0x42 && !far_pointer_to_ulong)
            retype(n, want);
        narrow_node(&n->left, kind < 0x40 ? n->type->kind : 0);
        Node *l = n->left;
        unsigned lk = l->type->kind;
        if (!is_bitfield_kind(lk) && lk < KIND_FLOAT && lk != KIND_POINTER) {
            if (is_int_constant(l)) {
                l->type = n->type;
                reduce_to_type(l, l->type);
            } else if (width_class(lk) == width_class(n->type->kind) && l->op != OP_DEREF && l->op != OP_SHR &&
                       l->op != OP_DIV && l->op != OP_MOD) {
                l->type = n->type;
            }
        }
        return;
    }
    case OP_CALL:
        narrow_call(n);
        return;
    case OP_NEG:
    case OP_COMPL:
        narrow_node(&n->left, want);
        if (fits(n->left, want))
            retype(n, want);
        return;
    case OP_NOT:
        narrow_node(&n->left, 0);
        return;
    case OP_DEREF:
        narrow_deref(n, want);
        return;
    case OP_DIV:
    case OP_MOD: {
        narrow_node(&n->left, 0);
        narrow_node(&n->right, 0);
        Node *l = n->left, *r = n->right;
        if (want == 0 || want >= n->type->kind || !fits(l, want) || !fits(r, want))
            return;
        bool r_constant = is_int_constant(r);
        bool same_sign = is_signed_node(l) == is_signed_node(r);
        if ((same_sign && (!r_constant || value_fits(constant_value(r), l->type))) ||
            (!same_sign && r_constant && !is_signed_node(l) && value_fits(constant_value(r), l->type)))
            retype(n, want);
        return;
    }
    case OP_SHL:
    case OP_SHR:
        narrow_shift(link, want);
        return;
    case OP_AND:
    case OP_OR:
    case OP_XOR:
        narrow_bitwise(n, want);
        return;
    case OP_LT:
    case OP_GE:
    case OP_GT:
    case OP_LE:
    case OP_EQ:
    case OP_NE:
    case OP_ANDAND:
    case OP_OROR:
        narrow_comparison(n, want);
        return;
    case OP_ADD:
    case OP_SUB:
        if (n->type->kind == KIND_POINTER) {
            std::int32_t size = type_size(n->type);
            for (Node **operand : {&n->left, &n->right}) {
                unsigned k = (*operand)->type->kind;
                bool index = k != KIND_POINTER && k != KIND_ARRAY;
                narrow_node(operand, index && size <= 2 && k > KIND_UINT && k < 0x42 ? KIND_UINT : want);
            }
            if (fits(n->left, want) && fits(n->right, want))
                retype(n, want);
            return;
        }
        if (n->op == OP_SUB && n->left->type->kind == KIND_POINTER && n->right->type->kind == KIND_POINTER)
            return;
        [[fallthrough]];
    case OP_MUL: {
        unsigned w = want;
        if (n->left->type->kind >= KIND_FLOAT && n->left->type->kind <= KIND_DOUBLE)
            w = 0;
        if (n->right->type->kind >= KIND_FLOAT && n->right->type->kind <= KIND_DOUBLE)
            w = 0;
        narrow_node(&n->left, w);
        narrow_node(&n->right, w);
        if (fits(n->left, w) && fits(n->right, w))
            retype(n, w);
        return;
    }
    default:
        return;
    }
}

}  // namespace

void narrow(Node **link, unsigned want) { narrow_node(link, want); }

Node *final_fold(Node *tree)
{
    if (tree)
        narrow_node(&tree, 0);
    return tree;
}
