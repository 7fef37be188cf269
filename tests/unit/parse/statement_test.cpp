// Hostile function bodies end cleanly: very deep nesting, very many cases
// and labels. What the statement reader leaves is looked at through the
// body hook before the body is recycled.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "../support.h"
#include "lexer/tokenizer.h"
#include "model/types.h"
#include "parse/declare.h"
#include "parse/statement.h"
#include "tree/stmt.h"

namespace {

struct Seen {
    int bodies = 0;
    int cases = 0;
    bool sorted = true;
    int statements = 0;
    std::string zeros;  // the entries of value 0 in table order: 'd' default, 'c' case
};
Seen seen;

void look(Symbol *, Stmt *body)
{
    ++seen.bodies;
    for (Stmt *s = body->body; s; s = s->next) {
        ++seen.statements;
        if (s->kind != STMT_SWITCH)
            continue;
        std::int32_t last = INT32_MIN;
        for (Symbol *c = s->cases; c; c = c->next, ++seen.cases) {
            if (static_cast<std::int32_t>(c->value) < last)
                seen.sorted = false;
            if (c->value == 0)
                seen.zeros += c->sclass == SC_DEFAULT ? 'd' : 'c';
            last = static_cast<std::int32_t>(c->value);
        }
    }
}

class StatementTest : public CompilerTest {
protected:
    void unit(const std::string &source)
    {
        seen = Seen{};
        function_body_hook = look;
        read_unit(source);
    }
};

std::string repeat(const std::string &piece, int n)
{
    std::string s;
    for (int i = 0; i < n; ++i)
        s += piece;
    return s;
}


TEST_F(StatementTest, HostileBodiesEndCleanly)
{
    std::string ascending, descending, widest, shuffled;
    for (int i = 0; i < 10000; ++i) {
        ascending += "case " + std::to_string(i) + ": g = 1; break;\n";
        descending += "case " + std::to_string(5000 - i) + ":\n";
        // 7919 is prime to 10000: every value -35000 + 7k, k < 10000, once.
        shuffled += "case " + std::to_string(-35000 + 7 * (i * 7919 % 10000)) + ":\n";
        if (i == 4000)
            shuffled += "default: case 0: case 34993: case -35000: default:\n";
    }
    // The most cases a switch can have, on one statement.
    for (int i = 0; i < 65535; ++i)
        widest += "case " + std::to_string(i) + ":\n";
    const char *done = "";
    struct Shape {
        std::string body;
        std::string messages;
        int cases;
        std::string zeros = "";  // checked when given
    } shapes[] = {
        // Statements and the expressions in them share the nesting limit.
        {repeat("{\n", 9990) + "g = 1;\n" + repeat("}\n", 9990), done, 0},
        {repeat("{\n", 10000) + "g = 1;\n" + repeat("}\n", 10000), "statement nested too deeply\n", 0},
        {repeat("if (g)\n", 5000) + "g = 1;\n", done, 0},
        {repeat("while (g)\n", 5000) + repeat("do\n", 2000) + "g = 1;\n" + repeat("while (g);\n", 2000), done, 0},
        {"switch (g) {\n" + ascending + "}\n", done, 10000},
        {"switch (g) {\n" + descending + "g = 2; }\n", done, 10000},
        {"switch (g) {\n" + ascending + "case 17: default: default: ; }\n", "duplicate case\nduplicate default\n",
         10001, "cd"},
        // Cases in no order: each repeat found, in the order read, and the
        // default before the case 0 read after it.
        {"switch (g) {\n" + shuffled + "; }\n",
         "duplicate case\nduplicate case\nduplicate default\nduplicate case\n", 10001, "dc"},
        // One case more than the output can count is an error, once; the
        // default does not count, and neither does a nested switch's case.
        {"switch (g) {\n" + widest + "default: g = 1; }\n", done, 65536},
        // With that one, every value of an int is a case: 65536 converts
        // to the int 0, a duplicate.
        {"switch (g) {\n" + widest + "case 65535: case 65536: g = 1; }\n",
         "too many cases in switch\nduplicate case\n", 65535},
        {"switch (g) {\n" + widest + "switch (g) { case 65535: ; } }\n", done, 65535},
        {"l: g++;\n" + repeat("goto l;\n", 10000), done, 0},
        // Both stand at the closing brace: the second is a repeat there.
        {"goto nowhere;\n" + repeat("goto l;\n", 10000), "undefined label l\n", 0},
        {repeat("g = 1;\n", 20000), done, 0},
        // The unit's own `}` closes the loop: `int ok;` is inside the body,
        // and the end of the file after it, at the same position, is not
        // reported again.
        {"for (;;) {\n" + repeat("g = 1;\n", 100), "misplaced local declaration\n", 0},
    };
    for (const Shape &shape : shapes) {
        fresh();
        // A local of the body's own makes the flow analysis walk it too.
        unit("int g;\nvoid f(void)\n{\nint t = g;\ng = t;\n" + shape.body + "}\nint ok;\n");
        EXPECT_EQ(message_texts(messages()), shape.messages) << shape.body.substr(0, 30);
        EXPECT_EQ(seen.bodies, 1) << shape.body.substr(0, 30);
        EXPECT_EQ(seen.cases, shape.cases) << shape.body.substr(0, 30);
        EXPECT_TRUE(seen.sorted) << shape.body.substr(0, 30);
        if (!shape.zeros.empty()) {
            EXPECT_EQ(seen.zeros, shape.zeros) << shape.body.substr(0, 30);
        }
    }
}

}  // namespace
