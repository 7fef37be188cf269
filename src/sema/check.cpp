#include "sema/check.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdint>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "model/names.h"
#include "model/types.h"
#include "sema/fold.h"
#include "tree/tree.h"

Type *integer_type_of(Type *t)
{
    if (t->kind != KIND_ENUM)
        return t;
    return t->of ? t->of : &type_int;
}

Type *argument_widened_type(Type *type, bool for_argument)
{
    type = integer_type_of(type);
    switch (type->kind) {
    case 0x01:
    case KIND_CHAR:
    case KIND_UCHAR:
    case KIND_BITS8:
    case KIND_SHORT:
    case KIND_BITS16:
        return &type_int;
    case KIND_USHORT:
    case KIND_BITSINT:
        return &type_uint;
    case KIND_BITS32:
        return &type_ulong;
    case KIND_FLOAT:
        return for_argument && !single_float ? &type_double : type;
    case KIND_POINTER:
        return for_argument && (type->attr & ATTR_SPACE) == SPACE_TINY ? &type_uint : type;
    default:
        return type;
    }
}

Type *binary_promoted_type(Type *t) { return argument_widened_type(t, false); }

Type *higher_type(Type *left, Type *right)
{
    auto rank = [](unsigned kind) {
        if (kind == KIND_INT)
            return static_cast<unsigned>(KIND_SHORT);
        if (kind == KIND_UINT)
            return static_cast<unsigned>(KIND_USHORT);
        return kind;
    };
    return rank(left->kind) > rank(right->kind) ? left : right;
}

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
    bool s_bitfield = is_bitfield_kind(s->kind);
    bool widens = !(t->kind <= s->kind || s_bitfield);
    if (!compatible && (widens || is_floating_kind(s->kind) || is_far_pointer(s) || keeps_cast_node(operand->op)))
        return node;
    return retype(operand, t);
}

}  // namespace

Node *convert_to(Node *node, Type *type)
{
    const Type *from = node->type;
    bool pointers_differ = from->kind == KIND_POINTER && type->kind == KIND_POINTER && from->attr != type->attr;
    if (!pointers_differ && types_compatible(from, type))
        return node;
    Node *cast = new_node(OP_CAST);
    cast->left = node;
    cast->type = type;
    return check_cast(cast);
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
            // A cast to float rounds the value to float's precision, so
            // that widening it again gives what C gives:
            // (double)(float)0.1 is not 0.1.
            if (t->kind == KIND_FLOAT && operand->type->kind != KIND_FLOAT) {
                double value = float_constant_value(operand);
                if (std::fabs(value) <= FLT_MAX && static_cast<double>(static_cast<float>(value)) != value)
                    set_float_constant(operand, static_cast<double>(static_cast<float>(value)), t);
            }
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

namespace {

// Symbol flag: the address was taken only to reach a member.
constexpr std::uint32_t SYM_MEMBER_ADDRESSED = 0x10;


Type *pointer_to(Type *of, std::uint16_t attr)
{
    Type *p = new_type(KIND_POINTER, of);
    p->attr = attr;
    return p;
}

// The unary promotion of `-`, `~` and unary `+`: the small kinds and an
// int-sized bit-field become int, unsigned short becomes unsigned int.
Type *unary_promoted_type(Type *t)
{
    if (t->kind == KIND_USHORT)
        return &type_uint;
    if (t->kind < KIND_INT || t->kind == KIND_BITSINT)
        return &type_int;
    return t;
}

Node *unary_promote(Node *n) { return convert_to(n, unary_promoted_type(n->type)); }

// `-` and `~` of a node that passed the type test: constants fold, the
// operator applied twice gives the operand back, and what stays an
// operator node has its operand promoted.
Node *finish_negation(Node *node)
{
    Node *operand = node->left;
    if (is_int_constant(operand)) {
        if (node->op == OP_NEG)
            negate_int_constant(operand);
        else
            complement_int_constant(operand);
        return unary_promote(operand);
    }
    if (node->op == OP_NEG && is_float_constant(operand) && negate_float_constant(operand))
        return operand;
    // A cast that retyped the inner operator in place stands between the
    // two: -(long)-ul is a long, and -(char)(a - b) is not (char)(b - a).
    bool retyped = operand->flags & NODE_RETYPED;
    if (operand->op == node->op && !retyped) {
        Node *inner = operand->left;
        inner->flags |= NODE_RVALUE;
        return unary_promote(inner);
    }
    if (node->op == OP_NEG && operand->op == OP_SUB && !retyped) {
        Node *left = operand->left;
        operand->left = operand->right;
        operand->right = left;
        return unary_promote(operand);
    }
    node->left = unary_promote(operand);
    node->type = node->left->type;
    return node;
}

Node *check_indirection(Node *node)
{
    Node *operand = node->left;
    Node *result = node;
    if (operand->op == OP_ADDR && operand->left->op != OP_CALL && operand->type->kind == KIND_POINTER) {
        // *&x is x again, read as the type the address pointed to.
        result = operand->left;
        result->type = integer_type_of(operand->type->of);
    } else {
        if (operand->type->kind == KIND_ARRAY || operand->type->kind == KIND_FUNCTION)
            decay(operand);
        Type *t = operand->type;
        if (t->kind != KIND_POINTER) {
            report("invalid indirection operand");
            node->type = t;
        } else if (t->of->kind == KIND_VOID) {
            report("invalid indirection operand");
            node->type = t->of;
        } else {
            node->type = integer_type_of(t->of);
            // The read of a constant address becomes the leaf itself, unless
            // the object needs the indirection kept: a const, volatile,
            // far or user-space object not declared as a function.
            bool keep = !(t->attr & ATTR_FUNCDECL) &&
                        ((t->attr & (ATTR_CONST | ATTR_VOLATILE | ATTR_USER_SPACES)) || (t->attr & ATTR_SPACE) == SPACE_FAR);
            if (is_address_value(operand) && !(operand->leaf & LEAF_LVALUE) && !keep) {
                operand->type = node->type;
                operand->leaf |= LEAF_LVALUE;
                operand->flags &= static_cast<std::uint8_t>(~NODE_RETYPED);
                result = operand;
            }
        }
    }
    result->flags &= static_cast<std::uint8_t>(~NODE_RVALUE);
    return result;
}

bool is_temporary(const Symbol *s)
{
    return s->name && s->name->length >= 2 && s->name->chars[0] == '.' && s->name->chars[1] == 't';
}

// May a temporary no statement uses any more serve again? Not when its
// object may still be reached: an array (its decayed address may be held
// in a pointer) or a temporary whose address was taken, even for a member.
// C gives such an object the lifetime of its block, so two literals
// alive at the same time never share one.
bool temporary_reusable(const Symbol *s, const Type *type)
{
    return s->sclass == SC_AUTO && is_temporary(s) &&
           !(s->flags & (SYM_ASSIGNED | SYM_ADDRESSED | SYM_MEMBER_ADDRESSED)) && s->type->kind != KIND_ARRAY &&
           types_compatible(s->type, type);
}

// A compound literal's (initializer, temporary) pair.
bool is_compound_literal_pair(const Node *n)
{
    const Node *temp = n->right;
    return n->op == OP_COMMA && temp && temp->op == OP_LEAF && (temp->leaf & (LEAF_SYMBOL | LEAF_LVALUE)) == (LEAF_SYMBOL | LEAF_LVALUE) &&
           is_temporary(temp->symbol);
}

void mark_address_taken(Symbol *s, bool member)
{
    s->flags |= member ? SYM_MEMBER_ADDRESSED : SYM_ADDRESSED | SYM_MEMBER_ADDRESSED;
}

Node *check_address(Node *node, bool member)
{
    Node *operand = node->left;
    if (operand->flags & NODE_RVALUE)
        report("invalid lvalue");
    if (is_bitfield_kind(operand->type->kind)) {
        report("invalid address type");
        node->type = pointer_to(&type_int, 0);
        return node;
    }
    if (operand->op == OP_DEREF) {
        // &*p is p, pointing to what *p read.
        Node *p = operand->left;
        std::uint16_t attr = p->type->kind == KIND_POINTER ? p->type->attr : 0;
        p->type = pointer_to(operand->type, attr);
        if (member)
            p->flags &= static_cast<std::uint8_t>(~NODE_RVALUE);
        return p;
    }
    if (c99_mode && is_compound_literal_pair(operand)) {
        Node *temp = operand->right;
        temp->type = pointer_to(temp->type, temp->symbol->attr);
        temp->leaf &= static_cast<std::uint8_t>(~LEAF_LVALUE);
        mark_address_taken(temp->symbol, member);
        operand->type = temp->type;
        return operand;
    }
    if (operand->op != OP_LEAF) {
        if (!(operand->op == OP_CALL && is_struct_or_union_kind(operand->type->kind)))
            report("invalid address expression");
        node->type = pointer_to(operand->type, 0);
        return node;
    }
    bool symbol = operand->leaf & LEAF_SYMBOL;
    if (!(operand->leaf & LEAF_LVALUE))
        report("invalid address operand");
    else if (symbol && (operand->symbol->sclass == SC_REGISTER || operand->symbol->sclass == SC_REGARG))
        report("invalid address operand");
    operand->type = pointer_to(operand->type, symbol ? operand->symbol->attr : 0);
    if (symbol)
        mark_address_taken(operand->symbol, member);
    operand->leaf &= static_cast<std::uint8_t>(~LEAF_LVALUE);
    return operand;
}

bool is_scalar_kind(unsigned kind)
{
    return kind <= KIND_DOUBLE || kind == KIND_POINTER || kind == KIND_ARRAY || kind == KIND_FUNCTION;
}

bool is_condition_op(unsigned op) { return is_comparison_op(op) || op == OP_ANDAND || op == OP_OROR; }

bool is_signed_integer_kind(unsigned kind) { return is_integer_kind(kind) && !(kind & KIND_UNSIGNED_BIT); }

// The bytes a value of type `t` takes in the truncation test: floating
// types count double, a bit-field by the unit its width fills.
std::int32_t transfer_size(const Type *t)
{
    if (is_bitfield_kind(t->kind))
        return t->bit_width <= 8 ? 1 : t->bit_width <= 16 ? 2 : 4;
    std::int32_t size = type_size(t);
    return is_floating_kind(t->kind) ? 2 * size : size;
}

}  // namespace

Node *check_unary(Node *node)
{
    if (node->op == OP_ADDR)
        return check_address(node, false);
    node->left = fetch_value(&node->left);
    Node *operand = node->left;
    switch (node->op) {
    case OP_DEREF:
        return check_indirection(node);
    case OP_NEG:
    case OP_COMPL:
        node->type = operand->type;
        if (node->op == OP_NEG ? operand->type->kind <= KIND_DOUBLE : operand->type->kind < 0x4C)
            return finish_negation(node);
        break;
    case OP_NOT:
        if (is_int_constant(operand))
            return make_int_constant(node, operand->value == 0);
        if (Node *condition = make_condition(&node->left))
            return negate_condition(condition);
        node->type = &type_int;
        break;
    default:
        return node;
    }
    report("invalid operand type");
    return node;
}

Node *check_member_address(Node *node) { return check_address(node, true); }

std::uint32_t sequence_counter = 0;
std::int32_t memory_store_count = 0;
std::int32_t automatic_store_count = 0;
std::int32_t indirect_store_count = 0;
std::int32_t conditional_depth = 0;
std::int32_t conditional_operand_depth = 0;

namespace {
std::uint32_t temp_counter = 0;
}

std::uint32_t temporaries_released = 0;

Node *new_temp(Type *type)
{
    Symbol *temp = nullptr;
    // Only the temporaries of open blocks are in ident_list. The search
    // runs only when some temporary was given back (temporaries_released):
    // until then every one is in use, and a function with many literals
    // would walk them all for each new one.
    for (Symbol *s = temporaries_released ? ident_list : nullptr; s && s->scope_level > 0; s = s->next) {
        if (temporary_reusable(s, type)) {
            temp = s;
            break;
        }
    }
    if (!temp) {
        char name[24];
        int length = std::snprintf(name, sizeof name, ".temp_%u.", static_cast<unsigned>(++temp_counter));
        temp = new_symbol(&ident_list, intern_name(name, static_cast<std::size_t>(length)), SC_AUTO, type);
        temp->attr = apply_default_attributes(0, SC_AUTO, type->kind);
        temp->decl_seq = sequence_counter;
        if (current_token) {
            temp->line = current_token->line;
            temp->column = current_token->column;
        }
    }
    temp->flags |= SYM_ASSIGNED | SYM_DECLARED | SYM_USED;
    ++temp->refs;
    return symbol_leaf(temp, temp->type);
}

void check_reset()
{
    temporaries_released = 0;
    temp_counter = 0;
    sequence_counter = 0;
    memory_store_count = 0;
    automatic_store_count = 0;
    indirect_store_count = 0;
    conditional_depth = 0;
    conditional_operand_depth = 0;
}

namespace {

bool is_pointer(const Type *t) { return t->kind == KIND_POINTER; }

bool is_zero_constant(const Node *n) { return is_int_constant(n) && n->value == 0; }

bool is_assignment_code(unsigned op)
{
    return op == OP_ASSIGN || is_compound_assign_op(op) || op == OP_POSTINC || op == OP_POSTDEC;
}

// An integer operand of pointer arithmetic multiplied by the size of what
// the pointer points to.
Node *scale_index(Node *index, std::int32_t size)
{
    if (is_int_constant(index)) {
        index->value *= static_cast<std::uint32_t>(size);
        return index;
    }
    if (size <= 1)
        return index;
    Node *product = new_node(OP_MUL);
    product->left = index;
    product->right = make_int_constant(nullptr, size);
    return check_binary(product);
}

// The unsigned integer type of a bit-field's unit: what `++` and `--`
// of the field yield.
Type *bitfield_unit_type(const Type *t)
{
    switch (t->kind) {
    case KIND_BITS8: return &type_uchar;
    case KIND_BITS16: return &type_ushort;
    case KIND_BITSINT: return &type_uint;
    default: return &type_ulong;
    }
}

// `field = y & k` where k keeps every bit of the field, possibly under
// casts (or retyped nodes) wide enough for the field: the field truncates
// anyway, so the value is `y`.
Node *drop_field_mask(Node *value, const Type *field)
{
    std::uint32_t mask = field->bit_width >= 32 ? 0xFFFFFFFFu : (1u << field->bit_width) - 1;
    Node *n = value;
    for (;;) {
        if (8 * type_size(n->type) < field->bit_width)
            return value;
        if (n->op != OP_CAST)
            break;
        n = n->left;
    }
    if (n->op == OP_AND && is_int_constant(n->right) && (n->right->value & mask) == mask)
        return n->left;
    return value;
}

// The lvalue rules of an assignment's target.
void check_lvalue(const Node *target)
{
    if (target->flags & NODE_RVALUE) {
        report("invalid lvalue");
    } else if (target->op == OP_LEAF) {
        if (target->leaf & LEAF_INIT)
            return;
        if (!(target->leaf & LEAF_LVALUE) || (target->flags & NODE_RETYPED))
            report("invalid lvalue");
        else if ((target->leaf & LEAF_SYMBOL) && (target->symbol->attr & ATTR_CONST))
            report("const assignment");
    } else if (target->op == OP_DEREF) {
        const Type *p = target->left->type;
        if (is_pointer(p) && (p->attr & ATTR_CONST))
            report("const assignment");
    } else {
        report("invalid lvalue");
    }
}

// A constant moved to the type of the object it is stored in or
// combined with, by the cast check (which folds it).
Node *convert_constant(Node *constant, Type *type)
{
    Node *cast = new_node(OP_CAST);
    cast->left = constant;
    cast->type = type;
    return check_cast(cast);
}

Node *check_pointer_assignment(Node *node, unsigned op, bool scaled)
{
    Node *target = node->left;
    Node *value = node->right;
    if (op == OP_ADDASG || op == OP_SUBASG) {
        if (value->type->kind >= 0x4C) {
            report("incompatible pointer operand");
            return node;
        }
        if (is_zero_constant(value))
            return target;
        if (!scaled)
            node->right = scale_index(value, type_size(target->type->of));
    } else if (op != OP_ASSIGN) {
        report("incompatible pointer operation");
    } else if (!is_zero_constant(value) && !assign_compatible(target->type, value->type)) {
        report("incompatible pointer types");
    }
    return node;
}

Node *check_scalar_assignment(Node *node, unsigned op)
{
    Node *target = node->left;
    Node *value = node->right;
    if (is_pointer(value->type))
        report("incompatible pointer assignment");
    else if (is_struct_or_union_kind(value->type->kind))
        report("incompatible struct/union assignment");
    else if (value->type->kind == KIND_VOID)
        report("illegal void usage");
    if ((is_floating_kind(target->type->kind) || is_floating_kind(value->type->kind)) && op != OP_ASSIGN &&
        op != OP_ADDASG && op != OP_SUBASG && op != OP_MULASG && op != OP_DIVASG)
        report("invalid floating point operation");
    Node *folded = fold_assignment(node);
    if (folded != node)
        return folded;
    value = node->right;
    bool floating_target = is_floating_kind(target->type->kind);
    // A floating constant is made an integer only for a plain store: a
    // compound assignment computes in floating point first (i *= 0.5 halves
    // i, where i *= 0 would clear it).
    if ((floating_target && is_int_constant(value) && value->value != 0) ||
        (!floating_target && op == OP_ASSIGN && is_integer_kind(target->type->kind) && is_float_constant(value)))
        node->right = convert_constant(value, target->type);
    return node;
}

}  // namespace

Node *check_assignment(Node *node)
{
    Node *target = node->left;
    if (is_compound_literal_pair(target)) {
        // The store goes to the literal's temporary, inside the pair.
        node->left = target->right;
        target->right = check_assignment(node);
        target->type = target->right->type;
        return target;
    }
    // The increments follow the rules of `+=` and `-=`.
    unsigned op = node->op == OP_POSTINC ? OP_ADDASG : node->op == OP_POSTDEC ? OP_SUBASG : node->op;
    bool private_local = false;
    if (target->op == OP_LEAF && (target->leaf & LEAF_SYMBOL)) {
        Symbol *s = target->symbol;
        s->prev_set_seq = s->set_seq;
        s->set_seq = ++sequence_counter;
        s->flags |= SYM_ASSIGNED;
        private_local = !(s->flags & SYM_ADDRESSED) &&
                        (s->sclass == SC_AUTO || s->sclass == SC_REGISTER || s->sclass == SC_ARGUMENT ||
                         s->sclass == SC_REGARG);
        if (private_local && (s->sclass == SC_AUTO || s->sclass == SC_ARGUMENT))
            ++automatic_store_count;
    } else {
        ++indirect_store_count;
    }
    if (!private_local)
        ++memory_store_count;
    node->right = fetch_value(&node->right);
    track_assignment(node);
    if (check_level != 0)
        range_check(node->op, target->type, node->right);
    // An addition that came from `p = p + n` scaled its operand already.
    bool scaled = false;
    if (node->op == OP_ASSIGN && fold_into_compound(node)) {
        op = node->op;
        scaled = is_pointer(target->type);
    }
    Node *value = node->right;
    if (op == OP_SHLASG || op == OP_SHRASG) {
        if (value->type->kind >= 0x50)
            report("invalid shift count type");
        else if ((value->type->kind & 0xF0) == 0x40)
            node->right = value = convert_to(value, &type_int);
    }
    if (op == OP_ASSIGN && is_bitfield_kind(target->type->kind))
        node->right = value = drop_field_mask(value, target->type);

    Type *t = target->type;
    bool increment = node->op == OP_POSTINC || node->op == OP_POSTDEC;
    node->type = increment && is_bitfield_kind(t->kind) ? bitfield_unit_type(t) : t;
    if (t->kind == KIND_ARRAY || t->kind == KIND_FUNCTION || t->kind == KIND_VOID) {
        report("invalid assignment type");
        return node;
    }
    check_lvalue(target);
    if (is_struct_or_union_kind(t->kind)) {
        if (!t->members)
            report("incomplete type for assignment");
        else if (!types_compatible(t, value->type))
            report("incompatible types in struct/union assignment");
        else if (op != OP_ASSIGN)
            report("invalid struct/union operation");
        return node;
    }
    decay_if_needed(value);
    if (is_pointer(t))
        return check_pointer_assignment(node, op, scaled);
    return check_scalar_assignment(node, op);
}

namespace {

Node *check_comparison(Node *node)
{
    Node *l = node->left, *r = node->right;
    bool null_pointer = (is_pointer(l->type) && is_zero_constant(r)) || (is_pointer(r->type) && is_zero_constant(l));
    if (!null_pointer && !assign_compatible(l->type, r->type) && !assign_compatible(r->type, l->type))
        report("incompatible compare types");
    node->type = &type_int;
    Node *result = fold_comparison(node);
    if (!is_comparison_op(result->op))
        return result;
    // A signed and an unsigned character compare as ints: a code generator
    // comparing bytes would otherwise take one side's signedness for both.
    l = result->left;
    r = result->right;
    if (is_char_kind(l->type->kind) && is_char_kind(r->type->kind) && l->type->kind != r->type->kind &&
        !is_int_constant(r) && !is_float_constant(r)) {
        result->left = convert_to(l, binary_promoted_type(l->type));
        result->right = convert_to(r, binary_promoted_type(r->type));
    }
    return result;
}

Node *check_conditional(Node *node)
{
    if (!make_condition(&node->left))
        report("invalid ? test expression");
    node->value_node = fetch_value(&node->value_node);
    Node *middle = node->value_node, *third = node->right;
    decay_if_needed(middle);
    Type *m = binary_promoted_type(middle->type), *r = binary_promoted_type(third->type);
    if (!assign_compatible(m, r) && !assign_compatible(r, m) && !(is_pointer(m) && is_zero_constant(third)) &&
        !(is_pointer(r) && is_zero_constant(middle)))
        report("incompatible operand types");
    // A constant test is resolved by the folding; until then the node is
    // typed as for a variable test.
    Type *chosen = higher_type(m, r);
    constexpr std::uint16_t cv = ATTR_CONST | ATTR_VOLATILE;
    if (is_pointer(m) && is_pointer(r) && (m->attr & cv) != (r->attr & cv))
        chosen = pointer_to(chosen->of, static_cast<std::uint16_t>(chosen->attr | (r->attr & cv)));
    node->type = chosen;
    return fold_conditional(node);
}

Node *check_logical(Node *node)
{
    if (!make_condition(&node->left))
        report("invalid conditional operand");
    if (!make_condition(&node->right))
        report("invalid conditional operand");
    node->type = &type_int;
    return fold_logical(node);
}

// A divisor or shift count of a pointer difference.
Node *constant_of(std::int32_t value, Type *type)
{
    Node *n = make_int_constant(nullptr, value);
    n->type = type;
    return n;
}

bool same_address_base(const Node *a, const Node *b)
{
    if (!is_address_value(a) || !is_address_value(b))
        return false;
    if ((a->leaf & LEAF_SYMBOL) && (b->leaf & LEAF_SYMBOL))
        return a->symbol == b->symbol;
    // Plain numbers; two literals are not known to be one object.
    return !(a->leaf & (LEAF_SYMBOL | LEAF_LITERAL)) && !(b->leaf & (LEAF_SYMBOL | LEAF_LITERAL));
}

Node *pointer_difference(Node *node)
{
    Type *l = node->left->type, *r = node->right->type;
    if (!types_compatible(l, r))
        report("invalid pointer types");
    node->type = is_far_pointer(l) || is_far_pointer(r) ? &type_long : &type_int;
    Node *result = node;
    if (same_address_base(node->left, node->right)) {
        std::uint32_t difference = node->left->value - node->right->value;
        Type *type = node->type;
        result = make_int_constant(node, static_cast<std::int32_t>(difference));
        result->type = type;
    }
    std::int32_t size = type_size(l->of);
    if (size <= 1)
        return result;
    int log = 0;
    while ((1 << log) < size)
        ++log;
    Node *quotient;
    if ((1 << log) == size) {
        quotient = new_node(OP_SHR);
        quotient->right = constant_of(log, &type_int);
    } else {
        quotient = new_node(OP_DIV);
        quotient->right = constant_of(size, result->type);
    }
    quotient->left = result;
    return check_binary(quotient);
}

Node *check_pointer_operation(Node *node)
{
    Type *l = node->left->type, *r = node->right->type;
    bool additive = node->op == OP_ADD || node->op == OP_SUB;
    if (is_pointer(l)) {
        node->type = l;
        if (l->of->kind == KIND_VOID) {
            report("invalid void pointer");
            return node;
        }
        if (!additive) {
            report("invalid pointer operation");
            return node;
        }
        if (is_pointer(r) && node->op == OP_SUB)
            return pointer_difference(node);
        if (r->kind >= 0x4C) {
            report("invalid pointer operand");
            return node;
        }
    } else {
        node->type = r;
        if (node->op != OP_ADD) {
            report("invalid pointer operation");
            return node;
        }
        if (r->of->kind == KIND_VOID) {
            report("invalid void pointer");
            return node;
        }
        if (l->kind >= 0x4C) {
            report("invalid pointer operand");
            return node;
        }
        Node *index = node->left;
        node->left = node->right;
        node->right = index;
    }
    node->right = scale_index(node->right, type_size(node->type->of));
    return fold_pointer_arithmetic(node);
}

void check_shift(Node *node)
{
    node->type = binary_promoted_type(node->left->type);
    Node *count = node->right;
    if (count->type->kind >= 0x50) {
        report("invalid shift count type");
        return;
    }
    if (is_int_constant(count)) {
        auto n = static_cast<std::int32_t>(count->value);
        if (n < 0 || n >= 8 * type_size(node->type))
            report("W2shift count out of range");
    } else if ((count->type->kind & 0xF0) == 0x40) {
        node->right = convert_to(count, &type_int);
    }
}

bool is_arithmetic_op(unsigned op)
{
    return op == OP_ADD || op == OP_SUB || op == OP_MUL || op == OP_DIV || op == OP_MOD;
}

}  // namespace

Node *check_binary(Node *node)
{
    if (is_assignment_code(node->op))
        return fold_assignment_chain(check_assignment(node));
    node->left = fetch_value(&node->left);
    node->right = fetch_value(&node->right);
    Node *l = node->left, *r = node->right;
    if (l->type->kind == KIND_VOID || (r->type->kind == KIND_VOID && node->op != OP_COND))
        report("illegal void operation");
    if (is_struct_or_union_kind(l->type->kind)) {
        report("incompatible struct/union operation");
        node->type = l->type;
        return node;
    }
    decay_if_needed(l);
    decay_if_needed(r);
    if (is_comparison_op(node->op))
        return check_comparison(node);
    if (node->op == OP_COND)
        return check_conditional(node);
    if (node->op == OP_ANDAND || node->op == OP_OROR)
        return check_logical(node);
    if (is_pointer(l->type) || is_pointer(r->type))
        return check_pointer_operation(node);
    if (node->op == OP_SHL || node->op == OP_SHR)
        check_shift(node);
    else
        node->type = higher_type(binary_promoted_type(l->type), binary_promoted_type(r->type));
    if (is_floating_kind(node->type->kind) && (node->op & 31) > 4)
        report("invalid floating point operation");
    Node *result = fold_binary(node);
    // A constant combined with a floating operand takes its type here, so
    // that no conversion is left for run time.
    if (is_arithmetic_op(result->op) && is_floating_kind(result->left->type->kind) && is_int_constant(result->right))
        result->right = convert_constant(result->right, result->left->type);
    return result;
}

Node *make_condition(Node **slot)
{
    if (!is_scalar_kind((*slot)->type->kind))
        return nullptr;
    Node **top = slot;
    while ((*slot)->op == OP_COMMA) {
        (*slot)->type = &type_int;
        slot = &(*slot)->right;
    }
    Node *t = *slot;
    if (t->type->kind == KIND_ARRAY || t->type->kind == KIND_FUNCTION)
        decay(t);
    if (t->op == OP_COND && is_int_constant(t->value_node) && is_int_constant(t->right)) {
        // t ? 1 : 0 is t, t ? 0 : k is !t.
        if (t->right->value == 0 && t->value_node->value != 0)
            t = t->left;
        else if (t->value_node->value == 0 && t->right->value != 0)
            t = negate_condition(t->left);
    }
    if (!is_condition_op(t->op)) {
        if (t->op == OP_ASSIGN && is_int_constant(t->right) && check_level != 0)
            report("W4constant assignment in a test");
        if ((t->op == OP_AND || t->op == OP_OR) && is_comparison_op(t->left->op) && is_comparison_op(t->right->op) &&
            same_tree(t->right, t->right, true)) {
            // Both sides are 0 or 1: the bitwise operator is the logical one.
            t->op = t->op == OP_AND ? OP_ANDAND : OP_OROR;
            t->type = &type_int;
        } else {
            Node *test = new_node(OP_NE);
            test->type = &type_int;
            test->left = t;
            test->right = make_int_constant(nullptr, 0);
            t = check_binary(test);
        }
    }
    if (t->op == OP_EQ || t->op == OP_NE)
        t = simplify_bit_test(t);
    *slot = t;
    return *top;
}

void range_check(unsigned op, const Type *target, Node *value)
{
    const Type *t = target->kind == KIND_ENUM ? (target->of ? target->of : &type_int) : target;
    if (is_int_constant(value) && !is_floating_kind(t->kind)) {
        std::int32_t bits = is_bitfield_kind(t->kind) ? t->bit_width : 8 * type_size(t);
        if (is_signed_integer_kind(t->kind))
            --bits;
        std::uint32_t v = value->value;
        if (is_signed_integer_kind(value->type->kind) && static_cast<std::int32_t>(v) < 0)
            v = ~v;
        if (bits >= 0 && bits < 32 && (v >> bits) != 0)
            report("W2value out of range");
        return;
    }
    if (value->type->kind == KIND_ARRAY || value->type->kind == KIND_FUNCTION)
        decay(value);
    const Type *s = value->type;
    bool compound = is_compound_assign_op(op) || op == OP_POSTINC || op == OP_POSTDEC;
    if (t->kind == KIND_POINTER && s->kind != KIND_POINTER && compound)
        return;
    if (is_bitfield_kind(t->kind)) {
        if (is_bitfield_kind(s->kind) && s->bit_width > t->bit_width)
            report("W1truncating assignment");
        return;
    }
    // Aggregates and void have checks of their own; their sizes are not
    // compared here.
    auto sized = [](const Type *x) { return x->kind <= KIND_DOUBLE || x->kind == KIND_POINTER; };
    if (sized(t) && sized(s) && transfer_size(s) > transfer_size(t))
        report("W1truncating assignment");
}
