// Statements: labels, every statement form, the case tables of switches,
// break and continue targets, reachability marks, and the loop
// transformations decided while reading (while to for, hoisting of
// invariant assignments, the offer of counted loops).
#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/types.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/inline.h"
#include "parse/parse.h"
#include "parse/statement.h"
#include "passes/passes.h"
#include "runtime/alloc.h"
#include "runtime/pool.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

FunctionState function{};
void (*function_body_hook)(Symbol *function, Stmt *body) = nullptr;

namespace {

RecordPool stmt_pool = record_pool<Stmt>();

// The case table of the innermost switch being read. Its entries are
// chained in the order they are read and sorted when the switch ends, by a
// stable sort: of equal values (a default counts as 0) the one read first
// stays first. Cases usually come in ascending order: a case above every
// entry so far cannot repeat one, and a table read in order needs no sort.
// Other cases are looked for in the table itself while it is short, and
// in `case_index` once it is not.
struct CaseTable {
    Symbol **head;           // the switch's list; null outside a switch
    Symbol **tail;           // where the next entry is chained
    std::int32_t highest;    // the highest value entered (when there is one)
    std::uint32_t count;     // case entries, the default not counted
    std::uint32_t serial;    // tells this switch's keys in case_index apart
    bool has_entries;
    bool has_default;
    bool unordered;          // an entry came below an earlier one
    bool indexed;            // its case values are in case_index
    // How a case value converts to the selector's promoted type: 0 not at
    // all (long, unsigned long: the value's 32 bits stand), 1 to int
    // (sign-extended from 16 bits), 2 to unsigned int (its low 16 bits).
    std::uint8_t conversion;
};

// C converts each case value to the promoted type of the selector: in a
// switch on an unsigned int `case -1` is 65535, and in one on an int
// `case 0xFFFF` is -1 (so `case -1:` beside it is a duplicate).
std::uint8_t case_conversion(const Type *t)
{
    if (!t)
        return 0;
    unsigned kind = t->kind;
    if (kind == KIND_USHORT || kind == KIND_UINT)
        return 2;
    if ((kind == KIND_BITS16 || kind == KIND_BITSINT) && t->bit_width >= 16)
        return 2;
    if (kind < KIND_LONG)
        return 1;
    return 0;
}

CaseTable cases{};

std::int32_t converted_case_value(std::int32_t value)
{
    switch (cases.conversion) {
    case 1: return static_cast<std::int16_t>(value);
    case 2: return static_cast<std::uint16_t>(value);
    default: return value;
    }
}

// A table this long is searched through the index.
constexpr std::uint32_t CASE_SCAN_LIMIT = 16;
// Case values of the function's switches, keyed by switch serial and value.
std::unordered_set<std::uint64_t> case_index;
std::uint32_t switch_serial = 0;
std::vector<Symbol *> case_sort;

std::uint64_t case_key(std::int32_t value)
{
    return static_cast<std::uint64_t>(cases.serial) << 32 | static_cast<std::uint32_t>(value);
}

// Whether the current switch has a case of this value already.
bool is_case_entered(std::int32_t value)
{
    if (!cases.has_entries || value > cases.highest)
        return false;
    if (!cases.indexed && cases.count < CASE_SCAN_LIMIT) {
        for (const Symbol *e = *cases.head; e; e = e->next)
            if (e->sclass == SC_CASE && static_cast<std::int32_t>(e->value) == value)
                return true;
        return false;
    }
    if (!cases.indexed) {
        for (const Symbol *e = *cases.head; e; e = e->next)
            if (e->sclass == SC_CASE)
                case_index.insert(case_key(static_cast<std::int32_t>(e->value)));
        cases.indexed = true;
    }
    return case_index.count(case_key(value)) != 0;
}

// The current switch's entries into ascending signed order, equal values
// in the order they were read.
void sort_cases()
{
    if (!cases.unordered)
        return;
    case_sort.clear();
    for (Symbol *e = *cases.head; e; e = e->next)
        case_sort.push_back(e);
    std::stable_sort(case_sort.begin(), case_sort.end(), [](const Symbol *a, const Symbol *b) {
        return static_cast<std::int32_t>(a->value) < static_cast<std::int32_t>(b->value);
    });
    Symbol **slot = cases.head;
    for (Symbol *e : case_sort) {
        *slot = e;
        slot = &e->next;
    }
    *slot = nullptr;
}

// The output gives a switch's count of cases a half word: one more case
// is an error.
constexpr std::uint32_t MAX_CASES = 0xFFFF;

// Loops that may become counted loops.
struct LoopRecord {
    LoopRecord *outer;
    Symbol *counter;
    std::uint16_t weight;
};
LoopRecord *loops = nullptr;
LoopRecord *free_loop_records = nullptr;  // chained through `outer`

// Assembly texts owned by statements of the current function.
std::vector<char *> asm_texts;

Stmt *single_statement(Stmt *continue_target, Stmt *break_target);

// A message without arguments, kept out of the recursive readers' frames.
[[gnu::noinline]] void report_plain(const char *message) { report(message); }

bool is_plain_variable(const Node *n)
{
    return n && n->op == OP_LEAF && (n->leaf & (LEAF_SYMBOL | LEAF_LVALUE)) == (LEAF_SYMBOL | LEAF_LVALUE) &&
           !(n->flags & NODE_UNION);
}

bool is_nonzero_constant(const Node *n) { return n && is_int_constant(n) && n->value != 0; }
bool is_zero_constant(const Node *n) { return n && is_int_constant(n) && n->value == 0; }

void push_loop(Symbol *counter)
{
    LoopRecord *r = free_loop_records;
    if (r)
        free_loop_records = r->outer;
    else
        r = static_cast<LoopRecord *>(allocate(sizeof(LoopRecord)));
    r->outer = loops;
    r->counter = counter;
    r->weight = 1;
    std::uint16_t distance = 2;
    for (LoopRecord *o = loops; o; o = o->outer, ++distance)
        if (o->weight < distance)
            o->weight = distance;
    loops = r;
}

void pop_loop()
{
    LoopRecord *r = loops;
    loops = r->outer;
    r->outer = free_loop_records;
    free_loop_records = r;
}

void lower_enclosing_weights()
{
    for (LoopRecord *o = loops ? loops->outer : nullptr; o; o = o->outer)
        if (o->weight > 0)
            --o->weight;
}

// The position of the last token read.
void set_end(Stmt *s)
{
    if (const Token *t = current_token) {
        s->end_line = t->line;
        // Without the first-line mark of an #asm block's first token.
        s->end_column = static_cast<std::uint16_t>(t->column & ~COLUMN_ASM_FIRST);
    }
}

[[gnu::noinline]] Symbol *find_label(Name *name)
{
    Symbol *s = find_symbol(name, label_list, nullptr);
    if (!s)
        s = new_symbol(&label_list, name, SC_NONE, nullptr);
    return s;
}

// An expression the statement reads: pending inline calls are expanded
// right after it.
Node *statement_expression(Stmt *s, bool value_used)
{
    Node *e = parse_expression(value_used ? 0 : 1);
    if (e)
        expand_inline_calls(&e, s, value_used);
    return e;
}

// A test: read, made a condition, expanded; the messages name the
// statement. The condition is made first, so that an expansion's sequence
// stays at the top of the test.
Node *read_test(Stmt *s, const char *missing, const char *invalid)
{
    Node *e = parse_expression(0);
    if (!e) {
        if (missing)
            report(missing);
        return nullptr;
    }
    if (!make_condition(&e))
        report(invalid);
    expand_inline_calls(&e, s, true);
    return e;
}

// ---- hoisting of invariant assignments ----

bool local_storage(const Symbol *s)
{
    return s->sclass != SC_NONE && s->sclass != SC_EXTERN && s->sclass != SC_STATIC;
}

// The calls and stores counted so far, taken before a loop and compared
// after it.
struct LoopEffects {
    std::int32_t calls, stores, automatic_stores, indirect_stores;
};
LoopEffects effects_so_far()
{
    return {call_count, memory_store_count, automatic_store_count, indirect_store_count};
}
// What was counted since `before`.
LoopEffects effects_since(const LoopEffects &before)
{
    LoopEffects now = effects_so_far();
    return {now.calls - before.calls, now.stores - before.stores, now.automatic_stores - before.automatic_stores,
            now.indirect_stores - before.indirect_stores};
}

// A named label was read in the function: a goto read later may go back
// to it.
bool label_read = false;

struct LoopFacts {
    std::uint32_t start;  // the loop's start stamp
    bool calls;           // the body makes calls
    bool stores;          // the loop stores to memory (memory_store_count)
    // A load through a pointer may see a store in the loop: to memory, or,
    // in a loop that can be entered again, to a variable whose address
    // code read later may take and bring back into the loop.
    bool pointer_loads_stale;
    // In a loop that can be entered again, a call or a store through a
    // pointer may change an automatic variable whose address code read
    // later takes.
    bool late_addresses;
    const Node *test;     // for: its test
};

// Whether a call or store in the loop may change s without naming it.
bool changed_unnamed(const Symbol *s, const LoopFacts &f)
{
    if (s->sclass == SC_AUTO || s->sclass == SC_ARGUMENT)
        return f.late_addresses;
    return (f.calls || f.stores) && !local_storage(s);
}

bool uses_symbol(const Node *n, const Symbol *s)
{
    // Explicit stack: trees may be deep. Kept from call to call.
    static std::vector<const Node *> work;
    work.assign(1, n);
    while (!work.empty()) {
        const Node *t = work.back();
        work.pop_back();
        if (!t)
            continue;
        if (t->op == OP_LEAF) {
            if ((t->leaf & LEAF_SYMBOL) && t->symbol == s)
                return true;
            continue;
        }
        work.push_back(t->left);
        if (t->op == OP_COND)
            work.push_back(t->value_node);
        if (!is_unary_op(t->op) && t->op != OP_CAST)
            work.push_back(t->right);
    }
    return false;
}

bool hoistable_assignment(const Node *a, const LoopFacts &f);

bool invariant(const Node *n, const LoopFacts &f)
{
    if (!n)
        return true;
    if (n->op == OP_LEAF) {
        if ((n->leaf & (LEAF_SYMBOL | LEAF_LVALUE)) != (LEAF_SYMBOL | LEAF_LVALUE))
            return true;  // a constant, a literal or an address
        const Symbol *s = n->symbol;
        if ((s->attr & ATTR_VOLATILE) || (s->flags & SYM_ADDRESSED) || s->set_seq >= f.start)
            return false;
        // A global or static may be changed by a call, or by a store
        // through a pointer that its own stamp does not see.
        return !changed_unnamed(s, f);
    }
    switch (n->op) {
    case OP_COMMA:
        return invariant(n->left, f) && invariant(n->right, f);
    case OP_ASSIGN:
        return hoistable_assignment(n, f);
    case OP_CALL:
    case OP_SEQ:
    case OP_POSTINC:
    case OP_POSTDEC:
        return false;
    case OP_DEREF:
        if (f.calls || f.pointer_loads_stale ||
            (n->left->type->kind == KIND_POINTER && (n->left->type->attr & ATTR_VOLATILE)))
            return false;
        return invariant(n->left, f);
    default:
        break;
    }
    if (is_compound_assign_op(n->op) || n->op == OP_ARG)
        return false;
    if (!invariant(n->left, f))
        return false;
    if (n->op == OP_COND && !invariant(n->value_node, f))
        return false;
    if (!is_unary_op(n->op) && n->op != OP_CAST && !invariant(n->right, f))
        return false;
    return true;
}

bool hoistable_assignment(const Node *a, const LoopFacts &f)
{
    if (a->op != OP_ASSIGN || !is_plain_variable(a->left))
        return false;
    const Symbol *s = a->left->symbol;
    if ((s->attr & ATTR_VOLATILE) || (s->flags & SYM_ADDRESSED))
        return false;
    if (s->decl_seq >= f.start || s->prev_set_seq >= f.start)
        return false;
    if (f.test && uses_symbol(f.test, s))
        return false;
    if (changed_unnamed(s, f))
        return false;
    return invariant(a->right, f);
}

// Assignments joined by commas, every one hoistable.
bool hoistable_expression(const Node *e, const LoopFacts &f)
{
    if (!e)
        return false;
    if (e->op == OP_COMMA)
        return hoistable_expression(e->left, f) && hoistable_expression(e->right, f);
    return hoistable_assignment(e, f);
}

void lower_refs(Symbol *s, unsigned by) { s->refs = static_cast<std::uint16_t>(s->refs > by ? s->refs - by : 0); }

// What moving a value out of the loop takes from the counters: two
// references of each variable it reads, one operator count per operator.
void uncount_value(const Node *n)
{
    if (!n)
        return;
    if (n->op == OP_LEAF) {
        if (n->leaf & LEAF_SYMBOL)
            lower_refs(n->symbol, 2);
        return;
    }
    --operator_count;
    uncount_value(n->left);
    if (n->op == OP_COND)
        uncount_value(n->value_node);
    if (!is_unary_op(n->op) && n->op != OP_CAST)
        uncount_value(n->right);
}

void uncount_moved(const Node *e, std::uint32_t start)
{
    if (e->op == OP_COMMA) {
        uncount_moved(e->left, start);
        uncount_moved(e->right, start);
        return;
    }
    Symbol *s = e->left->symbol;
    s->set_seq = start - 1;
    lower_refs(s, 2);
    --operator_count;
    uncount_value(e->right);
}

// Break and continue statements of a moved loop body follow the loop.
// Every pointer queued is the head of a statement list (a single
// statement is a list of one).
void retarget(Stmt *s, const Stmt *from, Stmt *to)
{
    static std::vector<Stmt *> work;
    work.assign(1, s);
    while (!work.empty()) {
        Stmt *t = work.back();
        work.pop_back();
        for (; t; t = t->next) {
            switch (t->kind) {
            case STMT_BREAK:
            case STMT_CONTINUE:
                if (t->body == from)
                    t->body = to;
                break;
            case STMT_IF:
                work.push_back(t->other);
                work.push_back(t->body);
                break;
            case STMT_BLOCK:
            case STMT_WHILE:
            case STMT_DO:
            case STMT_FOR:
            case STMT_SWITCH:
            case STMT_COUNTED:
                work.push_back(t->body);
                break;
            default:
                break;
            }
        }
    }
}

// An empty statement standing for a loop body whose statement was moved
// out, at the loop's end.
Stmt *empty_body(const Stmt *loop)
{
    Stmt *e = new_stmt(STMT_EXPR);
    e->line = e->end_line = loop->end_line;
    e->column = e->end_column = loop->end_column;
    return e;
}

// The leading statements of a loop body that can run once before the loop.
// Returns the new statement to stand in the loop's place (the loop itself,
// or for a do loop with something moved, a block around it). `effects`
// holds what the loop counted. `enclosed` tells that the loop is inside another
// loop: that loop, or a goto back to a label read before this loop ends,
// runs it again after code not read yet, which may take the address of a
// variable that this loop stores to or reads.
Stmt *hoist_invariants(Stmt *loop, std::uint32_t start, const LoopEffects &effects, bool enclosed)
{
    bool again = enclosed || label_read;
    bool calls = effects.calls != 0, stores = effects.stores != 0;
    LoopFacts f{start,
                calls,
                stores,
                stores || (again && effects.automatic_stores != 0),
                again && (calls || effects.indirect_stores != 0),
                loop->kind == STMT_FOR ? loop->expr : nullptr};
    Stmt *body = loop->body;
    if (!body)
        return loop;
    bool block = body->kind == STMT_BLOCK;
    Stmt *first = block ? body->body : body;
    Stmt *taken = nullptr, **taken_tail = &taken;
    // Each statement taken counts as outside the loop for the ones after it.
    Stmt *s = first;
    while (s && s->kind == STMT_EXPR && !s->label_no && !(s->flags & (STMT_LABELLED | STMT_CASE_LABEL)) &&
           hoistable_expression(s->expr, f)) {
        Stmt *next = s->next;
        *taken_tail = s;
        taken_tail = &s->next;
        s->next = nullptr;
        uncount_moved(s->expr, start);
        s = next;
        if (!block)
            break;
    }
    if (!taken)
        return loop;
    if (block)
        body->body = s;
    else
        loop->body = nullptr;
    if (loop->kind == STMT_FOR) {
        // An initialization that expanded inline calls keeps its
        // sequence on top: the moved assignments join what follows its
        // statements.
        Node **init = &loop->init;
        if (*init && (*init)->op == OP_SEQ)
            init = &(*init)->right;
        for (Stmt *t = taken; t; t = t->next) {
            if (!*init) {
                *init = t->expr;
                continue;
            }
            Node *comma = new_node(OP_COMMA);
            comma->left = *init;
            comma->right = t->expr;
            comma->type = t->expr->type;
            comma->value = 0;
            *init = comma;
        }
        if (init != &loop->init)
            loop->init->type = (*init)->type;
        if (!loop->body)
            loop->body = empty_body(loop);
        return loop;
    }
    // A do loop: the record keeps the loop's place (and its labels) and
    // becomes the block; the loop goes on in a new record behind the moved
    // statements.
    Stmt *rest = new_stmt(STMT_DO);
    Stmt *link = rest->link;
    std::memcpy(rest, loop, sizeof *rest);
    rest->link = link;
    rest->next = nullptr;
    rest->label_no = 0;
    rest->flags &= static_cast<std::uint16_t>(~(STMT_CASE_LABEL | STMT_LABELLED));
    if (!rest->body)
        rest->body = empty_body(loop);
    retarget(rest->body, loop, rest);
    *taken_tail = rest;
    loop->kind = STMT_BLOCK;
    loop->body = taken;
    loop->expr = nullptr;
    loop->locals = nullptr;
    loop->other = nullptr;
    loop->flags &= static_cast<std::uint16_t>(STMT_CASE_LABEL | STMT_LABELLED | STMT_NO_FALL);
    *function.blocks_tail = loop;
    function.blocks_tail = &loop->other;
    return loop;
}

// ---- the counted-loop step ----

// +=, -=, ++ or -- of the constant 1 applied to a plain integer variable:
// the variable.
Symbol *loop_counter(const Node *step)
{
    if (!step)
        return nullptr;
    unsigned op = step->op;
    if (op != OP_ADDASG && op != OP_SUBASG && op != OP_POSTINC && op != OP_POSTDEC)
        return nullptr;
    if (!is_plain_variable(step->left) || !is_integer_kind(step->left->type->kind))
        return nullptr;
    if (!is_int_constant(step->right) || step->right->value != 1)
        return nullptr;
    return step->left->symbol;
}

// What a loop body may hold that the counted-loop conversion must know:
// taken before the body and compared after it.
struct BodyMarks {
    Stmt *switches;       // the function's newest switch
    std::uint32_t expansions;  // inline expansions made so far
    Symbol **case_head;   // the enclosing switch's table
    std::uint32_t cases;  // and its entries
    bool has_default;
};

BodyMarks body_marks() { return {function.switches, expansion_count, cases.head, cases.count, cases.has_default}; }

// After the body of a for loop whose increment gave a counter.
void counted_loop_step(Stmt *loop, LoopRecord *record, std::uint32_t body_stamp, std::int32_t body_operators,
                       std::uint32_t start, bool calls, const BodyMarks &marks)
{
    Symbol *counter = record->counter;
    bool converted = false;
    // A case label of an enclosing switch inside the body is a way into
    // the middle of the loop, past the start that takes the count.
    bool entered = cases.head && cases.head == marks.case_head &&
                   (cases.count != marks.cases || cases.has_default != marks.has_default);
    if (!(loop->body && (loop->body->flags & (STMT_LABELLED | STMT_CASE_LABEL)))) {
        if (counter->use_seq >= body_stamp)
            loop->flags |= STMT_COUNTER_USED;
        if (counter->set_seq >= body_stamp)
            loop->flags |= STMT_COUNTER_SET;
        // A switch in the body has case labels that a second copy would
        // define again, and so has an inline expansion its return label.
        bool copyable = function.switches == marks.switches && expansion_count == marks.expansions;
        if (!calls && !entered)
            converted = convert_counted_loop(loop, record->weight, body_operators, start, loop_depth, copyable) &&
                        loop->kind == STMT_COUNTED;
    }
    if (converted) {
        lower_refs(counter, static_cast<unsigned>(2 * loop_depth + 1));
        // The final value assignment behind the loop still stores to the
        // counter: without storage it would store to nothing.
        bool final_store = !loop->step && loop->next;
        if (counter->refs == 0 && !final_store)
            counter->flags &= ~SYM_USED;
        if (loop->flags & STMT_UNROLL) {
            std::int64_t copies = loop->expr->value;
            std::int64_t cost = body_operators > 0 ? body_operators : 1;
            std::int64_t grown = operator_count + (copies - 1) * cost;
            operator_count = static_cast<std::int32_t>(grown < INT32_MAX ? grown : INT32_MAX);
        }
    }
    if (!converted || (loop->flags & STMT_UNROLL))
        lower_enclosing_weights();
}

// ---- the while-to-for conversion ----

// The last statement of a loop body and the slot that holds it.
Stmt **last_statement_slot(Stmt **body)
{
    if (!*body)
        return nullptr;
    if ((*body)->kind != STMT_BLOCK)
        return body;
    Stmt **slot = &(*body)->body;
    if (!*slot)
        return nullptr;
    while ((*slot)->next)
        slot = &(*slot)->next;
    return slot;
}

bool while_to_for(Stmt *loop, Stmt *previous, bool labelled)
{
    // A continue would run the moved increment, which in the while loop it
    // skips; and a jump to a label on the loop would run the moved
    // assignment, which it passes by in the while loop.
    if (labelled || (loop->flags & STMT_CONTINUED))
        return false;
    Node *init = previous->expr;
    if (!init || init->op != OP_ASSIGN)
        return false;
    Stmt **slot = last_statement_slot(&loop->body);
    if (!slot)
        return false;
    Stmt *last = *slot;
    if (last->kind != STMT_EXPR || !last->expr || last->label_no ||
        (last->flags & (STMT_LABELLED | STMT_CASE_LABEL)))
        return false;
    Node *step = last->expr;
    if ((step->op != OP_ADDASG && step->op != OP_SUBASG) || !same_tree(step->left, init->left, false))
        return false;
    loop->init = init;
    previous->expr = nullptr;
    loop->step = step;
    if (slot == &loop->body)
        last->expr = nullptr;  // the body was the increment alone: it stays empty
    else
        *slot = nullptr;
    loop->kind = STMT_FOR;
    loop->line = previous->line;
    loop->column = previous->column;
    loop->line2 = previous->end_line;
    loop->column2 = previous->end_column;
    loop->line3 = last->line;
    loop->column3 = static_cast<std::uint16_t>(last->column ? last->column - 1 : 0);
    return true;
}

// ---- statement forms ----

constexpr std::uint16_t KW_BREAK = 129, KW_CASE = 130, KW_CONTINUE = 133, KW_DEFAULT = 134, KW_DO = 135,
                        KW_ELSE = 137, KW_FOR = 141, KW_GOTO = 142, KW_IF = 143, KW_RETURN = 147,
                        KW_SWITCH = 153, KW_WHILE = 159;

// Everything up to and with the next `;` is passed over.
[[gnu::noinline]] void skip_to_semicolon()
{
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_SEMICOLON)
            return;
        if (t->code == TK_END) {
            push_back_token();
            return;
        }
        release_token_value(t);
    }
}

// Past the nesting limit a statement is passed over whole: up to its `;`,
// or its block with every block inside it.
[[gnu::noinline]] void skip_statement()
{
    std::int32_t depth = 0;
    for (;;) {
        Token *t = next_token();
        switch (t->code) {
        case TK_END:
            push_back_token();
            return;
        case TK_LBRACE:
            ++depth;
            break;
        case TK_RBRACE:
            if (depth == 0) {
                push_back_token();
                return;
            }
            if (--depth == 0)
                return;
            break;
        case TK_SEMICOLON:
            if (depth == 0)
                return;
            break;
        default:
            release_token_value(t);
            break;
        }
    }
}

[[gnu::noinline]] bool starts_declaration(const Token *t)
{
    switch (t->code) {
    case 128: case 131: case 132: case 136: case 138: case 139: case 140: case 144: case 145:
    case 146: case 148: case 149: case 151: case 152: case 154: case 155: case 156: case 157:
    case 158:
    case TK_AT:
        return true;
    case TK_IDENT: {
        Symbol *s = find_symbol(reinterpret_cast<const Name *>(t->value), ident_list, nullptr);
        return s && s->sclass == SC_TYPEDEF;
    }
    default:
        return false;
    }
}

[[gnu::noinline]] Stmt *if_statement(Stmt *s, Stmt *continue_target, Stmt *break_target)
{
    s->kind = STMT_IF;
    expect(TK_LPAREN);
    s->expr = read_test(s, "missing if test expression", "invalid if test type");
    expect(TK_RPAREN);
    Node *before = known_values_mark();
    s->body = single_statement(continue_target, break_target);
    Node *after_then = known_values_mark();
    Node *after_else = before;
    if (next_token()->code == KW_ELSE) {
        restore_known_values(before);
        s->other = single_statement(continue_target, break_target);
        after_else = known_values_mark();
    } else {
        push_back_token();
        s->other = nullptr;
    }
    if (is_nonzero_constant(s->expr))
        restore_known_values(after_then);
    else if (is_zero_constant(s->expr))
        restore_known_values(after_else);
    else if (after_else == after_then)
        restore_known_values(after_then);
    else
        forget_known_values();
    if (s->other && (s->body->flags & STMT_NO_FALL) && (s->other->flags & STMT_NO_FALL))
        s->flags |= STMT_NO_FALL;
    if ((s->body->flags & STMT_LABELLED) || (s->other && (s->other->flags & STMT_LABELLED)))
        s->flags |= STMT_LABELLED;
    return s;
}

// A statement read where one statement stands (a branch, a loop or switch
// body) that brought others behind it (a counted loop's final value
// assignment) becomes a block of them, so that none is lost.
Stmt *single_statement(Stmt *continue_target, Stmt *break_target)
{
    Stmt *s = parse_statement(continue_target, break_target, nullptr);
    if (!s->next)
        return s;
    Stmt *block = new_stmt(STMT_BLOCK);
    Stmt *last = s;
    while (last->next)
        last = last->next;
    block->body = s;
    block->locals = nullptr;
    block->other = nullptr;
    block->source = s->source;
    block->file_name = s->file_name;
    block->line = s->line;
    block->column = s->column;
    block->end_line = last->end_line;
    block->end_column = last->end_column;
    block->flags = static_cast<std::uint16_t>(s->flags & STMT_LABELLED);
    *function.blocks_tail = block;
    function.blocks_tail = &block->other;
    return block;
}

bool leaves(const Stmt *loop) { return loop->flags & (STMT_BROKEN | STMT_GOTO_INSIDE); }

[[gnu::noinline]] Stmt *while_statement(Stmt *s, Stmt *previous)
{
    s->kind = STMT_WHILE;
    bool labelled = s->label_no != 0;  // a case or a named label on the loop itself
    ++loop_depth;
    forget_known_values();
    expect(TK_LPAREN);
    std::uint32_t start = ++sequence_counter;
    LoopEffects before = effects_so_far();
    s->expr = read_test(s, "missing while test expression", "invalid while test type");
    expect(TK_RPAREN);
    bool candidate = previous && previous->kind == STMT_EXPR;
    if (candidate)
        push_loop(nullptr);
    // A stamp of its own: what the body uses or assigns comes after it,
    // what the test and the increment did before.
    std::uint32_t body_stamp = ++sequence_counter;
    std::int32_t operators = operator_count;
    BodyMarks marks = body_marks();
    s->body = single_statement(s, s);
    set_end(s);
    LoopEffects body = effects_since(before);
    bool body_calls = body.calls != 0;
    bool counted = false;
    if (candidate) {
        if (while_to_for(s, previous, labelled)) {
            if (s->init && loop_test(s->init, s->expr) == 2)
                s = hoist_invariants(s, start, body, loop_depth > 1);
            if (Symbol *counter = loop_counter(s->step)) {
                loops->counter = counter;
                counted_loop_step(s, loops, body_stamp, operator_count - operators, start, body_calls, marks);
                counted = true;
            }
        }
        if (!counted)
            lower_enclosing_weights();
        pop_loop();
    }
    if (s->body && (s->body->flags & STMT_LABELLED))
        s->flags |= STMT_LABELLED;
    --loop_depth;
    if (is_nonzero_constant(s->expr) && !leaves(s) && s->kind == STMT_WHILE)
        s->flags |= STMT_NO_FALL;
    else if (s->kind == STMT_FOR && (!s->expr || is_nonzero_constant(s->expr)) && !leaves(s))
        s->flags |= STMT_NO_FALL;
    forget_known_values();
    record_unrolled_final_value(s);
    return s;
}

[[gnu::noinline]] Stmt *do_statement(Stmt *s)
{
    s->kind = STMT_DO;
    ++loop_depth;
    forget_known_values();
    std::uint32_t start = sequence_counter;
    LoopEffects before = effects_so_far();
    s->body = single_statement(s, s);
    expect(KW_WHILE);
    Token *open = expect(TK_LPAREN);
    s->line2 = open->line;
    s->column2 = open->column;
    s->expr = parse_expression(0);
    if (!s->expr)
        report_plain("missing do test expression");
    else if (!make_condition(&s->expr))
        report_plain("invalid do test type");
    if (is_nonzero_constant(s->expr) && !leaves(s))
        s->flags |= STMT_NO_FALL;
    expect(TK_RPAREN);
    if (s->expr)
        expand_inline_calls(&s->expr, s, true);
    // The test runs on every trip: what it calls or stores counts with
    // the body.
    LoopEffects body = effects_since(before);
    if (s->body && (s->body->flags & STMT_LABELLED))
        s->flags |= STMT_LABELLED;
    --loop_depth;
    expect(TK_SEMICOLON);
    set_end(s);
    Stmt *result = s;
    if (!is_zero_constant(s->expr))
        result = hoist_invariants(s, start, body, loop_depth > 0);
    forget_known_values();
    return result;
}

[[gnu::noinline]] Stmt *for_statement(Stmt *s)
{
    s->kind = STMT_FOR;
    expect(TK_LPAREN);
    s->init = statement_expression(s, false);
    Token *t = expect(TK_SEMICOLON);
    s->line2 = t->line;
    s->column2 = t->column;
    forget_known_values();
    ++loop_depth;
    std::uint32_t start = ++sequence_counter;
    LoopEffects before = effects_so_far();
    s->expr = parse_expression(0);
    if (s->expr) {
        if (!make_condition(&s->expr))
            report_plain("invalid for test type");
        expand_inline_calls(&s->expr, s, true);
    }
    t = expect(TK_SEMICOLON);
    s->line3 = t->line;
    s->column3 = t->column;
    s->step = statement_expression(s, false);
    expect(TK_RPAREN);
    Symbol *counter = loop_counter(s->step);
    if (counter)
        push_loop(counter);
    // A stamp of its own: what the body uses or assigns comes after it,
    // what the test and the increment did before.
    std::uint32_t body_stamp = ++sequence_counter;
    std::int32_t operators = operator_count;
    BodyMarks marks = body_marks();
    s->body = single_statement(s, s);
    set_end(s);
    LoopEffects body = effects_since(before);
    bool body_calls = body.calls != 0;
    if (s->body->flags & STMT_LABELLED)
        s->flags |= STMT_LABELLED;
    if (s->init && s->expr && loop_test(s->init, s->expr) == 2)
        s = hoist_invariants(s, start, body, loop_depth > 1);
    if (counter) {
        counted_loop_step(s, loops, body_stamp, operator_count - operators, start, body_calls, marks);
        pop_loop();
    }
    if ((!s->expr || is_nonzero_constant(s->expr)) && !leaves(s) && s->kind == STMT_FOR)
        s->flags |= STMT_NO_FALL;
    --loop_depth;
    forget_known_values();
    record_unrolled_final_value(s);
    return s;
}

[[gnu::noinline]] void return_statement(Stmt *s)
{
    s->kind = STMT_RETURN;
    Type *result = function.result;
    bool is_void = !result || result->kind == KIND_VOID;
    Node *e = parse_expression(0);
    if (!e) {
        if (!is_void) {
            if (c99_mode)
                report("missing return expression");
            else if (check_level != 0)
                report("W6missing return expression");
        }
    } else {
        if (e->type->kind == KIND_ARRAY || e->type->kind == KIND_FUNCTION)
            decay(e);
        if (is_void) {
            report("unexpected return expression");
        } else if (is_struct_or_union_kind(result->kind)) {
            if (!types_compatible(result, e->type))
                report("bad structure for return");
        } else if (!(result->kind == KIND_POINTER && is_zero_constant(e)) && !assign_compatible(result, e->type)) {
            report("incompatible return type");
        }
        if (!is_void) {
            if (check_level != 0)
                range_check(OP_ASSIGN, result, e);
            e = convert_to(e, result);
        }
        Node *call = e;
        while (call->op == OP_CAST)
            call = call->left;
        // A call returned from an inline body is no tail call of the
        // function it is expanded into, and a call of an inline function
        // is no call once expanded.
        const Node *callee = call->op == OP_CALL ? call->left : nullptr;
        bool expanded = callee && callee->op == OP_LEAF && (callee->leaf & LEAF_SYMBOL) &&
                        (callee->symbol->attr & ATTR_INLINE) && callee->symbol->inline_body;
        if (!current_expansion && !expanded && call->op == OP_CALL && !(call->flags & NODE_CALL_COUNTED)) {
            call->flags |= NODE_CALL_COUNTED;
            ++function.tail_calls;
            ++tail_call_count;
        }
    }
    expect(TK_SEMICOLON);
    if (current_expansion) {
        inline_return(s, e);
        return;
    }
    if (e)
        expand_inline_calls(&e, s, true);
    s->expr = e;
    s->flags |= STMT_NO_FALL;
}

[[gnu::noinline]] Stmt *switch_statement(Stmt *s, Stmt *continue_target)
{
    s->kind = STMT_SWITCH;
    s->next_switch = function.switches;
    function.switches = s;
    expect(TK_LPAREN);
    s->expr = parse_expression(0);
    if (!s->expr) {
        report_plain("missing switch test expression");
    } else {
        if (s->expr->type->kind >= 0x4C)
            report_plain("invalid switch test type");
        if (s->expr->op == OP_LEAF)
            fetch_value(&s->expr);
        expand_inline_calls(&s->expr, s, true);
    }
    expect(TK_RPAREN);
    CaseTable saved = cases;
    s->cases = nullptr;
    cases = CaseTable{};
    cases.head = cases.tail = &s->cases;
    cases.serial = ++switch_serial;
    cases.conversion = case_conversion(s->expr ? s->expr->type : nullptr);
    s->body = single_statement(continue_target, s);
    if (s->body->flags & STMT_LABELLED)
        s->flags |= STMT_LABELLED;
    forget_known_values();
    if (check_level != 0) {
        Stmt *first = s->body->kind == STMT_BLOCK ? s->body->body : s->body;
        if (first && !(first->flags & (STMT_CASE_LABEL | STMT_LABELLED)))
            report_at(first->line, first->column, "W4unreachable code");
    }
    sort_cases();
    cases = saved;
    return s;
}

[[gnu::noinline]] void assembly_statement(Stmt *s, Token *t)
{
    s->kind = STMT_ASM;
    Stmt **tail = &s->body;
    *tail = nullptr;
    bool first = true;
    for (;; first = false) {
        if (!first) {
            t = next_token();
            if (t->code != TK_ASM || (t->column & COLUMN_ASM_FIRST)) {
                push_back_token();
                break;
            }
        }
        if (t->length == 0) {
            release_token_value(t);
            continue;
        }
        Stmt *line = new_stmt(STMT_ASM);
        line->asm_text = reinterpret_cast<char *>(t->value);
        line->asm_length = t->length;
        t->value = 0;  // the statement owns the text now
        asm_texts.push_back(line->asm_text);
        line->line = line->end_line = t->line;
        line->column = static_cast<std::uint16_t>(t->column & ~COLUMN_ASM_FIRST);
        line->end_column = static_cast<std::uint16_t>(line->column + t->length - 1);
        *tail = line;
        tail = &line->next;
    }
    ++operator_count;
    ++memory_store_count;  // assembly may store anywhere
}

}  // namespace

Stmt *new_stmt(std::uint8_t kind)
{
    Stmt *s = static_cast<Stmt *>(pool_take(&stmt_pool, true));
    Stmt *link = s->link;
    std::memset(s, 0, sizeof *s);
    s->link = link;
    s->kind = kind;
    s->source = current_file;
    s->file_name = current_file_name();
    return s;
}

void add_case(std::uint8_t kind, std::int32_t value, Stmt *stmt)
{
    const char *what = kind == SC_CASE ? "case" : "default";
    if (!cases.head) {
        report("invalid %s", 0, what);
        return;
    }
    if (kind == SC_DEFAULT ? cases.has_default : is_case_entered(value)) {
        report("duplicate %s", 0, what);
        return;
    }
    if (kind == SC_CASE && ++cases.count > MAX_CASES) {
        if (cases.count == MAX_CASES + 1)
            report("too many cases in switch");
        return;
    }
    Symbol *entry = new_symbol(cases.tail, nullptr, kind, nullptr);
    cases.tail = &entry->next;
    entry->value = static_cast<std::uint32_t>(value);
    entry->statement = stmt;
    stmt->flags |= STMT_CASE_LABEL;
    if (kind == SC_DEFAULT)
        cases.has_default = true;
    else if (cases.indexed)
        case_index.insert(case_key(value));
    if (cases.has_entries && value < cases.highest)
        cases.unordered = true;
    if (!cases.has_entries || value > cases.highest)
        cases.highest = value;
    cases.has_entries = true;
}

namespace {

Stmt *read_statement(Stmt *continue_target, Stmt *break_target, Stmt *previous);

}  // namespace

// Statements nest through blocks, branches and loop bodies: the depth
// counts toward the parser's nesting limit.
Stmt *parse_statement(Stmt *continue_target, Stmt *break_target, Stmt *previous)
{
    if (!enter_nesting_quietly()) {
        Token *t = next_token();
        push_back_token();
        Stmt *s = new_stmt(STMT_EXPR);
        s->line = t->line;
        s->column = t->column;
        report_plain("statement nested too deeply");
        skip_statement();
        set_end(s);
        return s;
    }
    Stmt *s = read_statement(continue_target, break_target, previous);
    leave_nesting();
    return s;
}

namespace {

[[gnu::noinline]] void jump_statement(Stmt *s, std::uint8_t kind, Stmt *target)
{
    s->kind = kind;
    if (target) {
        s->body = target;
        target->flags |= kind == STMT_BREAK ? STMT_BROKEN : STMT_CONTINUED;
    } else {
        report(kind == STMT_BREAK ? "invalid break" : "invalid continue");
    }
    expect(TK_SEMICOLON);
    s->flags |= STMT_NO_FALL;
}

[[gnu::noinline]] void expression_statement(Stmt *s)
{
    s->expr = statement_expression(s, false);
    resync_code = TK_END;
    expect(TK_SEMICOLON);
    resync_code = 0;
}

[[gnu::noinline]] void goto_statement(Stmt *s, Stmt *continue_target)
{
    s->kind = STMT_GOTO;
    Token *name = next_token();
    if (name->code == TK_IDENT) {
        Symbol *l = find_label(reinterpret_cast<Name *>(name->value));
        l->flags |= SYM_USED;
        s->label = l;
    } else {
        push_back_token();
        report("missing goto label");
    }
    expect(TK_SEMICOLON);
    s->flags |= STMT_NO_FALL;
    if (continue_target)
        continue_target->flags |= STMT_GOTO_INSIDE;
}

// The labels in front of a statement: the token after them.
[[gnu::noinline]] Token *read_labels(Stmt *s, Token *t)
{
    for (;;) {
        bool label = false;
        if (t->code == KW_CASE) {
            std::int32_t value = 0;
            parse_constant(&value, 1);
            add_case(SC_CASE, converted_case_value(value), s);
            expect(TK_COLON);
            label = true;
        } else if (t->code == KW_DEFAULT) {
            add_case(SC_DEFAULT, 0, s);
            expect(TK_COLON);
            label = true;
        } else if (t->code == TK_IDENT) {
            auto *name = reinterpret_cast<Name *>(t->value);
            if (next_token()->code == TK_COLON) {
                Symbol *l = find_label(name);
                if (l->flags & SYM_DECLARED) {
                    report("redefined label %.*s", name->length, name->chars);
                } else {
                    l->flags |= SYM_DECLARED;
                    l->statement = s;
                }
                s->flags |= STMT_LABELLED;
                label_read = true;
                label = true;
            } else {
                push_back_token();
            }
        }
        if (!label)
            break;
        if (!s->label_no)
            s->label_no = new_label();
        forget_known_values();
        t = next_token();
    }

    return t;
}

Stmt *read_statement(Stmt *continue_target, Stmt *break_target, Stmt *previous)
{
    Token *t = next_token();
    Stmt *s = new_stmt(STMT_EXPR);
    s->line = t->line;
    s->column = static_cast<std::uint16_t>(t->column & ~COLUMN_ASM_FIRST);

    t = read_labels(s, t);

    switch (t->code) {
    case TK_LBRACE:
        s->kind = STMT_BLOCK;
        parse_block(continue_target, break_target, s);
        return s;
    case TK_ASM:
        assembly_statement(s, t);
        break;
    case KW_BREAK:
        jump_statement(s, STMT_BREAK, break_target);
        break;
    case KW_CONTINUE:
        jump_statement(s, STMT_CONTINUE, continue_target);
        break;
    case KW_GOTO:
        goto_statement(s, continue_target);
        break;
    case KW_IF:
        s = if_statement(s, continue_target, break_target);
        break;
    case KW_ELSE:
        report_plain("unexpected else statement");
        break;
    case KW_WHILE:
        s = while_statement(s, previous);
        break;
    case KW_DO:
        s = do_statement(s);
        break;
    case KW_FOR:
        s = for_statement(s);
        break;
    case KW_RETURN:
        return_statement(s);
        break;
    case KW_SWITCH:
        s = switch_statement(s, continue_target);
        break;
    case TK_SEMICOLON:
        break;  // the empty statement
    default:
        if (starts_declaration(t)) {
            if (!c99_mode) {
                report_plain("misplaced local declaration");
                skip_to_semicolon();
                break;
            }
            push_back_token();
            // Under -c99 the declaration opens a block that runs to the end
            // of the enclosing one.
            parse_rest_as_block(continue_target, break_target, s);
            return s;
        }
        push_back_token();
        expression_statement(s);
        break;
    }
    set_end(s);
    return s;
}

}  // namespace

void statements_begin_function()
{
    label_read = false;
    cases = CaseTable{};
    if (!case_index.empty())
        std::unordered_set<std::uint64_t>().swap(case_index);  // its buckets too
    switch_serial = 0;
    while (loops)
        pop_loop();
    function.blocks = nullptr;
    function.blocks_tail = &function.blocks;
    function.switches = nullptr;
    function.retired_cases = nullptr;
    function.tail_calls = 0;
}

void end_function_statements()
{
    for (char *text : asm_texts)
        release(text);
    asm_texts.clear();
    pool_end_generation(&stmt_pool);
}

void statements_reset()
{
    end_function_statements();
    pool_reset(&stmt_pool);
    while (loops)
        pop_loop();
    while (LoopRecord *r = free_loop_records) {
        free_loop_records = r->outer;
        release(r);
    }
    label_read = false;
    cases = CaseTable{};
    std::unordered_set<std::uint64_t>().swap(case_index);
    switch_serial = 0;
    tail_call_count = 0;
    function = FunctionState{};
    function_body_hook = nullptr;
}
