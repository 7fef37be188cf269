// Type names of casts and sizeof: specifier words, typedef names and the
// abstract declarator (pointers with their qualifiers, array and function
// suffixes, parenthesised inner declarators).
#include "decl/typename.h"

#include <vector>

#include "decl/types.h"
#include "driver/diagnostics.h"
#include "driver/options.h"
#include "expr/parse.h"
#include "expr/tree.h"
#include "lexer/tokenizer.h"

namespace {

constexpr unsigned KW_CHAR = 131, KW_CONST = 132, KW_DOUBLE = 136, KW_ENUM = 138, KW_FLOAT = 140, KW_INT = 144,
                   KW_LONG = 145, KW_SHORT = 148, KW_SIGNED = 149, KW_STRUCT = 152, KW_UNION = 155,
                   KW_UNSIGNED = 156, KW_VOID = 157, KW_VOLATILE = 158;

struct Combination {
    std::uint16_t bits;
    Type *type;  // null: plain char, which depends on -u
};

const Combination combinations[] = {
    {SPEC_CHAR, nullptr},
    {SPEC_SIGNED | SPEC_CHAR, &type_char},
    {SPEC_UNSIGNED | SPEC_CHAR, &type_uchar},
    {SPEC_SHORT, &type_short},
    {SPEC_SIGNED | SPEC_SHORT, &type_short},
    {SPEC_SHORT | SPEC_INT, &type_short},
    {SPEC_SIGNED | SPEC_SHORT | SPEC_INT, &type_short},
    {SPEC_UNSIGNED | SPEC_SHORT, &type_ushort},
    {SPEC_UNSIGNED | SPEC_SHORT | SPEC_INT, &type_ushort},
    {SPEC_INT, &type_int},
    {SPEC_SIGNED | SPEC_INT, &type_int},
    {SPEC_SIGNED, &type_int},
    {SPEC_UNSIGNED | SPEC_INT, &type_uint},
    {SPEC_UNSIGNED, &type_uint},
    {SPEC_LONG, &type_long},
    {SPEC_SIGNED | SPEC_LONG, &type_long},
    {SPEC_LONG | SPEC_INT, &type_long},
    {SPEC_SIGNED | SPEC_LONG | SPEC_INT, &type_long},
    {SPEC_UNSIGNED | SPEC_LONG, &type_ulong},
    {SPEC_UNSIGNED | SPEC_LONG | SPEC_INT, &type_ulong},
    {SPEC_FLOAT, &type_float},
    {SPEC_DOUBLE, &type_double},
    {SPEC_LONG | SPEC_DOUBLE, &type_double},
    {SPEC_VOID, &type_void},
};

// The typedef a token names, or null.
Symbol *typedef_named(const Token *t)
{
    if (t->code != TK_IDENT)
        return nullptr;
    Symbol *s = find_symbol(reinterpret_cast<const Name *>(t->value), ident_list, nullptr);
    return s && s->sclass == SC_TYPEDEF ? s : nullptr;
}

bool starts_type_name(const Token *t) { return specifier_bit(t->code) != 0 || typedef_named(t); }

// The specifier words of a type name into *type and *attr.
void read_specifiers(Type **type, std::uint16_t *attr)
{
    std::uint16_t bits = 0;
    Symbol *named = nullptr;
    for (;;) {
        Token *t = next_token();
        std::uint16_t bit = specifier_bit(t->code);
        if (bit) {
            if (bits & bit)
                report("repeated type specification");
            bits |= bit;
            if (bit == SPEC_AGGREGATE) {
                // The aggregate specifier is read by the struct, union and
                // enum reader, which is not built yet: the tag is passed
                // over and the type taken as int.
                report("struct, union and enum type names not supported yet");
                if (next_token()->code != TK_IDENT)
                    push_back_token();
            }
            continue;
        }
        if (!(bits & ~(SPEC_CONST | SPEC_VOLATILE)) && (named = typedef_named(t)) != nullptr) {
            if (!c99_mode && (((bits & SPEC_CONST) && (named->attr & ATTR_CONST)) ||
                              ((bits & SPEC_VOLATILE) && (named->attr & ATTR_VOLATILE))))
                report("repeated qualifier specification");
            bits = static_cast<std::uint16_t>((bits & (SPEC_CONST | SPEC_VOLATILE)) | SPEC_TYPEDEF);
            named->flags |= SYM_USED;
            continue;
        }
        push_back_token();
        break;
    }
    // Qualifiers after a typedef name still count.
    std::uint16_t a = named ? named->attr : 0;
    if (bits & SPEC_CONST)
        a |= ATTR_CONST;
    if (bits & SPEC_VOLATILE)
        a |= ATTR_VOLATILE;
    *attr = a;
    std::uint16_t kinds = bits & static_cast<std::uint16_t>(~(SPEC_CONST | SPEC_VOLATILE));
    if (bits & SPEC_TYPEDEF) {
        *type = named->type;
    } else if (kinds == SPEC_AGGREGATE || kinds == 0) {
        *type = &type_int;
    } else if (Type *t = combined_type(kinds)) {
        *type = t;
    } else {
        report("illegal type specification");
        *type = &type_int;
    }
}

// A suffix of a direct declarator, read before the types are built.
struct Suffix {
    bool is_array;
    std::uint32_t dim;
};

Type placeholder;  // where an inner declarator's chain meets the outer type

bool skip_parameters()
{
    // Parameter lists of abstract function declarators are read by the
    // parameter reader of the declarations, not built yet: `()` is a
    // function without a prototype, anything else is reported and passed
    // over up to its closing parenthesis.
    Token *t = next_token();
    if (t->code == TK_RPAREN)
        return true;
    report("parameter lists in type names not supported yet");
    for (int depth = 0; t->code != TK_END && t->code != TK_SEMICOLON; t = next_token()) {
        if (t->code == TK_LPAREN)
            ++depth;
        else if (t->code == TK_RPAREN && depth-- == 0)
            return true;
    }
    push_back_token();
    return false;
}

// An abstract declarator over `base` whose first pointer takes `attr`.
Type *abstract_declarator(Type *base, std::uint16_t attr)
{
    Type *type = base;
    Token *t;
    while ((t = next_token())->code == TK_STAR) {
        type = new_type(KIND_POINTER, type);
        type->attr = attr;
        attr = 0;
        for (;;) {
            t = next_token();
            std::uint16_t q = t->code == KW_CONST ? ATTR_CONST : t->code == KW_VOLATILE ? ATTR_VOLATILE : 0;
            if (!q) {
                push_back_token();
                break;
            }
            if ((attr & q) && !c99_mode)
                report("repeated qualifier specification");
            attr |= q;
        }
    }
    Type *inner = nullptr;
    if (t->code == TK_IDENT) {
        report("name unexpected in abstract type");
    } else if (t->code == TK_LPAREN) {
        Token *after = next_token();
        push_back_token();
        if (after->code == TK_STAR || after->code == TK_LPAREN || after->code == TK_LBRACKET) {
            if (enter_nesting()) {
                inner = abstract_declarator(&placeholder, 0);
                leave_nesting();
                expect(TK_RPAREN);
            }
        } else {
            push_back_token();  // the `(` of a function suffix
        }
    } else {
        push_back_token();
    }

    std::vector<Suffix> suffixes;
    for (;;) {
        t = next_token();
        if (t->code == TK_LBRACKET) {
            std::int32_t dim = 0;
            if (parse_constant(&dim, 0) && dim < 1) {
                report("invalid array dimension");
                dim = 0;
            }
            expect(TK_RBRACKET);
            suffixes.push_back({true, static_cast<std::uint32_t>(dim)});
        } else if (t->code == TK_LPAREN) {
            if (skip_parameters())
                push_back_token();
            expect(TK_RPAREN);
            suffixes.push_back({false, 0});
        } else {
            push_back_token();
            break;
        }
    }
    // The first suffix is the outermost derivation: a[2][3] is an array of
    // 2 arrays of 3.
    for (auto s = suffixes.rbegin(); s != suffixes.rend(); ++s) {
        if (s->is_array) {
            if (type->kind == KIND_FUNCTION)
                report("invalid array type");
            type = new_type(KIND_ARRAY, type);
            type->dim = s->dim;
        } else {
            if (type->kind == KIND_FUNCTION || type->kind == KIND_ARRAY)
                report("invalid function return type");
            type = new_type(KIND_FUNCTION, type);
            type->params = nullptr;
        }
    }
    if (!inner)
        return type;
    for (Type *level = inner; level; level = level->of) {
        if (level->of == &placeholder) {
            level->of = type;
            return inner;
        }
    }
    return type;  // the inner declarator was empty
}

// The pointer levels this type name made (down to the specifiers' type)
// get the attributes the declaration left unsaid.
void apply_pointer_defaults(Type *type, const Type *specified)
{
    for (Type *t = type; t && t != specified; t = t->of)
        if (t->kind == KIND_POINTER && t->of)
            t->attr = apply_default_attributes(t->attr, TK_STAR, t->of->kind);
}

}  // namespace

std::uint16_t specifier_bit(unsigned code)
{
    switch (code) {
    case KW_CHAR: return SPEC_CHAR;
    case KW_SHORT: return SPEC_SHORT;
    case KW_INT: return SPEC_INT;
    case KW_LONG: return SPEC_LONG;
    case KW_FLOAT: return SPEC_FLOAT;
    case KW_DOUBLE: return SPEC_DOUBLE;
    case KW_SIGNED: return SPEC_SIGNED;
    case KW_UNSIGNED: return SPEC_UNSIGNED;
    case KW_CONST: return SPEC_CONST;
    case KW_VOLATILE: return SPEC_VOLATILE;
    case KW_VOID: return SPEC_VOID;
    case KW_STRUCT:
    case KW_UNION:
    case KW_ENUM: return SPEC_AGGREGATE;
    default: return 0;
    }
}

Type *combined_type(std::uint16_t bits)
{
    for (const Combination &c : combinations)
        if (c.bits == bits)
            return c.type ? c.type : plain_char_type;
    return nullptr;
}

Node *parse_type_name()
{
    Token *t = next_token();
    push_back_token();
    if (!starts_type_name(t))
        return nullptr;
    Type *type = nullptr;
    std::uint16_t attr = 0;
    read_specifiers(&type, &attr);
    Type *specified = type;
    type = abstract_declarator(type, attr);
    apply_pointer_defaults(type, specified);
    expect(TK_RPAREN);
    Node *cast = new_node(OP_CAST);
    cast->type = type;
    cast->left = nullptr;
    cast->value = 0;
    return cast;
}
