// Counted loops from the emitter to zpc-run: a function whose body is a
// counted loop is written as the compiler writes it (REC_LOOP at the
// start with the count, the body, REC_LOOP at the end) and run. The
// count is read once, in its type; no trip for 0 or a negative signed
// count; break, continue and nesting keep their meaning.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "output/emit.h"
#include "output/records.h"
#include "run/machine.h"
#include "tree/stmt.h"

namespace {

using namespace tree_build;

class RunLoopTest : public CompilerTest {
protected:
    Node *r = nullptr;  // the result, a local at offset -2
    std::int32_t frame = -2;

    Stmt *statement(std::uint8_t kind, Node *expr = nullptr)
    {
        Stmt *s = new_stmt(kind);
        s->expr = expr;
        s->line = 1;
        return s;
    }
    Node *result() { return copy_tree(r); }
    Stmt *add_to_result(std::int32_t n) { return statement(STMT_EXPR, op(OP_ADDASG, &type_int, result(), num(n))); }
    Stmt *block(std::initializer_list<Stmt *> list)
    {
        Stmt *b = statement(STMT_BLOCK);
        Stmt **tail = &b->body;
        for (Stmt *s : list) {
            *tail = s;
            tail = &s->next;
        }
        *tail = nullptr;
        return b;
    }
    Stmt *counted(Node *count, Stmt *body, std::uint16_t flags = 0)
    {
        Stmt *s = statement(STMT_COUNTED, count);
        s->body = body;
        s->init = nullptr;
        s->step = nullptr;
        s->flags = flags;
        return s;
    }
    // `if (result op value) jump`, the jump going to `loop`.
    Stmt *jump_if(std::uint8_t compare, std::int32_t value, std::uint8_t kind, Stmt *loop)
    {
        Stmt *jump = statement(kind);
        jump->body = loop;
        Stmt *s = statement(STMT_IF, op(compare, &type_int, result(), num(value)));
        s->body = jump;
        s->other = nullptr;
        return s;
    }
    // Writes main() { r = 0; loop; return r; }, runs it and gives its status.
    int run(Stmt *loop)
    {
        std::string file = dir / "loop.o";
        output_stream = std::fopen(file.c_str(), "wb");
        write_unit_record();
        Type *ftype = new_type(KIND_FUNCTION, &type_int);
        Symbol *main_symbol = new_symbol(&symbols, intern_name("main", 4), SC_NONE, ftype);
        main_symbol->flags |= SYM_FILE_SCOPE;
        function.symbol = main_symbol;
        function.result = &type_int;
        Stmt *ret = statement(STMT_RETURN, result());
        Stmt *body = block({statement(STMT_EXPR, op(OP_ASSIGN, &type_int, result(), num(0))), loop, ret});
        emit_function(main_symbol, body, 1, 1, 0, frame);
        flush_output();
        std::fclose(output_stream);
        output_stream = nullptr;
        EXPECT_EQ(error_count, 0);
        run::Program program;
        run::RunOptions options;
        if (!run::load_program(program, {file}, options))
            return -1;
        return run::run_program(program, options);
    }
    void SetUp() override
    {
        CompilerTest::SetUp();
        r = var("r", &type_int);
        r->symbol->value = static_cast<std::uint32_t>(-2);
    }
};

TEST_F(RunLoopTest, CountsTakenOnceInTheirType)
{
    struct Case {
        std::int32_t count;
        Type *type;
        int trips;  // the status is the result's low byte
    } cases[] = {
        {0, &type_int, 0},        {1, &type_int, 1},       {3, &type_int, 3},
        {-2, &type_int, 0},       {255, &type_int, 255},   {256, &type_int, 0},
        {40000, &type_uint, 64},  {-1, &type_char, 0},     {200, &type_uchar, 200},
        {70001, &type_long, 113}, {0, &type_ulong, 0},
    };
    for (const Case &c : cases) {
        fresh();
        SetUp();
        EXPECT_EQ(run(counted(num(c.count, c.type), add_to_result(1))), c.trips) << c.count;
    }
}

TEST_F(RunLoopTest, CountFromAVariableAndNestedLoops)
{
    // The count is read at the start: the body changing its variable does
    // not change the trips.
    Stmt *inner = counted(num(4), add_to_result(1));
    EXPECT_EQ(run(counted(num(3), inner)), 12);
    fresh();
    SetUp();
    Node *n = var("n", &type_int);
    n->symbol->value = static_cast<std::uint32_t>(-2);
    r->symbol->value = static_cast<std::uint32_t>(-4);
    frame = -4;
    Stmt *set_n = statement(STMT_EXPR, op(OP_ASSIGN, &type_int, copy_tree(n), num(7)));
    Stmt *loop = counted(copy_tree(n), block({add_to_result(1), statement(STMT_EXPR, op(OP_ADDASG, &type_int, copy_tree(n), num(5)))}));
    EXPECT_EQ(run(block({set_n, loop})), 7);
}

TEST_F(RunLoopTest, BreakAndContinue)
{
    // for 10 trips: if (r == 5) break; r += 1;
    Stmt *loop = counted(num(10), nullptr, STMT_BROKEN);
    loop->body = block({jump_if(OP_EQ, 5, STMT_BREAK, loop), add_to_result(1)});
    EXPECT_EQ(run(loop), 5);
    fresh();
    SetUp();
    // for 5 trips: r += 1; if (r > 2) continue; r += 10;
    loop = counted(num(5), nullptr, STMT_CONTINUED);
    loop->body = block({add_to_result(1), jump_if(OP_GT, 2, STMT_CONTINUE, loop), add_to_result(10)});
    EXPECT_EQ(run(loop), 15);
}

}  // namespace
