// Function body preparation: what runs over a finished body before it is
// written (the final folding of every expression and the frame layout of
// the locals), and the loop facts the statement reader asks for.
#include <algorithm>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "lexer/pptoken.h"
#include "model/types.h"
#include "output/emit.h"
#include "preproc/pragma.h"
#include "passes/passes.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

// The final folding of one of a statement's expressions. An inline
// expansion's statements are prepared first, where they run, then what
// remains of the expression is folded.
void fold_final(Node **slot, unsigned want)
{
    if (Node *seq = *slot; seq && seq->op == OP_SEQ && seq->value != 0) {
        std::vector<Stmt *> statements(seq->value);
        sequence_statements(seq, statements.data());
        for (Stmt *s : statements)
            prepare_statement(s);
    }
    narrow(slot, want);
}

// The last expression of a comma chain or sequence.
const Node *last_expression(const Node *n)
{
    while (n && (n->op == OP_COMMA || n->op == OP_SEQ))
        n = n->right;
    return n;
}

// A one-byte selector with a case value outside its range becomes an
// int: a table of bytes would match the case's low byte (a plain char
// 0xFF against `case 255`, an unsigned char 0 against `case 256`), while
// C compares the promoted value, which never equals such a case.
void widen_switch_selector(Stmt *s)
{
    if (!s->expr)
        return;
    unsigned kind = s->expr->type->kind;
    std::int32_t low, high;
    if (kind == KIND_CHAR) {
        low = -128;
        high = 127;
    } else if (kind == KIND_UCHAR || kind == KIND_BITS8) {
        low = 0;
        high = 255;
    } else {
        return;
    }
    for (const Symbol *c = s->cases; c; c = c->next) {
        auto value = static_cast<std::int32_t>(c->value);
        if (c->sclass == SC_CASE && (value < low || value > high)) {
            s->expr = convert_to(s->expr, &type_int);
            return;
        }
    }
}

// The final folding of a statement's own expressions. A return value of
// a char function is wanted as a char.
void fold_expressions(Stmt *s)
{
    switch (s->kind) {
    case STMT_SWITCH:
        widen_switch_selector(s);
        if (s->expr)
            fold_final(&s->expr, 0);
        break;
    case STMT_FOR:
    case STMT_COUNTED:
        if (s->init)
            fold_final(&s->init, 0);
        if (s->expr)
            fold_final(&s->expr, 0);
        if (s->step)
            fold_final(&s->step, 0);
        break;
    case STMT_RETURN:
        if (s->expr) {
            unsigned kind = function.result ? function.result->kind : 0;
            fold_final(&s->expr, kind == KIND_CHAR || kind == KIND_UCHAR ? kind : 0);
        }
        break;
    case STMT_EXPR:
    case STMT_PASS:
    case STMT_DO:
    case STMT_WHILE:
    case STMT_IF:
    case STMT_GOTO:
        if (s->expr)
            fold_final(&s->expr, 0);
        break;
    default:
        break;
    }
}


// A statement that does nothing any more: a pass-through with no
// expression and no body.
void make_empty_pass(Stmt *s)
{
    s->kind = STMT_PASS;
    s->expr = nullptr;
    s->body = nullptr;
    s->other = nullptr;
}

// An expression statement: the store of a local's initialization that
// nothing ever reads is dropped (the value, with its effects, stays); an
// assignment in front of a while loop becomes the loop's initialization;
// otherwise the expression is folded.
void prepare_expression_statement(Stmt *s)
{
    Node *e = s->expr;
    if (!e)
        return;
    if (e->op == OP_ASSIGN && e->left->op == OP_LEAF && (e->left->leaf & (LEAF_INIT | LEAF_SYMBOL)) == (LEAF_INIT | LEAF_SYMBOL) &&
        !(e->left->symbol->flags & SYM_USED) && !(e->left->symbol->attr & ATTR_VOLATILE)) {
        s->expr = e->right;
        fold_final(&s->expr, 0);
        return;
    }
    Stmt *next = s->next;
    if (e->op == OP_ASSIGN && next && next->kind == STMT_WHILE && !(next->flags & (STMT_CASE_LABEL | STMT_LABELLED)) &&
        !(next->flags & STMT_UNREACHABLE)) {
        next->kind = STMT_FOR;
        next->init = e;
        next->step = nullptr;
        next->line2 = next->line3 = next->line;
        next->column2 = next->column3 = next->column;
        s->expr = nullptr;
        return;
    }
    fold_final(&s->expr, 0);
}

// A for loop: its parts folded; a test known to hold on entry marked, one
// known to fail on entry makes the loop nothing but its initialization.
// True when the body is still to be walked.
bool prepare_for(Stmt *s)
{
    if (s->init)
        fold_final(&s->init, 0);
    if (s->expr)
        fold_final(&s->expr, 0);
    bool labelled = holds_reachable_label(s->body);
    if (s->expr && s->init) {
        const Node *init = last_expression(s->init);
        if ((s->flags & STMT_TEST_CONSTANT) && init && init->op == OP_ASSIGN && is_int_constant(init->right)) {
            s->expr->flags |= NODE_TEST_HOLDS;
        } else {
            int known = loop_test(s->init, s->expr);
            if (known == 2)
                s->expr->flags |= NODE_TEST_HOLDS;
            else if (known == 1 && !labelled)
                s->expr = int_constant(0, &type_int);
        }
    }
    if (s->expr && is_int_constant(s->expr) && s->expr->value == 0 && !labelled) {
        Node *init = s->init;
        if (init) {
            s->kind = STMT_EXPR;
            s->expr = init;
            s->body = nullptr;
            s->other = nullptr;
            s->step = nullptr;
        } else {
            make_empty_pass(s);
        }
        return false;
    }
    if (s->step)
        fold_final(&s->step, 0);
    return true;
}

// A jump to the statement that carries a case-table entry, made to stand
// in front of a simplified switch's body.
Stmt *jump_to_entry(Symbol *entry, const Stmt *near)
{
    Stmt *jump = new_stmt(STMT_GOTO);
    jump->label = entry;
    jump->source = near->source;
    jump->file_name = near->file_name;
    jump->line = jump->end_line = near->line;
    jump->column = jump->end_column = near->column;
    jump->flags |= STMT_EMPTY_RETURN;  // no source range of its own
    return jump;
}

// A chain of case-table entries kept for recycling with the function.
void retire_cases(Symbol *first)
{
    if (!first)
        return;
    Symbol *last = first;
    while (last->next)
        last = last->next;
    last->next = function.retired_cases;
    function.retired_cases = first;
}

// The switch becomes another statement: its entries are kept apart.
void end_switch(Stmt *s)
{
    retire_cases(s->cases);
    s->cases = nullptr;
}

bool is_unsigned_selector(const Node *selector)
{
    unsigned kind = selector->type->kind;
    return kind == KIND_POINTER || (kind & KIND_UNSIGNED_BIT);
}

// A switch after its body was walked: the statements no case reaches go;
// a constant selector jumps straight to its case; case entries that only
// break go when no default would take their values; a switch left with
// no case becomes its selector's evaluation, and one left with one case
// an if. A switch whose body holds a named label is left as it is where
// simplifying would drop statements a jump may reach.
void simplify_switch(Stmt *s)
{
    if (!s->expr)
        return;
    Node *selector = s->expr;
    Stmt *block = s->body && s->body->kind == STMT_BLOCK ? s->body : nullptr;
    bool labelled = (s->flags & STMT_LABELLED) || (s->body && (s->body->flags & STMT_LABELLED));
    bool constant = is_int_constant(selector);
    bool is_unsigned = is_unsigned_selector(selector);
    Symbol *selected = nullptr, *default_entry = nullptr;
    std::uint32_t count = 0;
    for (Symbol *c = s->cases; c; c = c->next) {
        if (c->sclass == SC_DEFAULT) {
            default_entry = c;
            continue;
        }
        ++count;
        if (is_unsigned && static_cast<std::int32_t>(c->value) < 0)
            constant = false;
        if (constant && c->value == selector->value && !selected)
            selected = c;
    }
    // Statements in front of the first label of the body: no case reaches
    // them.
    if (block) {
        for (Stmt *t = block->body; t && !(t->flags & (STMT_CASE_LABEL | STMT_LABELLED)); t = t->next)
            t->flags |= STMT_UNREACHABLE;
    }
    bool effects = !same_tree(selector, selector, true);
    if (count == 0) {
        end_switch(s);
        s->kind = STMT_PASS;
        s->expr = effects ? selector : nullptr;
        s->other = nullptr;
        return;
    }
    if (constant) {
        Symbol *target = selected ? selected : default_entry;
        if (!target) {
            if (labelled)
                return;
            end_switch(s);
            s->kind = STMT_EXPR;
            s->expr = nullptr;
            s->body = nullptr;
            s->other = nullptr;
            return;
        }
        if (!block) {
            if (target->statement != s->body)
                return;
            end_switch(s);
            s->kind = STMT_PASS;
            s->expr = nullptr;
            s->other = nullptr;
            return;
        }
        Stmt *jump = jump_to_entry(target, block->body ? block->body : block);
        jump->next = block->body;
        block->body = jump;
        bool marking = true;
        for (Stmt *t = jump->next; t; t = t->next) {
            if (t == target->statement || (t->flags & STMT_LABELLED))
                marking = false;
            if (marking)
                t->flags |= STMT_UNREACHABLE;
            else if (t->kind == STMT_BREAK)
                marking = true;
        }
        end_switch(s);
        s->kind = STMT_PASS;
        s->expr = nullptr;
        s->other = nullptr;
        return;
    }
    // A case that only breaks leaves the switch as no case would, unless
    // a default would take its value instead.
    bool default_breaks = default_entry && default_entry->statement && default_entry->statement->kind == STMT_BREAK;
    if (!default_entry || default_breaks) {
        Symbol **link = &s->cases;
        while (*link) {
            Symbol *c = *link;
            if (c->statement && c->statement->kind == STMT_BREAK) {
                if (c->sclass == SC_CASE)
                    --count;
                else
                    default_entry = nullptr;
                *link = c->next;
                c->next = nullptr;
                retire_cases(c);
            } else {
                link = &c->next;
            }
        }
    }
    if (count == 0 && !default_entry) {
        if (labelled)
            return;
        end_switch(s);
        s->kind = STMT_EXPR;
        s->expr = effects ? selector : nullptr;
        s->body = nullptr;
        s->other = nullptr;
        return;
    }
    if (count != 1 || selector->op == OP_SEQ)
        return;
    Symbol *only = nullptr;
    for (Symbol *c = s->cases; c; c = c->next)
        if (c->sclass == SC_CASE)
            only = c;
    if (!block && only->statement != s->body)
        return;
    Node *test = new_node(OP_EQ);
    test->left = selector;
    test->right = int_constant(only->value, is_unsigned ? &type_uint : &type_int);
    test = check_binary(test);
    Stmt *otherwise = default_entry ? jump_to_entry(default_entry, s) : nullptr;
    if (block) {
        Stmt *jump = jump_to_entry(only, block->body ? block->body : block);
        jump->next = block->body;
        block->body = jump;
    }
    end_switch(s);
    s->kind = STMT_IF;
    s->expr = test;
    s->other = otherwise;
}

}  // namespace

int loop_test(Node *init, Node *condition)
{
    if (!init || !condition)
        return 0;
    if (condition->flags & NODE_TEST_HOLDS)
        return 2;
    const Node *c = last_expression(condition);
    const Node *i = last_expression(init);
    if (!c || !i || !is_comparison_op(c->op) || !is_int_constant(c->right))
        return 0;
    if (i->op != OP_ASSIGN || !is_int_constant(i->right) || i->left->type->kind > 0x4B)
        return 0;
    if (!same_tree(i->left, c->left, true))
        return 0;
    // The comparison with the initial value in place of the variable.
    Node *test = new_node(c->op);
    test->left = copy_tree(i->right);
    test->right = copy_tree(c->right);
    test->value = 0;
    test->type = c->type;
    Node *folded = check_binary(test);
    if (!is_int_constant(folded))
        return 0;
    return folded->value ? 2 : 1;
}

namespace {

// The values an integer object of type t can hold; false for types that
// cannot count.
bool counter_range(const Type *t, std::int64_t *low, std::int64_t *high)
{
    if (!t || !is_integer_kind(t->kind) || is_bitfield_kind(t->kind))
        return false;
    std::int32_t size = type_size(t);
    if (size < 1 || size > 4)
        return false;
    unsigned bits = 8u * static_cast<unsigned>(size);
    if (t->kind & KIND_UNSIGNED_BIT) {
        *low = 0;
        *high = (std::int64_t{1} << bits) - 1;
    } else {
        *low = -(std::int64_t{1} << (bits - 1));
        *high = (std::int64_t{1} << (bits - 1)) - 1;
    }
    return true;
}

// An integer constant's value read in type t.
std::int64_t value_in(const Node *c, const Type *t)
{
    std::int32_t size = type_size(t);
    unsigned bits = size >= 1 && size <= 4 ? 8u * static_cast<unsigned>(size) : 32u;
    std::uint64_t v = c->value;
    if (bits < 32)
        v &= (std::uint64_t{1} << bits) - 1;
    if (!(t->kind & KIND_UNSIGNED_BIT) && (v >> (bits - 1)) & 1)
        return static_cast<std::int64_t>(v) - (std::int64_t{1} << bits);
    return static_cast<std::int64_t>(v);
}

bool reads_symbol(const Node *n, const Symbol *s)
{
    while (n) {
        if (n->op == OP_LEAF)
            return (n->leaf & LEAF_SYMBOL) && n->symbol == s;
        if (n->op == OP_SEQ)
            return true;  // statements inside: assume the worst
        if (n->op == OP_COND && reads_symbol(n->value_node, s))
            return true;
        if (n->right && n->op != OP_CAST && !is_unary_op(n->op) && reads_symbol(n->right, s))
            return true;
        n = n->left;
    }
    return false;
}

// Where the initialization assigns the counter: the slot of that element
// of its comma chain and the slot of the comma that holds it (null when
// the element is the whole initialization). False when the counter is
// touched there in any other way, which moving the assignment could
// reorder.
bool find_initial_assignment(Node **init, const Node *var, Node ***element, Node ***parent)
{
    *element = *parent = nullptr;
    if (!*init)
        return true;
    struct Item {
        Node **slot, **parent;
    };
    static std::vector<Item> work;
    work.assign(1, {init, nullptr});
    while (!work.empty()) {
        Item item = work.back();
        work.pop_back();
        Node *n = *item.slot;
        if (n->op == OP_COMMA) {
            work.push_back({&n->right, item.slot});
            work.push_back({&n->left, item.slot});
            continue;
        }
        if (n->op == OP_ASSIGN && same_tree(n->left, var, true) && !reads_symbol(n->right, var->symbol)) {
            if (*element)
                return false;
            *element = item.slot;
            *parent = item.parent;
        } else if (reads_symbol(n, var->symbol)) {
            return false;
        }
    }
    return true;
}

// A bound that nothing in the loop can change: constants, and variables
// that are neither volatile nor reached through pointers and were last
// assigned before the loop, joined by operators without effects.
bool stable_bound(const Node *n, std::uint32_t start)
{
    if (!n)
        return false;
    if (n->op == OP_LEAF) {
        if (!(n->leaf & LEAF_SYMBOL))
            return true;
        const Symbol *s = n->symbol;
        return !(n->flags & NODE_UNION) && !(s->attr & ATTR_VOLATILE) && !(s->flags & SYM_ADDRESSED) &&
               s->set_seq < start;
    }
    switch (n->op) {
    case OP_CALL:
    case OP_SEQ:
    case OP_DEREF:
    case OP_ASSIGN:
    case OP_POSTINC:
    case OP_POSTDEC:
    case OP_COMMA:
    case OP_COND:
        return false;
    default:
        break;
    }
    if (is_compound_assign_op(n->op))
        return false;
    if (!stable_bound(n->left, start))
        return false;
    return n->op == OP_CAST || is_unary_op(n->op) || stable_bound(n->right, start);
}

void lower_symbol_refs(Symbol *s, std::int32_t by)
{
    if (by <= 0)
        return;
    s->refs = static_cast<std::uint16_t>(s->refs > by ? s->refs - by : 0);
}

void lower_refs_in(const Node *n, std::int32_t by)
{
    while (n) {
        if (n->op == OP_LEAF) {
            if (n->leaf & LEAF_SYMBOL)
                lower_symbol_refs(n->symbol, by);
            return;
        }
        if (n->op == OP_COND)
            lower_refs_in(n->value_node, by);
        if (n->op != OP_CAST && !is_unary_op(n->op))
            lower_refs_in(n->right, by);
        n = n->left;
    }
}

}  // namespace

bool convert_counted_loop(Stmt *loop, std::uint16_t weight, std::int32_t body_operators, std::uint32_t start_stamp,
                          std::int32_t depth, bool copyable)
{
    Node *test = loop->expr, *step = loop->step;
    if (loop->kind != STMT_FOR || !test || !step || !is_comparison_op(test->op))
        return false;
    Node *var = step->left;
    if (!var || var->op != OP_LEAF || !(var->leaf & LEAF_SYMBOL))
        return false;
    Symbol *counter = var->symbol;
    // The count is taken once, at the start: it stands for the C loop only
    // while the increment alone moves the counter, once a trip.
    if ((counter->attr & ATTR_VOLATILE) || (counter->flags & SYM_ADDRESSED) || (loop->flags & STMT_COUNTER_SET))
        return false;
    if (!same_tree(test->left, var, true))
        return false;
    std::int64_t low, high;
    if (!counter_range(var->type, &low, &high))
        return false;
    Node **assign_slot, **assign_parent;
    if (!find_initial_assignment(&loop->init, var, &assign_slot, &assign_parent))
        return false;
    Node *assign = assign_slot ? *assign_slot : nullptr;
    bool up = step->op == OP_ADDASG || step->op == OP_POSTINC;
    Node *bound = test->right;
    unsigned op = test->op;
    bool constant = false;
    std::int64_t n = 0, final_value = 0;
    Node *count = nullptr;
    if (assign && is_int_constant(assign->right) && is_int_constant(bound)) {
        std::int64_t c = value_in(assign->right, var->type), e = value_in(bound, var->type);
        std::int64_t inclusive = op == OP_LE || op == OP_GE || op == OP_EQ ? 1 : 0;
        if (op == OP_EQ && e != c)
            return false;
        if (up && (op == OP_LT || op == OP_LE || op == OP_NE || op == OP_EQ)) {
            n = e - c + inclusive;
            final_value = e + inclusive;
        } else if (!up && (op == OP_GT || op == OP_GE || op == OP_NE || op == OP_EQ)) {
            n = c - e + inclusive;
            final_value = e - inclusive;
        } else {
            return false;
        }
        // C's counter passes every value from c to the final one. A final
        // value the counter cannot hold is a C loop that never ends
        // (u <= 65535u) or wraps around; a negative count is a loop the
        // test leaves at once, which body preparation removes.
        std::int64_t count_low, count_high;
        if (n < 0 || final_value < low || final_value > high || !counter_range(bound->type, &count_low, &count_high) ||
            n > count_high)
            return false;
        constant = true;
    } else if (up && op == OP_LT && assign && is_int_constant(assign->right) && assign->right->value == 0 &&
               stable_bound(bound, start_stamp)) {
        count = bound;
    } else if (!up && op == OP_NE && is_int_constant(bound) && bound->value == 0 &&
               (!assign || !is_int_constant(assign->right))) {
        // The initial value, unless reading it again could differ from
        // what the kept initialization stored: then the counter holds it.
        count = assign && same_tree(assign->right, assign->right, true) ? assign->right : copy_tree(var);
    } else {
        return false;
    }
    // A body that holds no statement still costs a trip: without the floor
    // an empty loop of any length, and nests of them, would be copied.
    std::int64_t cost = body_operators > 0 ? body_operators : 1;
    bool unroll = constant && copyable && !(loop->flags & (STMT_BROKEN | STMT_CONTINUED | STMT_GOTO_INSIDE)) &&
                  (n == 1 || n * cost <= static_cast<std::int64_t>(unroll_count));
    if (!unroll && weight > 0)
        return false;
    // Counting down from 0 is not a count of no trips everywhere: such a
    // loop is left to body preparation, which removes it.
    if (!unroll && constant && n == 0)
        return false;
    loop->kind = STMT_COUNTED;
    if (unroll)
        loop->flags |= STMT_UNROLL;
    if (constant) {
        bound->value = static_cast<std::uint32_t>(n);
        count = bound;
    }
    loop->expr = count;
    // Only a constant count says what the counter holds after the loop; a
    // loop that counts something else keeps its counter moving, so that C's
    // value after it (the bound, or 0 for a bound of 0 or below) is there.
    if (constant && !(loop->flags & (STMT_BROKEN | STMT_GOTO_INSIDE | STMT_COUNTER_USED))) {
        if (assign_parent)
            *assign_parent = (*assign_parent)->left == assign ? (*assign_parent)->right : (*assign_parent)->left;
        else
            loop->init = nullptr;
        assign->right = int_constant(static_cast<std::uint32_t>(final_value), var->type);
        Stmt *final = new_stmt(STMT_EXPR);
        final->expr = assign;
        final->source = loop->source;
        final->file_name = loop->file_name;
        final->line = final->end_line = loop->end_line;
        final->column = final->end_column = loop->end_column;
        final->next = loop->next;
        loop->next = final;
        loop->step = nullptr;
        lower_symbol_refs(counter, depth < 2 ? 1 : 2 * depth - 1);
        lower_symbol_refs(counter, 2 * depth + 1);
    }
    if (!constant)
        lower_refs_in(count, 2 * depth);
    return true;
}

void record_unrolled_final_value(const Stmt *loop)
{
    if (no_const_propagation || loop->kind != STMT_COUNTED || !(loop->flags & STMT_UNROLL))
        return;
    if (!loop->step) {
        // The initialization went behind the loop with the final value.
        if (loop->next && loop->next->kind == STMT_EXPR && loop->next->expr && loop->next->expr->op == OP_ASSIGN)
            record_assignment(loop->next->expr);
        return;
    }
    Node *var = loop->step->left;
    Node **slot, **parent;
    Node *init = loop->init;
    if (!find_initial_assignment(&init, var, &slot, &parent) || !slot)
        return;
    std::int64_t start = value_in((*slot)->right, var->type);
    std::int64_t trips = loop->expr->value;
    bool up = loop->step->op == OP_ADDASG || loop->step->op == OP_POSTINC;
    Node *a = new_node(OP_ASSIGN);
    a->left = copy_tree(var);
    a->right = int_constant(static_cast<std::uint32_t>(up ? start + trips : start - trips), var->type);
    a->type = var->type;
    a->value = 0;
    record_assignment(a);
}

namespace {

constexpr std::uint32_t SYM_LAID_OUT = 0x40000;

// The frame of the function being prepared: locals take offsets below the
// current one; a byte left free by even alignment waits for a char.
std::int32_t frame_offset = 0;
std::int32_t pending_hole = 0;  // 0: none (the hole is always below 0)

bool is_argument(const Symbol *s) { return s->sclass == SC_ARGUMENT || s->sclass == SC_REGARG; }

void place_auto(Symbol *s)
{
    std::int32_t size = type_size(s->type);
    if (pending_hole && size == 1) {
        s->value = static_cast<std::uint32_t>(pending_hole);
        pending_hole = 0;
        return;
    }
    frame_offset -= size;
    if (even_align_data && (frame_offset & 1)) {
        bool packed_function = function.symbol && (function.symbol->attr & ATTR_PACKED);
        if ((needs_even_alignment(s->type) && !packed_function) || ((s->flags & SYM_DEFINED) && size >= 2)) {
            --frame_offset;
            pending_hole = frame_offset + size;
        }
    }
    s->value = static_cast<std::uint32_t>(frame_offset);
}

// A block's locals: sorted, given storage, and ordered for the output.
void lay_out_locals(Stmt *block)
{
    static std::vector<Symbol *> locals;
    locals.clear();
    for (Symbol *s = block->locals; s; s = s->next)
        locals.push_back(s);
    if (locals.empty())
        return;
    if (!no_reorder_locals)
        std::stable_sort(locals.begin(), locals.end(),
                         [](const Symbol *a, const Symbol *b) { return a->refs < b->refs; });
    for (Symbol *s : locals) {
        if (!(s->flags & SYM_DECLARED)) {
            report_at(s->line, s->column, "%.*s undefined", s->name ? s->name->length : 0,
                      s->name ? s->name->chars : "");
        } else if (!(s->flags & (SYM_USED | SYM_LAST)) || (s->flags & SYM_INLINE_BUSY)) {
            s->sclass = SC_EXTERN;
        } else if (s->sclass == SC_REGISTER || s->sclass == SC_AUTO) {
            s->sclass = SC_AUTO;
            place_auto(s);
        } else if (s->sclass == SC_EXTERN) {
            emit_declaration(s, 0);
        } else if (s->sclass == SC_STATIC && s->type && s->type->kind != KIND_FUNCTION &&
                   !(s->flags & SYM_DEFINED)) {
            emit_data_start(s);
            emit_space(s->type->kind == KIND_VOID ? 0 : static_cast<std::uint32_t>(type_size(s->type)));
            emit_data_end();
            s->flags |= SYM_DEFINED;
        }
        s->flags |= SYM_LAID_OUT;
    }
    // Locals the flow analysis bound to another take its place; that one
    // is declared in this block or an enclosing one, so it is laid out.
    for (Symbol *s : locals) {
        if (s->sclass != SC_SHARED || !s->bound_to)
            continue;
        const Symbol *keeper = s->bound_to;
        s->flags = (s->flags & ~SYM_LAST) | (keeper->flags & SYM_LAST) | SYM_STORAGE_SHARED;
        s->attr = keeper->attr;
        if (keeper->sclass == SC_REGARG) {
            s->sclass = SC_REGISTER;
            s->value = 0;
        } else {
            s->sclass = keeper->sclass;
            s->value = keeper->value;
        }
    }
    if (frame_offset < lowest_frame_offset)
        lowest_frame_offset = frame_offset;
    if (!no_reorder_locals) {
        // Arguments last, highest offset first; the others keep their order
        // in front of them.
        std::stable_partition(locals.begin(), locals.end(), [](const Symbol *s) { return !is_argument(s); });
        auto first_argument = std::find_if(locals.begin(), locals.end(), is_argument);
        std::stable_sort(first_argument, locals.end(),
                         [](const Symbol *a, const Symbol *b) { return static_cast<std::int32_t>(a->value) >
                                                                       static_cast<std::int32_t>(b->value); });
    }
    for (std::size_t i = 0; i + 1 < locals.size(); ++i)
        locals[i]->next = locals[i + 1];
    locals.back()->next = nullptr;
    block->locals = locals.front();
}

}  // namespace

std::int32_t lowest_frame_offset = 0;

void begin_frame()
{
    frame_offset = 0;
    pending_hole = 0;
    lowest_frame_offset = 0;
}

void prepare_statement(Stmt *stmt)
{
    // The walk folds every expression, removes what constant conditions
    // make dead, simplifies switches and lays out the locals of every
    // block it reaches. A block's end puts back the frame offset and the
    // pending hole of its start: a hole left by the block's own alignment
    // lies inside the space its siblings reuse, so it must not outlive the
    // block. A switch is simplified once its body has been walked.
    struct Item {
        Stmt *s;
        std::int32_t restore;  // a block's frame offset to return to; 1: walk s; 2: simplify switch s
        std::int32_t hole;     // with it, the hole pending at the block's start
    };
    std::vector<Item> work{{stmt, 1, 0}};
    while (!work.empty()) {
        Item item = work.back();
        work.pop_back();
        if (item.restore <= 0) {
            frame_offset = item.restore;
            pending_hole = item.hole;
            continue;
        }
        Stmt *s = item.s;
        if (item.restore == 2) {
            simplify_switch(s);
            continue;
        }
        if (!s || (s->flags & STMT_UNREACHABLE))
            continue;
        switch (s->kind) {
        case STMT_EXPR:
            prepare_expression_statement(s);
            break;
        case STMT_BLOCK:
            work.push_back({nullptr, frame_offset, pending_hole});
            lay_out_locals(s);
            {
                // The block's statements go on in reverse, so that the first
                // comes off first; the list is kept from block to block.
                static std::vector<Stmt *> list;
                list.clear();
                for (Stmt *t = s->body; t; t = t->next)
                    list.push_back(t);
                for (auto t = list.rbegin(); t != list.rend(); ++t)
                    work.push_back({*t, 1, 0});
            }
            break;
        case STMT_IF:
            fold_final(&s->expr, 0);
            if (is_int_constant(s->expr)) {
                // The branch the constant does not select goes, unless a
                // jump may still reach a label inside it.
                bool then_taken = s->expr->value != 0;
                Stmt *dropped = then_taken ? s->other : s->body;
                if (!dropped || !holds_reachable_label(dropped)) {
                    Stmt *kept = then_taken ? s->body : s->other;
                    s->kind = STMT_PASS;
                    s->expr = nullptr;
                    s->body = kept;
                    s->other = nullptr;
                    work.push_back({kept, 1, 0});
                    break;
                }
            }
            work.push_back({s->other, 1, 0});
            work.push_back({s->body, 1, 0});
            break;
        case STMT_WHILE:
            fold_final(&s->expr, 0);
            if (is_int_constant(s->expr) && s->expr->value == 0 && !holds_reachable_label(s->body)) {
                make_empty_pass(s);
                break;
            }
            work.push_back({s->body, 1, 0});
            break;
        case STMT_FOR:
            if (prepare_for(s))
                work.push_back({s->body, 1, 0});
            break;
        case STMT_SWITCH:
            widen_switch_selector(s);
            if (s->expr)
                fold_final(&s->expr, 0);
            work.push_back({s, 2, 0});
            work.push_back({s->body, 1, 0});
            break;
        case STMT_DO:
        case STMT_PASS:
        case STMT_COUNTED:
            fold_expressions(s);
            work.push_back({s->body, 1, 0});
            break;
        default:
            fold_expressions(s);
            break;
        }
    }
}
