// Hostile initializers end cleanly: braces nested as deep as the types
// allow and deeper, strings of a megabyte, tens of thousands of elements
// and members, designators out of every range. What is left behind is
// looked at in the file-scope symbols: completed sizes and the element
// lists of const objects.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "../support.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/declare.h"
#include "parse/init.h"

namespace {

class InitializerTest : public CompilerTest {
protected:

    Symbol *symbol(const char *name)
    {
        return find_symbol(intern_name(name, std::strlen(name)), ident_list, nullptr);
    }
};

// `n` pieces, `per_line` to a line.
std::string repeat(const std::string &piece, int n, int per_line = 100)
{
    std::string s;
    for (int i = 0; i < n; ++i)
        s += piece + (i % per_line == per_line - 1 ? "\n" : "");
    return s;
}

// `n` items made by `format` from 0, 1, ... (or from n - 1 down), each
// followed by `separator`.
std::string numbers(const char *format, int n, bool reversed = false, char separator = ',')
{
    std::string s;
    char item[64];
    for (int i = 0; i < n; ++i) {
        int k = reversed ? n - 1 - i : i;
        std::snprintf(item, sizeof item, format, k, k);
        s += item;
        s += separator;
        if (i % 50 == 49)
            s += '\n';
    }
    return s;
}


// A structure type nested 10,000 deep through typedefs, and its name.
std::string deep_types()
{
    std::string s = "typedef struct { int v; } T0;\n";
    for (int i = 1; i < 10000; ++i)
        s += "typedef struct { T" + std::to_string(i - 1) + " m; } T" + std::to_string(i) + ";\n";
    return s;
}

TEST_F(InitializerTest, HostileInitializersEndCleanly)
{
    const std::string open = repeat("{", 10000), close = repeat("}", 10000);
    const std::string megabyte = repeat("\"" + std::string(1000, 'a') + "\"", 1049, 1);
    const std::string types = deep_types();
    const std::string members = "struct S {" + numbers("int m%d", 10000, false, ';') + "};\n";
    const char *done = "";
    struct Shape {
        std::string source;  // followed by `int ok = 1;`, which must be read
        std::string messages;
        const char *name;    // an array whose completed dimension is checked
        std::uint32_t dim;
    } shapes[] = {
        // A scalar takes one brace; the first extra one is the error, and
        // the rest is passed over with the declaration.
        {"int x = " + open + "1" + close + ";\n", "missing initializer\n", nullptr, 0},
        {"int a[2] = " + open + "1" + close + ";\n", "missing initializer\n", nullptr, 0},
        // As deep as the type goes the braces are an initializer: read
        // without recursion, at file scope and in a function.
        {types + "T9999 d = " + open + "5" + close + ";\n", done, nullptr, 0},
        {types + "T9999 d = " + open + "5;\n", "missing }\n", nullptr, 0},
        {types + "void f(void) { T9999 d = " + open + "5" + close + "; }\n", done, nullptr, 0},
        {types + "T9999 d = " + open + "5" + close + "}}}}};\n", "missing ;\n", nullptr, 0},
        // A megabyte of string is cut where a literal ends; the array is
        // sized by what is left.
        {"char s[] = " + megabyte + ";\n", "string literal too long\n", "s", 65536},
        {"char s[] = {" + megabyte + "};\n", "string literal too long\n", "s", 65536},
        {"char s[10] = " + repeat("\"" + std::string(100, 'b') + "\"", 600, 10) + ";\n",
         "string initializer too long\n", "s", 10},
        // Ten thousand elements and members, positional and designated in
        // either order; ten thousand too many are one message.
        {"int s[] = {" + numbers("%d", 10000) + "};\n", done, "s", 10000},
        {"int s[10000] = {" + numbers("[%d] = %d", 10000, true) + "};\n", done, "s", 10000},
        {members + "struct S s = {" + numbers("%d", 10000) + "};\n", done, nullptr, 0},
        {members + "struct S s = {" + numbers(".m%d = %d", 10000) + "};\n", done, nullptr, 0},
        {members + "struct S s = {" + numbers(".m%d = %d", 10000, true) + "};\n", done, nullptr, 0},
        {members + "int f(void) { struct S s = {" + numbers("%d", 10000) + "}; return s.m5; }\n", done, nullptr, 0},
        {"int s[2] = {" + numbers("%d", 10000) + "};\n", "too many initializers\n", "s", 2},
        {"int s[2] = { 1, 2, 3, " + open + ";\n", "too many initializers\n", "s", 2},
        // Designators out of range: the element is read and dropped.
        {"int s[4] = { [4] = 1, [100000] = 2, [-5] = 3, [2147483647] = 4 };\n",
         "designator index too large\ndesignator index too large\ndesignator index negative\n"
         "designator index too large\n",
         "s", 4},
        {"int s[] = { [70000] = 1, [-1] = 2 };\n", "designator index negative\n", "s", 70001},
        {"struct P { int x, y; } s = { .z = 1, [0] = 2, . = 3, .y.x = 4 };\n",
         "z not a member\nwrong designator type\ninvalid struct/union designator\nunexpected designator\n",
         nullptr, 0},
        {"int s[3] = { .x = 1, [1] [2] = 2, [0] = { 3 }, [2] = 4 };\n",
         "wrong designator type\nunexpected designator\nduplicate initializer\n", "s", 3},
    };
    for (const Shape &shape : shapes) {
        fresh();
        c99_mode = 1;
        read_unit(shape.source + "int ok = 1;\n");
        std::string what = shape.source.substr(shape.source.size() > 120 ? shape.source.size() - 120 : 0);
        EXPECT_EQ(message_texts(messages()), shape.messages) << what;
        Symbol *ok = symbol("ok");
        EXPECT_TRUE(ok && (ok->flags & SYM_DEFINED)) << what;
        if (shape.name) {
            Symbol *s = symbol(shape.name);
            ASSERT_TRUE(s && s->type && s->type->kind == KIND_ARRAY) << what;
            EXPECT_EQ(s->type->dim, shape.dim) << what;
        }
    }
}

// A const aggregate keeps one entry per element, sorted by offset, however
// the elements were given; bit-fields of one unit share their offset.
TEST_F(InitializerTest, ConstElementListsAreSorted)
{
    struct Shape {
        std::string source;
        int entries;
        std::uint32_t last_offset;
    } shapes[] = {
        {"const int s[] = {" + numbers("%d", 10000) + "};\n", 10000, 19998},
        {"const int s[10000] = {" + numbers("[%d] = %d", 10000, true) + "};\n", 10000, 19998},
        {"const int s[8] = { [6] = 1, [2] = 2, 3, [0] = 4, [7] = 5 };\n", 5, 14},
        {"const struct { int a : 3, b : 4; long c; int d : 2; } s = { .c = 4, .d = 1, .b = 2, .a = 3 };\n", 4, 5},
        {"const char s[][4] = { \"abc\", [3] = \"d\", [1] = \"ef\" };\n", 3, 12},
    };
    for (const Shape &shape : shapes) {
        fresh();
        c99_mode = 1;
        read_unit(shape.source);
        EXPECT_EQ(message_texts(messages()), "") << shape.source.substr(0, 60);
        Symbol *s = symbol("s");
        ASSERT_TRUE(s) << shape.source.substr(0, 60);
        int count = 0;
        std::uint32_t last = 0;
        bool sorted = true;
        for (const InitEntry *e = s->const_entries; e; e = e->next, ++count) {
            if (count && e->offset < last)
                sorted = false;
            last = e->offset;
        }
        EXPECT_EQ(count, shape.entries) << shape.source.substr(0, 60);
        EXPECT_EQ(last, shape.last_offset) << shape.source.substr(0, 60);
        EXPECT_TRUE(sorted) << shape.source.substr(0, 60);
    }
}

}  // namespace
