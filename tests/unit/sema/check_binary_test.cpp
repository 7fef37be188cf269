// The binary and the assignment checks, through the one-line text of the
// trees they return and the messages they report.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "base/options.h"
#include "model/types.h"
#include "sema/check.h"
#include "tree/tree.h"

namespace {

using namespace tree_build;

Node *bin(std::uint8_t code, Node *l, Node *r) { return check_binary(op(code, nullptr, l, r)); }
Node *cond(Node *test, Node *middle, Node *third)
{
    Node *n = op(OP_COND, nullptr, test, third);
    n->value_node = middle;
    return n;
}
Node *I(const char *name = "i") { return var(name, &type_int); }
Node *P(const char *name = "p") { return var(name, ptr(&type_int)); }
Node *F() { return var("f", &type_float); }
Node *call(Type *result) { return op(OP_CALL, result, var("g", new_type(KIND_FUNCTION, result))); }
Type *record(Symbol *members = nullptr)
{
    Type *t = new_type(KIND_STRUCT, nullptr);
    t->members = members;
    t->size = 4;
    return t;
}

struct Case {
    const char *what;
    std::function<Node *()> build;
    const char *result;
    const char *message;
};

class CheckBinaryTest : public CompilerTest {
protected:
    void SetUp() override
    {
        CompilerTest::SetUp();
        symbols = nullptr;
        check_level = 1;
    }
    void run(const Case *cases, std::size_t count)
    {
        for (std::size_t k = 0; k < count; ++k) {
            const Case &c = cases[k];
            EXPECT_EQ(text(c.build()), c.result) << c.what;
            std::string m = messages();
            EXPECT_TRUE(*c.message ? m.find(c.message) != std::string::npos : m.empty()) << c.what << ": " << m;
        }
    }
};

TEST_F(CheckBinaryTest, BinaryRulesAndMessages)
{
    const Case cases[] = {
        {"i + l", [] { return bin(OP_ADD, I(), var("l", &type_long)); }, "(+ long (leaf int sym i lvalue) (leaf long sym l lvalue))", ""},
        {"u + l", [] { return bin(OP_ADD, var("u", &type_uint), var("l", &type_long)); }, "(+ long (leaf uint sym u lvalue) (leaf long sym l lvalue))", ""},
        {"l + ul", [] { return bin(OP_ADD, var("l", &type_long), var("ul", &type_ulong)); }, "(+ ulong (leaf long sym l lvalue) (leaf ulong sym ul lvalue))", ""},
        {"i & u", [] { return bin(OP_AND, I(), var("u", &type_uint)); }, "(& uint (leaf int sym i lvalue) (leaf uint sym u lvalue))", ""},
        {"u * a 32-bit field", [] { return bin(OP_MUL, var("u", &type_uint), var("b", bits(KIND_BITS32, 0, 20))); }, "(* ulong (leaf uint sym u lvalue) (leaf bits32<0:20> sym b lvalue))", ""},
        {"f * 2 converts the 2", [] { return bin(OP_MUL, F(), num(2)); }, "(* float (leaf float sym f lvalue) (leaf float 2))", ""},
        {"f % d", [] { return bin(OP_MOD, F(), var("d", &type_double)); }, "(% double (leaf float sym f lvalue) (leaf double sym d lvalue))", "invalid floating point operation"},
        {"x << 16", [] { return bin(OP_SHL, I("x"), num(16)); }, "(leaf int 0)", "shift count out of range"},
        {"x << -1", [] { return bin(OP_SHL, I("x"), num(-1)); }, "(leaf int 0)", "shift count out of range"},
        {"l << 16", [] { return bin(OP_SHL, var("l", &type_long), num(16)); }, "(<< long (leaf long sym l lvalue) (leaf int 16))", ""},
        {"c >> n, n long", [] { return bin(OP_SHR, var("c", &type_char), var("n", &type_long)); }, "(>> int (leaf char sym c lvalue) (cast int (leaf long sym n lvalue)))", ""},
        {"x << d", [] { return bin(OP_SHL, I("x"), var("d", &type_double)); }, "(<< int (leaf int sym x lvalue) (leaf double sym d lvalue))", "invalid shift count type"},
        {"far p - q", [] { Type *t = ptr(&type_char, SPACE_FAR); return bin(OP_SUB, var("p", t), var("q", t)); }, "(- long (leaf ptr@far(char) sym p lvalue) (leaf ptr@far(char) sym q lvalue))", ""},
        {"int p - q", [] { return bin(OP_SUB, P(), P("q")); }, "(>> int (- int (leaf ptr(int) sym p lvalue) (leaf ptr(int) sym q lvalue)) (leaf int 1))", ""},
        {"3-byte elements divide", [] { Type *t = ptr(arr(&type_char, 3)); return bin(OP_SUB, var("p", t), var("q", t)); }, "(/ int (- int (leaf ptr(array[3](char)) sym p lvalue) (leaf ptr(array[3](char)) sym q lvalue)) (leaf int 3))", ""},
        {"two addresses", [] { return bin(OP_SUB, num(14, ptr(&type_long)), num(6, ptr(&type_long))); }, "(leaf int 2)", ""},
        {"p - cp", [] { return bin(OP_SUB, P(), var("q", ptr(&type_char))); }, "(>> int (- int (leaf ptr(int) sym p lvalue) (leaf ptr(char) sym q lvalue)) (leaf int 1))", "invalid pointer types"},
        {"p + i scales", [] { return bin(OP_ADD, P(), I()); }, "(+ ptr(int) (leaf ptr(int) sym p lvalue) (<< int (leaf int sym i lvalue) (leaf int 1)))", ""},
        {"3 + p exchanges", [] { return bin(OP_ADD, num(3), P()); }, "(+ ptr(int) (leaf ptr(int) sym p lvalue) (leaf int 6))", ""},
        {"a - 1 of an array", [] { return bin(OP_SUB, var("a", arr(&type_long, 4)), num(1)); }, "(leaf ptr(long) sym a-4)", ""},
        {"p * 2", [] { return bin(OP_MUL, P(), num(2)); }, "(* ptr(int) (leaf ptr(int) sym p lvalue) (leaf int 2))", "invalid pointer operation"},
        {"i - p", [] { return bin(OP_SUB, I(), P()); }, "(- ptr(int) (leaf int sym i lvalue) (leaf ptr(int) sym p lvalue))", "invalid pointer operation"},
        {"vp + 1", [] { return bin(OP_ADD, var("v", ptr(&type_void)), num(1)); }, "(+ ptr(void) (leaf ptr(void) sym v lvalue) (leaf int 1))", "invalid void pointer"},
        {"1 + vp", [] { return bin(OP_ADD, num(1), var("v", ptr(&type_void))); }, "(+ ptr(void) (leaf int 1) (leaf ptr(void) sym v lvalue))", "invalid void pointer"},
        {"p + d", [] { return bin(OP_ADD, P(), var("d", &type_double)); }, "(+ ptr(int) (leaf ptr(int) sym p lvalue) (leaf double sym d lvalue))", "invalid pointer operand"},
        {"d + p", [] { return bin(OP_ADD, var("d", &type_double), P()); }, "(+ ptr(int) (leaf double sym d lvalue) (leaf ptr(int) sym p lvalue))", "invalid pointer operand"},
        {"c < uc", [] { return bin(OP_LT, var("c", &type_char), var("u", &type_uchar)); }, "(< int (cast int (leaf char sym c lvalue)) (cast int (leaf uchar sym u lvalue)))", ""},
        {"c < 'a'", [] { return bin(OP_LT, var("c", &type_char), num(97, &type_uchar)); }, "(< int (leaf char sym c lvalue) (leaf uchar 97))", ""},
        {"p == 0", [] { return bin(OP_EQ, P(), num(0)); }, "(== int (leaf ptr(int) sym p lvalue) (leaf int 0))", ""},
        {"p == l", [] { return bin(OP_EQ, P(), var("l", &type_long)); }, "(== int (leaf ptr(int) sym p lvalue) (leaf long sym l lvalue))", "incompatible compare types"},
        {"g() + 1 of void", [] { return bin(OP_ADD, call(&type_void), num(1)); }, "(+ void (call void (leaf func(void) sym g lvalue)) (leaf int 1))", "illegal void operation"},
        {"s + 1", [] { return bin(OP_ADD, var("s", record()), num(1)); }, "(+ struct ? (leaf struct ? sym s lvalue) (leaf int 1))", "incompatible struct/union operation"},
        {"i ? u : l", [] { return check_binary(cond(I(), var("u", &type_uint), var("l", &type_long))); }, "(?: long (!= int (leaf int sym i lvalue) (leaf int 0)) (leaf uint sym u lvalue) (leaf long sym l lvalue))", ""},
        {"i ? p : 0", [] { return check_binary(cond(I(), P(), num(0))); }, "(?: ptr(int) (!= int (leaf int sym i lvalue) (leaf int 0)) (leaf ptr(int) sym p lvalue) (leaf int 0))", ""},
        {"i ? p : l", [] { return check_binary(cond(I(), P(), var("l", &type_long))); }, "(?: ptr(int) (!= int (leaf int sym i lvalue) (leaf int 0)) (leaf ptr(int) sym p lvalue) (leaf long sym l lvalue))", "incompatible operand types"},
        {"s ? 1 : 2", [] { return check_binary(cond(var("s", record()), num(1), num(2))); }, "(?: struct ? (leaf struct ? sym s lvalue) (leaf int 1) (leaf int 2))", "incompatible struct/union operation"},
        {"g() ? 1 : 2", [] { return check_binary(cond(call(&type_void), num(1), num(2))); }, "(?: int (call void (leaf func(void) sym g lvalue)) (leaf int 1) (leaf int 2))", "invalid ? test expression"},
        {"i && p", [] { return bin(OP_ANDAND, I(), P()); }, "(&& int (!= int (leaf int sym i lvalue) (leaf int 0)) (!= int (leaf ptr(int) sym p lvalue) (leaf int 0)))", ""},
        {"i || t", [] { return bin(OP_OROR, I(), var("t", record())); }, "(|| int (!= int (leaf int sym i lvalue) (leaf int 0)) (leaf struct ? sym t lvalue))", "invalid conditional operand"},
    };
    run(cases, std::size(cases));
}

TEST_F(CheckBinaryTest, AssignmentRulesAndMessages)
{
    static Symbol member{};
    Type *whole = record(&member);
    auto asg = [](std::uint8_t code, Node *target, Node *value) { return bin(code, target, value); };
    const Case cases[] = {
        {"f = 3", [&] { return asg(OP_ASSIGN, F(), num(3)); }, "(= float (leaf float sym f lvalue) (leaf float 3))", ""},
        {"f = 0", [&] { return asg(OP_ASSIGN, F(), num(0)); }, "(= float (leaf float sym f lvalue) (leaf int 0))", ""},
        {"i = 2.5", [&] { return asg(OP_ASSIGN, I(), real(2.5)); }, "(= int (leaf int sym i lvalue) (leaf int 2))", "truncating assignment"},
        {"x = x + y", [&] { Node *x = I("x"); Node *v = op(OP_ADD, &type_int, I("x"), I("y")); v->left->symbol = x->symbol; return asg(OP_ASSIGN, x, v); }, "(+= int (leaf int sym x lvalue) (leaf int sym y lvalue))", ""},
        {"x = y * x", [&] { Node *x = I("x"); Node *v = op(OP_MUL, &type_int, I("y"), var("x", &type_int)); v->right->symbol = x->symbol; return asg(OP_ASSIGN, x, v); }, "(*= int (leaf int sym x lvalue) (leaf int sym y lvalue))", ""},
        {"x = y - x stays", [&] { Node *x = I("x"); Node *v = op(OP_SUB, &type_int, I("y"), var("x", &type_int)); v->right->symbol = x->symbol; return asg(OP_ASSIGN, x, v); }, "(= int (leaf int sym x lvalue) (- int (leaf int sym y lvalue) (leaf int sym x lvalue)))", ""},
        {"p += i", [&] { return asg(OP_ADDASG, P(), I()); }, "(+= ptr(int) (leaf ptr(int) sym p lvalue) (<< int (leaf int sym i lvalue) (leaf int 1)))", ""},
        {"p -= 3", [&] { return asg(OP_SUBASG, P(), num(3)); }, "(-= ptr(int) (leaf ptr(int) sym p lvalue) (leaf int 6))", ""},
        {"p++", [&] { return asg(OP_POSTINC, var("p", ptr(&type_long)), num(1)); }, "(post++ ptr(long) (leaf ptr(long) sym p lvalue) (leaf int 4))", ""},
        {"p = p + i scales once", [&] { Node *p = P(); Node *q = P(); q->symbol = p->symbol; return asg(OP_ASSIGN, p, bin(OP_ADD, q, I())); }, "(+= ptr(int) (leaf ptr(int) sym p lvalue) (<< int (leaf int sym i lvalue) (leaf int 1)))", ""},
        {"p += 0", [&] { return asg(OP_ADDASG, P(), num(0)); }, "(leaf ptr(int) sym p lvalue)", ""},
        {"p *= 2", [&] { return asg(OP_MULASG, P(), num(2)); }, "(*= ptr(int) (leaf ptr(int) sym p lvalue) (leaf int 2))", "incompatible pointer operation"},
        {"p += d", [&] { return asg(OP_ADDASG, P(), var("d", &type_double)); }, "(+= ptr(int) (leaf ptr(int) sym p lvalue) (leaf double sym d lvalue))", "incompatible pointer operand"},
        {"p = cp", [&] { return asg(OP_ASSIGN, P(), var("q", ptr(&type_char))); }, "(= ptr(int) (leaf ptr(int) sym p lvalue) (leaf ptr(char) sym q lvalue))", "incompatible pointer types"},
        {"p = 0", [&] { return asg(OP_ASSIGN, P(), num(0)); }, "(= ptr(int) (leaf ptr(int) sym p lvalue) (leaf int 0))", ""},
        {"i = p", [&] { return asg(OP_ASSIGN, I(), P()); }, "(= int (leaf int sym i lvalue) (leaf ptr(int) sym p lvalue))", "incompatible pointer assignment"},
        {"i = s", [&] { return asg(OP_ASSIGN, I(), var("s", whole)); }, "(= int (leaf int sym i lvalue) (leaf struct ? sym s lvalue))", "incompatible struct/union assignment"},
        {"i = g()", [&] { return asg(OP_ASSIGN, I(), call(&type_void)); }, "(= int (leaf int sym i lvalue) (call void (leaf func(void) sym g lvalue)))", "illegal void usage"},
        {"f %= 2", [&] { return asg(OP_MODASG, F(), num(2)); }, "(%= float (leaf float sym f lvalue) (leaf float 2))", "invalid floating point operation"},
        {"i <<= l", [&] { return asg(OP_SHLASG, I(), var("l", &type_long)); }, "(<<= int (leaf int sym i lvalue) (cast int (leaf long sym l lvalue)))", "truncating assignment"},
        {"i <<= p", [&] { return asg(OP_SHLASG, I(), P()); }, "(<<= int (leaf int sym i lvalue) (leaf ptr(int) sym p lvalue))", "invalid shift count type"},
        {"a = 1", [&] { return asg(OP_ASSIGN, var("a", arr(&type_int, 2)), num(1)); }, "(= array[2](int) (leaf array[2](int) sym a lvalue) (leaf int 1))", "invalid assignment type"},
        {"5 = 1", [&] { return asg(OP_ASSIGN, num(5), num(1)); }, "(= int (leaf int 5) (leaf int 1))", "invalid lvalue"},
        {"(a + b) = 1", [&] { return asg(OP_ASSIGN, op(OP_ADD, &type_int, I("a"), I("b")), num(1)); }, "(= int (+ int (leaf int sym a lvalue) (leaf int sym b lvalue)) (leaf int 1))", "invalid lvalue"},
        {"const k = 1", [&] { return asg(OP_ASSIGN, var("k", &type_int, ATTR_CONST), num(1)); }, "(= int (leaf int sym k lvalue) (leaf int 1))", "const assignment"},
        {"const k initialized", [&] { Node *k = var("k", &type_int, ATTR_CONST); k->leaf |= LEAF_INIT; return asg(OP_ASSIGN, k, num(1)); }, "(= int (leaf int sym k lvalue init) (leaf int 1))", ""},
        {"*cp = 1", [&] { return asg(OP_ASSIGN, op(OP_DEREF, &type_char, var("q", ptr(&type_char, ATTR_CONST))), num(1)); }, "(= char (deref char (leaf ptr(const char) sym q lvalue)) (leaf int 1))", "const assignment"},
        {"s = t incomplete", [&] { Type *t = record(); return asg(OP_ASSIGN, var("s", t), var("t", t)); }, "(= struct ? (leaf struct ? sym s lvalue) (leaf struct ? sym t lvalue))", "incomplete type for assignment"},
        {"s = other", [&] { static Symbol other{}; return asg(OP_ASSIGN, var("s", whole), var("t", record(&other))); }, "(= struct ? (leaf struct ? sym s lvalue) (leaf struct ? sym t lvalue))", "incompatible types in struct/union assignment"},
        {"s += t", [&] { return asg(OP_ADDASG, var("s", whole), var("t", whole)); }, "(+= struct ? (leaf struct ? sym s lvalue) (leaf struct ? sym t lvalue))", "invalid struct/union operation"},
        {"field = y & 15", [&] { return asg(OP_ASSIGN, var("b", bits(KIND_BITSINT, 2, 3)), op(OP_AND, &type_int, I("y"), num(15))); }, "(= bitsint<2:3> (leaf bitsint<2:3> sym b lvalue) (leaf int sym y lvalue))", ""},
        {"field = y & 3", [&] { return asg(OP_ASSIGN, var("b", bits(KIND_BITSINT, 2, 3)), op(OP_AND, &type_int, I("y"), num(3))); }, "(= bitsint<2:3> (leaf bitsint<2:3> sym b lvalue) (& int (leaf int sym y lvalue) (leaf int 3)))", ""},
        {"field++", [&] { return asg(OP_POSTINC, var("b", bits(KIND_BITS8, 0, 3)), num(1)); }, "(post++ uchar (leaf bits8<0:3> sym b lvalue) (leaf int 1))", ""},
    };
    run(cases, std::size(cases));

    // The target is stamped and marked assigned; a compound literal's
    // temporary takes the store inside its pair.
    Node *x = I("x");
    Symbol *s = x->symbol;
    check_binary(op(OP_ASSIGN, nullptr, x, num(1)));
    check_binary(op(OP_ASSIGN, nullptr, I("x"), num(2)));
    x = I("x");
    x->symbol = s;
    check_binary(op(OP_ASSIGN, nullptr, x, num(3)));
    EXPECT_TRUE(s->flags & SYM_ASSIGNED);
    EXPECT_GT(s->set_seq, s->prev_set_seq);
    EXPECT_NE(s->prev_set_seq, 0u);
    Node *temp = var(".t1", whole);
    Node *pair = op(OP_COMMA, whole, var("init", whole), temp);
    EXPECT_EQ(text(check_binary(op(OP_ASSIGN, nullptr, pair, var("v", whole)))),
              "(, struct ? (leaf struct ? sym init lvalue) (= struct ? (leaf struct ? sym .t1 lvalue) (leaf struct ? sym v lvalue)))");
    EXPECT_EQ(messages(), "");
}

}  // namespace
