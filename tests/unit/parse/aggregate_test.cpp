// Struct, union and enum layouts: sizes, member offsets, bit positions and
// enumeration types under the layout options, and the messages of bodies.
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
#include "preproc/pragma.h"
#include "runtime/textbuf.h"

namespace {

class AggregateTest : public CompilerTest {
protected:
    void unit(const std::string &source)
    {
        init_space_names();
        read_unit(source);
    }
    // "size=N name@offset ..." with bitfields as name@offset.bit:width/kind,
    // or for an enum "enum KIND", KIND the integer type's kind in hex.
    std::string layout(const char *tag)
    {
        Symbol *t = find_symbol(intern_name(tag, std::strlen(tag)), tag_list, nullptr);
        if (!t)
            return "none";
        char text[64];
        if (t->type->kind == KIND_ENUM) {
            std::snprintf(text, sizeof text, "enum %02x", t->type->of ? t->type->of->kind : 0);
            return text;
        }
        std::string out = "size=" + std::to_string(t->type->size);
        for (const Symbol *m = t->type->members; m; m = m->next) {
            out += ' ';
            out += m->name ? std::string(m->name->chars, m->name->length) : "-";
            if (is_bitfield_kind(m->type->kind))
                std::snprintf(text, sizeof text, "@%u.%u:%u/%02x", m->value, m->type->bit_offset, m->type->bit_width,
                              m->type->kind);
            else
                std::snprintf(text, sizeof text, "@%u", m->value);
            out += text;
            if (m->flags & SYM_UNION_COPY)
                out += "!";
        }
        return out;
    }
};


struct LayoutCase {
    const char *options;  // letters of the options set: b, n (-nb), r (-rb), c (-c99), e (-ne), k (-bc), a (-sa)
    const char *source;
    const char *tag;
    const char *expected;
    const char *messages;
};

const LayoutCase cases[] = {
    // Even alignment only on request.
    {"", "struct T { char a; int b; };", "T", "size=3 a@0 b@1", ""},
    {"b", "struct T { char a; int b; };", "T", "size=4 a@0 b@2", ""},
    {"b", "struct T { int b; char a; };", "T", "size=4 b@0 a@2", ""},
    {"b", "struct T { char a; char b; char c; };", "T", "size=4 a@0 b@1 c@2", ""},
    {"k", "const struct T { char a; int b; } x;", "T", "size=4 a@0 b@2", ""},
    {"k", "struct T { char a; int b; };", "T", "size=3 a@0 b@1", ""},
    {"b", "@packed struct T { char a; int b; };", "T", "size=3 a@0 b@1", ""},
    // A packed member still starts even: a struct of 2 bytes or more needs it.
    {"b", "struct T { char a; @packed struct U { char c; int d; } u; int b; };", "T", "size=8 a@0 u@2 b@6", ""},
    {"b", "struct T { char a; @packed struct U { char c; int d; } u; int b; }; int s = sizeof(struct U);", "U",
     "size=3 c@0 d@1", ""},
    // Bitfield units, shrinking, -nb and -rb.
    {"", "struct T { int a:3; int b:4; };", "T", "size=1 a@0.0:3/13 b@0.3:4/13", ""},
    {"n", "struct T { int a:3; int b:4; };", "T", "size=2 a@0.0:3/33 b@0.3:4/33", ""},
    {"r", "struct T { int a:3; int b:4; };", "T", "size=1 a@0.5:3/13 b@0.1:4/13", ""},
    {"nr", "struct T { int a:3; int b:4; };", "T", "size=2 a@0.13:3/33 b@0.9:4/33", ""},
    {"", "struct T { char a:4; int b:4; };", "T", "size=2 a@0.0:4/13 b@1.0:4/13", ""},
    {"", "struct T { int a:10; int b:10; };", "T", "size=4 a@0.0:10/33 b@2.0:10/33", ""},
    {"", "struct T { long a:20; char c; unsigned short s:3; };", "T", "size=7 a@0.0:20/43 c@4 s@5.0:3/23", ""},
    {"", "struct T { int a:4; int :0; int b:4; };", "T", "size=2 a@0.0:4/13 b@1.0:4/13", ""},
    {"", "struct T { int a:4; int :4; int b:4; };", "T", "size=2 a@0.0:4/33 b@0.8:4/33", ""},
    {"b", "struct T { char c; int a:3; };", "T", "size=4 c@0 a@2.0:3/13", ""},
    {"", "struct T { int a:17; };", "T", "size=2 a@0.0:16/33", "invalid bitfield size\n"},
    {"", "struct T { float f:3; int b:0; };", "T", "size=1 f@0.0:3/13", "invalid bitfield type\ninvalid bitfield size\n"},
    // Unions, anonymous members, flexible arrays.
    {"", "union T { char c; long l; int i; };", "T", "size=4 c@0 l@0 i@0", ""},
    {"", "union T { struct { int a; int b; }; long l; };", "T", "size=4 a@0 b@2 l@0", ""},
    {"", "struct T { char c; union { int a; char b; }; };", "T", "size=3 c@0 a@1 b@1!", ""},
    {"a", "struct T { char c; union { int a; char b; }; int d; };", "T", "size=3 c@0 d@1", "missing member name\n"},
    {"c", "struct T { int n; int d[]; };", "T", "size=2 n@0 d@2", ""},
    {"c", "struct T { int d[]; };", "T", "size=0 d@0", "invalid flexible array usage\n"},
    {"", "struct T { };", "T", "size=0", "missing member declaration\n"},
    {"c", "struct T { int n; int d[]; int e; };", "T", "size=4 n@0 d@2 e@2", "invalid flexible array usage\n"},
    // Tags and messages.
    {"", "struct T { struct T s; int x; };", "T", "size=4 s@0 x@2", "embedded usage of tag name T\n"},
    {"", "struct T { struct T *p; int x; };", "T", "size=4 p@0 x@2", ""},
    {"", "struct T { int a; int a; };", "T", "size=4 a@0 a@2", "redefined member a\n"},
    {"", "struct T { int a; }; struct T { int b; };", "T", "size=2 b@0", "redefined tag name T\n"},
    {"", "struct T; struct T { int b; };", "T", "size=2 b@0", ""},
    {"", "struct T { static int a; int f(void); };", "T", "size=2 a@0 f@2",
     "unexpected storage class\ninvalid function member\n"},
    {"", "struct T { int a };", "T", "size=2 a@0", "missing ; in member definition\n"},
    // Enumerations: the smallest type that holds the values.
    {"", "enum T { A = -1, B = 200 };", "T", "enum 20", ""},
    {"", "enum T { A = 255 };", "T", "enum 11", ""},
    {"", "enum T { A = -128, B = 127 };", "T", "enum 10", ""},
    {"", "enum T { A = 256 };", "T", "enum 21", ""},
    {"", "enum T { A = 65535, B };", "T", "enum 41", ""},
    {"", "enum T { A = -40000 };", "T", "enum 40", ""},
    {"e", "enum T { A = -1, B = 200 };", "T", "enum 30", ""},
    {"e", "enum T { A = 40000 };", "T", "enum 30", "enum value out of int range\n"},
    {"", "enum T { A, A };", "T", "enum 11", "redeclared enum member A\n"},
    {"", "enum T { A, };", "T", "enum 11", "missing enumeration member\n"},
    {"c", "enum T { A, };", "T", "enum 11", ""},
};

TEST_F(AggregateTest, LayoutsAndMessages)
{
    for (const LayoutCase &c : cases) {
        fresh();
        even_align_data = std::strchr(c.options, 'b') != nullptr;
        no_bitfield_packing = std::strchr(c.options, 'n') != nullptr;
        reverse_bitfields = std::strchr(c.options, 'r') != nullptr;
        c99_mode = std::strchr(c.options, 'c') != nullptr;
        no_enum_optimization = std::strchr(c.options, 'e') != nullptr;
        even_align_constants = std::strchr(c.options, 'k') != nullptr;
        strict_ansi = std::strchr(c.options, 'a') != nullptr;
        unit(c.source);
        EXPECT_EQ(layout(c.tag), c.expected) << c.options << " " << c.source;
        EXPECT_EQ(message_texts(messages()), c.messages) << c.options << " " << c.source;
    }
}

// Repeated names are found whether the set of names so far is short (a
// list) or long (hashed): member and parameter counts swept across the
// switch, the repeats naming the first, the last and a middle name.
TEST_F(AggregateTest, RepeatedNamesAcrossEveryListLength)
{
    for (int n : {1, 15, 16, 17, 18, 40}) {
        fresh();
        std::string members, params, want_members, want_params;
        for (int i = 0; i < n; ++i) {
            members += "int m" + std::to_string(i) + "; ";
            params += "a" + std::to_string(i) + ", ";
        }
        for (int i : {0, n - 1, n / 2}) {
            members += "char m" + std::to_string(i) + "; ";
            params += "a" + std::to_string(i) + ", ";
            want_members += "redefined member m" + std::to_string(i) + "\n";
            want_params += "redeclared argument a" + std::to_string(i) + "\n";
        }
        params += "z";
        unit("struct T { " + members + "};\nint f(" + params + ");\n");
        EXPECT_EQ(message_texts(messages()), want_members + want_params + "useless argument list\n") << n;
    }
}

TEST_F(AggregateTest, LargeAndDeepBodiesEndCleanly)
{
    std::string many = "struct T {\n";
    for (int i = 0; i < 10000; ++i)
        many += "char m" + std::to_string(i) + ";\n";
    many += "};\n";
    unit(many);
    EXPECT_EQ(layout("T").substr(0, 15), "size=10000 m0@0");
    EXPECT_EQ(messages(), "");

    fresh();
    std::string deep;
    for (int i = 0; i < 2000; ++i)
        deep += "struct D" + std::to_string(i) + " {\n";
    deep += "int z;\n";
    for (int i = 0; i < 2000; ++i)
        deep += "} m;\n";
    unit(deep + "int ok;\n");
    EXPECT_EQ(message_texts(messages()).substr(0, 31), "struct/union nested too deeply\n");
    EXPECT_NE(find_symbol(intern_name("ok", 2), ident_list, nullptr), nullptr);
}

}  // namespace
