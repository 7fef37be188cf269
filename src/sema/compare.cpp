// The folds of the operators whose value is a truth value or a choice:
// comparisons, `?:`, `&&` and `||`, and the bit tests of conditions.
#include <cstdint>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "model/types.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

bool has_no_effect(const Node *n) { return same_tree(n, n, true); }

double constant_as_double(const Node *n)
{
    return is_float_constant(n) ? float_constant_value(n) : int_constant_as_double(n);
}

// The truth of `a op b` from the sign of the comparison (-1, 0, 1).
bool outcome(unsigned op, int order)
{
    switch (op) {
    case OP_LT: return order < 0;
    case OP_GE: return order >= 0;
    case OP_GT: return order > 0;
    case OP_LE: return order <= 0;
    case OP_EQ: return order == 0;
    default: return order != 0;
    }
}

template <typename T> int order_of(T a, T b) { return a < b ? -1 : a > b ? 1 : 0; }

// The type two integer operands are compared in: the higher of their
// promoted types.
Type *comparison_type(const Node *l, const Node *r)
{
    return higher_type(binary_promoted_type(l->type), binary_promoted_type(r->type));
}

// Two integer (or pointer) constants. Integers are compared as the
// program would compare them, in their common type: `65535u == -1` holds
// (-1 becomes 65535u) and `-1 < 1u` does not. Pointer constants: without
// -sa a side counts as unsigned when its type is unsigned or its value not
// negative, and when only one side is unsigned the negative side is the
// smaller; with -sa one unsigned type makes the comparison unsigned.
int compare_constants(const Node *l, const Node *r)
{
    std::uint32_t a = l->value, b = r->value;
    if (is_integer_kind(l->type->kind) && is_integer_kind(r->type->kind)) {
        Type *t = comparison_type(l, r);
        if (is_unsigned_type(t))
            return order_of(reduce_value(a, t->kind), reduce_value(b, t->kind));
        return order_of(static_cast<std::int32_t>(a), static_cast<std::int32_t>(b));
    }
    bool ua = is_unsigned_type(l->type), ub = is_unsigned_type(r->type);
    if (strict_ansi) {
        ua = ub = ua || ub;
    } else {
        auto narrow = [](const Type *t, std::uint32_t v) {
            return t->kind == KIND_USHORT || t->kind == KIND_UINT ? v & 0xFFFF : v;
        };
        a = narrow(l->type, a);
        b = narrow(r->type, b);
        ua = ua || static_cast<std::int32_t>(a) >= 0;
        ub = ub || static_cast<std::int32_t>(b) >= 0;
    }
    if (ua && ub)
        return order_of(a, b);
    if (!ua && !ub)
        return order_of(static_cast<std::int32_t>(a), static_cast<std::int32_t>(b));
    return ua ? 1 : -1;
}

// The constant outcome of `x op c` when c lies beyond the values of x's
// width: 0 or 1, or -1 when the comparison can go either way.
int range_outcome(unsigned op, const Node *l, const Node *r)
{
    const Type *lt = l->type, *rt = r->type;
    std::int32_t bits = bits_of(lt);
    bool left_signed = !is_unsigned_type(lt), right_signed = !is_unsigned_type(rt);
    if (bits >= 32 && left_signed == right_signed)
        return -1;
    std::uint32_t c = reduce_value(r->value, rt->kind);
    std::uint32_t m = bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
    if (left_signed)
        m >>= 1;
    bool negative = right_signed && static_cast<std::int32_t>(c) < 0;
    if (!negative && !(c == 0 && !left_signed)) {
        switch (op) {
        case OP_LT: return m < c ? 1 : -1;
        case OP_GE: return m < c ? 0 : -1;
        case OP_GT: return c >= m ? 0 : -1;
        case OP_LE: return c >= m ? 1 : -1;
        case OP_EQ: return m < c ? 0 : -1;
        default: return m < c ? 1 : -1;
        }
    }
    // The magnitude of the smallest value: one more than the largest for
    // a signed operand, 0 for an unsigned one.
    std::uint32_t magnitude = 0u - c;
    std::uint32_t n = left_signed ? m + 1 : 0;
    switch (op) {
    case OP_LT: return magnitude >= n ? 0 : -1;
    case OP_GE: return magnitude >= n ? 1 : -1;
    case OP_GT: return n < magnitude ? 1 : -1;
    case OP_LE: return n < magnitude ? 0 : -1;
    case OP_EQ: return n < magnitude ? 0 : -1;
    default: return n < magnitude ? 1 : -1;
    }
}

}  // namespace

Node *fold_comparison(Node *node)
{
    Node *l = node->left, *r = node->right;
    if (is_constant(l) && !is_constant(r)) {
        node->left = r;
        node->right = l;
        node->op = mirrored_op(node->op);
        l = node->left;
        r = node->right;
    }
    unsigned op = node->op;
    if (is_float_constant(r) && is_floating_kind(l->type->kind) && float_constant_value(r) == 0.0) {
        release_constant(r);
        make_int_constant(r, 0);
    }
    if (is_constant(l) && is_constant(r) && (is_float_constant(l) || is_float_constant(r))) {
        double a = constant_as_double(l), b = constant_as_double(r);
        int order = a < b ? -1 : a > b ? 1 : a == b ? 0 : 2;  // 2: unordered, only != holds
        release_constant(l);
        release_constant(r);
        return become_int_constant(node, order == 2 ? op == OP_NE : outcome(op, order), &type_int);
    }
    if (!is_int_or_pointer_constant(r)) {
        if (same_tree(l, r, true))
            return become_int_constant(node, op == OP_LE || op == OP_GE || op == OP_EQ, &type_int);
        return node;
    }
    if (is_int_or_pointer_constant(l))
        return become_int_constant(node, outcome(op, compare_constants(l, r)), &type_int);
    bool int_right = is_int_constant(r);
    // A 1-bit field compared with 1 is compared with 0.
    if (int_right && r->value == 1 && is_bitfield_kind(l->type->kind) && l->type->bit_width == 1) {
        static constexpr std::uint8_t with_zero[] = {OP_EQ, OP_NE, OP_LT, OP_GE, OP_NE, OP_EQ};
        r->value = 0;
        node->op = with_zero[op - OP_LT];
        op = node->op;
    }
    // A comparison yields 0 or 1.
    if (int_right && is_comparison_op(l->op) && (r->value == 0 || r->value == 1)) {
        // Per operator: 0 or 1 a constant, 2 the left comparison, 3 its negation.
        static constexpr std::uint8_t with_zero[] = {0, 1, 2, 3, 3, 2};
        static constexpr std::uint8_t with_one[] = {3, 2, 0, 1, 2, 3};
        std::uint8_t result = (r->value == 0 ? with_zero : with_one)[op - OP_LT];
        if (result == 2)
            return l;
        if (result == 3)
            return negate_condition(l);
        return become_int_constant(node, result, &type_int);
    }
    if (int_right && (op == OP_EQ || op == OP_NE) && r->value == 0 && l->op == OP_OR && is_int_constant(l->right) &&
        l->right->value != 0)
        return become_int_constant(node, op == OP_NE, &type_int);
    if (int_right && l->type->kind < 0x4C) {
        // A signed operand compared in an unsigned type, or a negative
        // constant turned unsigned, is not compared by its own range:
        // `i < 40000u` is false for i = -1, `u <= -1` always true.
        bool own_range = !(is_unsigned_type(comparison_type(l, r)) &&
                           (!is_unsigned_type(l->type) ||
                            (!is_unsigned_type(r->type) && static_cast<std::int32_t>(r->value) < 0)));
        if (op == OP_GE && r->value == 1) {
            node->op = OP_GT;
            r->value = 0;
        } else if (op == OP_LT && r->value == 1 && is_unsigned_type(l->type)) {
            node->op = OP_EQ;
            r->value = 0;
        } else if (own_range && op == OP_LE && r->value == 0xFFFFFFFFu && !is_unsigned_type(r->type)) {
            node->op = OP_LT;
            r->value = 0;
        }
        op = node->op;
        int result = own_range ? range_outcome(op, l, r) : -1;
        if (result >= 0) {
            report("W2compare out of range");
            if (has_no_effect(l))
                return become_int_constant(node, static_cast<std::uint32_t>(result), &type_int);
            // The left operand still runs: (x, result).
            node->op = OP_COMMA;
            node->right = int_constant(static_cast<std::uint32_t>(result), &type_int);
            return node;
        }
    }
    if (int_right && (op == OP_EQ || op == OP_NE) && l->op == OP_COND && is_int_constant(l->value_node) &&
        is_int_constant(l->right)) {
        Node *test = l->left;
        bool equal = op == OP_EQ;
        if (r->value == l->value_node->value)
            return equal ? test : negate_condition(test);
        if (r->value == l->right->value)
            return equal ? negate_condition(test) : test;
        return become_int_constant(node, !equal, &type_int);
    }
    return node;
}

Node *fold_conditional(Node *node)
{
    Node *test = node->left, *middle = node->value_node, *third = node->right;
    if (!is_int_constant(test)) {
        if (!same_tree(middle, third, false))
            return node;
        if (has_no_effect(test))
            return third;
        // The test still runs: (test, third).
        node->op = OP_COMMA;
        node->right = third;
        node->value_node = nullptr;
        node->type = third->type;
        return node;
    }
    Node *chosen = test->value ? middle : third;
    release_constant(test->value ? third : middle);
    // The middle operand's type wins on equal ranks.
    Type *t = higher_type(binary_promoted_type(third->type), binary_promoted_type(middle->type));
    if (is_bitfield_kind(chosen->type->kind))
        return chosen;
    if (!types_compatible(chosen->type, t))
        return convert_to(chosen, t);
    chosen->type = t;
    return chosen;
}

namespace {

// Two comparisons of the same operands joined by `&&` or `||`: the code
// of the one comparison that says the same, or 0 or 1 for a constant.
// Rows are the left comparison, columns the right, both in code order
// `<` `>=` `>` `<=` `==` `!=`.
constexpr std::uint8_t L = OP_LT, GE = OP_GE, G = OP_GT, LE = OP_LE, EQ = OP_EQ, NE = OP_NE;
constexpr std::uint8_t and_table[6][6] = {
    {L, 0, 0, L, 0, L},       {0, GE, G, EQ, EQ, G}, {0, G, G, 0, 0, G},
    {L, EQ, 0, LE, EQ, L},    {0, EQ, 0, EQ, EQ, 0}, {L, G, G, L, 0, NE},
};
constexpr std::uint8_t or_table[6][6] = {
    {L, 1, NE, LE, LE, NE},   {1, GE, GE, 1, GE, 1},   {NE, GE, G, 1, GE, NE},
    {LE, 1, 1, LE, LE, 1},    {LE, GE, GE, LE, EQ, 1}, {NE, 1, NE, 1, 1, NE},
};

Node *as_condition(Node *n)
{
    if (is_comparison_op(n->op) || n->op == OP_ANDAND || n->op == OP_OROR)
        return n;
    Node *test = new_node(OP_NE);
    test->left = n;
    test->right = int_constant(0, &type_int);
    test->value = 0;
    test->type = &type_int;
    return check_binary(test);
}

}  // namespace

Node *fold_logical(Node *node)
{
    Node *a = node->left, *b = node->right;
    bool is_and = node->op == OP_ANDAND;
    bool ca = is_int_constant(a), cb = is_int_constant(b);
    if (ca && cb) {
        bool x = a->value != 0, y = b->value != 0;
        return become_int_constant(node, is_and ? x && y : x || y, &type_int);
    }
    if (!ca && !cb) {
        if (is_and && same_tree(a, b, true))
            return a;
        if (is_comparison_op(a->op) && is_comparison_op(b->op) && same_tree(a->left, b->left, true) &&
            same_tree(a->right, b->right, true)) {
            std::uint8_t entry = (is_and ? and_table : or_table)[a->op - OP_LT][b->op - OP_LT];
            if (entry <= 1)
                return become_int_constant(node, entry, &type_int);
            a->op = entry;
            return a;
        }
        return node;
    }
    if (cb) {
        bool k = b->value != 0;
        // a && 0, a || 1: the constant, unless a must still run.
        if (k != is_and)
            return has_no_effect(a) ? become_int_constant(node, k, &type_int) : node;
        return as_condition(a);
    }
    bool k = a->value != 0;
    if (k != is_and)
        return become_int_constant(node, k, &type_int);
    return as_condition(b);
}

Node *simplify_bit_test(Node *condition)
{
    Node *l = condition->left, *r = condition->right;
    if (!is_int_constant(r) || (r->value != 0 && r->value != 1))
        return condition;
    if (l->op != OP_SHR || !is_int_constant(l->right) || l->left->op != OP_AND || !is_int_constant(l->left->right))
        return condition;
    Node *masked = l->left;
    std::uint32_t m = masked->right->value, n = l->right->value & 31;
    if (r->value == 0) {
        // ((x & m) >> n) == 0 with no bit of m below n: (x & m) == 0.
        if (m & ((1u << n) - 1))
            return condition;
    } else {
        // ((x & m) >> n) == 1 with one bit left: (x & m) != 0.
        if ((m >> n) != 1)
            return condition;
        r->value = 0;
        condition->op = negated_op(condition->op);
    }
    condition->left = masked;
    return condition;
}
