// The emitter for function bodies: statements lowered to labels, jumps and
// conditional branches, conditions split over && and ||, switch tables in
// dense ranges and a sparse list, and the records around a function.
#include <algorithm>
#include <cstring>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/names.h"
#include "model/types.h"
#include "output/debug.h"
#include "output/emit.h"
#include "output/records.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

// Source ranges under -l, by part of the statement.
enum RangeMode { RANGE_WHOLE, RANGE_DO_TEST, RANGE_FOR_INIT, RANGE_FOR_STEP, RANGE_FOR_TEST };

[[gnu::noinline]] void range(const Stmt *s, RangeMode mode = RANGE_WHOLE)
{
    if (!line_info)
        return;
    switch (mode) {
    case RANGE_WHOLE:
        write_source_range(s->line, s->column, s->end_line, s->end_column);
        break;
    case RANGE_DO_TEST:
        write_source_range(s->line2, s->column2, s->end_line, s->end_column);
        break;
    case RANGE_FOR_INIT:
        if (s->column < s->column2)
            write_source_range(s->line, s->column, s->line2, s->column2);
        break;
    case RANGE_FOR_STEP:
        write_source_range(s->line3, s->column3 + 1u, s->end_line, s->end_column);
        break;
    case RANGE_FOR_TEST:
        write_source_range(s->line2, s->column2 + 1u, s->line3, s->column3);
        break;
    }
}

void label(unsigned l, std::uint32_t line = 0, bool loop_head = false) { write_label(l, line, loop_head); }

bool is_constant_test(const Node *n) { return n && is_int_constant(n); }

void emit_statement(const Stmt *s, unsigned continue_label, unsigned break_label);

// The case table of a switch, after its body.
[[gnu::noinline]] void emit_case_table(const Stmt *s, unsigned table_label, unsigned end_label, unsigned value_size)
{
    struct Entry {
        std::int32_t value;
        std::uint16_t label;
        bool used;
    };
    std::vector<Entry> entries;
    unsigned default_label = end_label;
    for (const Symbol *c = s->cases; c; c = c->next) {
        std::uint16_t l = c->statement ? c->statement->label_no : 0;
        if (c->sclass == SC_DEFAULT)
            default_label = l;
        else
            entries.push_back({static_cast<std::int32_t>(c->value), l, false});
    }
    std::size_t n = entries.size();
    write_cases(table_label, default_label, static_cast<unsigned>(n), value_size);
    // The run of each entry e: 1 and every following entry f up to the
    // first whose distance from e's value, halved, exceeds the count so far
    // (f - e), or that makes the span too wide for a range's half word.
    // Values are distinct and ascending, so the first test is
    // v[f] - v[e] <= 2 (f - e) + 1: with w[i] = v[i] - 2i, the run of e
    // ends at the first f after it with w[f] > w[e] + 1. Walking from the
    // end, `rising` holds the entries after e that have a greater w than
    // every entry between e and them, the nearest (and lowest) on top; the
    // span's end only moves towards e as e goes down. Each entry is pushed
    // and popped once: the runs cost one pass instead of one walk per entry.
    std::size_t count = entries.size();
    std::vector<std::uint32_t> run(count);
    std::vector<std::size_t> rising;
    auto w = [&](std::size_t i) { return static_cast<std::int64_t>(entries[i].value) - 2 * static_cast<std::int64_t>(i); };
    std::size_t span_end = count;
    for (std::size_t e = count; e-- > 0;) {
        while (!rising.empty() && w(rising.back()) <= w(e))
            rising.pop_back();
        std::size_t end = count;
        if (!rising.empty()) {
            end = rising.back();
            if (w(end) == w(e) + 1)
                end = rising.size() > 1 ? rising[rising.size() - 2] : count;
        }
        rising.push_back(e);
        // Values are ascending: the first entry too far from e is never
        // after the first one too far from e + 1.
        while (span_end > e + 1 &&
               static_cast<std::int64_t>(entries[span_end - 1].value) - entries[e].value > 0xFFFE)
            --span_end;
        run[e] = static_cast<std::uint32_t>(std::min(end, span_end) - e);
    }
    // The longest run from each entry on, the first one on ties.
    std::vector<std::size_t> longest(count + 1, count);
    for (std::size_t e = count; e-- > 0;)
        longest[e] = longest[e + 1] < count && run[longest[e + 1]] > run[e] ? longest[e + 1] : e;
    std::size_t cursor = 0;
    std::vector<std::uint16_t> labels;
    while (n > 5) {
        // The longest dense run from the cursor on.
        std::size_t best = longest[cursor];
        std::size_t best_length = best < count ? run[best] : 0;
        if (best_length < 5)
            break;
        std::int32_t first = entries[best].value;
        std::uint32_t span =
            static_cast<std::uint32_t>(entries[best + best_length - 1].value) - static_cast<std::uint32_t>(first) + 1;
        labels.assign(span, static_cast<std::uint16_t>(default_label));
        for (std::size_t i = best; i < best + best_length; ++i) {
            labels[static_cast<std::uint32_t>(entries[i].value) - static_cast<std::uint32_t>(first)] = entries[i].label;
            entries[i].used = true;
        }
        write_case_range(first, span, labels.data());
        n -= best_length;
        cursor = best + best_length;
    }
    std::vector<std::int32_t> values;
    labels.clear();
    for (const Entry &e : entries) {
        if (e.used)
            continue;
        values.push_back(e.value);
        labels.push_back(e.label);
    }
    write_case_list(static_cast<unsigned>(values.size()), values.data(), labels.data());
    write_cases_end();
}

// The size of the value a switch tests: a bitfield counts as its unit.
unsigned switch_value_size(const Type *t)
{
    std::int32_t size;
    switch (t->kind) {
    case KIND_BITS8: size = 1; break;
    case KIND_BITS16:
    case KIND_BITSINT: size = 2; break;
    case KIND_BITS32: size = 4; break;
    default: size = type_size(t); break;
    }
    return size == 1 ? 1 : size == 2 ? 2 : 4;
}

Type *switch_value_type(Type *t)
{
    switch (t->kind) {
    case KIND_BITS8: return &type_uchar;
    case KIND_BITS16: return &type_ushort;
    case KIND_BITSINT: return &type_uint;
    case KIND_BITS32: return &type_ulong;
    default: return t;
    }
}

// A loop's increment, with the continue target `c` in front of it when a
// continue goes there (a line record otherwise).
void emit_step(const Stmt *s, unsigned c)
{
    range(s, RANGE_FOR_STEP);
    if (s->flags & STMT_CONTINUED)
        label(c, s->line);
    else
        write_line(s->line);
    emit_expression_statement(s->step);
}

[[gnu::noinline]] void emit_do(const Stmt *s)
{
    unsigned t = new_label(), c = new_label();
    label(t, s->body ? s->body->line : s->line);
    if (is_constant_test(s->expr) && s->expr->value != 0) {
        emit_statement(s->body, t, c);
        write_jump(t);
        if (s->flags & STMT_BROKEN)
            label(c);
    } else if (is_constant_test(s->expr)) {
        emit_statement(s->body, c, c);
        if (s->flags & (STMT_BROKEN | STMT_CONTINUED))
            label(c);
    } else {
        unsigned e = new_label();
        emit_statement(s->body, c, e);
        label(c, s->line);
        range(s, RANGE_DO_TEST);
        emit_file(s->file_name);
        emit_condition(s->expr, t, false);
        if (s->flags & STMT_BROKEN)
            label(e);
    }
}

[[gnu::noinline]] void emit_for(const Stmt *s)
{
    if (s->init) {
        range(s, RANGE_FOR_INIT);
        emit_expression_statement(s->init);
    }
    unsigned t = new_label(), b = new_label();
    const Node *test = s->expr;
    if (test && !is_constant_test(test)) {
        unsigned k = (test->flags & NODE_TEST_HOLDS) ? 0 : new_label();
        unsigned e = new_label();
        if (k)
            write_jump(k);
        label(t, s->body ? s->body->line : s->line);
        emit_statement(s->body, b, e);
        emit_file(s->file_name);
        if (s->flags & STMT_CONTINUED)
            label(b, s->line);
        else
            write_line(s->line);
        if (s->step) {
            range(s, RANGE_FOR_STEP);
            emit_expression_statement(s->step);
        }
        if (k)
            label(k, s->line, true);
        range(s, RANGE_FOR_TEST);
        emit_condition(test, t, false);
        if (s->flags & STMT_BROKEN)
            label(e);
        return;
    }
    if (test && test->value == 0 && !holds_reachable_label(s->body))
        return;  // the loop never runs: its initialization was all
    if (test && test->value == 0) {
        // A jump reaches a label in the body: entered that way the body
        // runs, then the step, and the test ends the loop.
        unsigned e = new_label(), c = new_label();
        write_jump(e);
        emit_statement(s->body, c, e);
        label(c, s->line, true);
        if (s->step) {
            range(s, RANGE_FOR_STEP);
            emit_expression_statement(s->step);
        }
        label(e);
        return;
    }
    label(t, s->body ? s->body->line : s->line);
    unsigned c = s->step ? new_label() : t;
    emit_statement(s->body, c, b);
    if (s->step)
        emit_step(s, c);
    write_jump(t);
    if (s->flags & STMT_BROKEN)
        label(b);
}

[[gnu::noinline]] void emit_while(const Stmt *s)
{
    unsigned t = new_label(), c = new_label();
    if (is_constant_test(s->expr) && s->expr->value == 0) {
        // Kept only because a jump reaches a label inside: entered from
        // the top the loop does nothing, entered by the jump its body runs
        // once and the test ends it.
        unsigned e = new_label();
        write_jump(c);
        emit_statement(s->body, c, e);
        label(c, s->line, true);
        if (s->flags & STMT_BROKEN)
            label(e);
        return;
    }
    if (is_constant_test(s->expr)) {
        label(t, s->body ? s->body->line : s->line);
        emit_statement(s->body, t, c);
        write_jump(t);
        if (s->flags & STMT_BROKEN)
            label(c);
        return;
    }
    unsigned e = new_label();
    write_jump(c);
    label(t, s->body ? s->body->line : s->line);
    emit_statement(s->body, c, e);
    label(c, s->line, true);
    range(s);
    emit_file(s->file_name);
    emit_condition(s->expr, t, false);
    if (s->flags & STMT_BROKEN)
        label(e);
}

[[gnu::noinline]] void emit_if(const Stmt *s, unsigned continue_label, unsigned break_label)
{
    unsigned f = new_label();
    range(s);
    emit_condition(s->expr, f, true);
    unsigned e = (s->flags & STMT_BROKEN) ? new_label() : break_label;
    emit_statement(s->body, continue_label, e);
    if (s->other) {
        unsigned j = new_label();
        write_jump(j);
        label(f, s->other->line);
        emit_statement(s->other, continue_label, e);
        f = j;
    }
    label(f);
    if (s->flags & STMT_BROKEN)
        label(e);
}

[[gnu::noinline]] void emit_switch(const Stmt *s, unsigned continue_label)
{
    range(s);
    Type *type = switch_value_type(s->expr->type);
    emit_value(s->expr, STORAGE_SWITCH, type);
    unsigned size = switch_value_size(s->expr->type);
    unsigned table = new_label();
    write_switch(size, table);
    unsigned b = new_label();
    emit_statement(s->body, continue_label, b);
    emit_case_table(s, table, b, size);
    bool has_default = false;
    for (const Symbol *c = s->cases; c; c = c->next)
        has_default |= c->sclass == SC_DEFAULT;
    if (!has_default || (s->flags & STMT_BROKEN))
        write_label(b, 0, false, true);
}

// The file and label or line records in front of every statement.
[[gnu::noinline]] void statement_header(const Stmt *s)
{
    emit_file(s->file_name);
    if (s->label_no) {
        unsigned l = s->label_no;
        if (debug_extended && (s->flags & STMT_LABELLED))
            l -= 1;
        write_label(l, s->line, false, (s->flags & STMT_CASE_LABEL) != 0);
    } else if (s->kind != STMT_BLOCK) {
        write_line(s->line);
    }
}

// The statements that hold no other statement.
[[gnu::noinline]] void emit_simple(const Stmt *s, unsigned continue_label, unsigned break_label)
{
    switch (s->kind) {
    case STMT_EXPR:
    case STMT_PENDING_INIT:
        if (!(s->flags & STMT_EMPTY_RETURN))
            range(s);
        if (s->expr)
            emit_expression_statement(s->expr);
        break;
    case STMT_ASM:
        for (const Stmt *piece = s->body; piece; piece = piece->next) {
            range(piece);
            write_line(piece->line);
            emit_asm_text(piece->asm_text, piece->asm_length);
        }
        break;
    case STMT_BREAK:
        range(s);
        write_jump(break_label);
        break;
    case STMT_CONTINUE:
        range(s);
        write_jump(continue_label);
        break;
    case STMT_GOTO:
        if (!(s->flags & STMT_EMPTY_RETURN))
            range(s);
        if (s->expr)
            emit_expression_statement(s->expr);
        write_jump(s->label && s->label->statement ? s->label->statement->label_no : 0);
        break;
    case STMT_RETURN:
        range(s);
        if (s->expr)
            emit_value(s->expr, STORAGE_RESULT, function.result);
        write_return();
        break;
    case STMT_COUNTED:
        emit_counted_loop(s);
        break;
    default:
        break;
    }
}

// An expression, then a statement (made by body preparation).
[[gnu::noinline]] void emit_pass(const Stmt *s, unsigned continue_label, unsigned break_label)
{
    if (s->expr)
        emit_expression_statement(s->expr);
    if (s->flags & STMT_BROKEN) {
        unsigned e = new_label();
        emit_statement(s->body, continue_label, e);
        label(e);
    } else {
        emit_statement(s->body, continue_label, break_label);
    }
}

// Statement lists are written in a loop, nested statements by recursion:
// the depth is the nesting depth the statement reader allowed.
void emit_statement(const Stmt *s, unsigned continue_label, unsigned break_label)
{
    if (!s || error_count != 0)
        return;
    statement_header(s);
    switch (s->kind) {
    case STMT_BLOCK:
        for (const Stmt *t = s->body; t; t = t->next)
            if (!(t->flags & STMT_UNREACHABLE))
                emit_statement(t, continue_label, break_label);
        break;
    case STMT_PASS:
        emit_pass(s, continue_label, break_label);
        break;
    case STMT_DO:
        emit_do(s);
        break;
    case STMT_FOR:
        emit_for(s);
        break;
    case STMT_IF:
        emit_if(s, continue_label, break_label);
        break;
    case STMT_SWITCH:
        emit_switch(s, continue_label);
        break;
    case STMT_WHILE:
        emit_while(s);
        break;
    default:
        emit_simple(s, continue_label, break_label);
        break;
    }
}

// The statements an inline expansion runs before the rest of its
// expression, each without continue or break label.
[[gnu::noinline]] void emit_sequence_statements(const Node *seq)
{
    if (seq->value == 0)
        return;
    std::vector<Stmt *> statements(seq->value);
    sequence_statements(seq, statements.data());
    for (const Stmt *s : statements)
        emit_statement(s, 0, 0);
}

}  // namespace

void emit_condition(const Node *node, unsigned label_no, bool jump_if_false)
{
    while (node) {
        switch (node->op) {
        case OP_SEQ:
            emit_sequence_statements(node);
            node = node->right;
            continue;
        case OP_COMMA:
            write_eval(node->left);
            node = node->right;
            continue;
        case OP_ANDAND:
            if (jump_if_false) {
                emit_condition(node->left, label_no, true);
                node = node->right;
                continue;
            } else {
                unsigned n = new_label();
                emit_condition(node->left, n, true);
                emit_condition(node->right, label_no, false);
                label(n);
                return;
            }
        case OP_OROR:
            if (!jump_if_false) {
                emit_condition(node->left, label_no, false);
                node = node->right;
                continue;
            } else {
                unsigned n = new_label();
                emit_condition(node->left, n, false);
                emit_condition(node->right, label_no, true);
                label(n);
                return;
            }
        default:
            break;
        }
        if (is_int_constant(node)) {
            if ((node->value != 0) != jump_if_false)
                write_jump(label_no);
            return;
        }
        if (is_comparison_op(node->op)) {
            unsigned op = jump_if_false ? negated_op(node->op) : node->op;
            write_branch(op, label_no, node->left, node->right);
            return;
        }
        // Any other form: its value compared with zero.
        Node zero{};
        zero.op = OP_LEAF;
        zero.type = node->type;
        zero.value = 0;
        write_branch(jump_if_false ? OP_EQ : OP_NE, label_no, node, &zero);
        return;
    }
}

namespace {

bool is_asm_designator(const Node *fn)
{
    return fn->op == OP_LEAF && (fn->leaf & LEAF_SYMBOL) && fn->symbol->name && fn->symbol->name->length == 4 &&
           std::memcmp(fn->symbol->name->chars, "_asm", 4) == 0;
}

// A call of _asm with a string first: REC_ASM, or REC_ASM_ARGS with the
// further arguments. False (after its message) when the call does not
// qualify and is written as an ordinary call.
bool write_asm_call(const Node *call)
{
    const Node *args = call->right;
    if (!args) {
        report("missing _asm() argument");
        return false;
    }
    const Node *first = args->op == OP_ARG ? args->left : args;
    const Node *more = args->op == OP_ARG ? args->right : nullptr;
    const Node *text = first;
    while (text->op == OP_CAST)
        text = text->left;
    // The string, decayed to its address, or as the array itself.
    bool string = text->op == OP_LEAF && (text->leaf & LEAF_LITERAL) && !is_floating_kind(text->type->kind);
    if (!string) {
        report("bad _asm() argument type");
        return false;
    }
    std::size_t n = text->literal->length;
    if (n > 254) {
        report("_asm string too long");
        n = 254;
    }
    write_asm(call, reinterpret_cast<const char *>(text->literal->bytes), n, more);
    return true;
}

// x = -x, x = ~x, and for a one-bit field x = x == 0 or x = x ^ 1: the
// object, and whether it is negated (or else complemented).
const Node *in_place_object(const Node *n, bool *negate)
{
    if (n->op != OP_ASSIGN)
        return nullptr;
    unsigned assigned_class = n->type->kind & 0xFC;
    const Node *value = n->right;
    while (value->op == OP_CAST &&
           (value->left->type->kind == value->type->kind || (value->type->kind & 0xFCu) >= assigned_class))
        value = value->left;
    const Node *object = n->left;
    if ((value->op == OP_NEG || value->op == OP_COMPL) && same_tree(value->left, object, true)) {
        *negate = value->op == OP_NEG;
        return object;
    }
    bool one_bit = is_bitfield_kind(object->type->kind) && object->type->bit_width == 1;
    if (one_bit && (value->op == OP_EQ || value->op == OP_XOR) && is_int_constant(value->right) &&
        value->right->value == (value->op == OP_EQ ? 0u : 1u) && same_tree(value->left, object, true)) {
        *negate = false;
        return object;
    }
    return nullptr;
}

}  // namespace

void emit_expression_statement(const Node *node)
{
    if (node && node->op == OP_SEQ) {
        emit_sequence_statements(node);
        node = node->right;
    }
    if (!node)
        return;
    const Node *e = node;
    while (e->op == OP_CAST && e->type->kind == KIND_VOID)
        e = e->left;
    bool negate = false;
    if (const Node *object = in_place_object(e, &negate)) {
        if (negate)
            write_negate_in_place(e->type, object);
        else
            write_complement_in_place(e->type, object);
        return;
    }
    if (e->op == OP_CALL && is_asm_designator(e->left) && write_asm_call(e))
        return;
    write_eval(node);
}

void emit_value(const Node *node, unsigned target, const Type *type)
{
    if (node->op == OP_SEQ) {
        emit_sequence_statements(node);
        node = node->right;
    }
    put_byte(REC_EVAL);
    put_byte(operator_byte(OP_ASSIGN));
    put_type_ref(type, 0);
    put_byte(0);
    put_type_ref(type, 0);
    put_zeros(7);
    put_byte(target);
    put_byte(0);
    put_expression(node, false);
}

namespace {

// The assignment of a constant to the counter in an unrolled loop's
// initialization (a comma chain): what the copies start from.
const Node *unrolled_start(const Stmt *s)
{
    if (!s->step)
        return nullptr;
    const Node *var = s->step->left;
    const Node *n = s->init;
    static std::vector<const Node *> work;
    work.clear();
    const Node *found = nullptr;
    while (n) {
        if (n->op == OP_COMMA) {
            work.push_back(n->right);
            n = n->left;
            continue;
        }
        if (n->op == OP_ASSIGN && is_int_constant(n->right) && same_tree(n->left, var, true))
            found = n;
        if (work.empty())
            break;
        n = work.back();
        work.pop_back();
    }
    return found;
}

void emit_unrolled_loop(const Stmt *s)
{
    if (s->init) {
        range(s, RANGE_FOR_INIT);
        emit_expression_statement(s->init);
    }
    const Node *start = unrolled_start(s);
    std::uint32_t copies = s->expr->value;
    if (!start) {
        for (std::uint32_t k = 0; k < copies; ++k)
            emit_statement(s->body, 0, 0);
        return;
    }
    // The counter's leaves read as a constant that moves with the copies.
    Symbol *counter = start->left->symbol;
    Node *saved = counter->const_value;
    Node *known = int_constant(start->right->value, start->left->type);
    bool up = s->step->op == OP_ADDASG || s->step->op == OP_POSTINC;
    counter->const_value = known;
    counter->flags |= SYM_SUBSTITUTED;
    for (std::uint32_t k = 0; k < copies; ++k) {
        emit_statement(s->body, 0, 0);
        known = int_constant(up ? known->value + 1 : known->value - 1, start->left->type);
        counter->const_value = known;
    }
    counter->flags &= ~SYM_SUBSTITUTED;
    counter->const_value = saved;
    if (counter->flags & SYM_USED) {
        Node *final = new_node(OP_ASSIGN);
        final->left = start->left;
        final->right = known;
        final->type = start->type;
        final->value = 0;
        emit_expression_statement(final);
    }
}

}  // namespace

void emit_counted_loop(const Stmt *s)
{
    if (s->flags & STMT_UNROLL) {
        emit_unrolled_loop(s);
        return;
    }
    if (s->init) {
        range(s, RANGE_FOR_INIT);
        emit_expression_statement(s->init);
    }
    unsigned t = new_label(), c = new_label(), e = new_label();
    range(s, RANGE_FOR_TEST);
    write_loop_start(t, s->expr);
    emit_statement(s->body, c, e);
    emit_file(s->file_name);
    write_line(s->line);
    if (s->step) {
        emit_step(s, c);
    } else if (s->flags & STMT_CONTINUED) {
        // A continue still needs its target once the increment is gone:
        // the end of the trip.
        label(c, s->line);
    }
    range(s, RANGE_FOR_TEST);
    write_loop_end(t);
    if (s->flags & STMT_BROKEN)
        label(e);
}

void emit_function(Symbol *symbol, Stmt *body, std::uint32_t declaration_line, std::uint32_t brace_line,
                   std::uint32_t argument_bytes, std::int32_t frame_offset)
{
    // After an error the records around the body are still written; its
    // statements are not (emit_statement checks for every one). In
    // analyser mode only the debug description is written.
    if (debug_info && !debug_data)
        debug_function(symbol, body, declaration_line);
    if (analyser_output)
        return;
    emit_file(body->file_name);
    emit_declaration(symbol, 0x800);
    write_function(declaration_line, brace_line);
    const Type *ftype = symbol->type;
    const Symbol *first = ftype->params;
    if (first && first->type && first->type->kind != KIND_VOID)
        write_first_arg(no_widen_arguments ? first->type : argument_widened_type(first->type, true));
    write_arg_size(argument_bytes);
    if (frame_offset != 0)
        write_frame(frame_offset);
    emit_statement(body, 0, 0);
    // An inline body may have come from another file: the function's
    // own file is named again before its end (every expansion leaves a
    // return label behind).
    if (debug_info && function.expansion_labels)
        emit_file(body->file_name);
    write_function_end();
    local_instance = static_cast<std::uint16_t>(local_instance + 2);
}
