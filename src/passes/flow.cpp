// Flow analysis of a function body: which locals are live where, and
// what follows from it. A local may be read before it was ever set
// (a warning); a store whose value nobody reads is dropped; a call that is
// the function's last action is marked; and locals whose lifetimes never
// overlap are bound to one storage place.
//
// At most 32 locals are followed, one bit each, so that every set of them
// is one word. The body becomes a graph of blocks, each holding at most one
// expression; a block's successors are slots in one shared array, and a
// slot left at NEXT means the block made right after it.
#include <cstdint>
#include <algorithm>
#include <vector>
#include "base/diagnostics.h"
#include "base/options.h"
#include "model/names.h"
#include "model/types.h"
#include "passes/passes.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

constexpr std::uint32_t NONE = 0xFFFFFFFFu;
constexpr std::uint32_t NEXT = 0xFFFFFFFEu;
constexpr int MAX_TRACKED = 32;

// Expression contexts: the value is read (or discarded), or written.
constexpr int DISCARDED = 0;
constexpr int WRITTEN = 1;
constexpr int READ = 2;

struct FlowBlock {
    Node *expr;
    std::uint32_t set, used, live_in, live_out;
    std::int32_t count;  // successors; -1 for a goto not resolved yet
    std::uint32_t succ;  // its first slot in `slots`
};

struct Tracked {
    Symbol *symbol;
    std::int32_t scope;       // the declaring block's index in `declaring`
    std::int32_t walk_scope;  // and in `scopes`; -1 if the walk never met it
};

// A block statement as the walk met it: its depth (0 for the body) and the
// index of the enclosing one.
struct Scope {
    std::int32_t depth;
    std::int32_t parent;
};

struct Goto {
    std::uint32_t block;
    const Stmt *target;
};

std::vector<FlowBlock> blocks;
std::vector<std::uint32_t> slots;
std::vector<Tracked> tracked;
std::vector<Scope> scopes;
std::vector<const Stmt *> declaring;  // the blocks of the tracked locals
// Labelled statements and their first blocks, sorted by statement before
// they are looked up.
struct LabelBlock {
    const Stmt *stmt;
    std::uint32_t block;
};
std::vector<LabelBlock> label_blocks;
std::vector<Goto> gotos;
std::int32_t current_scope;
bool walk_failed;  // a jump the walk could not place

std::uint32_t new_block(Node *expr, std::int32_t count)
{
    FlowBlock b{};
    b.expr = expr;
    if (expr) {
        b.set = expr->flow_set;
        b.used = expr->flow_used;
    }
    b.count = count;
    b.succ = static_cast<std::uint32_t>(slots.size());
    for (std::int32_t i = 0; i < count; ++i)
        slots.push_back(NEXT);
    blocks.push_back(b);
    return static_cast<std::uint32_t>(blocks.size() - 1);
}

std::uint32_t &successor(std::uint32_t block, int k) { return slots[blocks[block].succ + k]; }

std::uint32_t label_block(const Stmt *s)
{
    auto at = std::lower_bound(label_blocks.begin(), label_blocks.end(), s,
                               [](const LabelBlock &l, const Stmt *key) { return l.stmt < key; });
    return at != label_blocks.end() && at->stmt == s ? at->block : NONE;
}

std::uint32_t block_count() { return static_cast<std::uint32_t>(blocks.size()); }

// A part that made blocks from `first` on ends by going to `target`,
// unless its last block already goes elsewhere (a return, a jump).
void continue_to(std::uint32_t first, std::uint32_t target)
{
    if (block_count() == first)
        return;
    std::uint32_t last = block_count() - 1;
    if (blocks[last].count == 1 && successor(last, 0) == NEXT)
        successor(last, 0) = target;
}

// The block a part begins with: its first block, or `otherwise` when it
// made none.
std::uint32_t entry_of(std::uint32_t first, std::uint32_t otherwise)
{
    return block_count() > first ? first : otherwise;
}

void walk_statement(Stmt *s, std::uint32_t continue_target, std::uint32_t break_target);
void walk_expr(Node *n, int context);

// ---- Expressions --------------------------------------------------------

void set_words(Node *n, std::uint32_t used, std::uint32_t set)
{
    n->flow_used = used;
    n->flow_set = set;
}

[[gnu::noinline]] void walk_comma(Node *n, int context)
{
    walk_expr(n->left, DISCARDED);
    new_block(n->left, 1);
    walk_expr(n->right, context);
    set_words(n, n->right->flow_used, n->right->flow_set);
}

// An operand that is read in a block of its own (after the blocks of its
// parts): the first of those blocks; the operand's own block in *last.
std::uint32_t operand_blocks(Node *n, int count, std::uint32_t *last)
{
    std::uint32_t first = block_count();
    walk_expr(n, READ);
    *last = new_block(n, count);
    return first;
}

[[gnu::noinline]] void walk_cond(Node *n)
{
    std::uint32_t test, else_block, then_block;
    operand_blocks(n->left, 2, &test);
    std::uint32_t else_first = operand_blocks(n->right, 1, &else_block);
    std::uint32_t then_first = operand_blocks(n->value_node, 1, &then_block);
    std::uint32_t join = new_block(nullptr, 1);
    successor(test, 0) = then_first;
    successor(test, 1) = else_first;
    successor(else_block, 0) = join;
    set_words(n, 0, 0);
}

// && and ||: the right operand may be skipped, so each is a branch that
// either runs it or goes straight to the join.
[[gnu::noinline]] void walk_logical(Node *n)
{
    std::uint32_t test, right_block;
    operand_blocks(n->left, 2, &test);
    std::uint32_t right_first = operand_blocks(n->right, 1, &right_block);
    std::uint32_t join = new_block(nullptr, 1);
    successor(test, 0) = right_first;
    successor(test, 1) = join;
    set_words(n, 0, 0);
}

[[gnu::noinline]] void walk_assign(Node *n, int context)
{
    walk_expr(n->left, WRITTEN);
    walk_expr(n->right, READ);
    std::uint32_t target_set = n->left->flow_set;
    set_words(n, n->left->flow_used | n->right->flow_used, target_set | n->right->flow_set);
    if (context == READ && target_set) {
        // The store happens before the value is used further on: from
        // here the node is a read of what it stored.
        new_block(n, 1);
        set_words(n, target_set, 0);
    }
}

[[gnu::noinline]] void walk_update(Node *n)
{
    walk_expr(n->left, WRITTEN);
    std::uint32_t used = n->left->flow_set | n->left->flow_used;
    std::uint32_t set = n->left->flow_set;
    if (n->right) {
        walk_expr(n->right, READ);
        used |= n->right->flow_used;
        set |= n->right->flow_set;
    }
    set_words(n, used, set);
}

[[gnu::noinline]] void walk_sequence(Node *n, int context)
{
    // An inline expansion: its statements run first, then the value.
    std::vector<Stmt *> statements(n->value);
    sequence_statements(n, statements.data());
    for (Stmt *s : statements)
        walk_statement(s, NONE, NONE);
    if (n->right) {
        walk_expr(n->right, context);
        set_words(n, n->right->flow_used, n->right->flow_set);
    } else {
        set_words(n, 0, 0);
    }
}

// An operand that is read: a leaf is settled here, without a call.
inline void walk_read(Node *n)
{
    if (n->op == OP_LEAF)
        set_words(n, (n->leaf & LEAF_SYMBOL) && n->symbol ? n->symbol->flow_bit : 0, 0);
    else
        walk_expr(n, READ);
}

void walk_expr(Node *n, int context)
{
    if (!n)
        return;
    switch (n->op) {
    case OP_LEAF: {
        std::uint32_t bit = (n->leaf & LEAF_SYMBOL) && n->symbol ? n->symbol->flow_bit : 0;
        if (context == WRITTEN)
            set_words(n, 0, bit);
        else
            set_words(n, bit, 0);
        return;
    }
    case OP_SEQ: walk_sequence(n, context); return;
    case OP_COMMA: walk_comma(n, context); return;
    case OP_COND: walk_cond(n); return;
    case OP_ASSIGN: walk_assign(n, context); return;
    case OP_POSTINC:
    case OP_POSTDEC: walk_update(n); return;
    case OP_ANDAND:
    case OP_OROR: walk_logical(n); return;
    default: break;
    }
    if (is_compound_assign_op(n->op)) {
        walk_update(n);
        return;
    }
    std::uint32_t used = 0, set = 0;
    if (Node *left = n->left) {
        walk_read(left);
        used = left->flow_used;
        set = left->flow_set;
    }
    if (n->op != OP_CAST && !is_unary_op(n->op) && n->right) {
        walk_read(n->right);
        used |= n->right->flow_used;
        set |= n->right->flow_set;
    }
    set_words(n, used, set);
}

// ---- Statements ---------------------------------------------------------

// A part of an expression statement: its own block, or an empty one when it
// neither reads nor writes a tracked local and calls nothing.
void expression_block(Node *e)
{
    bool matters = e && (e->flow_used || e->flow_set || e->op == OP_CALL);
    new_block(matters ? e : nullptr, 1);
}

[[gnu::noinline]] void walk_if(Stmt *s, std::uint32_t continue_target, std::uint32_t break_target)
{
    walk_expr(s->expr, READ);
    std::uint32_t test = new_block(s->expr, 2);
    std::uint32_t then_first = block_count();
    walk_statement(s->body, continue_target, break_target);
    std::uint32_t then_end = block_count();
    walk_statement(s->other, continue_target, break_target);
    std::uint32_t else_end = block_count();
    std::uint32_t join = new_block(nullptr, 1);
    successor(test, 0) = then_end > then_first ? then_first : join;
    successor(test, 1) = else_end > then_end ? then_end : join;
    // A then-part that falls through skips the else-part.
    if (then_end > then_first) {
        std::uint32_t last = then_end - 1;
        if (blocks[last].count == 1 && successor(last, 0) == NEXT)
            successor(last, 0) = join;
    }
}

// while and do: the test, then the body, which goes back to the test; a
// do loop is entered at its body.
[[gnu::noinline]] void walk_test_loop(Stmt *s)
{
    std::uint32_t start = s->kind == STMT_DO ? new_block(nullptr, 1) : NONE;
    std::uint32_t test_first = block_count();
    walk_expr(s->expr, READ);
    std::uint32_t test = new_block(s->expr, 2);
    std::uint32_t exit = new_block(nullptr, 1);
    std::uint32_t body_first = block_count();
    walk_statement(s->body, test_first, exit);
    continue_to(body_first, test_first);
    std::uint32_t body = entry_of(body_first, test_first);
    if (start != NONE)
        successor(start, 0) = body;
    successor(test, 0) = body;
    successor(test, 1) = exit;
    successor(exit, 0) = new_block(nullptr, 1);
}

// for, and the counted loop (whose count is read once, after the
// initialization, and whose test is implicit).
[[gnu::noinline]] void walk_for(Stmt *s)
{
    bool counted = s->kind == STMT_COUNTED;
    Node *test_expr = counted ? nullptr : s->expr;
    std::uint32_t init_block;
    if (s->init) {
        walk_expr(s->init, DISCARDED);
        init_block = new_block(s->init, 1);
    } else {
        init_block = new_block(nullptr, 1);
    }
    if (counted) {
        walk_expr(s->expr, READ);
        init_block = new_block(s->expr, 1);
    }
    std::uint32_t test_first = block_count();
    walk_expr(test_expr, READ);
    std::uint32_t test = new_block(test_expr, 2);
    std::uint32_t step_first = NONE;
    if (s->step) {
        step_first = block_count();
        walk_expr(s->step, DISCARDED);
        std::uint32_t step = new_block(s->step, 1);
        successor(step, 0) = test_first;
    }
    std::uint32_t exit = new_block(nullptr, 1);
    std::uint32_t next_trip = step_first != NONE ? step_first : test_first;
    std::uint32_t body_first = block_count();
    walk_statement(s->body, next_trip, exit);
    continue_to(body_first, next_trip);
    std::uint32_t body = entry_of(body_first, next_trip);
    successor(test, 0) = body;
    successor(test, 1) = exit;
    if (!counted && s->init && test_expr && loop_test(s->init, test_expr) == 2) {
        // The first test is known to pass: the loop is entered at its body.
        test_expr->flags |= NODE_TEST_HOLDS;
        successor(init_block, 0) = body;
    }
    successor(exit, 0) = new_block(nullptr, 1);
}

[[gnu::noinline]] bool walk_switch(Stmt *s, std::uint32_t continue_target)
{
    walk_expr(s->expr, READ);
    std::int32_t count = 0;
    bool has_default = false;
    for (const Symbol *c = s->cases; c; c = c->next) {
        ++count;
        has_default |= c->sclass == SC_DEFAULT;
    }
    std::uint32_t choice = new_block(s->expr, count + (has_default ? 0 : 1));
    std::uint32_t exit = new_block(nullptr, 1);
    std::uint32_t body_first = block_count();
    walk_statement(s->body, continue_target, exit);
    continue_to(body_first, exit);
    int k = 0;
    for (const Symbol *c = s->cases; c; c = c->next, ++k) {
        std::uint32_t target = label_block(c->statement);
        if (target == NONE)
            return false;
        successor(choice, k) = target;
    }
    if (!has_default)
        successor(choice, k) = exit;
    successor(exit, 0) = new_block(nullptr, 1);
    return true;
}


// A block statement met by the walk: its entry in `scopes` becomes the
// current scope; the one it replaces is returned.
[[gnu::noinline]] std::int32_t enter_scope(const Stmt *s)
{
    std::int32_t saved = current_scope;
    current_scope = static_cast<std::int32_t>(scopes.size());
    scopes.push_back({saved < 0 ? 0 : scopes[static_cast<std::size_t>(saved)].depth + 1, saved});
    if (s->flags & STMT_DECLARES_TRACKED)
        for (Tracked &t : tracked)
            if (declaring[static_cast<std::size_t>(t.scope)] == s)
                t.walk_scope = current_scope;
    return saved;
}

[[gnu::noinline]] void note_label(const Stmt *s) { label_blocks.push_back({s, new_block(nullptr, 1)}); }

[[gnu::noinline]] void walk_block(Stmt *s, std::uint32_t continue_target, std::uint32_t break_target)
{
    std::int32_t saved = enter_scope(s);
    if (!s->body)
        new_block(nullptr, 1);
    for (Stmt *t = s->body; t; t = t->next)
        walk_statement(t, continue_target, break_target);
    current_scope = saved;
}

// The statements that hold no other statement.
[[gnu::noinline]] void walk_simple(Stmt *s, std::uint32_t continue_target, std::uint32_t break_target)
{
    switch (s->kind) {
    case STMT_EXPR:
    case STMT_PENDING_INIT:
        walk_expr(s->expr, DISCARDED);
        expression_block(s->expr);
        break;
    case STMT_BREAK:
    case STMT_CONTINUE: {
        std::uint32_t target = s->kind == STMT_BREAK ? break_target : continue_target;
        std::uint32_t jump = new_block(nullptr, 1);
        if (target == NONE)
            walk_failed = true;
        else
            successor(jump, 0) = target;
        new_block(nullptr, 1);
        break;
    }
    case STMT_RETURN:
        walk_expr(s->expr, READ);
        if (s->expr && (s->expr->flow_used || s->expr->flow_set))
            new_block(s->expr, 1);
        new_block(nullptr, 0);
        break;
    case STMT_GOTO: {
        walk_expr(s->expr, DISCARDED);
        std::uint32_t jump = new_block(s->expr, 1);
        blocks[jump].count = -1;
        gotos.push_back({jump, s->label ? s->label->statement : nullptr});
        new_block(nullptr, 1);
        break;
    }
    case STMT_PASS: break;
    default:  // assembly
        new_block(nullptr, 1);
        break;
    }
}

// Statements nest as deep as the statement reader allows, and this walk
// follows them by recursion: each kind that holds others is a function
// apart, so that a level of the walk takes little stack.
void walk_statement(Stmt *s, std::uint32_t continue_target, std::uint32_t break_target)
{
    if (!s)
        return;
    if (s->label_no || (s->flags & (STMT_CASE_LABEL | STMT_LABELLED)))
        note_label(s);
    switch (s->kind) {
    case STMT_BLOCK: walk_block(s, continue_target, break_target); break;
    case STMT_IF: walk_if(s, continue_target, break_target); break;
    case STMT_WHILE:
    case STMT_DO: walk_test_loop(s); break;
    case STMT_FOR:
    case STMT_COUNTED: walk_for(s); break;
    case STMT_SWITCH:
        if (!walk_switch(s, continue_target))
            walk_failed = true;
        break;
    default: walk_simple(s, continue_target, break_target); break;
    }
}

// ---- The graph's successors and liveness -------------------------------

bool resolve_successors()
{
    for (const Goto &g : gotos) {
        std::uint32_t target = g.target ? label_block(g.target) : NONE;
        if (target == NONE)
            return false;
        blocks[g.block].count = 1;
        successor(g.block, 0) = target;
    }
    std::uint32_t n = block_count();
    for (std::uint32_t b = 0; b < n; ++b) {
        for (std::int32_t k = 0; k < blocks[b].count; ++k) {
            std::uint32_t &to = successor(b, k);
            if (to == NEXT) {
                if (b + 1 == n)
                    return false;  // the walk always ends with the exit block
                to = b + 1;
            }
        }
    }
    return true;
}

// Live variables to the fixed point. The least solution does not depend on
// the order blocks are visited in; a work list of the blocks whose
// successors changed reaches it in a number of visits linear in the graph
// (a block's word can only gain bits, at most 32 times).
void compute_liveness()
{
    std::uint32_t n = block_count();
    static std::vector<std::uint32_t> first_pred, preds, fill, work;
    static std::vector<std::uint8_t> queued;
    first_pred.assign(n + 1, 0);
    for (std::uint32_t b = 0; b < n; ++b)
        for (std::int32_t k = 0; k < blocks[b].count; ++k)
            ++first_pred[successor(b, k) + 1];
    for (std::uint32_t b = 0; b < n; ++b)
        first_pred[b + 1] += first_pred[b];
    preds.resize(first_pred[n]);
    fill.assign(first_pred.begin(), first_pred.end() - 1);
    for (std::uint32_t b = 0; b < n; ++b)
        for (std::int32_t k = 0; k < blocks[b].count; ++k)
            preds[fill[successor(b, k)]++] = b;

    work.clear();
    queued.assign(n, 1);
    for (std::uint32_t b = 0; b < n; ++b)
        work.push_back(b);  // the last block made is visited first
    while (!work.empty()) {
        std::uint32_t b = work.back();
        work.pop_back();
        queued[b] = 0;
        FlowBlock &block = blocks[b];
        std::uint32_t out = 0;
        for (std::int32_t k = 0; k < block.count; ++k)
            out |= blocks[successor(b, k)].live_in;
        block.live_out = out;
        std::uint32_t in = block.used | (out & ~block.set);
        if (in == block.live_in)
            continue;
        block.live_in = in;
        for (std::uint32_t p = first_pred[b]; p < first_pred[b + 1]; ++p)
            if (!queued[preds[p]]) {
                queued[preds[p]] = 1;
                work.push_back(preds[p]);
            }
    }
    for (std::uint32_t b = 0; b < n; ++b) {
        std::uint32_t out = 0;
        for (std::int32_t k = 0; k < blocks[b].count; ++k)
            out |= blocks[successor(b, k)].live_in;
        blocks[b].live_out = out;
    }
}

// ---- Uses of the result -------------------------------------------------

void report_used_before_set()
{
    std::uint32_t entry = blocks[0].live_in;
    if (check_level == 0 || entry == 0)
        return;
    for (const Tracked &t : tracked) {
        const Symbol *s = t.symbol;
        if (!(s->flow_bit & entry) || !s->name)
            continue;
        report_span(s->line, s->column, s->name->length, "W7%.*s used before set",
                    static_cast<int>(s->name->length), s->name->chars);
    }
}

// Whether the function ends right after block b: single successors through
// blocks without an expression lead to the exit. What is found is kept for
// every block on the way, so that long runs of empty blocks are followed
// once.
std::vector<std::uint8_t> ends_state;  // 0 not known, 1 being followed, 2 yes, 3 no

bool ends_after(std::uint32_t b)
{
    if (blocks[b].count != 1)
        return false;
    static std::vector<std::uint32_t> path;
    path.clear();
    std::uint32_t at = successor(b, 0);
    bool result;
    for (;;) {
        const FlowBlock &block = blocks[at];
        if (ends_state[at] >= 2) {
            result = ends_state[at] == 2;
            break;
        }
        if (ends_state[at] == 1 || block.expr || block.count != 1) {
            result = ends_state[at] != 1 && !block.expr && block.count == 0;
            break;
        }
        ends_state[at] = 1;
        path.push_back(at);
        at = successor(at, 0);
    }
    for (std::uint32_t p : path)
        ends_state[p] = result ? 2 : 3;
    return result;
}

// Stores into the locals of `dead` become plain evaluations of the value.
void drop_dead_stores(Node *n, std::uint32_t dead)
{
    while (n && dead) {
        if (n->op == OP_ASSIGN) {
            Node *target = n->left;
            if (target->op == OP_LEAF && (target->leaf & LEAF_SYMBOL) && target->symbol &&
                (target->symbol->flow_bit & dead)) {
                dead &= ~target->symbol->flow_bit;
                n->op = OP_COMMA;
            }
            n = n->right;
        } else if (n->op == OP_COMMA) {
            drop_dead_stores(n->left, dead);
            n = n->right;
        } else {
            return;
        }
    }
}

void calls_and_dead_stores()
{
    std::uint32_t n = block_count();
    ends_state.assign(n, 0);
    for (std::uint32_t b = 0; b < n; ++b) {
        FlowBlock &block = blocks[b];
        if (!block.expr)
            continue;
        if (block.expr->op == OP_CALL && ends_after(b)) {
            if (!(block.expr->flags & NODE_CALL_COUNTED)) {
                block.expr->flags |= NODE_CALL_COUNTED;
                ++tail_call_count;
            }
        }
        std::uint32_t dead = block.set & ~block.live_out;
        if (dead)
            drop_dead_stores(block.expr, dead);
    }
}

// ---- Shared storage -----------------------------------------------------

struct Grouping {
    std::int32_t next;   // the next slot to place
    std::int32_t left;   // slots still to place
    std::int32_t groups;
    std::uint32_t group[MAX_TRACKED];
    std::int32_t value() const { return left + groups; }
};

// The best grouping the search finds: the list is kept ordered by the
// slots still to place plus the groups made, and the first entry is taken
// apart until it has nothing left to place.
Grouping search_grouping(const std::uint32_t *interference, std::uint32_t all_used, const std::int32_t *size_of_bit)
{
    std::vector<Grouping> list;
    Grouping start{};
    start.next = 1;
    start.left = static_cast<std::int32_t>(tracked.size()) - 1;
    start.groups = 1;
    start.group[0] = tracked[0].symbol->flow_bit;
    list.push_back(start);
    auto insert = [&list](const Grouping &g) {
        std::size_t at = 0;
        while (at < list.size() && list[at].value() < g.value())
            ++at;
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), g);
    };
    while (list.front().left > 0) {
        Grouping taken = list.front();
        list.erase(list.begin());
        std::size_t slot = static_cast<std::size_t>(taken.next);
        std::uint32_t v = tracked[slot].symbol->flow_bit;
        std::int32_t v_size = size_of_bit[__builtin_ctz(v)];
        if (v & all_used) {
            for (std::int32_t g = 0; g < taken.groups; ++g) {
                std::uint32_t members = taken.group[g];
                if ((members & interference[slot]) || (members & ~all_used))
                    continue;
                bool same_size = true;
                for (std::uint32_t m = members; m; m &= m - 1)
                    same_size &= size_of_bit[__builtin_ctz(m)] == v_size;
                if (!same_size)
                    continue;
                Grouping copy = taken;
                copy.group[g] |= v;
                ++copy.next;
                --copy.left;
                insert(copy);
            }
        }
        Grouping alone = taken;
        alone.group[alone.groups++] = v;
        ++alone.next;
        --alone.left;
        insert(alone);
    }
    return list.front();
}

// One group's members bound to one of them, when their blocks allow: the
// one that keeps its storage must be declared in a block that encloses
// every other member's.
void merge_group(std::uint32_t members)
{
    std::vector<std::size_t> in_group;
    for (std::size_t i = 0; i < tracked.size(); ++i)
        if (tracked[i].symbol->flow_bit & members)
            in_group.push_back(i);
    if (in_group.size() < 2)
        return;
    auto depth_of = [](std::size_t i) { return scopes[static_cast<std::size_t>(tracked[i].walk_scope)].depth; };
    for (std::size_t i : in_group)
        if (tracked[i].walk_scope < 0)
            return;  // a block the walk never reached
    std::size_t representative = in_group[0];
    if (depth_of(representative) != 0) {
        std::int32_t shallowest = depth_of(in_group[0]);
        for (std::size_t i : in_group)
            if (depth_of(i) < shallowest) {
                shallowest = depth_of(i);
                representative = i;
            }
        if (shallowest != 0) {
            int at_shallowest = 0;
            for (std::size_t i : in_group)
                at_shallowest += depth_of(i) == shallowest;
            if (at_shallowest > 1)
                return;
            std::vector<std::size_t> kept{representative};
            for (std::size_t i : in_group) {
                if (i == representative)
                    continue;
                std::int32_t scope = tracked[i].walk_scope;
                while (scope >= 0 && scopes[static_cast<std::size_t>(scope)].depth > shallowest)
                    scope = scopes[static_cast<std::size_t>(scope)].parent;
                if (scope == tracked[representative].walk_scope)
                    kept.push_back(i);
            }
            if (kept.size() < 2)
                return;
            in_group = kept;
        }
    }
    Symbol *keeper = tracked[representative].symbol;
    for (std::size_t i : in_group) {
        if (i == representative)
            continue;
        Symbol *s = tracked[i].symbol;
        s->sclass = SC_SHARED;
        s->bound_to = keeper;
        unsigned refs = static_cast<unsigned>(keeper->refs) + s->refs;
        keeper->refs = static_cast<std::uint16_t>(refs > 0xFFFF ? 0xFFFF : refs);
    }
}

void share_storage()
{
    std::uint32_t interference[MAX_TRACKED] = {};
    std::uint32_t all_used = 0;
    std::int32_t size_of_bit[MAX_TRACKED] = {};
    for (const Tracked &t : tracked)
        size_of_bit[__builtin_ctz(t.symbol->flow_bit)] = type_size(t.symbol->type);
    for (const FlowBlock &block : blocks) {
        all_used |= block.used;
        for (std::size_t i = 0; i < tracked.size(); ++i)
            if (block.live_in & tracked[i].symbol->flow_bit)
                interference[i] |= block.live_in;
        // Two locals stored in one expression, or one stored there while
        // another is live after it, may not share: the order of the stores
        // and reads inside one expression is the code generator's, and a
        // store whose value is never read still writes its storage.
        if (block.set & (block.set - 1)) {
            std::uint32_t touched = block.set | block.used | block.live_out;
            for (std::size_t i = 0; i < tracked.size(); ++i) {
                std::uint32_t bit = tracked[i].symbol->flow_bit;
                if (block.set & bit)
                    interference[i] |= touched;
                else if (touched & bit)
                    interference[i] |= block.set;
            }
        }
    }
    if (tracked.size() < 2)
        return;
    Grouping best = search_grouping(interference, all_used, size_of_bit);
    if (best.groups >= static_cast<std::int32_t>(tracked.size()))
        return;
    for (std::int32_t g = 0; g < best.groups; ++g)
        merge_group(best.group[g]);
}

// ---- Choosing the locals ------------------------------------------------

bool qualifies(const Symbol *s)
{
    if (s->sclass != SC_AUTO && s->sclass != SC_REGISTER)
        return false;
    if (!s->type || is_struct_or_union_kind(s->type->kind) || s->type->kind == KIND_ARRAY)
        return false;
    return s->refs != 0 && !(s->attr & ATTR_VOLATILE) && !(s->flags & (SYM_ADDRESSED | SYM_INLINE_BUSY));
}

void choose_tracked()
{
    for (Stmt *b = function.blocks; b; b = b->other) {
        auto index = static_cast<std::int32_t>(declaring.size());
        bool declares = false;
        for (Symbol *s = b->locals; s; s = s->next) {
            s->flow_bit = 0;
            if (!qualifies(s))
                continue;
            declares = true;
            if (tracked.size() < MAX_TRACKED) {
                s->flow_bit = 1u << tracked.size();
                tracked.push_back({s, index, -1});
                continue;
            }
            std::size_t lowest = 0;
            for (std::size_t i = 1; i < tracked.size(); ++i)
                if (tracked[i].symbol->refs < tracked[lowest].symbol->refs)
                    lowest = i;
            if (s->refs > tracked[lowest].symbol->refs) {
                s->flow_bit = tracked[lowest].symbol->flow_bit;
                tracked[lowest].symbol->flow_bit = 0;
                tracked[lowest] = {s, index, -1};
            }
        }
        if (declares)
            declaring.push_back(b);
    }
    for (const Stmt *b : declaring)
        const_cast<Stmt *>(b)->flags |= STMT_DECLARES_TRACKED;
    // Most used first (stable: equal counts keep their order).
    for (std::size_t i = 1; i < tracked.size(); ++i)
        for (std::size_t j = i; j > 0 && tracked[j - 1].symbol->refs < tracked[j].symbol->refs; --j)
            std::swap(tracked[j - 1], tracked[j]);
}

}  // namespace

std::int32_t tail_call_count = 0;

void analyse_flow(Stmt *body)
{
    blocks.clear();
    slots.clear();
    tracked.clear();
    scopes.clear();
    declaring.clear();
    label_blocks.clear();
    gotos.clear();
    current_scope = -1;
    walk_failed = false;

    choose_tracked();
    if (tracked.empty())
        return;

    new_block(nullptr, 1);  // the entry
    walk_statement(body, NONE, NONE);
    new_block(nullptr, 0);  // the exit
    for (const Stmt *b : declaring)
        const_cast<Stmt *>(b)->flags &= static_cast<std::uint16_t>(~STMT_DECLARES_TRACKED);
    std::sort(label_blocks.begin(), label_blocks.end(),
              [](const LabelBlock &a, const LabelBlock &b) { return a.stmt < b.stmt; });
    if (walk_failed || !resolve_successors())
        return;  // a jump the walk could not place: leave the body alone
    compute_liveness();
    report_used_before_set();
    calls_and_dead_stores();
    share_storage();
}
