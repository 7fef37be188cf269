// Declaration specifiers, declarators and parameter lists, shared by every
// kind of declaration, and the @ address or alias after a declarator.
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/types.h"
#include "output/emit.h"
#include "parse/declare.h"
#include "parse/parse.h"
#include "parse/typename.h"
#include "runtime/alloc.h"
#include "sema/fold.h"
#include "tree/tree.h"

const std::uint8_t FILE_SCOPE_CLASSES[] = {SC_EXTERN, SC_STATIC, SC_TYPEDEF, SC_NONE};
const std::uint8_t FILE_SCOPE_CLASSES_C99[] = {SC_INLINE, SC_EXTERN, SC_STATIC, SC_TYPEDEF, SC_NONE};
const std::uint8_t BLOCK_CLASSES[] = {SC_EXTERN, SC_STATIC, SC_AUTO, SC_REGISTER, SC_TYPEDEF, SC_NONE};
const std::uint8_t PARAMETER_CLASSES[] = {SC_REGISTER, SC_NONE};

bool implicit_int = false;
std::uint16_t keywords_seen = 0;

namespace {

constexpr unsigned KW_AUTO = 128, KW_CONST = 132, KW_EXTERN = 139, KW_REGISTER = 146, KW_STATIC = 151,
                   KW_TYPEDEF = 154, KW_VOLATILE = 158;

bool is_class_keyword(unsigned code)
{
    return code == KW_AUTO || code == KW_EXTERN || code == KW_REGISTER || code == KW_STATIC || code == KW_TYPEDEF;
}

bool class_allowed(const std::uint8_t *allowed, std::uint8_t sclass)
{
    for (; *allowed != SC_NONE; ++allowed)
        if (*allowed == sclass)
            return true;
    return false;
}

Symbol *typedef_named(const Token *t)
{
    if (t->code != TK_IDENT)
        return nullptr;
    Symbol *s = find_symbol(reinterpret_cast<const Name *>(t->value), ident_list, nullptr);
    return s && s->sclass == SC_TYPEDEF ? s : nullptr;
}

// The qualifiers written after a `*`: const, volatile and @ modifiers.
void read_pointer_qualifiers(std::uint16_t *attr)
{
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_AT) {
            parse_space_modifier(attr);
            continue;
        }
        std::uint16_t q = t->code == KW_CONST ? ATTR_CONST : t->code == KW_VOLATILE ? ATTR_VOLATILE : 0;
        if (!q) {
            push_back_token();
            return;
        }
        if ((*attr & q) && !c99_mode)
            report("repeated qualifier specification");
        *attr |= q;
    }
}

// The pointer levels this declarator made, down to (not including) the
// type it started from, get the attributes the declaration left unsaid.
void default_pointer_levels(Type *type, const Type *start)
{
    for (Type *t = type; t && t != start; t = t->of)
        if (t->kind == KIND_POINTER && t->of)
            t->attr = apply_default_attributes(t->attr, CONTEXT_POINTED_TO, t->of->kind);
}

// Copies of alias expressions, chained through `link`.
Node *kept_aliases = nullptr;

// A copy of an alias's expression that outlives the function's nodes.
Node *keep_alias(const Node *leaf)
{
    Node *n = static_cast<Node *>(allocate(sizeof(Node)));
    std::memcpy(n, leaf, sizeof(Node));
    n->link = kept_aliases;
    kept_aliases = n;
    return n;
}

}  // namespace

void release_kept_aliases()
{
    while (Node *n = kept_aliases) {
        kept_aliases = n->link;
        release(n);
    }
}

bool may_start_type_name(const Token *t)
{
    return t->code == TK_AT || is_class_keyword(t->code) || specifier_bit(t->code) != 0 || typedef_named(t);
}

bool parse_specifiers(Symbol *decl, const std::uint8_t *allowed)
{
    decl->sclass = SC_NONE;
    decl->flags = 0;
    decl->attr = 0;
    decl->value = 0;
    decl->name = nullptr;
    decl->type = nullptr;
    // Kept locally: a struct or union body read on the way has
    // declarations of its own.
    std::uint16_t seen = 0;
    std::uint16_t bits = 0;
    Symbol *named = nullptr;
    bool inline_allowed = allowed && allowed[0] == SC_INLINE;
    bool found_class = false;
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_AT) {
            parse_space_modifier(&decl->attr);
            continue;
        }
        if (is_class_keyword(t->code) || (t->code == TK_INLINE && inline_allowed)) {
            auto sclass = static_cast<std::uint8_t>(t->code);
            if (found_class && !(decl->sclass == SC_STATIC && sclass == SC_INLINE))
                report("invalid storage class");
            else
                decl->sclass = sclass;
            found_class = true;
            continue;
        }
        if (std::uint16_t bit = specifier_bit(t->code)) {
            seen |= bit;
            if (bits & bit)
                report("repeated type specification");
            bits |= bit;
            if (bit == SPEC_AGGREGATE) {
                std::uint16_t attr = decl->attr;
                if (bits & SPEC_CONST)
                    attr |= ATTR_CONST;
                decl->type = parse_aggregate_specifier(t->code, attr);
            }
            continue;
        }
        if (!(bits & ~(SPEC_CONST | SPEC_VOLATILE)) && (named = typedef_named(t)) != nullptr) {
            if (!c99_mode && (((bits & SPEC_CONST) && (named->attr & ATTR_CONST)) ||
                              ((bits & SPEC_VOLATILE) && (named->attr & ATTR_VOLATILE))))
                report("repeated qualifier specification");
            bits = static_cast<std::uint16_t>((bits & (SPEC_CONST | SPEC_VOLATILE)) | SPEC_TYPEDEF);
            seen |= SPEC_TYPEDEF;
            decl->type = named->type;
            decl->value = named->value;
            merge_attributes(decl, named);
            named->flags |= SYM_USED;
            continue;
        }
        push_back_token();
        break;
    }
    if (found_class && allowed && !class_allowed(allowed, decl->sclass))
        report("illegal storage class");
    if (bits & SPEC_CONST)
        decl->attr |= ATTR_CONST;
    if (bits & SPEC_VOLATILE)
        decl->attr |= ATTR_VOLATILE;
    std::uint16_t kinds = bits & static_cast<std::uint16_t>(~(SPEC_CONST | SPEC_VOLATILE));
    keywords_seen = seen;
    implicit_int = kinds == 0;
    if (kinds == 0) {
        decl->type = &type_int;
    } else if (kinds & SPEC_TYPEDEF) {
        // decl->type is the typedef's
    } else if (kinds == SPEC_AGGREGATE) {
        if (!decl->type)
            decl->type = &type_int;
    } else if (Type *t = combined_type(kinds)) {
        decl->type = t;
    } else {
        report("illegal type specification");
        decl->type = &type_int;
    }
    return bits != 0 || found_class || decl->attr != 0;
}

namespace {

// The `*` prefix of a declarator with the qualifiers after each `*`. True
// when there was one.
[[gnu::noinline]] bool read_pointer_prefix(Symbol *decl)
{
    bool star = false;
    while (next_token()->code == TK_STAR) {
        star = true;
        Type *p = new_type(KIND_POINTER, decl->type);
        p->attr = decl->attr;
        decl->attr = 0;
        read_pointer_qualifiers(&decl->attr);
        decl->type = p;
    }
    push_back_token();
    return star;
}

// The bytes of an array chain counted in 64 bits (held at 2^32 once past
// 32 bits); 0 while a level's size is not known. The compiler keeps
// sizes in 32 bits, so an array whose object would not fit is refused
// where its dimension is read rather than kept with a wrapped size.
std::uint64_t wide_array_size(const Type *t)
{
    constexpr std::uint64_t PAST_32_BITS = 0x100000000;
    std::uint64_t count = 1;
    for (; t && t->kind == KIND_ARRAY; t = t->of) {
        if (t->dim == 0)
            return 0;
        count *= t->dim;
        if (count > PAST_32_BITS)
            count = PAST_32_BITS;
    }
    if (!t)
        return 0;
    switch (t->kind) {
    case KIND_STRUCT:
    case KIND_UNION:
        if (!t->members)
            return 0;
        break;
    case KIND_ENUM:
        if (!t->enumerators && !no_enum_optimization)
            return 0;
        break;
    case KIND_VOID:
    case KIND_FUNCTION:
        return 0;
    default:
        break;
    }
    return count * static_cast<std::uint32_t>(type_size(t));
}

// Array and function suffixes. Each wraps the type at the current position
// and becomes the new position, so that a[2][3] is an array of 2 arrays of 3.
[[gnu::noinline]] void read_suffixes(Symbol *decl)
{
    Type **position = &decl->type;
    const Type *container = nullptr;
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_LBRACKET) {
            Type *wrapped = *position;
            if ((wrapped && wrapped->kind == KIND_FUNCTION) || (container && container->kind == KIND_FUNCTION))
                report(wrapped && wrapped->kind == KIND_FUNCTION ? "invalid array type" : "invalid function return type");
            else if (c99_mode && wrapped && wrapped->kind == KIND_STRUCT && wrapped->of)
                report("invalid flexible array combination");
            Type *array = new_type(KIND_ARRAY, wrapped);
            std::int32_t dim = 0;
            if (parse_constant(&dim, 0) && dim < 1) {
                report("invalid array dimension");
                dim = 0;
            }
            array->dim = static_cast<std::uint32_t>(dim);
            *position = array;
            if (dim > 0 && wide_array_size(decl->type) > 0xFFFFFFFF) {
                report("invalid array dimension");
                array->dim = 0;
            }
            expect(TK_RBRACKET);
            position = &array->of;
            container = array;
        } else if (t->code == TK_LPAREN) {
            Type *wrapped = *position;
            if ((wrapped && (wrapped->kind == KIND_FUNCTION || wrapped->kind == KIND_ARRAY)) ||
                (container && container->kind == KIND_FUNCTION))
                report("invalid function return type");
            else if (container && container->kind == KIND_ARRAY)
                report("invalid array type");
            Type *function = new_type(KIND_FUNCTION, wrapped);
            decl->attr |= ATTR_FUNCDECL;
            parse_parameters(function);
            expect(TK_RPAREN);
            *position = function;
            position = &function->of;
            container = function;
        } else {
            push_back_token();
            return;
        }
    }
}

// The inner declarator's chain put in front of the outer one: its
// innermost level takes the outer chain.
[[gnu::noinline]] void join_inner(Symbol *decl, const Symbol *inner)
{
    Type *level = inner->type;
    while (level->of)
        level = level->of;
    level->of = decl->type;
    if (level->kind == KIND_POINTER) {
        level->attr = apply_default_attributes(decl->attr, CONTEXT_POINTED_TO, decl->type ? decl->type->kind : KIND_INT);
        decl->attr = inner->attr;
    } else if (level->kind == KIND_FUNCTION) {
        decl->attr = inner->attr;
    }
    decl->type = inner->type;
}

}  // namespace

// Recursive through parenthesised inner declarators: its frame is kept to
// the inner record and a few words, so that the nesting limit is reached
// long before the stack's end, with sanitizers too.
bool parse_declarator(Symbol *decl)
{
    const Type *start = decl->type;
    bool star = read_pointer_prefix(decl);

    bool present = false;
    Symbol inner;
    bool has_inner = false;
    Token *t = next_token();
    if (t->code == TK_IDENT) {
        decl->name = reinterpret_cast<Name *>(t->value);
        present = true;
    } else if (t->code == TK_LPAREN) {
        if (enter_nesting()) {
            inner.type = nullptr;
            inner.attr = 0;
            inner.name = nullptr;
            bool got = parse_declarator(&inner);
            leave_nesting();
            if (got) {
                has_inner = present = true;
                decl->name = inner.name;
                expect(TK_RPAREN);
            } else {
                push_back_token();  // the `(` of a function suffix: int (int)
                present = true;
            }
        } else {
            // Nested too deeply: the rest up to the closing `)` was passed over.
            expect(TK_RPAREN);
            present = true;
        }
    } else {
        push_back_token();
        present = star && (t->code == TK_RPAREN || t->code == TK_LBRACKET);
    }

    read_suffixes(decl);
    default_pointer_levels(decl->type, start);
    if (has_inner && inner.type)
        join_inner(decl, &inner);
    return present;
}

void parse_parameters(Type *function)
{
    PrototypeMark saved = begin_prototype_lists();
    Symbol **tail = &function->params;
    *tail = nullptr;
    NameSet names;
    bool variable = false;
    // A nested parameter list holds the frames of a whole declaration, so it
    // counts for several levels of the nesting limit.
    constexpr std::int32_t PARAMETER_LIST_WEIGHT = 8;
    bool nested = enter_nesting(PARAMETER_LIST_WEIGHT);
    Token *t = next_token();
    if (!nested) {
        push_back_token();
    } else if (t->code == TK_ELLIPSIS) {
        // No parameters at all: the same as ().
        variable = true;
    } else {
        push_back_token();
        Symbol decl{};
        if (!parse_specifiers(&decl, PARAMETER_CLASSES)) {
            // An old-style identifier list.
            variable = true;  // no end marker
            for (;;) {
                t = next_token();
                if (t->code != TK_IDENT) {
                    push_back_token();
                    break;
                }
                auto *name = reinterpret_cast<Name *>(t->value);
                if (!names.insert(name)) {
                    report("redeclared argument %.*s", name->length, name->chars);
                } else {
                    Symbol *p = new_symbol(tail, name, SC_NONE, nullptr);
                    p->line = t->line;
                    p->column = t->column;
                    tail = &p->next;
                }
                if (!accept(TK_COMMA))
                    break;
            }
        } else {
            bool first = true;
            for (;;) {
                parse_declarator(&decl);
                Token *after = next_token();
                push_back_token();
                if (decl.name && !names.insert(decl.name))
                    report("redeclared proto argument %.*s", decl.name->length, decl.name->chars);
                if (decl.type && decl.type->kind == KIND_VOID && (!first || after->code != TK_RPAREN)) {
                    report("bad void argument");
                } else {
                    Symbol *p = new_symbol(tail, decl.name, decl.sclass, decl.type);
                    p->attr = decl.attr;
                    p->line = after->line;
                    p->column = after->column;
                    tail = &p->next;
                    adjust_parameter(p);
                    if (p->sclass == SC_NONE || p->sclass == SC_REGISTER)
                        p->attr = apply_default_attributes(p->attr, SC_ARGUMENT, 0);
                }
                first = false;
                if (!accept(TK_COMMA))
                    break;
                if (next_token()->code == TK_ELLIPSIS) {
                    variable = true;
                    break;
                }
                push_back_token();
                if (!parse_specifiers(&decl, PARAMETER_CLASSES)) {
                    report("bad proto argument type");
                    break;
                }
            }
        }
    }
    if (nested)
        leave_nesting(PARAMETER_LIST_WEIGHT);
    if (!variable)
        new_symbol(tail, nullptr, SC_NONE, new_type(KIND_VOID, nullptr));  // the end marker
    end_prototype_lists(function, saved);
}

bool has_identifier_list(const Type *function)
{
    return function->kind == KIND_FUNCTION && function->params && !function->params->type;
}

void adjust_parameter(Symbol *sym)
{
    Type *type = sym->type;
    if (!type || (type->kind != KIND_ARRAY && type->kind != KIND_FUNCTION))
        return;
    std::uint16_t attr = apply_default_attributes(sym->attr, CONTEXT_POINTED_TO, type->kind);
    Type *p = new_type(KIND_POINTER, type->kind == KIND_ARRAY ? type->of : type);
    p->attr = attr;
    sym->attr = 0;
    sym->type = p;
}

void declare_at(Symbol *sym, std::uint16_t spec_attr)
{
    if (sym->flags & SYM_USED)
        report("redefined alias %.*s", sym->name ? sym->name->length : 0, sym->name ? sym->name->chars : "");
    Node *e = parse_assignment();
    if (!e) {
        report("bad alias expression");
        return;
    }
    std::int32_t address;
    if (is_int_constant(e)) {
        address = static_cast<std::int32_t>(e->value);
    } else {
        e = final_fold(e);
        if (e->op != OP_LEAF) {
            report("bad alias expression");
            return;
        }
        if (!(e->leaf & LEAF_SYMBOL)) {
            sym->value = e->value;
            return;
        }
        if (e->symbol->sclass != SC_LOCALIZED) {
            sym->sclass = SC_LOCALIZED;
            sym->alias = keep_alias(e);
            sym->flags |= SYM_DEFINED;
            return;
        }
        address = static_cast<std::int32_t>(e->symbol->value + e->value);
    }
    sym->value = static_cast<std::uint32_t>(address);
    sym->sclass = SC_LOCALIZED;
    bool function = sym->type && sym->type->kind == KIND_FUNCTION;
    if (!function) {
        std::uint16_t space = sym->attr & ATTR_SPACE;
        if (address >= 0 && address <= 255) {
            bool array = sym->type && sym->type->kind == KIND_ARRAY;
            if (!array && !(spec_attr & ATTR_SPACE))
                sym->attr = static_cast<std::uint16_t>((sym->attr & ~ATTR_SPACE) | SPACE_TINY);
        } else if (address < 65536) {
            if (space == SPACE_TINY)
                sym->attr &= static_cast<std::uint16_t>(~ATTR_SPACE);
        } else {
            sym->attr = static_cast<std::uint16_t>((sym->attr & ~ATTR_SPACE) | SPACE_FAR);
        }
    }
    if ((sym->attr & ATTR_SPACE) != SPACE_FAR) {
        emit_space_names();
        emit_data_start(sym);
        emit_data_end();
    }
}
