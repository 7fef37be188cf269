// Type names of casts and sizeof: declaration specifiers and an abstract
// declarator, read by the declaration parser; and the tables of type
// keywords it shares.
#include "parse/typename.h"

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/types.h"
#include "parse/declare.h"
#include "parse/parse.h"
#include "tree/tree.h"

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

std::uint16_t type_name_attr = 0;

Node *parse_type_name()
{
    // Most parentheses hold expressions: they are told at their first token.
    bool may = may_start_type_name(next_token());
    push_back_token();
    if (!may)
        return nullptr;
    Symbol decl{};
    if (!parse_specifiers(&decl, nullptr))
        return nullptr;
    parse_declarator(&decl);
    if (decl.name)
        report("name unexpected in abstract type");
    expect(TK_RPAREN);
    type_name_attr = decl.attr;
    Node *cast = new_node(OP_CAST);
    cast->type = decl.type;
    cast->left = nullptr;
    cast->value = 0;
    return cast;
}
