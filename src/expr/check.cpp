#include "expr/check.h"

#include "decl/types.h"
#include "driver/diagnostics.h"
#include "driver/options.h"
#include "expr/fold.h"
#include "expr/tree.h"

namespace {

// A pointer's space with no space counting as near. The codes rise with
// the address width, so they compare as tiny < near < far.
std::uint16_t space_or_near(std::uint16_t attr)
{
    std::uint16_t space = attr & ATTR_SPACE;
    return space ? space : SPACE_NEAR;
}

bool is_far_pointer(const Type *t) { return t->kind == KIND_POINTER && (t->attr & ATTR_SPACE) == SPACE_FAR; }

void decay_if_needed(Node *n)
{
    if (n->type->kind == KIND_ARRAY || n->type->kind == KIND_FUNCTION)
        decay(n);
}

Node *retype(Node *operand, Type *type)
{
    // The address of an object placed at an absolute address is a number.
    if (type->kind == KIND_POINTER && operand->op == OP_LEAF && (operand->leaf & LEAF_SYMBOL) &&
        operand->symbol->sclass == SC_LOCALIZED && !operand->symbol->alias) {
        operand->value += operand->symbol->value;
        operand->leaf &= static_cast<std::uint8_t>(~LEAF_SYMBOL);
        operand->left = nullptr;
    }
    operand->type = type;
    operand->flags |= NODE_RETYPED;
    return operand;
}

// A number (or, under -np, a literal's address) taking a pointer type.
// Without a space in the type, small values make a tiny pointer.
Node *pointer_constant(Node *leaf, Type *type)
{
    leaf->type = type;
    switch (type->attr & ATTR_SPACE) {
    case SPACE_TINY:
        leaf->value &= 0xFF;
        break;
    case SPACE_NEAR:
        leaf->value &= 0xFFFF;
        break;
    case 0:
        if (leaf->value >= 1 && leaf->value <= 255) {
            Type *tiny = new_type(KIND_POINTER, type->of);
            tiny->attr = static_cast<std::uint16_t>(type->attr | SPACE_TINY);
            leaf->type = tiny;
        } else if (leaf->value > 0xFFFF && type_size(type) < 3) {
            leaf->value &= 0xFFFF;
        }
        break;
    default:
        break;
    }
    leaf->flags |= NODE_RETYPED;
    return leaf;
}

Node *cast_to_pointer(Node *node)
{
    Type *t = node->type;
    Node *operand = node->left;
    decay_if_needed(operand);
    const Type *s = operand->type;
    if (s->kind >= 0x4C) {
        if (s->kind != KIND_POINTER) {
            report("invalid pointer cast operand");
            return node;
        }
        std::uint16_t from = space_or_near(s->attr), to = space_or_near(t->attr);
        if (from == to) {
            bool same = from == SPACE_FAR ? s->attr == t->attr
                                          : (s->attr & ATTR_USER_SPACES) == (t->attr & ATTR_USER_SPACES);
            return same ? retype(operand, t) : node;
        }
        if (from == SPACE_TINY && to == SPACE_NEAR && is_address_value(operand))
            return retype(operand, t);
        if (to > from)
            return node;
        if (!allow_pointer_narrowing) {
            report("invalid narrow pointer cast");
            return node;
        }
        if (operand->op != OP_LEAF || (operand->leaf & (LEAF_LVALUE | LEAF_SYMBOL)))
            return node;
        return pointer_constant(operand, t);
    }
    if (!is_int_constant(operand))
        return node;
    return pointer_constant(operand, t);
}

// Operators whose value a narrower type cannot simply be read from: the
// code generator needs the conversion made explicit.
bool keeps_cast_node(unsigned op) { return op < 32 || op == OP_DEREF || op == OP_SHR || op == OP_DIV || op == OP_MOD; }

Node *cast_to_integer(Node *node)
{
    Type *t = node->type;
    Node *operand = node->left;
    decay_if_needed(operand);
    const Type *s = operand->type;
    if (s->kind == KIND_POINTER && type_size(s) > type_size(t) && !allow_pointer_narrowing)
        report("invalid narrow pointer cast");
    if (s->kind != KIND_POINTER && s->kind > KIND_DOUBLE) {
        report("invalid cast operand");
        return node;
    }
    if (is_float_constant(operand)) {
        double value = float_constant_value(operand);
        if (check_level != 0 && (value >= 4294967296.0 || value < -2147483648.0))
            report("W1float value too large for integer cast");
        float_to_int_constant(operand, t);
        return operand;
    }
    if (is_int_constant(operand)) {
        reduce_to_type(operand, t);
        operand->type = t;
        return operand;
    }
    // A mask that leaves no bit of an unsigned char.
    if (t->kind == KIND_UCHAR && operand->op == OP_AND && is_int_constant(operand->right)) {
        operand->right->value &= 0xFF;
        if (operand->right->value != 0)
            return node;
        make_int_constant(node, 0);
        node->type = &type_uchar;
        return node;
    }
    bool compatible = types_compatible(t, s);
    bool s_bitfield = is_integer_kind(s->kind) && (s->kind & KIND_BITFIELD_BIT);
    bool widens = !(t->kind <= s->kind || s_bitfield);
    if (!compatible && (widens || is_floating_kind(s->kind) || is_far_pointer(s) || keeps_cast_node(operand->op)))
        return node;
    return retype(operand, t);
}

}  // namespace

Node *fetch_value(Node **slot)
{
    // Constant replacement and known values are not built yet: the
    // operand is read as it stands.
    return *slot;
}

Node *check_cast(Node *node)
{
    Type *t = node->type;
    if (!is_far_pointer(t))
        node->left = fetch_value(&node->left);
    Node *operand = node->left;
    if (t->kind == KIND_ENUM) {
        t = t->of ? t->of : &type_int;
        node->type = t;
    }
    if (is_floating_kind(t->kind)) {
        if (operand->type->kind > KIND_DOUBLE) {
            report("invalid cast operand");
            return node;
        }
        if (is_float_constant(operand)) {
            operand->type = t;
            return operand;
        }
        if (is_int_constant(operand)) {
            int_to_float_constant(operand, t);
            return operand;
        }
        return node;
    }
    switch (t->kind) {
    case KIND_STRUCT:
    case KIND_UNION:
    case KIND_ARRAY:
    case KIND_FUNCTION:
        report("invalid cast type");
        return node;
    case KIND_VOID:
        return operand->type->kind == KIND_VOID ? retype(operand, t) : node;
    case KIND_POINTER:
        return cast_to_pointer(node);
    default:
        return cast_to_integer(node);
    }
}
