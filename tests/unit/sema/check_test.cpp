// The unary check, conditions and the range check, through the one-line
// text of the trees they return and the messages they report.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "base/options.h"
#include "model/names.h"
#include "model/types.h"
#include "runtime/textbuf.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

using namespace tree_build;

// A bit-field of `width` bits at offset 0 of an int unit.
Type *bits(int width) { return tree_build::bits(KIND_BITSINT, 0, width); }
Type *record() { return new_type(KIND_STRUCT, nullptr); }
Node *unary(std::uint8_t code, Node *operand) { return check_unary(op(code, nullptr, operand)); }
Node *less(const char *a, const char *b) { return op(OP_LT, &type_int, var(a, &type_int), var(b, &type_int)); }
Node *call(Type *result) { return op(OP_CALL, result, var("f", new_type(KIND_FUNCTION, result))); }

class CheckTest : public CompilerTest {
protected:
    void SetUp() override
    {
        CompilerTest::SetUp();
        symbols = nullptr;
    }
    void expect_message(const char *expected, const std::string &what)
    {
        std::string m = messages();
        EXPECT_TRUE(*expected ? m.find(expected) != std::string::npos : m.empty()) << what << ": " << m;
    }
};

struct TreeCase {
    const char *what;
    std::function<Node *()> build;
    const char *result;
    const char *message;
};

TEST_F(CheckTest, UnaryRulesAndMessages)
{
    const TreeCase cases[] = {
        {"-u8 is int", [] { return unary(OP_NEG, var("u8", &type_uchar)); },
         "(neg int (cast int (leaf uchar sym u8 lvalue)))", ""},
        {"~us is unsigned int", [] { return unary(OP_COMPL, var("us", &type_ushort)); },
         "(~ uint (cast uint (leaf ushort sym us lvalue)))", ""},
        {"-l keeps long", [] { return unary(OP_NEG, var("l", &type_long)); }, "(neg long (leaf long sym l lvalue))", ""},
        {"-d", [] { return unary(OP_NEG, var("d", &type_double)); }, "(neg double (leaf double sym d lvalue))", ""},
        {"-(-x) is x", [] { return unary(OP_NEG, unary(OP_NEG, var("x", &type_int))); }, "(leaf int sym x lvalue rvalue)",
         ""},
        {"~~x is x", [] { return unary(OP_COMPL, unary(OP_COMPL, var("x", &type_int))); },
         "(leaf int sym x lvalue rvalue)", ""},
        {"-(a - b) is b - a",
         [] { return unary(OP_NEG, op(OP_SUB, &type_int, var("a", &type_int), var("b", &type_int))); },
         "(- int (leaf int sym b lvalue) (leaf int sym a lvalue))", ""},
        {"-5", [] { return unary(OP_NEG, num(5)); }, "(leaf int -5)", ""},
        {"-(uchar)200", [] { return unary(OP_NEG, num(200, &type_uchar)); }, "(leaf int -200)", ""},
        {"-1u", [] { return unary(OP_NEG, num(1, &type_uint)); }, "(leaf uint 65535)", ""},
        {"-32768L stays long", [] { return unary(OP_NEG, num(0x8000, &type_long)); }, "(leaf long -32768)", ""},
        {"~(ushort)0", [] { return unary(OP_COMPL, num(0, &type_ushort)); }, "(leaf uint 65535)", ""},
        {"~0x7fff", [] { return unary(OP_COMPL, num(0x7FFF)); }, "(leaf int -32768)", ""},
        {"-2.5", [] { return unary(OP_NEG, real(2.5)); }, "(leaf double -2.5)", ""},
        {"-p", [] { return unary(OP_NEG, var("p", ptr(&type_int))); }, "(neg ptr(int) (leaf ptr(int) sym p lvalue))",
         "invalid operand type"},
        {"~d", [] { return unary(OP_COMPL, var("d", &type_double)); }, "(~ double (leaf double sym d lvalue))",
         "invalid operand type"},
        {"!s", [] { return unary(OP_NOT, var("s", record())); }, "(! int (leaf struct ? sym s lvalue))",
         "invalid operand type"},
        {"!0", [] { return unary(OP_NOT, num(0, &type_long)); }, "(leaf int 1)", ""},
        {"!i", [] { return unary(OP_NOT, var("i", &type_int)); }, "(== int (leaf int sym i lvalue) (leaf int 0))", ""},
        {"!(a < b)", [] { return unary(OP_NOT, less("a", "b")); },
         "(>= int (leaf int sym a lvalue) (leaf int sym b lvalue))", ""},
        {"*p", [] { return unary(OP_DEREF, var("p", ptr(&type_int))); }, "(deref int (leaf ptr(int) sym p lvalue))", ""},
        {"*&x is x", [] { return unary(OP_DEREF, unary(OP_ADDR, var("x", &type_int))); }, "(leaf int sym x lvalue)", ""},
        {"*&(a + b) is a + b",
         [] {
             Node *sum = op(OP_ADD, &type_int, var("a", &type_int), var("b", &type_int));
             return unary(OP_DEREF, op(OP_ADDR, ptr(&type_int), sum));
         },
         "(+ int (leaf int sym a lvalue) (leaf int sym b lvalue))", ""},
        {"*&f() keeps both", [] { return unary(OP_DEREF, unary(OP_ADDR, call(record()))); },
         "(deref struct ? (addr ptr(struct ?) (call struct ? (leaf func(struct ?) sym f lvalue))))", ""},
        {"*a of an array", [] { return unary(OP_DEREF, var("a", arr(&type_char, 4))); }, "(leaf char sym a lvalue)", ""},
        {"*(char *)0x40", [] { Node *n = num(0x40, ptr(&type_char)); n->flags = NODE_RETYPED; return unary(OP_DEREF, n); },
         "(leaf char 64 lvalue)", ""},
        {"* of a const address stays", [] { return unary(OP_DEREF, num(0x40, ptr(&type_char, ATTR_CONST))); },
         "(deref char (leaf ptr(const char) 64))", ""},
        {"* of a far address stays", [] { return unary(OP_DEREF, num(0x40, ptr(&type_char, SPACE_FAR))); },
         "(deref char (leaf ptr@far(char) 64))", ""},
        {"* of a declared const function address folds",
         [] { return unary(OP_DEREF, num(0x40, ptr(&type_char, ATTR_CONST | ATTR_FUNCDECL))); },
         "(leaf char 64 lvalue)", ""},
        {"* through a pointer to enum", [] { return unary(OP_DEREF, var("e", ptr(new_type(KIND_ENUM, &type_uchar)))); },
         "(deref uchar (leaf ptr(enum ?) sym e lvalue))", ""},
        {"*vp", [] { return unary(OP_DEREF, var("vp", ptr(&type_void))); },
         "(deref void (leaf ptr(void) sym vp lvalue))", "invalid indirection operand"},
        {"*i", [] { return unary(OP_DEREF, var("i", &type_long)); }, "(deref long (leaf long sym i lvalue))",
         "invalid indirection operand"},
        {"&x", [] { return unary(OP_ADDR, var("x", &type_int, SPACE_FAR)); }, "(leaf ptr@far(int) sym x)", ""},
        {"&r", [] { return unary(OP_ADDR, var("r", &type_int, 0, SC_REGISTER)); }, "(leaf ptr(int) sym r)",
         "invalid address operand"},
        {"&r of a register argument", [] { return unary(OP_ADDR, var("r", &type_int, 0, SC_REGARG)); },
         "(leaf ptr(int) sym r)", "invalid address operand"},
        {"&5", [] { return unary(OP_ADDR, num(5)); }, "(leaf ptr(int) 5)", "invalid address operand"},
        {"&bits.f", [] { return unary(OP_ADDR, var("f", bits(3))); }, "(addr ptr(int) (leaf bitsint<0:3> sym f lvalue))",
         "invalid address type"},
        {"&*p", [] { return unary(OP_ADDR, op(OP_DEREF, &type_char, var("p", ptr(&type_int, ATTR_CONST)))); },
         "(leaf ptr(const char) sym p lvalue)", ""},
        {"&(-(-x))", [] { return unary(OP_ADDR, unary(OP_NEG, unary(OP_NEG, var("x", &type_int)))); },
         "(leaf ptr(int) sym x rvalue)", "invalid lvalue"},
        {"&(a + b)", [] { return unary(OP_ADDR, op(OP_ADD, &type_int, var("a", &type_int), num(1))); },
         "(addr ptr(int) (+ int (leaf int sym a lvalue) (leaf int 1)))", "invalid address expression"},
        {"&f() of a struct", [] { return unary(OP_ADDR, call(record())); },
         "(addr ptr(struct ?) (call struct ? (leaf func(struct ?) sym f lvalue)))", ""},
    };
    for (const TreeCase &c : cases) {
        EXPECT_EQ(text(c.build()), c.result) << c.what;
        expect_message(c.message, c.what);
    }
}

TEST_F(CheckTest, AddressMarksAndCompoundLiterals)
{
    Node *x = var("x", &type_int), *m = var("m", record());
    Symbol *xs = x->symbol, *ms = m->symbol;
    unary(OP_ADDR, x);
    check_member_address(op(OP_ADDR, nullptr, m));
    EXPECT_EQ(xs->flags & 0x410u, 0x410u);
    EXPECT_EQ(ms->flags & 0x410u, 0x10u) << "a member access keeps value tracking possible";

    // &*p in member mode is no longer an rvalue.
    Node *p = var("p", ptr(record()));
    p->flags = NODE_RVALUE;
    EXPECT_EQ(text(check_member_address(op(OP_ADDR, nullptr, op(OP_DEREF, record(), p)))), "(leaf ptr(struct ?) sym p lvalue)");

    // (initializer, temporary): its address under -c99 is the temporary's.
    auto literal = [] {
        Node *temp = var(".temp_1.", record()), *target = var(".temp_1.", temp->type);
        target->symbol = temp->symbol;
        return op(OP_COMMA, temp->type, op(OP_ASSIGN, temp->type, target, var("s", temp->type)), temp);
    };
    EXPECT_EQ(text(unary(OP_ADDR, literal())),
              "(addr ptr(struct ?) (, struct ? (= struct ? (leaf struct ? sym .temp_1. lvalue) "
              "(leaf struct ? sym s lvalue)) (leaf struct ? sym .temp_1. lvalue)))");
    expect_message("invalid address expression", "without -c99");
    c99_mode = 1;
    Node *pair = literal();
    Symbol *temp = pair->right->symbol;
    temp->attr = ATTR_CONST;
    EXPECT_EQ(text(unary(OP_ADDR, pair)),
              "(, ptr(const struct ?) (= struct ? (leaf struct ? sym .temp_1. lvalue) (leaf struct ? sym s lvalue)) "
              "(leaf ptr(const struct ?) sym .temp_1.))");
    EXPECT_EQ(temp->flags & 0x400u, 0x400u);
    expect_message("", "under -c99");
}

// Temporaries: a new one per request while the earlier ones are in use; a
// free one of a compatible type serves again, unless its object may still
// be reached (an array, or an address taken, even for a member only).
TEST_F(CheckTest, TemporariesReuse)
{
    ScopeMark outer = open_scope();
    Node *a = new_temp(&type_int), *b = new_temp(&type_int);
    ASSERT_NE(a->symbol, b->symbol) << "both in use by one statement";
    EXPECT_EQ(text(a), "(leaf int sym .temp_1. lvalue)");
    EXPECT_EQ(a->symbol->flags & 0x4006u, 0x4006u);
    EXPECT_EQ(a->symbol->sclass, SC_AUTO);

    struct {
        const char *what;
        Type *type;
        std::uint32_t flags;  // set on the freed temporary
        bool reused;
    } cases[] = {
        {"free int, int wanted", &type_int, 0, true},
        {"free int, long wanted", &type_long, 0, false},
        {"address taken", &type_int, SYM_ADDRESSED, false},
        {"address taken for a member", &type_int, 0x10, false},
    };
    for (const auto &c : cases) {
        Symbol *freed = new_temp(&type_int)->symbol;
        freed->flags = (freed->flags & ~SYM_ASSIGNED) | c.flags;
        ++temporaries_released;
        Node *again = new_temp(c.type);
        EXPECT_EQ(again->symbol == freed, c.reused) << c.what;
        EXPECT_EQ(again->symbol->flags & SYM_ASSIGNED, SYM_ASSIGNED) << c.what;
        if (c.reused) {
            EXPECT_EQ(freed->refs, 2) << c.what;
        }
    }
    Type *array = new_type(KIND_ARRAY, &type_int);
    array->dim = 2;
    Symbol *held = new_temp(array)->symbol;
    held->flags &= ~SYM_ASSIGNED;
    ++temporaries_released;
    EXPECT_NE(new_temp(array)->symbol, held) << "a decayed array may still be pointed to";

    // The temporaries of a closed block are not offered to the next one.
    ScopeMark inner = open_scope();
    Symbol *closed = new_temp(&type_uint)->symbol;
    closed->flags &= ~SYM_ASSIGNED;
    close_scope(inner);
    EXPECT_NE(new_temp(&type_uint)->symbol, closed);
    close_scope(outer);
}

TEST_F(CheckTest, Conditions)
{
    auto cond = [](Node *test, Node *middle, Node *third) {
        Node *n = op(OP_COND, &type_int, test, third);
        n->value_node = middle;
        return n;
    };
    auto condition = [](Node *tree) { return make_condition(&tree); };
    const TreeCase cases[] = {
        {"a < b stays", [&] { return condition(less("a", "b")); }, "(< int (leaf int sym a lvalue) (leaf int sym b lvalue))",
         ""},
        {"p != 0", [&] { return condition(var("p", ptr(&type_char))); }, "(!= int (leaf ptr(char) sym p lvalue) (leaf int 0))",
         ""},
        {"an array decays", [&] { return condition(var("a", arr(&type_int, 2))); },
         "(!= int (leaf ptr(int) sym a) (leaf int 0))", ""},
        {"a comma chain", [&] { return condition(op(OP_COMMA, &type_long, var("i", &type_int), var("l", &type_long))); },
         "(, int (leaf int sym i lvalue) (!= int (leaf long sym l lvalue) (leaf int 0)))", ""},
        {"t ? 1 : 0", [&] { return condition(cond(less("a", "b"), num(1), num(0))); },
         "(< int (leaf int sym a lvalue) (leaf int sym b lvalue))", ""},
        {"t ? 0 : 2", [&] { return condition(cond(less("a", "b"), num(0), num(2))); },
         "(>= int (leaf int sym a lvalue) (leaf int sym b lvalue))", ""},
        {"t ? 2 : c", [&] { return condition(cond(less("a", "b"), num(2), var("c", &type_int))); },
         "(!= int (?: int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) (leaf int 2) (leaf int sym c lvalue)) (leaf int 0))",
         ""},
        {"(a<b) & (c<d)", [&] { return condition(op(OP_AND, &type_int, less("a", "b"), less("c", "d"))); },
         "(&& int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) (< int (leaf int sym c lvalue) (leaf int sym d lvalue)))",
         ""},
        {"(a<b) | (c<d)", [&] { return condition(op(OP_OR, &type_int, less("a", "b"), less("c", "d"))); },
         "(|| int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) (< int (leaf int sym c lvalue) (leaf int sym d lvalue)))",
         ""},
        {"(a<b) & (c<f()) keeps the bitwise and",
         [&] { return condition(op(OP_AND, &type_int, less("a", "b"), op(OP_LT, &type_int, var("c", &type_int), call(&type_int)))); },
         "(!= int (& int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) (< int (leaf int sym c lvalue) "
         "(call int (leaf func(int) sym f lvalue)))) (leaf int 0))",
         ""},
        {"(a<b) & c", [&] { return condition(op(OP_AND, &type_int, less("a", "b"), var("c", &type_int))); },
         "(!= int (& int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) (leaf int sym c lvalue)) (leaf int 0))", ""},
        {"struct", [&] { return condition(var("s", record())); }, "null", ""},
        {"void", [&] { return condition(call(&type_void)); }, "null", ""},
    };
    for (const TreeCase &c : cases) {
        EXPECT_EQ(text(c.build()), c.result) << c.what;
        expect_message(c.message, c.what);
    }

    // if (a = 5): a warning of level 4, shown from -w4 on.
    for (int level : {0, 1, 4, 5}) {
        check_level = level;
        Node *test = op(OP_ASSIGN, &type_int, var("a", &type_int), num(5));
        EXPECT_EQ(text(make_condition(&test)), "(!= int (= int (leaf int sym a lvalue) (leaf int 5)) (leaf int 0))");
        expect_message(level >= 1 && level <= 4 ? "constant assignment in a test" : "", "level " + std::to_string(level));
    }
    check_level = 1;
    Node *copy = op(OP_ASSIGN, &type_int, var("a", &type_int), var("b", &type_int));
    make_condition(&copy);
    expect_message("", "a = b");
}

struct RangeCase {
    unsigned op;
    std::function<Type *()> target;
    std::function<Node *()> value;
    const char *message;
};

TEST_F(CheckTest, RangeCheck)
{
    const char *range = "value out of range", *trunc = "truncating assignment";
    auto tint = [] { return &type_int; };
    auto tchar = [] { return &type_char; };
    auto tuchar = [] { return &type_uchar; };
    const RangeCase cases[] = {
        {OP_ASSIGN, tuchar, [] { return num(255); }, ""},
        {OP_ASSIGN, tuchar, [] { return num(256); }, range},
        {OP_ASSIGN, tuchar, [] { return num(-1); }, ""},
        {OP_ASSIGN, tchar, [] { return num(127); }, ""},
        {OP_ASSIGN, tchar, [] { return num(128); }, range},
        {OP_ASSIGN, tchar, [] { return num(-128); }, ""},
        {OP_ASSIGN, tchar, [] { return num(-129); }, range},
        {OP_ASSIGN, tchar, [] { return num(-1, &type_uint); }, range},
        {OP_ASSIGN, tint, [] { return num(0xFFFF, &type_uint); }, range},
        {OP_ASSIGN, [] { return &type_uint; }, [] { return num(-1); }, ""},
        {OP_ASSIGN, [] { return &type_long; }, [] { return num(-1, &type_ulong); }, range},
        {OP_ASSIGN, [] { return &type_ulong; }, [] { return num(-1, &type_long); }, ""},
        {OP_ASSIGN, [] { return bits(3); }, [] { return num(7); }, ""},
        {OP_ASSIGN, [] { return bits(3); }, [] { return num(8); }, range},
        {OP_ASSIGN, [] { return new_type(KIND_ENUM, &type_uchar); }, [] { return num(300); }, range},
        {OP_ASSIGN, [] { return ptr(&type_char); }, [] { return num(0x10000, &type_long); }, range},
        {OP_ASSIGN, [] { return &type_float; }, [] { return num(0x10000, &type_long); }, ""},
        {OP_ASSIGN, tchar, [] { return var("i", &type_int); }, trunc},
        {OP_ADDASG, tint, [] { return var("c", &type_char); }, ""},
        {OP_ASSIGN, [] { return &type_float; }, [] { return var("d", &type_double); }, trunc},
        {OP_ASSIGN, [] { return &type_long; }, [] { return var("f", &type_float); }, trunc},
        {OP_ASSIGN, [] { return bits(3); }, [] { return var("w", bits(5)); }, trunc},
        {OP_ASSIGN, [] { return bits(5); }, [] { return var("w", bits(3)); }, ""},
        {OP_ASSIGN, [] { return bits(5); }, [] { return var("l", &type_long); }, ""},
        {OP_ASSIGN, tchar, [] { return var("w", bits(12)); }, trunc},
        {OP_ASSIGN, tchar, [] { return var("w", bits(8)); }, ""},
        {OP_ADDASG, [] { return ptr(&type_char); }, [] { return var("l", &type_long); }, ""},
        {OP_POSTINC, [] { return ptr(&type_char); }, [] { return var("l", &type_long); }, ""},
        {OP_ASSIGN, [] { return ptr(&type_char); }, [] { return var("l", &type_long); }, trunc},
        {OP_ASSIGN, tint, [] { return var("a", arr(&type_char, 9)); }, ""},
        {OP_ASSIGN, tchar, [] { return var("a", arr(&type_char, 9)); }, trunc},
        {OP_ASSIGN, [] { return record(); }, [] { return var("s", record()); }, ""},
    };
    check_level = 1;
    int i = 0;
    for (const RangeCase &c : cases) {
        range_check(c.op, c.target(), c.value());
        expect_message(c.message, "case " + std::to_string(i++));
    }
}

}  // namespace
