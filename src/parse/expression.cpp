// The expression parser. Unary and postfix forms are read by recursive
// descent; binary operators by a precedence loop that recurses only when a
// tighter (or right-associative) operator follows. Each node is checked as
// soon as its operands are complete.
#include "parse/parse.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/tokenizer.h"
#include "model/types.h"
#include "output/debug.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/inline.h"
#include "parse/typename.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

std::int32_t operator_count;
std::int32_t call_count;
std::int32_t inline_call_count;
std::int32_t loop_depth;
bool in_initializer;

namespace {

constexpr unsigned KW_SIZEOF = 150;
constexpr std::uint32_t SYM_CALLED = 0x100;
constexpr std::uint32_t SYM_USED_BY_CODE = 0x200;
constexpr std::uint32_t SYM_IMPLICIT_FUNCTION = 0x1006;
constexpr std::uint16_t ATTR_IMPLICIT_FUNCTION = 0x800;
constexpr unsigned KIND_SMALL_INTEGER_END = 0x32;  // char, short and int kinds lie below

std::int32_t nesting_depth;
// Once the nesting message is out, the levels that unwind after it may
// still find their trees too high: one message per outermost expression.
bool nesting_reported;
std::int32_t open_expressions;
std::uint32_t expression_first_node;  // nodes_made when the outermost expression began

// Binding strength by `op & 31`; `?` (whose code 9 would read the entry of
// `|`) is given its level before the lookup.
constexpr std::uint8_t precedence[32] = {0, 11, 11, 12, 12, 12, 10, 10, 7, 6, 5, 9, 9, 9, 9, 8,
                                         8, 1,  1,  1,  1,  1,  1,  1,  1, 1, 1, 4, 3, 0, 0, 1};
constexpr int COND_LEVEL = 2;

int level_of(unsigned op) { return op == OP_COND ? COND_LEVEL : precedence[op & 31]; }

// Does `next` bind to the operand that follows `ctx` (0: none pending)?
// At equal levels only `?:`, the assignments, `&&` and `||` group to the
// right.
bool takes(unsigned ctx, unsigned next)
{
    if (ctx == 0)
        return true;
    int a = level_of(ctx), b = level_of(next);
    if (a != b)
        return b > a;
    return ctx == OP_COND || (ctx & 31) >= 17;
}

Node *int_constant(std::int32_t value, Type *type = &type_int)
{
    Node *n = make_int_constant(nullptr, value);
    n->type = type;
    return n;
}

Node *missing(const char *message)
{
    report(message);
    return int_constant(0);
}

// ++ and -- in either position: the target and the constant 1, checked as
// an assignment. `op` is OP_ADDASG or OP_SUBASG for the prefix forms.
Node *increment(std::uint8_t op, Node *target)
{
    Node *n = new_node(op);
    n->left = target;
    n->right = int_constant(1);
    n->value = 0;
    ++operator_count;
    return check_binary(n);
}


void decay_if_array_or_function(Node *n)
{
    if (n->type->kind == KIND_ARRAY || n->type->kind == KIND_FUNCTION)
        decay(n);
}

Node *parse_postfix(Node *tree);
void skip_nested_text();

// ---- Tree height -----------------------------------------------------

// Every walk over a finished tree (checks, folds, the writer) recurses on
// at least one operand, so trees are kept no higher than the nesting
// limit. Chains of left-grouping operators, commas, subscripts and
// arguments grow in loops, not by recursion, so the parser's own nesting
// does not see them: their height is measured on the tree. Once an
// expression has made more nodes than the limit, each node the parser
// builds keeps its height; nodes not measured yet (those made before, and
// those the checks put around their operands) are measured when first
// met, with a stack of our own since they may form a long chain.
[[gnu::noinline]] std::uint32_t measure_unmeasured(Node *root)
{
    static std::vector<Node *> work;
    work.clear();
    work.push_back(root);
    while (!work.empty()) {
        Node *n = work.back();
        // An inline sequence's operands are statement records.
        bool binary = !(n->op == OP_CAST || is_unary_op(n->op));
        Node *operands[3] = {n->op == OP_SEQ ? nullptr : n->left, n->op == OP_COND ? n->value_node : nullptr,
                             binary && n->op != OP_SEQ ? n->right : nullptr};
        std::uint32_t highest = 0;
        bool ready = true;
        for (Node *o : operands) {
            if (!o || o->op == OP_LEAF)
                continue;
            if (o->height == 0) {
                work.push_back(o);
                ready = false;
            } else if (o->height > highest) {
                highest = o->height;
            }
        }
        if (ready) {
            n->height = static_cast<std::uint16_t>(highest < 0xFFFE ? highest + 1 : 0xFFFF);
            work.pop_back();
        }
    }
    return root->height;
}

// The height of `n`, or -1 when more than `budget` levels below it were
// never measured. The checks add only a few nodes around the operands they
// are given, so a short look finds the measured ones.
std::int32_t known_height(Node *n, int budget)
{
    if (!n || n->op == OP_LEAF)
        return 0;
    if (n->height != 0)
        return n->height;
    if (budget == 0 || n->op == OP_SEQ)
        return -1;
    std::int32_t highest = known_height(n->left, budget - 1);
    if (highest < 0)
        return -1;
    if (n->op == OP_COND) {
        std::int32_t middle = known_height(n->value_node, budget - 1);
        if (middle < 0)
            return -1;
        highest = std::max(highest, middle);
    }
    if (n->op != OP_CAST && !is_unary_op(n->op)) {
        std::int32_t right = known_height(n->right, budget - 1);
        if (right < 0)
            return -1;
        highest = std::max(highest, right);
    }
    n->height = static_cast<std::uint16_t>(highest < 0xFFFE ? highest + 1 : 0xFFFF);
    return n->height;
}

std::uint32_t tree_height(Node *root)
{
    // The root is measured again: its operands may have changed since it
    // was built.
    root->height = 0;
    if (root->op == OP_SEQ)
        return root->height = 1;
    constexpr int SHORT_LOOK = 4;
    std::int32_t height = known_height(root, SHORT_LOOK);
    return height >= 0 ? static_cast<std::uint32_t>(height) : measure_unmeasured(root);
}

// `n` as the parser just built it. Counted with the nesting it is built
// in, a tree higher than the limit is reported, the rest of the nested
// text is passed over, and the constant 0 stands in its place.
Node *limit_height(Node *n)
{
    // Small expressions cannot be too high: their nodes are not measured.
    auto bound = static_cast<std::int64_t>(nodes_made - expression_first_node) + nesting_depth;
    if (n->op == OP_LEAF || bound <= EXPRESSION_NESTING_LIMIT ||
        tree_height(n) + nesting_depth <= EXPRESSION_NESTING_LIMIT)
        return n;
    if (!nesting_reported) {
        report("expression nested too deeply");
        skip_nested_text();
        nesting_reported = true;
    }
    return int_constant(0);
}

// ---- Binary operators ------------------------------------------------

// The next token as a binary operator node (for `?` with its middle operand
// already read), or null with the token given back.
Node *read_operator()
{
    Token *t = next_token();
    unsigned code = t->code;
    // `inline` (93) carries the operator bits but has no level: not an
    // operator.
    bool is_operator = code == OP_COND || ((code & 0x40) && !(code & 0x80) && precedence[code & 31] != 0);
    if (!is_operator) {
        push_back_token();
        return nullptr;
    }
    Node *op = new_node(static_cast<std::uint8_t>(code));
    op->value = 0;
    op->left = nullptr;
    if (code == OP_COND) {
        ++conditional_operand_depth;
        Node *middle = parse_expression(0);
        op->value_node = middle ? middle : missing("missing ? test expression");
        expect(TK_COLON);
        ++conditional_depth;
    }
    return op;
}

// The precedence loop: combines `left` with the pending operator *op and
// those that follow as long as they bind tighter than `ctx`. On return *op
// is the operator that stopped it, or null.
Node *climb(unsigned ctx, Node *left, Node **op)
{
    while (*op && takes(ctx, (*op)->op)) {
        if (!enter_nesting()) {
            *op = nullptr;
            return left;
        }
        Node *cur = *op;
        bool conditional = cur->op == OP_ANDAND || cur->op == OP_OROR;
        if (conditional)
            ++conditional_depth;
        Node *right = parse_unary(0);
        if (!right) {
            report("missing expression");
            if (conditional || cur->op == OP_COND)
                --conditional_depth;
            if (cur->op == OP_COND)
                --conditional_operand_depth;
            leave_nesting();
            *op = nullptr;
            return left;
        }
        Node *following = read_operator();
        if (following && takes(cur->op, following->op))
            right = climb(cur->op, right, &following);
        cur->left = left;
        cur->right = right;
        if (cur->op == OP_COND)
            --conditional_operand_depth;
        left = check_binary(cur);
        ++operator_count;
        if (conditional || cur->op == OP_COND)
            --conditional_depth;
        Node *built = left;
        left = limit_height(left);
        leave_nesting();
        if (left != built) {
            *op = nullptr;
            return left;
        }
        *op = following;
    }
    return left;
}

// ---- Discarded values ------------------------------------------------

// The value of `n` is not used: a post-increment or post-decrement
// becomes the prefix form, and commas and casts pass the mark on.
void discard(Node *n)
{
    while (n) {
        if (n->op == OP_COMMA) {
            discard(n->right);  // a comma's right is a comma only inside parentheses
            n = n->left;
        } else if (n->op == OP_CAST) {
            n = n->left;
        } else {
            if (n->op == OP_POSTINC)
                n->op = OP_ADDASG;
            else if (n->op == OP_POSTDEC)
                n->op = OP_SUBASG;
            return;
        }
    }
}

bool has_no_effect(const Node *n) { return is_int_constant(n) || is_float_constant(n) || same_tree(n, n, true); }

// ---- Primary forms ---------------------------------------------------

Node *integer_constant(const Token *t, unsigned context)
{
    static Type *const types[4] = {&type_int, &type_uint, &type_long, &type_ulong};
    Type *type = types[t->code & 3];
    auto value = static_cast<std::uint32_t>(t->value);
    // 32768 and 2147483648 only fit the wider type, but under a unary
    // minus they are the smallest int and long.
    if (context != OP_NEG) {
        if (type == &type_int && value == 32768)
            type = &type_long;
        else if (type == &type_long && value == 0x80000000u)
            type = &type_ulong;
    }
    return int_constant(static_cast<std::int32_t>(value), type);
}

Node *literal_leaf(PoolEntry *entry, Type *type)
{
    Node *n = new_node(OP_LEAF);
    n->literal = entry;
    n->value = 0;
    n->value_node = nullptr;
    n->right = nullptr;
    n->leaf = LEAF_LITERAL;
    n->type = type;
    return n;
}

Node *string_literal(const Token *t)
{
    PoolEntry *entry = token_pool_entry(t);
    ++entry->refs;
    Type *type = new_type(KIND_ARRAY, plain_char_unsigned ? &type_uchar : &type_char);
    type->dim = entry->length + 1u;
    return literal_leaf(entry, type);
}

bool is_file_scope_definition(const Symbol *s) { return (s->flags & SYM_FILE_SCOPE) && s->sclass == SC_NONE; }

Node *name(const Token *t)
{
    auto *id = reinterpret_cast<Name *>(t->value);
    Symbol *s = find_symbol(id, ident_list, nullptr);
    if (!s) {
        // Entered at once, but not as declared: a `(` after it makes it an
        // implicitly declared function, otherwise it is reported undefined
        // at the end of the unit.
        s = new_symbol(&ident_list, id, SC_NONE, &type_int);
        s->line = t->line;
        s->column = t->column;
    }
    s->flags |= SYM_USED;
    s->use_seq = sequence_counter;
    s->refs = static_cast<std::uint16_t>(s->refs + 1 + (in_initializer ? 0 : 2 * loop_depth));
    if (s->sclass == SC_ENUMERATOR) {
        Type *type = enumerator_type(s);
        if (!type || is_char_kind(type->kind))
            type = &type_int;
        return int_constant(static_cast<std::int32_t>(s->value), type);
    }
    if (s->sclass == SC_TYPEDEF)
        return missing("invalid typedef usage");
    Node *n = symbol_leaf(s, integer_type_of(s->type));
    if (!in_initializer && !(s->flags & (SYM_CALLED | SYM_USED_BY_CODE)) &&
        (is_file_scope_definition(s) || s->sclass == SC_EXTERN || s->sclass == SC_STATIC ||
         s->sclass == SC_LOCALIZED)) {
        s->flags |= SYM_USED_BY_CODE;
        debug_note_mark(s);
    }
    return n;
}

// Passes over a braced list that cannot be read as an initializer.
void skip_braces()
{
    Token *t = next_token();  // the `{`
    for (int depth = 0; t->code != TK_END; t = next_token()) {
        if (t->code == TK_LBRACE)
            ++depth;
        else if (t->code == TK_RBRACE && --depth == 0)
            break;
    }
}

// `(type){ ... }`: an unnamed object of the type, initialized by the braces.
// In a function it is an automatic temporary, initialized each time the
// expression is evaluated: the result is the pair (initialization,
// temporary), which the address and assignment checks look through. At
// file scope it is a static object written at once. `attr` is the type
// name's attribute word.
Node *compound_literal(Type *type, std::uint16_t attr, bool in_sizeof)
{
    if (!c99_mode)
        report("unexpected compound literal");
    if (type->kind == KIND_VOID || type->kind == KIND_FUNCTION) {
        report("bad compound literal type");
        skip_braces();
        return int_constant(0);
    }
    Node *leaf = new_temp(type);
    Symbol *temp = leaf->symbol;
    Node *result = leaf;
    if (function.active) {
        Node *init = init_local(temp);
        // The initializer may have completed an array's size.
        leaf->type = temp->type;
        if (init) {
            result = new_node(OP_COMMA);
            result->left = init;
            result->right = leaf;
            result->value = 0;
            result->type = leaf->type;
        }
    } else {
        // A file-scope literal may be written through a pointer to it, as
        // any object: it is read-only data only when its type says const.
        temp->sclass = SC_STATIC;
        temp->flags |= SYM_FILE_SCOPE;
        temp->value = new_label();
        temp->attr = apply_default_attributes(attr & (ATTR_CONST | ATTR_VOLATILE), SC_STATIC, type->kind);
        read_initializer(temp);
        leaf->type = temp->type;
    }
    if (leaf->type->kind == KIND_ARRAY && !in_sizeof)
        result->type = decay(leaf);
    return result;
}

// `&(int[]){1, 2}` is the address of the whole array, as `&a` is for a
// declared array: the literal that decayed is given its array type back
// when it is the operand of `&` itself (no postfix operator follows).
Node *undecayed_for_address(Node *literal)
{
    Node *leaf = literal->op == OP_COMMA ? literal->right : literal;
    if (leaf->op != OP_LEAF || !(leaf->leaf & LEAF_SYMBOL) || leaf->leaf & LEAF_LVALUE ||
        leaf->type->kind != KIND_POINTER || leaf->symbol->type->kind != KIND_ARRAY)
        return literal;
    std::uint16_t following = next_token()->code;
    push_back_token();
    switch (following) {
    case TK_LBRACKET:
    case TK_LPAREN:
    case TK_DOT:
    case TK_ARROW:
    case TK_INC:
    case TK_DEC:
        return literal;
    default:
        break;
    }
    leaf->type = leaf->symbol->type;
    leaf->leaf |= LEAF_LVALUE;
    literal->type = leaf->type;
    return literal;
}

Node *unary_plus()
{
    Node *n = parse_unary(0);
    if (!n)
        return missing("missing expression");
    unsigned kind = n->type->kind;
    if (kind == KIND_POINTER || kind > KIND_DOUBLE)
        report("invalid arithmetic operand");
    else if (kind == KIND_USHORT)
        n = convert_to(n, &type_uint);
    else if (kind < KIND_INT || kind == KIND_BITSINT)
        n = convert_to(n, &type_int);
    if (!is_int_constant(n))
        n->flags |= NODE_RVALUE;
    return n;
}

bool is_asm_call(const Node *n)
{
    if (n->op != OP_CALL || !n->left || n->left->op != OP_LEAF || !(n->left->leaf & LEAF_SYMBOL))
        return false;
    const Symbol *s = n->left->symbol;
    const Type *t = s->type;
    return s->name && s->name->length == 4 && std::memcmp(s->name->chars, "_asm", 4) == 0 &&
           t->kind == KIND_FUNCTION && !t->params;
}

Node *parenthesis(unsigned context)
{
    if (Node *cast = parse_type_name()) {
        if (next_token()->code == TK_LBRACE) {
            push_back_token();
            std::uint16_t attr = type_name_attr;
            Node *literal = compound_literal(cast->type, attr, false);
            return context == OP_ADDR ? undecayed_for_address(literal) : literal;
        }
        push_back_token();
        Node *operand = parse_unary(0);
        if (!operand)
            operand = missing("missing expression");
        if (is_asm_call(operand)) {
            // The assembly pseudo-function yields whatever the cast says.
            operand->type = integer_type_of(cast->type);
            return operand;
        }
        cast->left = operand;
        return limit_height(check_cast(cast));
    }
    Node *inner = parse_expression(0);
    if (!inner)
        inner = missing("invalid expression");
    expect(TK_RPAREN);
    return inner;
}

Node *size_of()
{
    bool as_argument = false;
    Token *t = next_token();
    if (t->code == TK_AT)
        as_argument = true;
    else
        push_back_token();

    Type *type = nullptr;
    if (next_token()->code == TK_LPAREN) {
        if (Node *cast = parse_type_name()) {
            if (next_token()->code == TK_LBRACE) {
                push_back_token();
                Node *literal = compound_literal(cast->type, type_name_attr, true);
                type = literal->type;
            } else {
                push_back_token();
                type = cast->type;
            }
        } else {
            push_back_token();  // the `(` begins the operand
        }
    } else {
        push_back_token();
    }
    Node *operand = nullptr;
    if (!type) {
        ++constant_replacement_off;
        operand = parse_unary(0);
        --constant_replacement_off;
        if (!operand)
            operand = missing("missing expression");
        type = operand->type;
    }
    if (as_argument) {
        if (operand && (type->kind == KIND_ARRAY || type->kind == KIND_FUNCTION))
            type = decay(operand);
        else if (type->kind == KIND_ARRAY || type->kind == KIND_FUNCTION)
            type = new_type(KIND_POINTER, type->kind == KIND_ARRAY ? type->of : type);
        if (!no_widen_arguments)
            type = argument_widened_type(type, true);
    }
    if (is_bitfield_kind(type->kind))
        report("invalid sizeof(type)");
    return int_constant(type_size(type), &type_uint);
}

Node *primary(const Token *t, unsigned context)
{
    switch (t->code) {
    case TK_STRING: return string_literal(t);
    case TK_FLOAT_CONST: return literal_leaf(token_pool_entry(t), &type_float);
    case TK_DOUBLE_CONST: return literal_leaf(token_pool_entry(t), &type_double);
    case TK_INT_CONST:
    case TK_UINT_CONST:
    case TK_LONG_CONST:
    case TK_ULONG_CONST: return integer_constant(t, context);
    case TK_IDENT: return name(t);
    case TK_LPAREN: return parenthesis(context);
    case KW_SIZEOF: return size_of();
    default: return nullptr;
    }
}

// ---- Postfix forms ---------------------------------------------------

// The object `tree` designates, replaced by its address for a member
// access; through `?:` and `,` the branches are replaced instead.
Node *member_base_address(Node *tree)
{
    if (tree->op == OP_COND) {
        tree->value_node = member_base_address(tree->value_node);
        tree->right = member_base_address(tree->right);
        tree->type = tree->value_node->type;
        tree->flags |= NODE_RVALUE;
        return tree;
    }
    if (tree->op == OP_COMMA) {
        tree->right = member_base_address(tree->right);
        tree->type = tree->right->type;
        return tree;
    }
    std::uint8_t overlaid = tree->flags & NODE_OVERLAID;
    tree->flags &= static_cast<std::uint8_t>(~NODE_RVALUE);
    Node *addr = new_node(OP_ADDR);
    addr->left = tree;
    addr->value = 0;
    addr->type = nullptr;
    addr = check_member_address(addr);
    ++operator_count;
    addr->flags |= overlaid;
    return addr;
}

Symbol *find_member(const Type *record, const Name *id)
{
    for (Symbol *m = record->members; m; m = m->next)
        if (m->name == id)
            return m;
    return nullptr;
}

Type *member_pointer(const Type *old_pointer, Type *to, std::uint16_t member_attr)
{
    Type *p = new_type(KIND_POINTER, to);
    // After a bad operand the tree may be no pointer at all: a structure's
    // attribute word is the same storage as its tag, so it has none to give.
    std::uint16_t old_attr = old_pointer->kind == KIND_POINTER ? old_pointer->attr : 0;
    p->attr = static_cast<std::uint16_t>(old_attr | (member_attr & 0xCFFF));
    return p;
}

// `tree` (a pointer for `->`, an address made from `.`) followed by the
// member name: the member's object.
Node *member_access(Node *tree, bool not_lvalue)
{
    Token *t = next_token();
    if (t->code != TK_IDENT) {
        push_back_token();
        report("missing member name");
        return tree;
    }
    auto *id = reinterpret_cast<const Name *>(t->value);
    Symbol *member = nullptr;
    Type *record = nullptr;
    if (tree->type->kind != KIND_POINTER || !is_struct_or_union_kind(tree->type->of->kind)) {
        report("bad struct/union operand");
    } else {
        record = tree->type->of;
        if (!record->members)
            report("undefined struct/union");
        else if (!(member = find_member(record, id)))
            report("%.*s not a member", static_cast<int>(id->length), id->chars);
    }
    bool is_union = (record && record->kind == KIND_UNION) || (tree->flags & NODE_UNION);
    std::uint16_t member_attr = member ? member->attr : 0;
    std::uint8_t overlaid = tree->flags & NODE_OVERLAID;
    if (member && member->value != 0) {
        tree->type = member_pointer(tree->type, plain_char_type, member_attr);
        if (tree->op == OP_ADD && is_int_constant(tree->right)) {
            tree->right->value += member->value;
        } else {
            Node *add = new_node(OP_ADD);
            add->left = tree;
            add->right = int_constant(static_cast<std::int32_t>(member->value));
            add->value = 0;
            add = check_binary(add);
            ++operator_count;
            if (is_union)
                add->flags |= NODE_UNION;
            add->flags |= overlaid;
            tree = add;
        }
    } else if (member && record->kind == KIND_UNION) {
        tree->flags |= NODE_UNION;
    }
    tree->type = member_pointer(tree->type, member ? member->type : &type_int, member_attr);
    Node *deref = new_node(OP_DEREF);
    deref->left = tree;
    deref->value = 0;
    deref->type = nullptr;
    if (tree->flags & NODE_UNION)
        deref->flags |= NODE_UNION;
    deref = check_unary(deref);
    ++operator_count;
    if (overlaid || (member && (member->flags & SYM_UNION_COPY)))
        deref->flags |= NODE_OVERLAID;
    if (not_lvalue)
        deref->flags |= NODE_RVALUE;
    return deref;
}

bool is_symbol_leaf(const Node *n) { return n && n->op == OP_LEAF && (n->leaf & LEAF_SYMBOL); }

// A pointer argument that addresses a local array: the array's address
// escapes into the callee.
void mark_local_array_argument(Node *arg)
{
    if (arg->type->kind != KIND_POINTER)
        return;
    Node *n = arg;
    while (n->op == OP_ADD || n->op == OP_CAST)
        n = n->left;
    if (is_symbol_leaf(n) && n->symbol->type && n->symbol->type->kind == KIND_ARRAY &&
        (n->symbol->sclass == SC_AUTO || n->symbol->sclass == SC_REGISTER))
        n->symbol->flags |= SYM_ADDRESSED;
}

Node *call(Node *tree)
{
    Node *fn = fetch_value(&tree);
    Node *node = new_node(OP_CALL);
    node->left = fn;
    node->value = 0;
    node->right = nullptr;
    ++call_count;
    ++operator_count;

    Type *ftype = nullptr;
    bool exempt = false;  // _asm and @inline calls need no prototype
    Type *t = fn->type;
    if (t->kind == KIND_FUNCTION) {
        ftype = t;
        if (is_symbol_leaf(fn)) {
            Symbol *s = fn->symbol;
            if (s->flags & SYM_USED_BY_CODE)
                s->flags ^= SYM_USED_BY_CODE | SYM_CALLED;
            if (s->attr & ATTR_INLINE) {
                if (s->flags & SYM_INLINE_BUSY)
                    report("invalid recursive inline function");
                else if (s->inline_body)
                    ++inline_call_count;
                --call_count;
            }
        }
        decay(fn);
    } else if (t->kind == KIND_POINTER && t->of->kind == KIND_FUNCTION) {
        ftype = t->of;
        // A pointer known to hold an inline function (a parameter of an
        // expansion bound to one): the call is expanded like a direct one.
        if (is_symbol_leaf(fn) && (fn->symbol->attr & ATTR_INLINE) && fn->symbol->inline_body &&
            !(fn->symbol->flags & SYM_INLINE_BUSY)) {
            ++inline_call_count;
            --call_count;
        }
    } else if (is_symbol_leaf(fn) && !(fn->symbol->flags & SYM_DECLARED)) {
        Symbol *s = fn->symbol;
        s->sclass = SC_EXTERN;
        s->attr = ATTR_IMPLICIT_FUNCTION;
        s->value = 0;
        s->type = new_type(KIND_FUNCTION | KIND_PERMANENT, &type_int);
        s->type->params = nullptr;
        s->flags |= SYM_IMPLICIT_FUNCTION | (in_initializer ? 0 : SYM_CALLED);
        if (!in_initializer)
            debug_note_mark(s);
        fn->type = s->type;
        ftype = s->type;
        decay(fn);
    } else {
        report("invalid function type");
        node->left = nullptr;
    }

    Type *result = ftype ? integer_type_of(ftype->of) : &type_int;
    if (is_struct_or_union_kind(result->kind) && !result->members)
        report("incomplete struct/union type");
    node->type = result;

    Symbol *param = ftype ? ftype->params : nullptr;
    if (param && !param->type)
        param = nullptr;  // an old-style list is no prototype
    std::uint16_t fattr = node->left && node->left->type->kind == KIND_POINTER ? node->left->type->attr : 0;
    if (ftype) {
        const Symbol *s = is_symbol_leaf(fn) ? fn->symbol : nullptr;
        exempt = (fattr & ATTR_INLINE) || (s && (s->attr & ATTR_INLINE)) || is_asm_call(node);
    }
    if (!param && !exempt)
        report(need_prototypes ? "missing prototype" : "W2missing prototype");

    bool prototyped = param != nullptr;
    bool too_many = false;
    Node *first = nullptr;
    Node *last_link = nullptr;
    Token *tk = next_token();
    if (tk->code != TK_RPAREN) {
        push_back_token();
        for (bool more = true; more;) {
            Node *arg = parse_assignment();
            if (!arg)
                arg = missing(first ? "missing argument" : "missing expression");
            decay_if_array_or_function(arg);
            arg = fetch_value(&arg);
            mark_local_array_argument(arg);
            if (prototyped) {
                if (!param) {
                    // past the end of a variable list
                } else if (param->type->kind == KIND_VOID) {
                    if (!too_many)
                        report("too many arguments");
                    too_many = true;
                } else {
                    Type *pt = param->type;
                    if (pt->kind == KIND_POINTER && is_int_constant(arg) && arg->value == 0) {
                        arg = convert_to(arg, pt);
                    } else if (!assign_compatible(pt, arg->type)) {
                        report("incompatible argument type");
                    } else if (no_widen_arguments || arg->type->kind >= KIND_SMALL_INTEGER_END ||
                               pt->kind >= KIND_SMALL_INTEGER_END) {
                        if (check_level != 0)
                            range_check(OP_ASSIGN, pt, arg);
                        arg = convert_to(arg, pt);
                    }
                    param = param->next;
                    if (!param && (fattr & ATTR_NOSTACK))
                        report("W3variable arguments in nostack mode");
                }
            }
            Token *sep = next_token();
            more = sep->code == TK_COMMA;
            if (!more)
                push_back_token();
            if (!first) {
                first = arg;
                if (more) {
                    last_link = new_node(OP_ARG);
                    last_link->left = arg;
                    last_link->value = 0;
                    last_link->type = arg->type;
                    node->right = last_link;
                } else {
                    node->right = arg;
                }
                continue;
            }
            if (more) {
                Node *link = new_node(OP_ARG);
                link->left = arg;
                link->value = 0;
                link->type = arg->type;
                last_link->right = link;
                last_link = link;
            } else {
                last_link->right = arg;
            }
        }
        expect(TK_RPAREN);
    }
    if (param && param->type && param->type->kind != KIND_VOID)
        report("missing argument");
    // The callee may change any object.
    forget_known_values();
    return node;
}

Node *parse_postfix(Node *tree)
{
    for (;;) {
        Token *t = next_token();
        switch (t->code) {
        case TK_LBRACKET: {
            Node *add = new_node(OP_ADD);
            add->left = tree;
            add->value = 0;
            Node *index = parse_expression(0);
            add->right = index ? index : missing("missing array subscript");
            add = check_binary(add);
            Node *deref = new_node(OP_DEREF);
            deref->left = add;
            deref->value = 0;
            deref->type = nullptr;
            tree = check_unary(deref);
            operator_count += 2;
            expect(TK_RBRACKET);
            break;
        }
        case TK_LPAREN:
            tree = call(tree);
            break;
        case TK_DOT: {
            bool not_lvalue = tree->op == OP_CALL || (tree->op != OP_LEAF && (tree->flags & NODE_RVALUE));
            tree = member_access(member_base_address(tree), not_lvalue);
            break;
        }
        case TK_ARROW:
            decay_if_array_or_function(tree);
            tree = member_access(tree, false);
            break;
        case TK_INC:
        case TK_DEC: {
            tree = increment(t->code == TK_INC ? OP_POSTINC : OP_POSTDEC, tree);
            break;
        }
        default:
            push_back_token();
            return tree;
        }
        Node *built = tree;
        tree = limit_height(tree);
        if (tree != built)
            return tree;
    }
}

// Past the nesting limit the rest of the nested text is passed over: up to
// a closing bracket that has no partner in it, or the end of the statement.
void skip_nested_text()
{
    std::int32_t depth = 0;
    for (;;) {
        Token *t = next_token();
        switch (t->code) {
        case TK_LPAREN:
        case TK_LBRACKET:
            ++depth;
            break;
        case TK_RPAREN:
        case TK_RBRACKET:
            if (depth-- == 0) {
                push_back_token();
                return;
            }
            break;
        case TK_SEMICOLON:
        case TK_LBRACE:
        case TK_RBRACE:
        case TK_END:
            push_back_token();
            return;
        default:
            break;
        }
    }
}

}  // namespace

bool enter_nesting(std::int32_t weight)
{
    if (nesting_depth + weight > EXPRESSION_NESTING_LIMIT) {
        report("expression nested too deeply");
        skip_nested_text();
        nesting_reported = true;
        return false;
    }
    nesting_depth += weight;
    return true;
}

void leave_nesting(std::int32_t weight) { nesting_depth -= weight; }

bool enter_nesting_quietly(std::int32_t weight)
{
    if (nesting_depth + weight > EXPRESSION_NESTING_LIMIT)
        return false;
    nesting_depth += weight;
    return true;
}

Node *parse_unary(unsigned context)
{
    if (!enter_nesting())
        return int_constant(0);
    Token *t = next_token();
    Node *result = nullptr;
    switch (t->code) {
    case TK_INC:
    case TK_DEC: {
        // The token record is reused while the operand is read: the
        // operator is taken first.
        std::uint8_t op = t->code == TK_INC ? OP_ADDASG : OP_SUBASG;
        Node *operand = parse_unary(0);
        if (!operand) {
            result = missing("missing expression");
            break;
        }
        result = increment(op, operand);
        break;
    }
    case TK_MINUS:
    case TK_STAR:
    case TK_AMP:
    case TK_NOT:
    case TK_TILDE: {
        auto code = static_cast<std::uint8_t>(t->code & ~0x40u);
        Node *operand = parse_unary(code);
        if (!operand) {
            result = missing("missing expression");
            break;
        }
        Node *n = new_node(code);
        n->left = operand;
        n->value = 0;
        n->type = nullptr;
        result = check_unary(n);
        ++operator_count;
        break;
    }
    case TK_PLUS:
        result = unary_plus();
        break;
    default:
        // Casts and postfix forms are measured where they are built.
        result = primary(t, context);
        if (result)
            result = parse_postfix(result);
        else
            push_back_token();
        leave_nesting();
        return result;
    }
    if (result)
        result = limit_height(result);
    leave_nesting();
    return result;
}

Node *parse_assignment()
{
    if (open_expressions++ == 0) {
        nesting_reported = false;
        expression_first_node = nodes_made;
    }
    Node *left = nullptr;
    if (!enter_nesting()) {
        left = int_constant(0);
    } else {
        left = parse_unary(0);
        if (left) {
            Node *op = read_operator();
            if (op)
                left = climb(0, left, &op);
        }
        leave_nesting();
    }
    --open_expressions;
    return left;
}

Node *parse_expression(int unused)
{
    if (open_expressions++ == 0) {
        nesting_reported = false;
        expression_first_node = nodes_made;
    }
    Node *tree = parse_assignment();
    if (!tree) {
        --open_expressions;
        return nullptr;
    }
    for (;;) {
        Token *t = next_token();
        if (t->code != TK_COMMA) {
            push_back_token();
            break;
        }
        Node *right = parse_assignment();
        if (!right) {
            report("missing expression");
            break;
        }
        decay_if_array_or_function(right);
        if (has_no_effect(tree)) {
            right->flags |= NODE_RVALUE;
            tree = right;
            continue;
        }
        Node *comma = new_node(OP_COMMA);
        comma->left = tree;
        comma->right = right;
        comma->value = 0;
        comma->type = right->type;
        tree = limit_height(comma);
        if (tree != comma)
            break;
    }
    --open_expressions;
    if (unused)
        discard(tree);
    return tree;
}

bool parse_constant(std::int32_t *value, int mode)
{
    bool saved_forced = constant_replacement_forced;
    if (mode == 2)
        constant_replacement_forced = true;
    Node *tree = parse_assignment();
    constant_replacement_forced = saved_forced;
    if (!tree) {
        if (mode >= 1)
            report("missing expression");
        *value = 0;
        return false;
    }
    if (!is_int_constant(tree) || (tree->flags & NODE_RVALUE)) {
        tree = final_fold(tree);
        report("invalid constant expression");
    }
    *value = is_int_constant(tree) ? static_cast<std::int32_t>(tree->value) : 0;
    return true;
}


void parse_reset()
{
    inline_reset();
    operator_count = 0;
    call_count = 0;
    inline_call_count = 0;
    loop_depth = 0;
    in_initializer = false;
    constant_replacement_off = 0;
    constant_replacement_forced = false;
    nesting_depth = 0;
    nesting_reported = false;
    open_expressions = 0;
}
