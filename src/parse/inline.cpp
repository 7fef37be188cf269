// Inline functions: a call of an @inline function whose body was recorded
// is replaced by the body itself, parsed again from its tokens in place of
// the call. The statements of an expansion run before what remains of the
// expression; the value comes back through a return target, the object the
// body's returns assign.
#include "parse/inline.h"

#include <cstdio>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/records.h"
#include "parse/parse.h"
#include "parse/statement.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

InlineExpansion *current_expansion = nullptr;
std::uint32_t expansion_count = 0;

namespace {

constexpr unsigned VALUE_USED = 1;   // the value of the expression is used
constexpr unsigned CONDITIONAL = 2;  // it may not run: nothing may leave it

// One expansion nests the parse of a whole body in the parse of the call:
// it counts for many levels of the parser's nesting limit, so that chains
// of inline functions calling each other stop with a message, long before
// the stack is in danger.
constexpr std::int32_t EXPANSION_NESTING_WEIGHT = 100;
// What the body's own parse may still nest when an expansion is allowed:
// the deepest allowed expansion stops at its own message, not at the
// parser's inside the body.
constexpr std::int32_t EXPANSION_NESTING_RESERVE = 2000;

// The nesting of expand_inline_calls(): statements of a body are expanded
// inside the expansion of the statement that called it.
std::int32_t expanding = 0;
// Temporaries taken by the statement being expanded; free again once the
// outermost expansion is done.
std::vector<Symbol *> busy_temps;
// Locals of the functions and bodies around an expansion, hidden while its
// body is read: the body's names are those of its definition.
std::vector<Symbol *> hidden_locals;
// Recorded bodies, freed when the unit is done.
std::vector<RecordedToken *> recorded_bodies;

struct Expander {
    Node *seq;              // collects the statements that run first
    const Stmt *from;       // the statement being expanded (positions)
};

Node *temp_of(Type *type)
{
    Node *leaf = new_temp(type);
    busy_temps.push_back(leaf->symbol);
    return leaf;
}

// A statement made by the expansion, standing where the expanded one does.
Stmt *made_statement(std::uint8_t kind, const Expander &x)
{
    Stmt *s = new_stmt(kind);
    if (const Stmt *from = x.from) {
        s->line = s->end_line = from->line;
        s->column = s->end_column = from->column;
        s->source = from->source;
        s->file_name = from->file_name;
    } else if (current_token) {
        s->line = s->end_line = current_token->line;
        s->column = s->end_column = current_token->column;
    }
    return s;
}

Node *assignment(Node *target, Node *value)
{
    if (type_size(value->type) > type_size(target->type))
        value = convert_to(value, target->type);
    Node *n = new_node(OP_ASSIGN);
    n->left = target;
    n->right = value;
    n->value = 0;
    n->type = target->type;
    return check_binary(n);
}

bool has_effects(const Node *n) { return !same_tree(n, n, true); }

Symbol *inline_callee(const Node *call)
{
    if (!call || call->op != OP_CALL)
        return nullptr;
    const Node *f = call->left;
    if (!f || f->op != OP_LEAF || !(f->leaf & LEAF_SYMBOL))
        return nullptr;
    Symbol *s = f->symbol;
    return (s->attr & ATTR_INLINE) && s->inline_body ? s : nullptr;
}

bool expand_calls(Node **slot, Expander &x, unsigned mode);
void expand_expression(Node **slot, const Stmt *from, bool value_used);

// The arguments of a call, each in its own slot of the chain.
bool expand_arguments(Node *call, Expander &x, unsigned mode)
{
    for (Node **arg = &call->right; *arg;) {
        if ((*arg)->op != OP_ARG)
            return expand_calls(arg, x, mode | VALUE_USED);
        if (!expand_calls(&(*arg)->left, x, mode | VALUE_USED))
            return false;
        arg = &(*arg)->right;
    }
    return true;
}

void hide_enclosing_locals()
{
    for (Symbol *s = ident_list; s && s->scope_level > 0; s = s->next) {
        if (!(s->flags & SYM_HIDDEN)) {
            s->flags |= SYM_HIDDEN;
            hidden_locals.push_back(s);
        }
    }
}

void show_hidden_locals(std::size_t from)
{
    for (std::size_t i = from; i < hidden_locals.size(); ++i)
        hidden_locals[i]->flags &= ~SYM_HIDDEN;
    hidden_locals.resize(from);
}

// The body of `callee` read in place of `call`; its value goes to
// `target`.
[[gnu::noinline]] Stmt *read_body(Symbol *callee, Node *call, Node *target)
{
    std::vector<Node *> args;
    for (Node *a = call->right; a;) {
        if (a->op != OP_ARG) {
            args.push_back(a);
            break;
        }
        args.push_back(a->left);
        a = a->right;
    }
    char name[32];
    int length = std::snprintf(name, sizeof name, ".return_%u.", static_cast<unsigned>(++expansion_count));

    InlineExpansion e{};
    e.outer = current_expansion;
    e.function = callee;
    e.arguments = args.data();
    e.argument_count = static_cast<std::uint32_t>(args.size());
    e.return_label = intern_name(name, static_cast<std::size_t>(length));
    e.target = target;

    Type *saved_result = function.result;
    Symbol *saved_labels = label_list;
    label_list = nullptr;
    function.result = callee->type->of;
    callee->flags |= SYM_INLINE_BUSY;
    std::size_t hidden_from = hidden_locals.size();
    hide_enclosing_locals();
    // The body runs before the rest of the statement that was read
    // already: what that statement stored is not known inside it.
    forget_known_values();

    ReplayMark mark;
    begin_nested_replay(callee->inline_body, &mark);
    Token *brace = next_token();
    Stmt *block = new_stmt(STMT_BLOCK);
    block->line = brace->line;
    block->column = brace->column;
    e.block = block;
    current_expansion = &e;
    parse_block(nullptr, nullptr, block);
    current_expansion = e.outer;
    end_nested_replay(&mark);

    // ... and after it, the statement's own stores come.
    forget_known_values();
    show_hidden_locals(hidden_from);
    callee->flags &= ~SYM_INLINE_BUSY;
    function.result = saved_result;
    if (label_list) {
        Symbol *last = label_list;
        while (last->next)
            last = last->next;
        last->next = function.expansion_labels;
        function.expansion_labels = label_list;
    }
    label_list = saved_labels;
    return block;
}

// A call, or an assignment of a call, in *slot.
[[gnu::noinline]] bool expand_call(Node **slot, Expander &x, unsigned mode)
{
    Node *n = *slot;
    bool assigned = n->op == OP_ASSIGN;
    Node *call = assigned ? n->right : n;
    Symbol *f = inline_callee(call);
    if (!f) {
        if (!expand_calls(&call->left, x, mode | VALUE_USED))
            return false;
        return expand_arguments(call, x, mode);
    }
    if (f->flags & SYM_INLINE_BUSY) {
        report("invalid recursive inline function");
        return expand_arguments(call, x, mode);
    }
    if (mode & CONDITIONAL)
        return false;
    if (assigned && !expand_calls(&n->left, x, mode | VALUE_USED))
        return false;
    if (!expand_arguments(call, x, mode))
        return false;
    if (!enter_nesting_quietly(EXPANSION_NESTING_WEIGHT + EXPANSION_NESTING_RESERVE)) {
        report("inline functions nested too deeply");
        return true;
    }
    leave_nesting(EXPANSION_NESTING_RESERVE);
    Node *target = nullptr;
    Type *result = call->type;
    bool has_value = result && result->kind != KIND_VOID;
    if (assigned)
        target = n->left;
    else if ((mode & VALUE_USED) && has_value)
        target = temp_of(result);
    append_to_sequence(x.seq, read_body(f, call, target));
    leave_nesting(EXPANSION_NESTING_WEIGHT);
    if (!(mode & VALUE_USED))
        *slot = nullptr;
    else if (target)
        *slot = assigned ? target : copy_tree(target);
    else
        *slot = make_int_constant(nullptr, 0);
    return true;
}

// `a && b` and `a || b`: b runs only on a condition. When b holds a call
// to expand, the operator becomes an if statement setting a temporary.
[[gnu::noinline]] bool expand_logical(Node **slot, Expander &x, unsigned mode)
{
    Node *n = *slot;
    if (!expand_calls(&n->left, x, mode | VALUE_USED))
        return false;
    if (expand_calls(&n->right, x, mode | VALUE_USED | CONDITIONAL))
        return true;
    if (mode & CONDITIONAL)
        return false;
    bool is_or = n->op == OP_OROR;
    // The if statement runs before the rest of the expression, which was
    // read already: nothing that expression stored is known in it.
    forget_known_values();
    Node *t = temp_of(&type_uchar);
    Stmt *s = made_statement(STMT_IF, x);
    s->expr = is_or ? negate_condition(n->left) : n->left;
    Stmt *then_part = made_statement(STMT_EXPR, x);
    then_part->expr = assignment(copy_tree(t), n->right);
    Stmt *else_part = made_statement(STMT_EXPR, x);
    else_part->expr = assignment(copy_tree(t), make_int_constant(nullptr, is_or ? 1 : 0));
    s->body = then_part;
    s->other = else_part;
    append_to_sequence(x.seq, s);
    // Which branch stored t is not known.
    forget_known_values();
    *slot = t;
    make_condition(slot);
    expand_expression(&then_part->expr, then_part, false);
    return true;
}

// `c ? a : b`: a and b each run only on a condition.
[[gnu::noinline]] bool expand_choice(Node **slot, Expander &x, unsigned mode)
{
    Node *n = *slot;
    if (!expand_calls(&n->left, x, mode | VALUE_USED))
        return false;
    bool then_ok = expand_calls(&n->value_node, x, mode | VALUE_USED | CONDITIONAL);
    bool else_ok = expand_calls(&n->right, x, mode | VALUE_USED | CONDITIONAL);
    if (then_ok && else_ok)
        return true;
    if (mode & CONDITIONAL)
        return false;
    forget_known_values();
    Stmt *s = made_statement(STMT_IF, x);
    s->expr = n->left;
    Stmt *then_part = made_statement(STMT_EXPR, x);
    Stmt *else_part = made_statement(STMT_EXPR, x);
    Type *type = n->value_node->type;
    if (type->kind == KIND_VOID) {
        // No value to carry: each branch is evaluated for its effect.
        then_part->expr = n->value_node;
        else_part->expr = n->right;
        *slot = (mode & VALUE_USED) ? make_int_constant(nullptr, 0) : nullptr;
    } else {
        Node *t = temp_of(type);
        then_part->expr = assignment(copy_tree(t), n->value_node);
        else_part->expr = assignment(copy_tree(t), n->right);
        *slot = t;
    }
    s->body = then_part;
    s->other = else_part;
    append_to_sequence(x.seq, s);
    forget_known_values();
    if (!then_ok)
        expand_expression(&then_part->expr, then_part, false);
    if (!else_ok)
        expand_expression(&else_part->expr, else_part, false);
    return true;
}

// `a, b`: a runs before b. When b holds a call to expand, its body must
// run after a, so a becomes a statement of its own in front of it.
[[gnu::noinline]] bool expand_comma(Node **slot, Expander &x, unsigned mode)
{
    Node *n = *slot;
    if (!expand_calls(&n->left, x, mode | VALUE_USED))
        return false;
    if (mode & CONDITIONAL)
        return expand_calls(&n->right, x, mode | VALUE_USED);
    Node *before = new_node(OP_SEQ);
    before->left = nullptr;
    before->value = 0;
    before->right = nullptr;
    before->type = &type_void;
    Expander inner{before, x.from};
    expand_calls(&n->right, inner, mode | VALUE_USED);
    if (before->value == 0)
        return true;
    Stmt *first = made_statement(STMT_EXPR, x);
    first->expr = n->left;
    append_to_sequence(x.seq, first);
    std::vector<Stmt *> moved(before->value);
    sequence_statements(before, moved.data());
    for (Stmt *m : moved)
        append_to_sequence(x.seq, m);
    *slot = n->right;
    return true;
}

bool expand_calls(Node **slot, Expander &x, unsigned mode)
{
    Node *n = *slot;
    if (!n)
        return true;
    switch (n->op) {
    case OP_LEAF:
    case OP_SEQ:
        return true;
    case OP_ANDAND:
    case OP_OROR:
        return expand_logical(slot, x, mode);
    case OP_COND:
        return expand_choice(slot, x, mode);
    case OP_COMMA:
        return expand_comma(slot, x, mode);
    case OP_CALL:
        return expand_call(slot, x, mode);
    case OP_ASSIGN:
        // x = f(...) with an x that can be stored to more than once: the
        // body's returns store to x itself.
        if (inline_callee(n->right) && !has_effects(n->left))
            return expand_call(slot, x, mode);
        break;
    default:
        break;
    }
    if (!expand_calls(&n->left, x, mode | VALUE_USED))
        return false;
    if (n->op == OP_CAST || is_unary_op(n->op))
        return true;
    return expand_calls(&n->right, x, mode | VALUE_USED);
}

// What a parameter read only as a value may be replaced by, instead of
// being copied: null when it must be copied.
Node *substitute(const Symbol *param, const Symbol *local, Node *arg)
{
    if (no_const_replacement || (param->flags & (SYM_ASSIGNED | SYM_ADDRESSED)) || arg->op != OP_LEAF ||
        (local->attr & ATTR_VOLATILE))
        return nullptr;
    unsigned kind = arg->type->kind;
    if (is_struct_or_union_kind(kind) || kind == KIND_ARRAY || is_bitfield_kind(kind) || kind == KIND_FUNCTION)
        return nullptr;
    // A read of the local is replaced by a copy converted to the local's
    // type; a value of another size would be left unreplaced.
    if (type_size(arg->type) != type_size(local->type))
        return nullptr;
    if (is_int_constant(arg) || (kind == KIND_POINTER && !(arg->leaf & LEAF_LVALUE) && is_address_value(arg)))
        return arg;
    bool is_object = (arg->leaf & (LEAF_SYMBOL | LEAF_LVALUE)) == (LEAF_SYMBOL | LEAF_LVALUE);
    if (!is_object)
        return param->refs == 1 ? arg : nullptr;
    const Symbol *s = arg->symbol;
    if (s->attr & ATTR_VOLATILE)
        return nullptr;
    if ((s->attr & ATTR_CONST) && s->const_value && s->type && !is_struct_or_union_kind(s->type->kind) &&
        s->type->kind != KIND_ARRAY)
        return s->const_value;
    // A local of the caller that nothing but its name reaches: the body
    // cannot change it, so reading it is reading the argument's value. Any
    // other object might be changed by the body before the read.
    if (s->sclass == SC_AUTO && !(s->flags & SYM_ADDRESSED))
        return arg;
    return nullptr;
}

void append_statement(Stmt ***tail, Stmt *s)
{
    **tail = s;
    *tail = &s->next;
}

void bind_argument(const Symbol *param, Symbol *local, Node *arg, Stmt *block, Stmt ***tail)
{
    if (!arg)
        return;
    if (!(param->flags & SYM_USED)) {
        // The body never reads the parameter; an argument with a side
        // effect is still evaluated once, as in a call.
        if (has_effects(arg)) {
            Stmt *s = new_stmt(STMT_EXPR);
            s->line = s->end_line = block->line;
            s->column = s->end_column = block->column;
            s->expr = arg;
            append_statement(tail, s);
        }
        return;
    }
    if (Node *value = substitute(param, local, arg)) {
        local->attr |= ATTR_CONST;
        local->const_value = value;
        local->flags |= SYM_INLINE_BUSY;
        return;
    }
    std::uint16_t attr = local->attr;
    local->attr &= static_cast<std::uint16_t>(~ATTR_CONST);
    Node *store = assignment(symbol_leaf(local, local->type), arg);
    local->attr = attr;
    Stmt *s = new_stmt(STMT_EXPR);
    s->line = s->end_line = block->line;
    s->column = s->end_column = block->column;
    s->expr = store;
    append_statement(tail, s);
}

// The expression at *slot becomes a sequence: the statements its
// expansions run first, and what remains of it.
void expand_expression(Node **slot, const Stmt *from, bool value_used)
{
    ++expanding;
    Node *seq = new_node(OP_SEQ);
    seq->left = nullptr;
    seq->value = 0;
    seq->right = *slot;
    seq->type = (*slot)->type;
    Expander x{seq, from};
    expand_calls(&seq->right, x, value_used ? VALUE_USED : 0);
    if (!seq->right)
        seq->type = &type_void;
    *slot = seq;
    if (--expanding == 0) {
        for (Symbol *t : busy_temps)
            t->flags &= ~SYM_ASSIGNED;
        if (!busy_temps.empty())
            ++temporaries_released;
        busy_temps.clear();
    }
}

}  // namespace

void expand_inline_calls(Node **slot, Stmt *from_statement, bool value_used)
{
    if (is_recording()) {
        inline_call_count = 0;
        return;
    }
    if (inline_call_count == 0 || !*slot)
        return;
    inline_call_count = 0;
    expand_expression(slot, from_statement, value_used);
}

void bind_parameters(Stmt *block, Stmt ***tail)
{
    const InlineExpansion *e = current_expansion;
    std::uint32_t i = 0;
    for (const Symbol *p = e->function->type->params; p; p = p->next, ++i) {
        if (!p->type || p->type->kind == KIND_VOID)
            break;
        Symbol *local = new_symbol(&ident_list, p->name, SC_AUTO, p->type);
        local->attr = p->attr;
        local->flags = (p->flags & (SYM_ASSIGNED | SYM_ADDRESSED | SYM_USED)) | SYM_DECLARED;
        local->line = block->line;
        local->column = block->column;
        local->decl_seq = sequence_counter;
        bind_argument(p, local, i < e->argument_count ? e->arguments[i] : nullptr, block, tail);
    }
}

void append_return_label(Stmt *block, Stmt ***tail)
{
    Name *name = current_expansion->return_label;
    Symbol *l = find_symbol(name, label_list, nullptr);
    if (!l)
        l = new_symbol(&label_list, name, SC_NONE, nullptr);
    Stmt *s = new_stmt(STMT_EXPR);
    s->line = s->end_line = block->end_line;
    s->column = s->end_column = block->end_column;
    s->flags = STMT_EMPTY_RETURN | STMT_LABELLED;
    s->label_no = new_label();
    l->flags |= SYM_DECLARED;
    l->statement = s;
    append_statement(tail, s);
}

void inline_return(Stmt *s, Node *value)
{
    const InlineExpansion *e = current_expansion;
    s->kind = STMT_GOTO;
    Symbol *l = find_symbol(e->return_label, label_list, nullptr);
    if (!l)
        l = new_symbol(&label_list, e->return_label, SC_NONE, nullptr);
    l->flags |= SYM_USED;
    s->label = l;
    if (value && e->target)
        value = assignment(copy_tree(e->target), value);
    if (!value)
        s->flags |= STMT_EMPTY_RETURN;
    else
        expand_inline_calls(&value, s, false);
    s->expr = value;
    s->flags |= STMT_NO_FALL;
}

void keep_inline_body(Symbol *fn, RecordedToken *body)
{
    drop_inline_body(fn);
    fn->inline_body = body;
    if (body)
        recorded_bodies.push_back(body);
}

void drop_inline_body(Symbol *fn)
{
    // The tokens stay until the unit ends: trees of earlier expansions
    // may still hold what they refer to.
    fn->inline_body = nullptr;
}

void inline_reset()
{
    for (RecordedToken *body : recorded_bodies)
        free_recording(body);
    recorded_bodies.clear();
    busy_temps.clear();
    hidden_locals.clear();
    expanding = 0;
    expansion_count = 0;
    current_expansion = nullptr;
}
