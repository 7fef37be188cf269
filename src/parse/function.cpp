// Function definitions and blocks: the parameters entered with their
// argument offsets, the body read block by block with its local
// declarations, reachability and the implicit return, the passes run over
// the finished body, and the recycling of everything the function made.
#include <cstring>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/emit.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/inline.h"
#include "parse/parse.h"
#include "parse/statement.h"
#include "passes/passes.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

// What a parameter of an inline function takes over from its local in
// the body: read, assigned, address taken.
constexpr std::uint32_t INLINE_PARAMETER_FLAGS = SYM_USED | SYM_ASSIGNED | SYM_ADDRESSED;

// The scope function_definition opens: parameters and the body's
// outermost locals share it.
ScopeMark function_scope{};
// The function's arguments in declaration order.
std::vector<Symbol *> arguments;

void report_name(const char *message, const Name *name)
{
    if (name)
        report(message, name->length, name->chars);
    else
        report(message, 0, "");
}

// A message without arguments, kept out of the recursive reader's frame.
[[gnu::noinline]] void report_plain(const char *message) { report(message); }

bool is_labelled(const Stmt *s) { return s && (s->flags & (STMT_CASE_LABEL | STMT_LABELLED)); }

// Whether an unreachable statement can be marked as a whole; it is marked
// as the check passes it.
[[gnu::noinline]] bool mark_unreachable(Stmt *s)
{
    switch (s->kind) {
    case STMT_EXPR:
        if (s->label_no || is_labelled(s))
            return false;
        s->flags |= STMT_UNREACHABLE;
        return true;
    case STMT_BLOCK:
        for (Stmt *t = s->body; t; t = t->next)
            if (!mark_unreachable(t))
                return false;
        break;
    case STMT_WHILE:
    case STMT_DO:
    case STMT_FOR:
    case STMT_COUNTED:
    case STMT_SWITCH:
        if (is_labelled(s->body))
            return false;
        break;
    case STMT_IF:
        if (is_labelled(s->body) || is_labelled(s->other))
            return false;
        break;
    default:
        return false;
    }
    if (s->label_no || is_labelled(s))
        return false;
    s->flags |= STMT_UNREACHABLE;
    return true;
}

bool function_is_inline() { return function.symbol && (function.symbol->attr & ATTR_INLINE); }

// One local declarator, after parse_declarator: the symbol it declares
// (null when it was skipped) entered into the block's scope.
Symbol *declare_local(Symbol *decl, std::uint16_t spec_attr)
{
    Symbol *existing = find_symbol(decl->name, ident_list, ident_scope);
    Symbol *sym = nullptr;
    bool is_function = decl->type && decl->type->kind == KIND_FUNCTION;
    if (existing) {
        if (existing->sclass != SC_EXTERN) {
            report_name("redeclared local %.*s", decl->name);
            return nullptr;
        }
        if (decl->sclass == SC_EXTERN || (decl->sclass == SC_NONE && is_function)) {
            if (!types_compatible(existing->type, decl->type))
                report_name("redeclared external %.*s", decl->name);
            sym = existing;
        }
    }
    if (!sym) {
        sym = new_symbol(&ident_list, decl->name, decl->sclass, decl->type);
        sym->attr = decl->attr;
        sym->flags = decl->flags | SYM_DECLARED;
        sym->value = decl->value;
    }
    Token *next = next_token();
    sym->line = next->line;
    sym->column = next->column;
    sym->decl_seq = sequence_counter;
    if (next->code == TK_AT) {
        sym->flags |= SYM_LOCAL_AT;
        declare_at(sym, spec_attr);
    } else {
        push_back_token();
    }
    if (sym->sclass == SC_NONE)
        sym->sclass = is_function ? SC_EXTERN : SC_AUTO;
    if (sym->sclass == SC_STATIC) {
        if (function_is_inline())
            report_name("invalid static %.*s in inline function", sym->name);
        if ((sym->value & 0xFFFF) == 0)
            sym->value |= new_label();
    }
    if (sym->sclass != SC_TYPEDEF) {
        sym->attr = apply_default_attributes(sym->attr, sym->sclass, sym->type ? sym->type->kind : KIND_INT);
        if (sym->sclass == SC_AUTO && (sym->attr & ATTR_SPACE) != (data_defaults[2] & ATTR_SPACE))
            report_name("invalid space for local %.*s", sym->name);
    }
    return sym;
}

// A local extern without initialization meets the file-scope name.
void link_local_extern(Symbol *sym, Symbol *decl_scope_end)
{
    Symbol *outer = find_symbol(sym->name, decl_scope_end, nullptr);
    if (!outer || !(outer->flags & SYM_FILE_SCOPE))
        return;
    if (!types_compatible(outer->type, sym->type)) {
        report_name("redeclared external %.*s", sym->name);
    } else if (outer->sclass != SC_STATIC) {
        merge_declaration_types(sym->type, outer->type);
        merge_attributes(sym, outer);
    } else {
        unname_symbol(sym);  // uses find the file-scope static
    }
}

// The declarations at the start of a block. An initialization becomes an
// expression statement appended at *tail.
[[gnu::noinline]] void local_declarations(Stmt ***tail)
{
    Symbol spec{};
    for (;;) {
        something_declared = false;
        if (!parse_specifiers(&spec, BLOCK_CLASSES))
            return;
        bool implicit = implicit_int, warned = false;
        for (;;) {
            Symbol decl = spec;
            Token *first = next_token();
            push_back_token();
            std::uint32_t line = first->line;
            std::uint16_t column = first->column;
            if (!parse_declarator(&decl))
                break;
            something_declared = true;
            if (check_level != 0 && implicit && !warned) {
                report("W5implicit int type in local declaration");
                warned = true;
            }
            Symbol *sym = nullptr;
            if (!decl.name)
                report("missing local name");
            else
                sym = declare_local(&decl, spec.attr);
            if (!sym) {
                skip_initializer();
            } else if (sym->sclass != SC_TYPEDEF) {
                Symbol *scope_end = ident_scope;
                Node *init = (sym->type && sym->type->kind == KIND_FUNCTION) ? nullptr : init_local(sym);
                if (init) {
                    Stmt *s = new_stmt(inline_call_count ? STMT_PENDING_INIT : STMT_EXPR);
                    s->expr = init;
                    s->line = line;
                    s->column = column;
                    Token *after = next_token();
                    push_back_token();
                    s->end_line = after->line;
                    s->end_column = after->column;
                    **tail = s;
                    *tail = &s->next;
                } else if (sym->sclass == SC_EXTERN && sym->name) {
                    link_local_extern(sym, scope_end);
                }
                if (sym->type && sym->type->kind == KIND_FUNCTION) {
                    if (sym->sclass == SC_STATIC && !(sym->flags & SYM_DEFINED))
                        report_name("static function %.*s undefined", sym->name);
                    if (has_identifier_list(sym->type))
                        report("useless argument list");
                }
            }
            if (!accept(TK_COMMA))
                break;
        }
        if (!accept(TK_SEMICOLON))
            report("missing ; in local declaration");
        if (!something_declared)
            report("incomplete declaration");
    }
}

// Widened arguments are read where the caller put them: a float received
// as double is converted once at entry; a narrower integer is addressed in
// the low-order bytes of the int that was passed.
[[gnu::noinline]] void receive_widened_arguments(Stmt *body)
{
    if (no_widen_arguments)
        return;
    for (Symbol *a : arguments) {
        if (!(a->flags & SYM_WIDENED))
            continue;
        if (is_floating_kind(a->type->kind)) {
            if (!(a->flags & SYM_USED))
                continue;
            a->flags |= SYM_ADDRESSED;
            Node *as_declared = symbol_leaf(a, a->type);
            Node *received = new_node(OP_LEAF);
            copy_payload(received, as_declared);
            received->type = argument_widened_type(a->type, true);
            Node *store = new_node(OP_ASSIGN);
            store->left = as_declared;
            store->right = convert_to(received, a->type);
            store->value = 0;
            store->type = a->type;
            Stmt *s = new_stmt(STMT_EXPR);
            s->expr = store;
            s->line = s->end_line = a->line;
            s->column = s->end_column = a->column;
            s->next = body->body;
            body->body = s;
        } else {
            a->value += static_cast<std::uint32_t>(type_size(&type_int) - type_size(a->type));
        }
    }
}

Stmt *read_block(Stmt *continue_target, Stmt *break_target, Stmt *block, bool function_body, bool to_enclosing_end)
{
    ScopeMark saved{};
    if (!function_body)
        saved = open_scope();
    *function.blocks_tail = block;
    function.blocks_tail = &block->other;
    bool expansion = current_expansion && current_expansion->block == block;

    Stmt **tail = &block->body;
    *tail = nullptr;
    if (expansion)
        bind_parameters(block, &tail);
    Stmt **first_declared = tail;
    local_declarations(&tail);
    // Initializations that called inline functions are expanded once the
    // declarations are complete.
    for (Stmt *s = *first_declared; s; s = s->next) {
        if (s->kind != STMT_PENDING_INIT)
            continue;
        s->kind = STMT_EXPR;
        inline_call_count = 1;
        expand_inline_calls(&s->expr, s, false);
    }

    Stmt *previous = nullptr;
    bool unreachable = false, warned = false;
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_RBRACE) {
            block->end_line = t->line;
            block->end_column = t->column;
            if (to_enclosing_end)
                push_back_token();
            break;
        }
        if (t->code == TK_END) {
            report_plain("unexpected end of file");
            push_back_token();
            block->end_line = t->line;
            block->end_column = t->column;
            break;
        }
        push_back_token();
        Stmt *stmt = parse_statement(continue_target, break_target, previous);
        *tail = stmt;
        // A statement may have brought others behind it (a counted loop's
        // final assignment): the block goes on after the last.
        Stmt *last = stmt;
        while (last->next)
            last = last->next;
        tail = &last->next;
        if (is_labelled(stmt))
            block->flags |= STMT_LABELLED;
        if (stmt->label_no) {
            unreachable = false;
        } else if (unreachable) {
            if (mark_unreachable(stmt)) {
                bool empty = stmt->kind == STMT_EXPR && !stmt->expr;
                if (!warned && !empty && check_level != 0) {
                    report_at(stmt->line, stmt->column, "W4unreachable code");
                    warned = true;
                }
            } else {
                unreachable = false;
            }
        }
        if (!unreachable)
            warned = false;
        if (stmt->flags & STMT_NO_FALL)
            unreachable = true;
        previous = last;
    }
    if (unreachable)
        block->flags |= STMT_NO_FALL;

    if (expansion) {
        // The returns jump to the label at its end: the end is reached.
        block->flags &= static_cast<std::uint16_t>(~STMT_NO_FALL);
        append_return_label(block, &tail);
        block->locals = close_scope(saved);
    } else if (function_body) {
        if (!unreachable) {
            Stmt *r = new_stmt(STMT_RETURN);
            r->line = r->end_line = block->end_line;
            r->column = r->end_column = block->end_column;
            r->flags |= STMT_NO_FALL;
            *tail = r;
            if (check_level != 0 && function.result && function.result->kind != KIND_VOID)
                report_plain("W6missing explicit return");
        }
        receive_widened_arguments(block);
        block->locals = close_scope(function_scope);
    } else {
        block->locals = close_scope(saved);
    }
    return block;
}

// The argument offsets and flags, in declaration order.
std::uint32_t lay_out_arguments()
{
    std::uint32_t offset = 0;
    bool first = true;
    for (Symbol *a : arguments) {
        Type *passed = no_widen_arguments ? a->type : argument_widened_type(a->type, true);
        std::uint32_t size = static_cast<std::uint32_t>(type_size(passed));
        if (even_align_data && !no_widen_arguments && !(a->attr & ATTR_PACKED) && needs_even_alignment(passed))
            offset = (offset + 1) & ~1u;
        a->value = offset;
        offset += size;
        a->flags |= passed != a->type ? (SYM_WIDENED | SYM_DECLARED) : SYM_DECLARED;
        if (first)
            a->flags |= SYM_LAST;
        first = false;
    }
    return offset;
}

// An argument entered into the function scope: its class and the space check.
void enter_argument(Symbol *a, bool is_inline)
{
    if (a->sclass == SC_NONE)
        a->sclass = is_inline ? SC_AUTO : SC_ARGUMENT;
    else if (a->sclass == SC_REGISTER)
        a->sclass = SC_REGARG;
    if ((a->attr & ATTR_SPACE) != (data_defaults[2] & ATTR_SPACE))
        report_name("invalid space for argument %.*s", a->name);
    arguments.push_back(a);
}

// Old-style parameter declarations before the body, entered into the
// function scope when they name a parameter.
bool old_style_declarations(Type *ftype)
{
    bool any = false;
    Symbol spec{};
    // The names of the identifier list, filled when the first declaration
    // comes: each declarator asks it once.
    NameSet listed_names;
    while (parse_specifiers(&spec, PARAMETER_CLASSES)) {
        if (!any)
            for (Symbol *p = ftype->params; p; p = p->next)
                listed_names.insert(p->name);
        any = true;
        bool implicit = implicit_int, warned = false;
        for (;;) {
            Symbol decl = spec;
            if (!parse_declarator(&decl))
                break;
            if (check_level != 0 && implicit && !warned) {
                report("W5implicit int type in argument declaration");
                warned = true;
            }
            adjust_parameter(&decl);
            if (!decl.name) {
                report("missing argument name");
            } else if (!listed_names.contains(decl.name)) {
                report_name("%.*s not an argument", decl.name);
            } else {
                std::uint8_t sclass = decl.sclass == SC_REGISTER ? SC_REGARG : SC_ARGUMENT;
                Symbol *s = new_symbol(&ident_list, decl.name, sclass, decl.type);
                s->attr = apply_default_attributes(decl.attr, sclass, 0);
                Token *next = next_token();
                push_back_token();
                s->line = next->line;
                s->column = next->column;
            }
            if (!accept(TK_COMMA))
                break;
        }
        if (!accept(TK_SEMICOLON)) {
            report("missing ; in argument declaration");
            break;
        }
    }
    return any;
}

// The enumerators and tags of a prototype are visible in the body again.
void reenter_prototype_names(const Type *ftype)
{
    for (const Symbol *e = ftype->proto_enums; e; e = e->next) {
        Symbol *s = new_symbol(&ident_list, e->name, e->sclass, e->type);
        s->flags = e->flags;
        s->value = e->value;
    }
    for (const Symbol *t = ftype->proto_tags; t; t = t->next) {
        Symbol *s = new_symbol(&tag_list, t->name, t->sclass, t->type);
        s->flags = t->flags;
        s->value = t->value;
    }
}

// A declaration without a body: what function_definition opened is closed.
bool no_body(Symbol *sym)
{
    discard_scope(function_scope);
    end_function_types();
    arguments.clear();
    if (sym->sclass == SC_NONE && !(sym->flags & SYM_DEFINED))
        sym->sclass = SC_EXTERN;
    return false;
}

// Everything the function made goes back to its pool.
void recycle_function()
{
    release_symbols(label_list, nullptr);
    label_list = nullptr;
    release_symbols(function.expansion_labels, nullptr);
    function.expansion_labels = nullptr;
    for (Stmt *s = function.switches; s; s = s->next_switch)
        if (s->kind == STMT_SWITCH)
            release_symbols(s->cases, nullptr);
    release_symbols(function.retired_cases, nullptr);
    function.retired_cases = nullptr;
    for (Stmt *b = function.blocks; b; b = b->other)
        release_symbols(b->locals, nullptr);
    release_dropped_tags();
    forget_known_values();
    end_function_statements();
    end_function_nodes();
    end_function_types();
    arguments.clear();
    function.active = false;
    in_function_body = false;
    function.symbol = nullptr;
}

// An inline function's definition is complete: its prototype is checked
// and each parameter takes what the body did with the local of its name,
// which decides how an argument is bound at each call.
void finish_inline_definition(Symbol *sym, RecordedToken *recorded)
{
    Type *ftype = sym->type;
    if (!ftype->params || has_identifier_list(ftype)) {
        report_name("missing prototype for inline function %.*s", sym->name);
        ftype->params = nullptr;
    } else {
        bool ended = false;
        std::size_t i = 0;
        for (Symbol *p = ftype->params; p; p = p->next) {
            if (p->type && p->type->kind == KIND_VOID) {
                ended = true;
                break;
            }
            if (i < arguments.size()) {
                const Symbol *local = arguments[i++];
                p->flags = (p->flags & ~INLINE_PARAMETER_FLAGS) | (local->flags & INLINE_PARAMETER_FLAGS);
                p->refs = local->refs;
            }
        }
        if (!ended)
            report_name("invalid prototype for inline function %.*s", sym->name);
    }
    if (sym->sclass == SC_STATIC)
        sym->sclass = SC_NONE;
    if (sym->flags & SYM_USED)
        report_name("usage conflict for inline function %.*s", sym->name);
    keep_inline_body(sym, recorded);
}

}  // namespace

Stmt *parse_block(Stmt *continue_target, Stmt *break_target, Stmt *block)
{
    return read_block(continue_target, break_target, block, false, false);
}

Stmt *parse_rest_as_block(Stmt *continue_target, Stmt *break_target, Stmt *block)
{
    block->kind = STMT_BLOCK;
    return read_block(continue_target, break_target, block, false, true);
}

bool function_definition(Symbol *sym, std::uint32_t start_line)
{
    Type *ftype = sym->type;
    function_scope = open_scope();
    begin_function_types();
    reenter_prototype_names(ftype);
    arguments.clear();

    if (has_identifier_list(ftype)) {
        if (need_prototypes)
            report("old style argument declaration");
        bool declared = old_style_declarations(ftype);
        if (next_token()->code != TK_LBRACE) {
            push_back_token();
            if (declared)
                report("bad function declaration");
            return no_body(sym);
        }
        // Each parameter in list order: its declaration, or an int. The
        // list's names are distinct, so an int entered for one parameter
        // is never found for another, and the search can start at the
        // newest symbol (a lookup by name, not a walk of the scope).
        for (Symbol *p = ftype->params; p; p = p->next) {
            Symbol *a = find_symbol(p->name, ident_list, ident_scope);
            if (!a) {
                a = new_symbol(&ident_list, p->name, SC_ARGUMENT, &type_int);
                a->attr = apply_default_attributes(0, SC_ARGUMENT, 0);
                a->line = p->line;
                a->column = p->column;
            }
            enter_argument(a, (sym->attr & ATTR_INLINE) != 0);
        }
    } else {
        if (next_token()->code != TK_LBRACE) {
            push_back_token();
            if (sym->attr & ATTR_INLINE) {
                sym->value = 0;
                drop_inline_body(sym);
            }
            return no_body(sym);
        }
        bool ended = false;
        for (Symbol *p = ftype->params; p; p = p->next) {
            if (p->type && p->type->kind == KIND_VOID) {
                ended = true;
                break;
            }
            if (!p->name)
                report("missing argument name");
            Symbol *a = new_symbol(&ident_list, p->name, p->sclass, p->type);
            a->attr = p->attr;
            a->line = p->line;
            a->column = p->column;
            if (!p->name)
                a->flags |= SYM_HIDDEN;
            enter_argument(a, (sym->attr & ATTR_INLINE) != 0);
        }
        if (!ended && (sym->attr & ATTR_NOSTACK))
            report("variable arguments not allowed in nostack mode");
    }
    std::uint32_t argument_bytes = lay_out_arguments();

    if (sym->flags & SYM_DEFINED)
        report_name("redeclared function %.*s", sym->name);
    statements_begin_function();
    forget_known_values();
    call_count = 0;
    function.active = true;
    in_function_body = true;
    function.symbol = sym;
    function.result = ftype->of;
    function.attr = sym->attr;
    if (function.result && is_struct_or_union_kind(function.result->kind) && !function.result->members)
        report("incomplete return type");
    bool is_inline = (sym->attr & ATTR_INLINE) != 0;
    if (is_inline) {
        // The body is read once for its messages and kept as tokens, to
        // be read again at every call.
        sym->value = 0;
        drop_inline_body(sym);
        sym->flags |= SYM_INLINE_BUSY;
        start_recording(current_token);
    }

    Token *brace = current_token;
    std::uint32_t brace_line = brace ? brace->line : start_line;
    Stmt *body = new_stmt(STMT_BLOCK);
    if (brace) {
        body->line = brace->line;
        body->column = brace->column;
    }
    read_block(nullptr, nullptr, body, true, false);

    for (Symbol *l = label_list; l; l = l->next)
        if (!(l->flags & SYM_DECLARED))
            report_name("undefined label %.*s", l->name);
    if (call_count > 0)
        body->flags |= STMT_HAS_CALLS;
    RecordedToken *recorded = nullptr;
    if (is_inline) {
        recorded = stop_recording();
        sym->flags &= ~SYM_INLINE_BUSY;
    }
    if (function_body_hook)
        function_body_hook(sym, body);

    if (error_count != 0) {
        sym->attr &= static_cast<std::uint16_t>(~ATTR_INLINE);
        free_recording(recorded);
        begin_frame();
        prepare_statement(body);
    } else if (is_inline) {
        finish_inline_definition(sym, recorded);
    } else {
        // In analyser mode the body is prepared for its debug description
        // alone; the arguments keep their register class there.
        if (!analyser_output) {
            if (!no_share_locals)
                analyse_flow(body);
            for (Symbol *a : arguments)
                if (a->sclass == SC_REGARG)
                    a->sclass = SC_ARGUMENT;
            emit_space_names();
        }
        begin_frame();
        prepare_statement(body);
        emit_function(sym, body, start_line, brace_line, argument_bytes, lowest_frame_offset);
    }
    recycle_function();
    sym->flags |= SYM_DECLARED | SYM_DEFINED;
    return true;
}
