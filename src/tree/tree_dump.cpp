// The one-line text form of an expression tree, for tests and dumps. It is
// compared as text, so it only ever grows by additions that keep old lines
// unchanged.
//
//   tree  := "null" | "(leaf " TYPE " " BASE FLAGS ")" | "(" OP " " TYPE OPERANDS FLAGS ")"
//   BASE  := "sym " NAME OFFSET   a symbol's object or address
//          | "lit" OFFSET         a string literal's bytes or address
//          | %.17g                a floating constant's double
//          | decimal             an integer constant: signed for the signed
//                                 integer kinds, unsigned for the others
//   OFFSET := "" when 0, else "+N" or "-N"
//   OPERANDS: " " tree for each operand: left for unary operators and
//          casts; left, right for binary ones; test, middle, third for
//          "?:"; a call's right only when it has arguments; none for "seq"
//   OP    := the C spelling of a binary operator, "neg" "deref" "addr" "!"
//            "~" for the unary ones, and "," "?:" "post++" "post--" "arg"
//            "cast" "call" "seq"; an unknown code as "op" and its number
//   FLAGS := one " word" for each bit set, in this order: lvalue init
//            zero-divisor zero-modulus (leaf bits), retyped test-holds
//            rvalue union overlaid call-counted (node flags)
//   TYPE  := int uint short ushort long ulong char uchar float double void
//          | bits8 bits16 bitsint bits32, then "<" offset ":" width ">"
//          | "ptr" SPACE "(" QUALIFIERS TYPE ")"   SPACE: "", "@tiny",
//            "@near", "@far", then "@u" and two hex digits for user spaces;
//            QUALIFIERS: "const ", "volatile "
//          | "array[" dimension "](" TYPE ")"   (dimension empty when unknown)
//          | "func(" TYPE ")"   the result type
//          | "struct " TAG | "union " TAG | "enum " TAG   (TAG "?" when untagged,
//            followed by the name of a typedef in scope that names the
//            type: "struct ?point_t")
#include <cstdio>

#include "model/names.h"
#include "model/types.h"
#include "runtime/textbuf.h"
#include "tree/tree.h"

namespace {

struct OpText {
    std::uint8_t op;
    const char *text;
};

constexpr OpText op_texts[] = {
    {OP_COMMA, ","},      {OP_COND, "?:"},      {OP_POSTINC, "post++"}, {OP_POSTDEC, "post--"}, {OP_ARG, "arg"},
    {OP_CAST, "cast"},    {OP_CALL, "call"},    {OP_NEG, "neg"},        {OP_DEREF, "deref"},    {OP_ADDR, "addr"},
    {OP_NOT, "!"},        {OP_COMPL, "~"},      {OP_DIV, "/"},          {OP_MOD, "%"},          {OP_SHL, "<<"},
    {OP_SHR, ">>"},       {OP_XOR, "^"},        {OP_OR, "|"},           {OP_LT, "<"},           {OP_GE, ">="},
    {OP_GT, ">"},         {OP_LE, "<="},        {OP_EQ, "=="},          {OP_NE, "!="},          {OP_ADDASG, "+="},
    {OP_SUBASG, "-="},    {OP_MULASG, "*="},    {OP_DIVASG, "/="},      {OP_MODASG, "%="},      {OP_SHLASG, "<<="},
    {OP_SHRASG, ">>="},   {OP_ANDASG, "&="},    {OP_XORASG, "^="},      {OP_ORASG, "|="},       {OP_ANDAND, "&&"},
    {OP_OROR, "||"},      {OP_ASSIGN, "="},     {OP_ADD, "+"},          {OP_SUB, "-"},          {OP_MUL, "*"},
    {OP_AND, "&"},        {OP_SEQ, "seq"},
};

struct FlagText {
    std::uint8_t bit;
    const char *text;
};

constexpr FlagText leaf_texts[] = {
    {LEAF_LVALUE, "lvalue"}, {LEAF_INIT, "init"}, {LEAF_ZERO_DIVISOR, "zero-divisor"}, {LEAF_ZERO_MODULUS, "zero-modulus"}};
constexpr FlagText flag_texts[] = {{NODE_RETYPED, "retyped"}, {NODE_TEST_HOLDS, "test-holds"},
                                   {NODE_RVALUE, "rvalue"},   {NODE_UNION, "union"},
                                   {NODE_OVERLAID, "overlaid"}, {NODE_CALL_COUNTED, "call-counted"}};

struct KindText {
    std::uint8_t kind;
    const char *text;
};

constexpr KindText kind_texts[] = {
    {KIND_CHAR, "char"},     {KIND_UCHAR, "uchar"},   {KIND_BITS8, "bits8"},   {KIND_SHORT, "short"},
    {KIND_USHORT, "ushort"}, {KIND_BITS16, "bits16"}, {KIND_INT, "int"},       {KIND_UINT, "uint"},
    {KIND_BITSINT, "bitsint"}, {KIND_LONG, "long"},   {KIND_ULONG, "ulong"},   {KIND_BITS32, "bits32"},
    {KIND_FLOAT, "float"},   {KIND_DOUBLE, "double"}, {KIND_VOID, "void"},
};

void append_number(TextBuffer &out, const char *format, long long value)
{
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    out.append(text);
}

void append_offset(TextBuffer &out, std::uint32_t value)
{
    if (value)
        append_number(out, "%+lld", static_cast<std::int32_t>(value));
}

void append_tag(TextBuffer &out, const char *word, const Type *t)
{
    out.append(word);
    if (t->tag && t->tag->name) {
        out.append(t->tag->name->chars, t->tag->name->length);
        return;
    }
    out.append('?');
    // The source names an untagged type through a typedef: the first one in
    // scope says which type this is.
    for (const Symbol *s = ident_list; s; s = s->next) {
        if (s->sclass == SC_TYPEDEF && s->type == t && s->name) {
            out.append(s->name->chars, s->name->length);
            return;
        }
    }
}

void append_flags(TextBuffer &out, const Node *n)
{
    if (n->op == OP_LEAF)
        for (const FlagText &f : leaf_texts)
            if (n->leaf & f.bit) {
                out.append(' ');
                out.append(f.text);
            }
    for (const FlagText &f : flag_texts)
        if (n->flags & f.bit) {
            out.append(' ');
            out.append(f.text);
        }
}

void append_leaf_base(TextBuffer &out, const Node *n)
{
    if (n->leaf & LEAF_SYMBOL) {
        out.append("sym ");
        if (n->symbol && n->symbol->name)
            out.append(n->symbol->name->chars, n->symbol->name->length);
        else
            out.append('?');
        append_offset(out, n->value);
    } else if (n->type && is_floating_kind(n->type->kind) && (n->leaf & LEAF_LITERAL)) {
        char text[40];
        std::snprintf(text, sizeof text, "%.17g", float_constant_value(n));
        out.append(text);
    } else if (n->leaf & LEAF_LITERAL) {
        out.append("lit");
        append_offset(out, n->value);
    } else if (n->type && is_integer_kind(n->type->kind) && !(n->type->kind & KIND_UNSIGNED_BIT)) {
        append_number(out, "%lld", static_cast<std::int32_t>(n->value));
    } else {
        append_number(out, "%llu", n->value);
    }
}

}  // namespace

void dump_type(TextBuffer &out, const Type *t)
{
    if (!t) {
        out.append('?');
        return;
    }
    for (const KindText &k : kind_texts)
        if (k.kind == t->kind) {
            out.append(k.text);
            if (is_bitfield_kind(t->kind)) {
                append_number(out, "<%lld", t->bit_offset);
                append_number(out, ":%lld>", t->bit_width);
            }
            return;
        }
    switch (t->kind) {
    case KIND_POINTER: {
        static const char *const spaces[] = {"", "@tiny", "@near", "@far"};
        out.append("ptr");
        out.append(spaces[(t->attr & ATTR_SPACE) >> 12]);
        if (t->attr & ATTR_USER_SPACES) {
            char text[8];
            std::snprintf(text, sizeof text, "@u%02x", t->attr & ATTR_USER_SPACES);
            out.append(text);
        }
        out.append('(');
        if (t->attr & ATTR_CONST)
            out.append("const ");
        if (t->attr & ATTR_VOLATILE)
            out.append("volatile ");
        dump_type(out, t->of);
        out.append(')');
        return;
    }
    case KIND_ARRAY:
        out.append("array[");
        if (t->dim)
            append_number(out, "%lld", t->dim);
        out.append("](");
        dump_type(out, t->of);
        out.append(')');
        return;
    case KIND_FUNCTION:
        out.append("func(");
        dump_type(out, t->of);
        out.append(')');
        return;
    case KIND_STRUCT:
        append_tag(out, "struct ", t);
        return;
    case KIND_UNION:
        append_tag(out, "union ", t);
        return;
    case KIND_ENUM:
        append_tag(out, "enum ", t);
        return;
    default:
        append_number(out, "kind%lld", t->kind);
        return;
    }
}

void dump_tree(TextBuffer &out, const Node *n)
{
    if (!n) {
        out.append("null");
        return;
    }
    out.append('(');
    if (n->op == OP_LEAF) {
        out.append("leaf ");
        dump_type(out, n->type);
        out.append(' ');
        append_leaf_base(out, n);
        append_flags(out, n);
        out.append(')');
        return;
    }
    const char *text = nullptr;
    for (const OpText &o : op_texts)
        if (o.op == n->op)
            text = o.text;
    if (text)
        out.append(text);
    else
        append_number(out, "op%lld", n->op);
    out.append(' ');
    dump_type(out, n->type);
    if (n->op != OP_SEQ) {
        out.append(' ');
        dump_tree(out, n->left);
        if (n->op == OP_COND) {
            out.append(' ');
            dump_tree(out, n->value_node);
        }
        bool has_right = !(n->op == OP_CAST || is_unary_op(n->op)) && !(n->op == OP_CALL && !n->right);
        if (has_right) {
            out.append(' ');
            dump_tree(out, n->right);
        }
    } else {
        // The statements it holds are the statement printer's to show.
        out.append(' ');
        append_number(out, "%lld", n->value);
        if (n->right) {
            out.append(' ');
            dump_tree(out, n->right);
        }
    }
    append_flags(out, n);
    out.append(')');
}
