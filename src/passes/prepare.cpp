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
#include "passes/passes.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

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
            narrow(&s->expr, 0);
        break;
    case STMT_FOR:
        if (s->init)
            narrow(&s->init, 0);
        if (s->expr)
            narrow(&s->expr, 0);
        if (s->step)
            narrow(&s->step, 0);
        break;
    case STMT_RETURN:
        if (s->expr) {
            unsigned kind = function.result ? function.result->kind : 0;
            narrow(&s->expr, kind == KIND_CHAR || kind == KIND_UCHAR ? kind : 0);
        }
        break;
    case STMT_EXPR:
    case STMT_PASS:
    case STMT_DO:
    case STMT_WHILE:
    case STMT_IF:
    case STMT_GOTO:
        if (s->expr)
            narrow(&s->expr, 0);
        break;
    default:
        break;
    }
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

bool convert_counted_loop(Stmt *loop, std::uint16_t weight, std::int32_t body_operators, std::uint32_t start_stamp)
{
    // Not built yet: every for loop stays a for loop.
    (void)loop;
    (void)weight;
    (void)body_operators;
    (void)start_stamp;
    return false;
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
    // The walk reaches every block to lay out its locals and passes every
    // expression through the final folding. The removal of dead branches
    // and the simplification of switches are not built yet: the statements
    // stay as they were read.
    // A block's end puts back the frame offset and the pending hole of its
    // start: a hole left by the block's own alignment lies inside the
    // space its siblings reuse, so it must not outlive the block.
    struct Item {
        Stmt *s;
        std::int32_t restore;  // a block's frame offset to return to, or 1
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
        if (!s || (s->flags & STMT_UNREACHABLE))
            continue;
        fold_expressions(s);
        switch (s->kind) {
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
            work.push_back({s->other, 1, 0});
            work.push_back({s->body, 1, 0});
            break;
        case STMT_PASS:
        case STMT_DO:
        case STMT_FOR:
        case STMT_WHILE:
        case STMT_SWITCH:
        case STMT_COUNTED:
            work.push_back({s->body, 1, 0});
            break;
        default:
            break;
        }
    }
}
