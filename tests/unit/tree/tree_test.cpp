// The expression tree and the cast check, through the one-line text of the
// trees: structural equality, negated conditions, decay, payload copies,
// the node pool, and every rule and message of the cast check.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>

#include "../support.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "model/names.h"
#include "model/types.h"
#include "runtime/textbuf.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"
#include "trees.h"

namespace {

using namespace tree_build;

Node *cast(Type *type, Node *operand) { return check_cast(op(OP_CAST, type, operand)); }

class TreeTest : public CompilerTest {
protected:
    void SetUp() override
    {
        CompilerTest::SetUp();
        symbols = nullptr;
    }
};

TEST_F(TreeTest, SameTree)
{
    Node *a = var("a", &type_int), *b = var("b", &type_int), *v = var("v", &type_int, ATTR_VOLATILE);
    Node *vp = var("vp", ptr(&type_int, ATTR_VOLATILE)), *f = var("f", new_type(KIND_FUNCTION, &type_int));
    Node *w = var("w", bits(KIND_BITSINT, 0, 3)), *w2 = var("w", bits(KIND_BITSINT, 3, 3));
    w2->symbol = w->symbol;
    Node *a_init = var("a", &type_int);
    a_init->symbol = a->symbol;
    a_init->leaf |= LEAF_INIT;
    struct Case {
        const char *what;
        Node *x, *y;
        bool strict, equal;
    } cases[] = {
        {"a+b, b+a", op(OP_ADD, &type_int, a, b), op(OP_ADD, &type_int, b, a), true, true},
        {"a-b, b-a", op(OP_SUB, &type_int, a, b), op(OP_SUB, &type_int, b, a), true, false},
        {"a<b, b<a", op(OP_LT, &type_int, a, b), op(OP_LT, &type_int, b, a), false, false},
        {"a==b, b==a", op(OP_EQ, &type_int, a, b), op(OP_EQ, &type_int, b, a), false, true},
        {"int and long", a, num(0, &type_long), false, false},
        {"leaf init bit ignored", a, a_init, true, true},
        {"volatile lax", v, v, false, true},
        {"volatile strict", v, v, true, false},
        {"volatile below an operator", op(OP_ADD, &type_int, v, a), op(OP_ADD, &type_int, v, a), false, false},
        {"*vp lax", op(OP_DEREF, &type_int, vp), op(OP_DEREF, &type_int, vp), false, true},
        {"*vp strict", op(OP_DEREF, &type_int, vp), op(OP_DEREF, &type_int, vp), true, false},
        {"call", op(OP_CALL, &type_int, f), op(OP_CALL, &type_int, f), false, false},
        {"a = 1", op(OP_ASSIGN, &type_int, a, num(1)), op(OP_ASSIGN, &type_int, a, num(1)), false, false},
        {"a++", op(OP_POSTINC, &type_int, a, num(1)), op(OP_POSTINC, &type_int, a, num(1)), false, false},
        {"-a", op(OP_NEG, &type_int, a), op(OP_NEG, &type_int, a), true, true},
        {"bit-fields apart", w, w2, false, false},
        {"pointers of other spaces", num(1, ptr(&type_char)), num(1, ptr(&type_char, SPACE_FAR)), false, true},
    };
    for (const Case &c : cases)
        EXPECT_EQ(same_tree(c.x, c.y, c.strict), c.equal) << c.what;

    Node *cond1 = op(OP_COND, &type_int, a, b), *cond2 = op(OP_COND, &type_int, a, b);
    cond1->value_node = num(1);
    cond2->value_node = num(2);
    EXPECT_FALSE(same_tree(cond1, cond2, false)) << "middle operands differ";
    cond2->value_node = num(1);
    EXPECT_TRUE(same_tree(cond1, cond2, false));
}

TEST_F(TreeTest, NegateCondition)
{
    Node *a = var("a", &type_int), *b = var("b", &type_int), *c = var("c", &type_int), *d = var("d", &type_int);
    struct Case {
        Node *tree;
        const char *negated;
    } cases[] = {
        {op(OP_COMMA, &type_int, op(OP_LT, &type_int, a, b), op(OP_GE, &type_int, c, d)),
         "(, int (< int (leaf int sym a lvalue) (leaf int sym b lvalue)) "
         "(< int (leaf int sym c lvalue) (leaf int sym d lvalue)))"},
        {op(OP_ANDAND, &type_int, op(OP_EQ, &type_int, a, num(1)), op(OP_NE, &type_int, b, num(0))),
         "(|| int (!= int (leaf int sym a lvalue) (leaf int 1)) (== int (leaf int sym b lvalue) (leaf int 0)))"},
        {op(OP_OROR, &type_int, op(OP_GT, &type_int, a, b), op(OP_LE, &type_int, c, d)),
         "(&& int (<= int (leaf int sym a lvalue) (leaf int sym b lvalue)) "
         "(> int (leaf int sym c lvalue) (leaf int sym d lvalue)))"},
        {num(0), "(leaf int 1)"},
        {num(7), "(leaf int 0)"},
    };
    for (const Case &k : cases)
        EXPECT_EQ(text(negate_condition(k.tree)), k.negated);
}

TEST_F(TreeTest, DecayOfArraysFunctionsAndStrings)
{
    auto literal = [] {
        Node *n = new_node(OP_LEAF);
        n->type = arr(&type_char, 4);
        n->literal = nullptr;
        n->value = 0;
        n->leaf = LEAF_LITERAL | LEAF_LVALUE;
        return n;
    };
    struct Case {
        int sa;
        std::function<Node *()> make;
        const char *result;
        const char *message;
    } cases[] = {
        {0, [] { return var("g", arr(&type_int, 4), SPACE_FAR | ATTR_CONST); }, "(leaf ptr@far(const int) sym g)", ""},
        {0, [] { return var("f", new_type(KIND_FUNCTION, &type_int)); }, "(leaf ptr(func(int)) sym f)", ""},
        {0, literal, "(leaf ptr(const char) lit)", ""},
        {1, literal, "(leaf ptr(char) lit)", ""},
        {0, [] { return op(OP_DEREF, arr(&type_char, 2), var("p", ptr(arr(&type_char, 2), SPACE_TINY))); },
         "(leaf ptr@tiny(char) sym p lvalue)", ""},
        {1,
         [] {
             Node *n = var("s", arr(&type_int, 2));
             n->flags = NODE_RVALUE;
             return n;
         },
         "(leaf ptr(int) sym s rvalue)", "invalid lvalue"},
    };
    for (const Case &c : cases) {
        strict_ansi = c.sa;
        Node *n = c.make();
        Type *t = decay(n);
        EXPECT_EQ(t, n->type);
        EXPECT_EQ(text(n), c.result);
        std::string m = messages();
        EXPECT_TRUE(*c.message ? m.find(c.message) != std::string::npos : m.empty()) << c.result << ": " << m;
    }
}

TEST_F(TreeTest, PayloadCopyAndTheNodePool)
{
    // *&x becoming x: the parent keeps its link, so the chain stays whole.
    Node *x = var("x", &type_int);
    Node *addr = op(OP_ADDR, ptr(&type_int), x);
    Node *deref = op(OP_DEREF, &type_int, addr);
    Node *link = deref->link;
    replace_by_operand(deref, x);
    EXPECT_EQ(deref->link, link);
    EXPECT_EQ(text(deref), "(leaf int sym x lvalue)");
    // A conditional's middle operand travels with the payload.
    Node *cond = op(OP_COND, &type_int, var("t", &type_int), num(2));
    cond->value_node = num(1);
    Node *sum = op(OP_ADD, &type_long, cond, num(0));
    link = sum->link;
    replace_by_operand(sum, cond, true);
    EXPECT_EQ(sum->link, link);
    EXPECT_EQ(text(sum), "(?: long (leaf int sym t lvalue) (leaf int 1) (leaf int 2))");

    // The initializer reader's early give-back, then the function's end.
    end_function_nodes();
    std::set<Node *> kept;
    for (int i = 0; i < 10; ++i)
        kept.insert(num(i));
    void *mark = node_mark();
    std::set<Node *> element;
    for (int i = 0; i < 5; ++i)
        element.insert(num(i));
    nodes_return_to(mark);
    for (int i = 0; i < 5; ++i) {
        Node *n = num(i);
        EXPECT_TRUE(element.count(n) && !kept.count(n)) << "an element's nodes are reused first";
    }
    end_function_nodes();
    std::set<Node *> reused;
    for (int i = 0; i < 15; ++i)
        reused.insert(new_node(OP_ADD));
    for (Node *n : kept)
        EXPECT_EQ(reused.count(n), 1u) << "a function's nodes come back when it ends";
    EXPECT_EQ(new_node(OP_ADD)->right, nullptr);
}

// Each case builds the operand, casts it to the target, and compares the
// text of what the cast check returned and the message it reported.
struct CastCase {
    const char *what;
    std::function<Type *()> target;
    std::function<Node *()> operand;
    int np, warn;
    const char *result;
    const char *message;
};

TEST_F(TreeTest, CastCheckRulesAndMessages)
{
    const CastCase cases[] = {
        {"(char *)0x10 is a tiny pointer", [] { return ptr(&type_char); }, [] { return num(0x10); }, 0, 0,
         "(leaf ptr@tiny(char) 16 retyped)", ""},
        {"(char *)0x1234 keeps no space", [] { return ptr(&type_char); }, [] { return num(0x1234); }, 0, 0,
         "(leaf ptr(char) 4660 retyped)", ""},
        {"(char *)0 keeps no space", [] { return ptr(&type_char); }, [] { return num(0); }, 0, 0,
         "(leaf ptr(char) 0 retyped)", ""},
        {"big value cut to 16 bits", [] { return ptr(&type_char); }, [] { return num(0x123456, &type_long); }, 0, 0,
         "(leaf ptr(char) 13398 retyped)", ""},
        {"tiny target takes 8 bits", [] { return ptr(&type_char, SPACE_TINY); }, [] { return num(0x1234); }, 0, 0,
         "(leaf ptr@tiny(char) 52 retyped)", ""},
        {"near target takes 16 bits", [] { return ptr(&type_char, SPACE_NEAR); }, [] { return num(0x12345, &type_long); },
         0, 0, "(leaf ptr@near(char) 9029 retyped)", ""},
        {"same space retypes", [] { return ptr(&type_char); }, [] { return var("p", ptr(&type_int, SPACE_NEAR)); }, 0, 0,
         "(leaf ptr(char) sym p lvalue retyped)", ""},
        {"user spaces differ", [] { return ptr(&type_char, 0x01); }, [] { return var("p", ptr(&type_int)); }, 0, 0,
         "(cast ptr@u01(char) (leaf ptr(int) sym p lvalue))", ""},
        {"far words differ", [] { return ptr(&type_char, SPACE_FAR); },
         [] { return var("p", ptr(&type_char, SPACE_FAR | ATTR_CONST)); }, 0, 0,
         "(cast ptr@far(char) (leaf ptr@far(const char) sym p lvalue))", ""},
        {"tiny address to near", [] { return ptr(&type_char); }, [] { return num(5, ptr(&type_char, SPACE_TINY)); }, 0,
         0, "(leaf ptr(char) 5 retyped)", ""},
        {"tiny variable to near widens", [] { return ptr(&type_char); },
         [] { return var("t", ptr(&type_char, SPACE_TINY)); }, 0, 0,
         "(cast ptr(char) (leaf ptr@tiny(char) sym t lvalue))", ""},
        {"near to far widens", [] { return ptr(&type_char, SPACE_FAR); }, [] { return var("p", ptr(&type_char)); }, 0, 0,
         "(cast ptr@far(char) (leaf ptr(char) sym p lvalue))", ""},
        {"narrowing refused", [] { return ptr(&type_char, SPACE_TINY); }, [] { return var("p", ptr(&type_char)); }, 0,
         0, "(cast ptr@tiny(char) (leaf ptr(char) sym p lvalue))", "invalid narrow pointer cast"},
        {"narrowing under -np", [] { return ptr(&type_char, SPACE_TINY); }, [] { return var("p", ptr(&type_char)); }, 1,
         0, "(cast ptr@tiny(char) (leaf ptr(char) sym p lvalue))", ""},
        {"narrowed number under -np", [] { return ptr(&type_char, SPACE_TINY); },
         [] { return num(0x1234, ptr(&type_char, SPACE_FAR)); }, 1, 0, "(leaf ptr@tiny(char) 52 retyped)", ""},
        {"integer variable to pointer", [] { return ptr(&type_char); }, [] { return var("i", &type_int); }, 0, 0,
         "(cast ptr(char) (leaf int sym i lvalue))", ""},
        {"array decays first", [] { return ptr(&type_int); }, [] { return var("a", arr(&type_int, 3)); }, 0, 0,
         "(leaf ptr(int) sym a retyped)", ""},
        {"float to pointer", [] { return ptr(&type_char); }, [] { return var("d", &type_double); }, 0, 0,
         "(cast ptr(char) (leaf double sym d lvalue))", "invalid pointer cast operand"},
        {"to a struct", [] { return new_type(KIND_STRUCT, nullptr); }, [] { return num(1); }, 0, 0,
         "(cast struct ? (leaf int 1))", "invalid cast type"},
        {"void to void", [] { return &type_void; }, [] { return op(OP_CALL, &type_void, var("f", &type_int)); }, 0, 0,
         "(call void (leaf int sym f lvalue) retyped)", ""},
        {"int to void", [] { return &type_void; }, [] { return var("i", &type_int); }, 0, 0,
         "(cast void (leaf int sym i lvalue))", ""},
        {"int constant to double", [] { return &type_double; }, [] { return num(-3); }, 0, 0, "(leaf double -3)", ""},
        {"uint constant to float", [] { return &type_float; }, [] { return num(-1, &type_uint); }, 0, 0,
         "(leaf float 65535)", ""},
        {"double constant to float is rounded to float", [] { return &type_float; }, [] { return real(0.1); }, 0, 0,
         "(leaf float 0.10000000149011612)", ""},
        {"pointer to double", [] { return &type_double; }, [] { return var("p", ptr(&type_char)); }, 0, 0,
         "(cast double (leaf ptr(char) sym p lvalue))", "invalid cast operand"},
        {"(int)1e10 with warnings", [] { return &type_int; }, [] { return real(1e10); }, 0, 1, "(leaf int 1410065408)",
         "float value too large for integer cast"},
        {"(int)1e10 without warnings", [] { return &type_int; }, [] { return real(1e10); }, 0, 0,
         "(leaf int 1410065408)", ""},
        {"(char)-300.7 truncates, not reduced", [] { return &type_char; }, [] { return real(-300.7); }, 0, 1,
         "(leaf char -300)", ""},
        {"(int)-3e9", [] { return &type_int; }, [] { return real(-3e9); }, 0, 1, "(leaf int -2147483648)",
         "float value too large for integer cast"},
        {"(char)300", [] { return &type_char; }, [] { return num(300); }, 0, 0, "(leaf char 44)", ""},
        {"(unsigned)-1", [] { return &type_uint; }, [] { return num(-1, &type_long); }, 0, 0, "(leaf uint 65535)", ""},
        {"(uchar)(x & 0x100)", [] { return &type_uchar; },
         [] { return op(OP_AND, &type_int, var("x", &type_int), num(0x100)); }, 0, 0, "(leaf uchar 0)", ""},
        {"(uchar)(x & 0x1ff)", [] { return &type_uchar; },
         [] { return op(OP_AND, &type_int, var("x", &type_int), num(0x1FF)); }, 0, 0,
         "(cast uchar (& int (leaf int sym x lvalue) (leaf int 255)))", ""},
        {"(char)(a+b) retypes", [] { return &type_char; },
         [] { return op(OP_ADD, &type_int, var("a", &type_int), var("b", &type_int)); }, 0, 0,
         "(+ char (leaf int sym a lvalue) (leaf int sym b lvalue) retyped)", ""},
        {"(char)*p keeps a cast", [] { return &type_char; },
         [] { return op(OP_DEREF, &type_int, var("p", ptr(&type_int))); }, 0, 0,
         "(cast char (deref int (leaf ptr(int) sym p lvalue)))", ""},
        {"(long)c keeps a cast", [] { return &type_long; }, [] { return var("c", &type_char); }, 0, 0,
         "(cast long (leaf char sym c lvalue))", ""},
        {"(char)c2 retypes", [] { return &type_char; }, [] { return var("c", &type_char); }, 0, 0,
         "(leaf char sym c lvalue retyped)", ""},
        {"(char)(a>>1) keeps a cast", [] { return &type_char; },
         [] { return op(OP_SHR, &type_int, var("a", &type_int), num(1)); }, 0, 0,
         "(cast char (>> int (leaf int sym a lvalue) (leaf int 1)))", ""},
        {"(long)bit-field leaf keeps a cast", [] { return &type_long; }, [] { return var("b", bits(KIND_BITS8, 1, 3)); }, 0, 0,
         "(cast long (leaf bits8<1:3> sym b lvalue))", ""},
        {"(long)(bit-field sum) retypes", [] { return &type_long; },
         [] { return op(OP_ADD, bits(KIND_BITS8, 1, 3), var("b", &type_int), num(1)); }, 0, 0,
         "(+ long (leaf int sym b lvalue) (leaf int 1) retyped)", ""},
        {"(int)d keeps a cast", [] { return &type_int; }, [] { return var("d", &type_double); }, 0, 0,
         "(cast int (leaf double sym d lvalue))", ""},
        {"(int)p keeps a cast", [] { return &type_int; }, [] { return var("p", ptr(&type_char)); }, 0, 0,
         "(cast int (leaf ptr(char) sym p lvalue))", ""},
        {"(int)(p + 1) retypes", [] { return &type_int; },
         [] { return op(OP_ADD, ptr(&type_char), var("p", ptr(&type_char)), num(1)); }, 0, 0,
         "(+ int (leaf ptr(char) sym p lvalue) (leaf int 1) retyped)", ""},
        {"(int)far pointer", [] { return &type_int; }, [] { return var("p", ptr(&type_char, SPACE_FAR)); }, 0, 0,
         "(cast int (leaf ptr@far(char) sym p lvalue))", "invalid narrow pointer cast"},
        {"(int)far pointer -np", [] { return &type_int; }, [] { return var("p", ptr(&type_char, SPACE_FAR)); }, 1, 0,
         "(cast int (leaf ptr@far(char) sym p lvalue))", ""},
        {"(int)struct", [] { return &type_int; }, [] { return var("s", new_type(KIND_STRUCT, nullptr)); }, 0, 0,
         "(cast int (leaf struct ? sym s lvalue))", "invalid cast operand"},
        {"(char *)&port at an address", [] { return ptr(&type_char); },
         [] {
             Node *n = var("port", &type_char, 0, SC_LOCALIZED);
             n->symbol->value = 0x40;
             n->type = ptr(&type_char);
             n->leaf = LEAF_SYMBOL;
             n->value = 2;
             return n;
         },
         0, 0, "(leaf ptr(char) 66 retyped)", ""},
    };
    for (const CastCase &c : cases) {
        allow_pointer_narrowing = c.np;
        check_level = c.warn;
        Node *result = cast(c.target(), c.operand());
        EXPECT_EQ(text(result), c.result) << c.what;
        std::string m = messages();
        EXPECT_TRUE(*c.message ? m.find(c.message) != std::string::npos : m.empty()) << c.what << ": " << m;
    }

    // An enum target is its integer type; convert_to leaves compatible
    // operands alone and casts the rest.
    Type *e = new_type(KIND_ENUM, &type_uchar);
    EXPECT_EQ(text(cast(e, num(0x1FF))), "(leaf uchar 255)");
    Node *i = var("i", &type_int);
    EXPECT_EQ(convert_to(i, &type_int), i);
    EXPECT_EQ(text(convert_to(i, &type_long)), "(cast long (leaf int sym i lvalue))");
    EXPECT_EQ(text(convert_to(num(1, ptr(&type_char)), ptr(&type_char, ATTR_CONST))), "(leaf ptr(const char) 1 retyped)");

    // -cc keeps constants at their full value.
    no_const_cast = 1;
    EXPECT_EQ(text(cast(&type_char, num(300))), "(leaf char 300)");
}

TEST_F(TreeTest, FloatingConstantsHoldOneUseOfTheirPoolEntry)
{
    Node *a = real(2.5), *b = real(2.5);
    ASSERT_EQ(a->literal, b->literal);
    EXPECT_EQ(a->literal->refs, 1);
    cast(&type_int, a);
    EXPECT_EQ(b->literal->refs, 0);

    // A zero divisor mark and its position survive the change of kind.
    Node *zero = num(0);
    zero->leaf |= LEAF_ZERO_DIVISOR;
    zero->position = save_position();
    SavedPosition *where = zero->position;
    int_to_float_constant(zero, &type_double);
    EXPECT_EQ(text(zero), "(leaf double 0 zero-divisor)");
    EXPECT_EQ(zero_divisor_position(zero), where);
    float_to_int_constant(zero, &type_int);
    EXPECT_EQ(text(zero), "(leaf int 0 zero-divisor)");
    EXPECT_EQ(zero_divisor_position(zero), where);
}

}  // namespace
