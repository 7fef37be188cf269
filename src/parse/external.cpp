// External declarations: the specifiers read once, then each declarator
// entered at file scope with the redeclaration rules, checked against
// #pragma attribute, and handed on to the initializer, the function body
// or the @ address reader.
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/init.h"
#include "preproc/pragma.h"
#include "runtime/alloc.h"

bool something_declared = false;
bool object_declared = false;

namespace {

// Declarations that were refused or have no name go on in records of their
// own that no lookup sees.
Symbol *detached = nullptr;

// Each source file's declaration list, newest first; the tail is kept so
// that "already listed" can be told for the last entry, which has no link.
struct DebugList {
    Symbol *head;
    Symbol *tail;
    DebugList *made_before;  // every list made, for declare_reset()
};
DebugList *debug_lists = nullptr;

void report_name(const char *message, const Symbol *s)
{
    report(message, s->name->length, s->name->chars);
}

// Under -x an object whose declaration carries attributes gets a type
// record of its own, so that the attributes can be described with it.
Type *private_copy(Type *type)
{
    if (!type || !(type->kind <= KIND_DOUBLE) || is_bitfield_kind(type->kind))
        return type;
    Type *copy = new_type(type->kind, type->of);
    Type *link = copy->link;
    std::memcpy(copy, type, sizeof *copy);
    copy->link = link;
    return copy;
}

bool same_qualifiers(const Symbol *a, const Symbol *b)
{
    return (a->attr & (ATTR_CONST | ATTR_VOLATILE)) == (b->attr & (ATTR_CONST | ATTR_VOLATILE));
}

Name *placeholder_name()
{
    static const char text[] = "<unnamed>";
    return intern_name(text, sizeof text - 1);
}

// A symbol outside every list, for a declaration that goes on without
// entering one.
Symbol *detached_symbol(const Symbol *decl, Name *name)
{
    Symbol *s = new_symbol(&detached, name, decl->sclass, decl->type);
    s->attr = decl->attr;
    s->flags = decl->flags | SYM_DECLARED;
    s->value = decl->value;
    s->debug_next = s;  // never listed
    return s;
}

// A new file-scope name.
Symbol *declare_new(Symbol *decl)
{
    std::uint8_t sclass = decl->sclass;
    Symbol *s = new_symbol(&ident_list, decl->name, sclass, decl->type);
    s->attr = decl->attr;
    if (sclass == SC_INLINE) {
        if (decl->type && decl->type->kind == KIND_FUNCTION)
            s->attr |= ATTR_INLINE;
        else
            report("invalid inline specifier");
        s->sclass = sclass = SC_NONE;
    }
    if (sclass != SC_TYPEDEF) {
        check_pragma_attribute(s);
        s->attr = apply_default_attributes(s->attr, sclass, s->type ? s->type->kind : KIND_INT);
    }
    s->flags = decl->flags | SYM_DECLARED;
    s->value = decl->value;
    return s;
}

// A name declared before: the redeclaration rules. Returns the symbol that
// stands for the declaration from here on.
Symbol *redeclare(Symbol *old, Symbol *decl)
{
    // `inline` counts only on the first declaration of a name.
    if (decl->sclass == SC_INLINE)
        decl->sclass = SC_NONE;
    const char *refused = nullptr;
    if (old->sclass == SC_TYPEDEF || decl->sclass == SC_TYPEDEF) {
        refused = "redeclared typedef %.*s";
    } else if (old->sclass == SC_LOCALIZED || decl->sclass == SC_LOCALIZED) {
        refused = "redeclared localized %.*s";
    } else {
        check_pragma_attribute(decl);
        bool accepted = types_compatible(old->type, decl->type) &&
                        !(decl->sclass == SC_STATIC && old->sclass != SC_STATIC) &&
                        (!strict_ansi || same_qualifiers(old, decl));
        if (!accepted)
            refused = "redeclared external %.*s";
    }
    if (refused) {
        report(refused, decl->name->length, decl->name->chars);
        return detached_symbol(decl, decl->name);
    }
    if (decl->type && decl->type->kind == KIND_FUNCTION && old->type && old->type->kind == KIND_FUNCTION &&
        !old->type->params && (decl->sclass == SC_EXTERN || decl->sclass == SC_NONE)) {
        decl->attr = apply_default_attributes(decl->attr, decl->sclass, KIND_FUNCTION);
        old->type = decl->type;
        old->attr = decl->attr;
    }
    if (old->sclass == SC_EXTERN && decl->sclass == SC_NONE) {
        old->sclass = SC_NONE;
        old->file = current_file;
    }
    merge_declaration_types(old->type, decl->type);
    merge_attributes(old, decl);
    old->flags |= SYM_DECLARED;
    return old;
}

}  // namespace

void external_declaration()
{
    something_declared = false;
    Symbol spec{};
    parse_specifiers(&spec, c99_mode ? FILE_SCOPE_CLASSES_C99 : FILE_SCOPE_CLASSES);
    bool implicit = implicit_int;
    bool warned = false;
    for (;;) {
        Symbol decl = spec;
        Token *next = next_token();
        push_back_token();
        std::uint32_t start_line = next->line;
        if (!parse_declarator(&decl))
            break;
        if (check_level != 0 && implicit && !warned) {
            report("W5implicit int type in global declaration");
            warned = true;
        }
        if (debug_info && decl.attr) {
            if (decl.type && decl.type->kind == KIND_FUNCTION) {
                Type *copy = new_type(KIND_FUNCTION, private_copy(decl.type->of));
                Type *link = copy->link;
                Type *returned = copy->of;
                std::memcpy(copy, decl.type, sizeof *copy);
                copy->link = link;
                copy->of = returned;
                decl.type = copy;
            } else {
                decl.type = private_copy(decl.type);
            }
        }

        Symbol *sym;
        bool listed = true;
        if (!decl.name) {
            report("missing name in declaration");
            sym = detached_symbol(&decl, placeholder_name());
            listed = false;
        } else if (Symbol *old = find_symbol(decl.name, ident_list, nullptr)) {
            sym = redeclare(old, &decl);
            listed = sym == old;
        } else {
            sym = declare_new(&decl);
        }

        if (sym->sclass != SC_TYPEDEF) {
            sym->flags |= SYM_FILE_SCOPE;
            if (sym->sclass == SC_STATIC && (sym->value & 0xFFFF) == 0)
                sym->value |= new_label();
            Token *t = next_token();
            if (t->code == TK_AT) {
                declare_at(sym, spec.attr);
                if (listed)
                    add_to_debug_list(sym);
            } else {
                push_back_token();
                if (!sym->type || sym->type->kind != KIND_FUNCTION) {
                    if (read_initializer(sym)) {
                        object_declared = true;
                        if (listed)
                            add_to_debug_list(sym);
                    }
                    if (align_mode)
                        sym->flags |= SYM_ALIGN_ON;
                } else if (function_definition(sym, start_line)) {
                    if (spec.type && spec.type->kind == KIND_FUNCTION && decl.type == spec.type)
                        report("invalid function declaration");
                    object_declared = true;
                    if (listed)
                        add_to_debug_list(sym);
                    return;
                } else if (has_identifier_list(sym->type)) {
                    report("useless argument list");
                }
            }
        } else if (debug_extended && listed) {
            add_to_debug_list(sym);
        }
        something_declared = true;
        if (!accept(TK_COMMA))
            break;
    }
    resync_code = TK_SEMICOLON;
    expect(TK_SEMICOLON);
    resync_code = 0;
    if (!something_declared)
        report("incomplete declaration");
}

void check_pragma_attribute(Symbol *sym)
{
    if (!sym->name)
        return;
    Symbol *pragma = find_symbol(sym->name, attribute_list, nullptr);
    if (!pragma)
        return;
    std::uint16_t a = pragma->attr & ATTR_SPACE, b = sym->attr & ATTR_SPACE;
    if (a && b && a != b) {
        if (sym->sclass != SC_STATIC)
            report_name("space conflict with #pragma attribute for %.*s", sym);
        return;
    }
    if (const char *message = match_attribute_type(pragma->type, sym->type)) {
        if (sym->sclass != SC_STATIC)
            report_name(message, sym);
        return;
    }
    sym->attr |= pragma->attr;
}

const char *match_attribute_type(Type *a, Type *b)
{
    static const char mismatch[] = "type mismatch with #pragma attribute for %.*s";
    // Parameter lists are matched by the same walk; their pairs wait here.
    struct Pending {
        Type *a;
        Type *b;
    };
    Pending stack_space[16];
    Pending *stack = stack_space;
    std::size_t depth = 0, capacity = 16;
    const char *message = nullptr;
    for (;;) {
        while (a && b && !message) {
            bool array = a->kind == KIND_ARRAY || b->kind == KIND_ARRAY;
            bool pointer = a->kind == KIND_POINTER || b->kind == KIND_POINTER;
            bool function = a->kind == KIND_FUNCTION || b->kind == KIND_FUNCTION;
            if (!array && !pointer && !function)
                break;
            if (a->kind != b->kind) {
                message = mismatch;
                break;
            }
            if (pointer) {
                std::uint16_t sa = a->attr & ATTR_SPACE, sb = b->attr & ATTR_SPACE;
                if (sa && sb && sa != sb) {
                    message = "pointer space conflict with #pragma attribute for %.*s";
                    break;
                }
                b->attr |= a->attr;
            } else if (function && a->params && a->params->type) {
                if (!b->params || !b->params->type) {
                    message = "missing prototype for #pragma attribute usage";
                    break;
                }
                Symbol *pa = a->params, *pb = b->params;
                for (; pa && pb && pa->type && pb->type && pa->type->kind != KIND_VOID &&
                       pb->type->kind != KIND_VOID;
                     pa = pa->next, pb = pb->next) {
                    if (depth == capacity) {
                        auto *grown = static_cast<Pending *>(allocate(capacity * 2 * sizeof(Pending)));
                        std::memcpy(grown, stack, depth * sizeof(Pending));
                        if (stack != stack_space)
                            release(stack);
                        stack = grown;
                        capacity *= 2;
                    }
                    stack[depth++] = {pa->type, pb->type};
                }
                bool a_ends = !pa || !pa->type || pa->type->kind == KIND_VOID;
                bool b_ends = !pb || !pb->type || pb->type->kind == KIND_VOID;
                if (!a_ends || !b_ends) {
                    message = "argument mismatch in #pragma attribute for %.*s";
                    break;
                }
            }
            a = a->of;
            b = b->of;
        }
        if (message || depth == 0)
            break;
        --depth;
        a = stack[depth].a;
        b = stack[depth].b;
    }
    if (stack != stack_space)
        release(stack);
    return message;
}

void add_to_debug_list(Symbol *sym)
{
    if (sym->debug_next || (sym->attr & ATTR_INLINE) || !current_file)
        return;
    auto *list = static_cast<DebugList *>(current_file->debug_decls);
    if (!list) {
        list = static_cast<DebugList *>(allocate(sizeof(DebugList)));
        list->head = list->tail = nullptr;
        list->made_before = debug_lists;
        debug_lists = list;
        current_file->debug_decls = list;
    }
    if (list->tail == sym)
        return;  // the last entry, already listed
    sym->debug_next = list->head;
    list->head = sym;
    if (!list->tail)
        list->tail = sym;
}

Symbol *debug_declarations(const SourceFile *file)
{
    const auto *list = static_cast<const DebugList *>(file->debug_decls);
    return list ? list->head : nullptr;
}

void declare_reset()
{
    in_function_body = false;
    spaces_reset();
    something_declared = false;
    object_declared = false;
    detached = nullptr;
    while (DebugList *list = debug_lists) {
        debug_lists = list->made_before;
        release(list);
    }
    release_kept_aliases();
    initializer_reset();
}
