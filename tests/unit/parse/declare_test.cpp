// Declarations read as a unit: the symbols they leave at file scope (class,
// attribute word, type chain with parameter lists) and what they report.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "../support.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/declare.h"
#include "runtime/textbuf.h"
#include "tree/tree.h"

namespace {

// A type with its parameter lists: func(int)[int a, ptr(char) -, void].
void describe_type(TextBuffer &out, const Type *t)
{
    dump_type(out, t);
    for (; t; t = t->of) {
        if (t->kind != KIND_FUNCTION || !t->params)
            continue;
        out.append('[');
        for (const Symbol *p = t->params; p; p = p->next) {
            if (p != t->params)
                out.append(", ");
            if (p->type)
                dump_type(out, p->type);
            else
                out.append("old");
            out.append(' ');
            if (p->name)
                out.append(p->name->chars, p->name->length);
            else
                out.append('-');
        }
        out.append(']');
    }
}

class DeclareTest : public CompilerTest {
protected:
    // "class attr type" of a file-scope name; "none" when it is not there.
    std::string symbol(const char *name)
    {
        Symbol *s = find_symbol(intern_name(name, std::strlen(name)), ident_list, nullptr);
        if (!s)
            return "none";
        char head[32];
        std::snprintf(head, sizeof head, "%u %04x ", s->sclass, s->attr);
        TextBuffer out;
        out.append(head);
        describe_type(out, s->type);
        if (s->sclass == SC_LOCALIZED) {
            std::snprintf(head, sizeof head, " @%u", s->value);
            out.append(head);
        }
        return out.data;
    }
};

struct DeclCase {
    const char *options;  // "c99", "sa", "f" or ""
    const char *source;
    const char *name;
    const char *expected;
    const char *messages;  // the message texts, one per line, no positions
};

// Class codes: 0 none, 139 extern, 151 static, 154 typedef, 5 localized.
// Attribute words (no -m: the default tables add nothing): 0x1000 tiny,
// 0x3000 far, 0x8000 const, 0x4000 volatile, 0x0800 function declarator.
const DeclCase cases[] = {
    // Declarator forms.
    {"", "int (*p)[4];", "p", "0 0000 ptr(array[4](int))", ""},
    {"", "int *p[4];", "p", "0 0000 array[4](ptr(int))", ""},
    {"", "int a[2][3];", "a", "0 0000 array[2](array[3](int))", ""},
    {"", "char **q;", "q", "0 0000 ptr(ptr(char))", ""},
    {"", "const int *cp;", "cp", "0 0000 ptr(const int)", ""},
    {"", "int *const pc;", "pc", "0 8000 ptr(int)", ""},
    {"", "int (*fp)(void);", "fp", "0 0000 ptr(func(int))[void -, void -]", ""},
    {"", "int (*ap[3])(int a, char);", "ap", "0 0000 array[3](ptr(func(int)))[int a, char -, void -]", ""},
    {"", "void (*signal(int, void (*)(int)))(int);", "signal",
     "139 0800 func(ptr(func(void)))[int -, ptr(func(void)) -, void -][int -, void -]", ""},
    {"", "int ((x));", "x", "0 0000 int", ""},
    {"", "x;", "x", "0 0000 int", ""},
    {"", "int f(...);", "f", "139 0800 func(int)", ""},
    {"", "int f();", "f", "139 0800 func(int)", ""},
    {"", "int f(a, b);", "f", "139 0800 func(int)[old a, old b]", "useless argument list\n"},
    {"", "int f(int a[], int g(void));", "f", "139 0800 func(int)[ptr(int) a, ptr(func(int)) g, void -]", ""},
    {"", "int f(int, ...);", "f", "139 0800 func(int)[int -]", ""},
    {"", "int f(int, void);", "f", "139 0800 func(int)[int -, void -]", "bad void argument\n"},
    {"", "int f(void x, int);", "f", "139 0800 func(int)[int -, void -]", "bad void argument\n"},
    {"", "int f(int a, char a);", "f", "139 0800 func(int)[int a, char a, void -]",
     "redeclared proto argument a\n"},
    {"", "int f(a, b, a);", "f", "139 0800 func(int)[old a, old b]",
     "redeclared argument a\nuseless argument list\n"},
    // Specifiers.
    {"", "long long x;", "x", "0 0000 long", "repeated type specification\n"},
    {"", "unsigned char c;", "c", "0 0000 uchar", ""},
    {"", "long double d;", "d", "0 0000 double", ""},
    {"", "short char c;", "c", "0 0000 int", "illegal type specification\n"},
    {"", "const const int x;", "x", "0 8000 int", "repeated type specification\n"},
    {"", "typedef const int C; const C x;", "x", "0 8000 int", "repeated qualifier specification\n"},
    {"c99", "typedef const int C; const C x;", "x", "0 8000 int", ""},
    {"", "typedef int *IP; typedef IP IPP[2]; IPP v;", "v", "0 0000 array[2](ptr(int))", ""},
    {"", "typedef int T; int T;", "T", "154 0000 int", "redeclared typedef T\n"},
    {"", "extern static int x;", "x", "139 0000 int", "invalid storage class\n"},
    {"", "auto int x;", "x", "128 0000 int", "illegal storage class\n"},
    {"c99", "static inline int f(void);", "f", "139 0a00 func(int)[void -, void -]", ""},
    {"c99", "inline static int f(void);", "f", "139 0a00 func(int)[void -, void -]", "invalid storage class\n"},
    {"c99", "inline int x;", "x", "0 0000 int", "invalid inline specifier\n"},
    // Suffix errors.
    {"", "typedef int F(void); F a[2];", "a", "0 0800 array[2](func(int))[void -, void -]", "invalid array type\n"},
    {"", "int a[0];", "a", "0 0000 array[](int)", "invalid array dimension\n"},
    {"", "int g(void)[3];", "g", "139 0800 func(array[3](int))[void -, void -]", "invalid function return type\n"},
    {"", "int h(void)(void);", "h", "139 0800 func(func(int))[void -, void -][void -, void -]",
     "invalid function return type\n"},
    {"", "int a[3](void);", "a", "0 0800 array[3](func(int))[void -, void -]", "invalid array type\n"},
    // Redeclarations.
    {"", "int x; int x;", "x", "0 0000 int", ""},
    {"", "int x; static int x;", "x", "0 0000 int", "redeclared external x\n"},
    {"", "static int x; int x;", "x", "151 0000 int", ""},
    {"", "extern int x; int x;", "x", "0 0000 int", ""},
    {"", "int x; long x;", "x", "0 0000 int", "redeclared external x\n"},
    {"", "int f(); int f(int a);", "f", "139 0800 func(int)[int a, void -]", ""},
    {"", "int f(int a); int f();", "f", "139 0800 func(int)[int a, void -]", ""},
    {"", "int f(int a); int f(long a);", "f", "139 0800 func(int)[int a, void -]", "redeclared external f\n"},
    {"", "int a[]; int a[10];", "a", "0 0000 array[10](int)", ""},
    {"sa", "int x; volatile int x;", "x", "0 0000 int", "redeclared external x\n"},
    {"", "int x; volatile int x;", "x", "0 4000 int", ""},
    {"", "int z @ 0x40; int z;", "z", "5 1000 int @64", "redeclared localized z\n"},
    // Addresses and aliases.
    {"", "unsigned char x @ 0x40;", "x", "5 1000 uchar @64", ""},
    {"", "char y @ 0x10000;", "y", "5 3000 char @65536", ""},
    {"", "int b @ 0x300;", "b", "5 0000 int @768", ""},
    {"", "char a[4] @ 0x20;", "a", "5 0000 array[4](char) @32", ""},
    {"", "int z @ 0x40; int w @ z;", "w", "5 1000 int @64", ""},
    {"", "int z; int w @ z;", "w", "5 0000 int @0", ""},
    {"", "int v @ ;", "v", "0 0000 int", "bad alias expression\n"},
    // Recovery: the declaration after a broken one is read normally.
    {"", "int a[2; int ok;", "ok", "0 0000 int", "missing ]\n"},
    {"", "int x y; int ok;", "ok", "0 0000 int", "missing ;\n"},
    {"", "int; int ok;", "ok", "0 0000 int", "incomplete declaration\n"},
    {"", "int *[3]; int ok;", "ok", "0 0000 int", "missing name in declaration\n"},
};


TEST_F(DeclareTest, DeclaratorsSpecifiersAndRedeclarations)
{
    for (const DeclCase &c : cases) {
        fresh();
        c99_mode = std::strcmp(c.options, "c99") == 0;
        strict_ansi = std::strcmp(c.options, "sa") == 0;
        read_unit(c.source);
        EXPECT_EQ(symbol(c.name), c.expected) << c.source;
        EXPECT_EQ(message_texts(messages()), c.messages) << c.source;
    }
}

TEST_F(DeclareTest, PragmaAttributeTypesMatch)
{
    // #pragma attribute is read once memory spaces are built; the matcher
    // is checked here on hand-declared pragma symbols.
    auto declared = [&](const char *n) { return find_symbol(intern_name(n, std::strlen(n)), ident_list, nullptr); };
    auto pragma = [&](const char *n, Type *t, std::uint16_t attr) {
        Symbol *s = new_symbol(&attribute_list, intern_name(n, std::strlen(n)), SC_NONE, t);
        s->attr = attr;
        return s;
    };
    // A pragma naming a space gives it to the declaration; a conflicting
    // space is reported, except for a static.
    pragma("buf", &type_int, SPACE_FAR);
    pragma("sbuf", &type_int, SPACE_FAR);
    read_unit("int g(char *p, char *q); int h(char *p); int k(); void *v; int arr[2];"
         "int buf; static int sbuf @ 0x20; int buf2;");
    EXPECT_EQ(declared("buf")->attr & ATTR_SPACE, SPACE_FAR);
    EXPECT_EQ(declared("sbuf")->attr & ATTR_SPACE, SPACE_TINY);
    EXPECT_EQ(declared("buf2")->attr & ATTR_SPACE, 0);
    EXPECT_EQ(messages(), "");

    Type *tiny_char = new_type(KIND_POINTER, &type_char);
    tiny_char->attr = SPACE_TINY;
    Type *far_char = new_type(KIND_POINTER, &type_char);
    far_char->attr = SPACE_FAR;
    Type *proto = new_type(KIND_FUNCTION, &type_int);
    Symbol *end = new_symbol(&proto->params, nullptr, SC_NONE, &type_void);
    Symbol *first = new_symbol(&proto->params, nullptr, SC_NONE, tiny_char);
    first->next = end;
    proto->params = first;

    Symbol *g = declared("g");
    EXPECT_STREQ(match_attribute_type(proto, g->type), "argument mismatch in #pragma attribute for %.*s");
    Symbol *h = declared("h");
    EXPECT_EQ(match_attribute_type(proto, h->type), nullptr);
    EXPECT_EQ(h->type->params->type->attr & ATTR_SPACE, SPACE_TINY);  // `p` now points to tiny data
    EXPECT_STREQ(match_attribute_type(proto, declared("k")->type), "missing prototype for #pragma attribute usage");
    EXPECT_STREQ(match_attribute_type(far_char, h->type->params->type),
                 "pointer space conflict with #pragma attribute for %.*s");
    EXPECT_STREQ(match_attribute_type(tiny_char, declared("arr")->type),
                 "type mismatch with #pragma attribute for %.*s");
    EXPECT_EQ(match_attribute_type(&type_long, &type_int), nullptr);  // base types are not compared
}

TEST_F(DeclareTest, DebugListTakesEachSymbolOnce)
{
    read_unit("int a; extern int b; int a; static int c; int f(void); typedef int T;");
    std::string names;
    for (Symbol *s = debug_declarations(current_file); s; s = s->debug_next)
        names.append(s->name->chars, s->name->length).append(" ");
    EXPECT_EQ(names, "c a ");  // extern b is no definition; f has no body; T only under -xx
    EXPECT_TRUE(object_declared);
}

}  // namespace

namespace {

// Large and deep shapes end with the declaration after them read normally:
// within the limits without a message, past them with one.
TEST_F(DeclareTest, LargeAndDeepDeclarationsEndCleanly)
{
    auto repeat = [](const char *piece, int n) {
        std::string s;
        for (int i = 0; i < n; ++i)
            s += piece;
        return s;
    };
    std::string many;
    for (int i = 0; i < 10000; ++i)
        many += "int v" + std::to_string(i) + ";\n";
    std::string params = "int f(int p0";
    for (int i = 1; i < 10000; ++i)
        params += ",\nchar (*p" + std::to_string(i) + ")(int)";
    params += ");\n";
    struct Shape {
        std::string source;
        const char *messages;
    } shapes[] = {
        {many, ""},
        {params, ""},
        {"int " + repeat("(\n", 10000) + "x" + repeat(")\n", 10000) + ";\n", ""},
        {"int " + repeat("(\n", 10001) + "x" + repeat(")\n", 10001) + ";\n",
         "expression nested too deeply\nmissing name in declaration\n"},
        {"int " + repeat("*\n", 20000) + "x;\n", ""},
        {"int x" + repeat("[1]\n", 10000) + ";\n", ""},
        {"int g" + repeat("(int (*)\n", 1200) + "(void)" + repeat(")\n", 1200) + ";\n", ""},
        {"int g" + repeat("(int (*)\n", 1300) + "(void)" + repeat(")\n", 1300) + ";\n",
         "expression nested too deeply\nexpression nested too deeply\n"},
    };
    for (const Shape &shape : shapes) {
        fresh();
        read_unit(shape.source + "int ok;");
        EXPECT_EQ(symbol("ok"), "0 0000 int") << shape.source.substr(0, 40);
        EXPECT_EQ(message_texts(messages()), shape.messages) << shape.source.substr(0, 40);
    }
}

}  // namespace
