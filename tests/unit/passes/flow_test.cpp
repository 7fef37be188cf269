// The calls the flow analysis marks as the last action of their function:
// marked calls are counted once each in the unit's tail-call counter (a
// returned call is counted by the statement reader already).
#include <gtest/gtest.h>

#include <string>

#include "../support.h"
#include "passes/passes.h"

namespace {

class FlowTest : public CompilerTest {};

TEST_F(FlowTest, CallsThatEndTheFunctionAreCountedOnce)
{
    const std::string head = "int h(void); void g(int);\n";
    struct Case {
        const char *body;
        int marked;
    } cases[] = {
        {"int x; x = h(); g(x);", 1},
        {"int x; x = h(); g(x); x = 1;", 0},  // a dropped store still evaluates
        {"int x = h(); if (x) g(1); else g(2);", 2},
        {"int x = h(); if (x) g(1); g(2);", 1},
        {"int x = h(); while (x) g(x);", 0},
        {"int x = h(); do g(x); while (0);", 0},
        {"int x = h(); switch (x) { case 1: g(1); break; default: g(2); }", 2},
        {"int x = h(); g(x); goto end; end: ;", 1},
        {"int x = h(); g(x); return;", 1},
        {"int x = h(); for (;;) { g(x); if (x) return; }", 0},
        {"int x = h(); x ? g(1) : g(2);", 2},  // either operand ends it
        {"int x = h(); g(x) , x++;", 0},
    };
    for (const Case &c : cases) {
        fresh();
        read_unit(head + "void f(void) { " + c.body + " }\n");
        EXPECT_EQ(messages_so_far(), "") << c.body;
        EXPECT_EQ(tail_call_count, c.marked) << c.body;
    }
    // A returned call is marked by the statement reader; the analysis sees
    // the mark and does not count it again.
    fresh();
    read_unit("int h(int);\nint f(void) { int x = h(1); return h(x); }\n");
    EXPECT_EQ(tail_call_count, 1);
}

}  // namespace
