// Folding and simplification while the checks build each node: C text in,
// the one-line tree out, with the warnings the folds give. Bit-field
// operands cannot be declared in text yet, so their cases build the trees
// by hand and call the checks directly.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <functional>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/parse.h"
#include "sema/check.h"
#include "tree/tree.h"

namespace {

// The leaves most cases read.
#define Li "(leaf int sym i lvalue)"
#define Lj "(leaf int sym j lvalue)"
#define Lk "(leaf int sym k lvalue)"
#define Lu "(leaf uint sym u lvalue)"
#define Ll "(leaf long sym l lvalue)"
#define Lc "(leaf char sym c lvalue)"
#define Ld "(leaf double sym d lvalue)"
#define Lv "(leaf int sym v lvalue)"
#define CALL_F "(call int (leaf ptr(func(int)) sym f))"
#define N(v) "(leaf int " #v ")"
#define OUT_OF_RANGE "compare out of range"

struct Case {
    const char *source;
    const char *tree;
    const char *message = "";  // a text the messages must contain
};

class FoldTest : public CompilerTest {
protected:
    Symbol *declare(const char *name, Type *type, std::uint8_t sclass = SC_AUTO, std::uint16_t attr = 0)
    {
        Symbol *s = new_symbol(&ident_list, intern_name(name, std::strlen(name)), sclass, type);
        s->flags |= SYM_DECLARED;
        s->attr = attr;
        return s;
    }
    Type *function(Type *result)
    {
        Type *t = new_type(KIND_FUNCTION, result);
        new_symbol(&t->params, nullptr, 0, &type_void);  // prototyped, no parameters
        return t;
    }
    void declare_all()
    {
        for (const char *n : {"i", "j", "k"})
            declare(n, &type_int);
        declare("u", &type_uint);
        declare("c", &type_char);
        declare("uc", &type_uchar);
        declare("us", &type_ushort);
        declare("l", &type_long);
        declare("ul", &type_ulong);
        declare("fl", &type_float);
        declare("d", &type_double);
        declare("v", &type_int, SC_AUTO, ATTR_VOLATILE);
        declare("vc", &type_char, SC_AUTO, ATTR_VOLATILE);
        declare("cp", new_type(KIND_POINTER, &type_char));
        declare("ip", new_type(KIND_POINTER, &type_int));
        Type *far = new_type(KIND_POINTER, &type_int);
        far->attr = SPACE_FAR;
        declare("fp", far);
        declare("t", &type_int)->flags |= SYM_ADDRESSED;
        declare("kc", &type_int, SC_AUTO, ATTR_CONST)->const_value = make_int_constant(nullptr, 7);
        declare("x", &type_int, SC_EXTERN);
        Type *array = new_type(KIND_ARRAY, &type_char);
        array->dim = 10;
        declare("g", array, SC_EXTERN);
        Type *words = new_type(KIND_ARRAY, &type_int);
        words->dim = 10;
        declare("ga", words, SC_EXTERN);
        declare("f", function(&type_int), SC_EXTERN);
        declare("fc", function(&type_char), SC_EXTERN);
    }
    std::string parse(const std::string &source)
    {
        open_text(source + ";\n");
        declare_all();
        Node *tree = parse_expression(0);
        std::string result = tree_build::text(tree);
        if (next_token()->code != TK_SEMICOLON)
            result += " [not all parsed]";
        return result;
    }
    // Each case on a fresh compiler, warnings on, then `options` applied.
    template <std::size_t count>
    void run(const Case (&cases)[count], const std::function<void()> &options = [] {})
    {
        for (const Case &c : cases) {
            fresh();
            check_level = 1;
            options();
            EXPECT_EQ(parse(c.source), c.tree) << c.source;
            std::string m = messages();
            if (*c.message)
                EXPECT_NE(m.find(c.message), std::string::npos) << c.source << ": " << m;
            else
                EXPECT_EQ(m, "") << c.source;
        }
    }
};

// Constants are held in 32 bits and reduced to the width of their type
// after every fold; -cc leaves them unreduced.
TEST_F(FoldTest, IntegerConstantsAtTheWidthBoundaries)
{
    struct Boundary {
        const char *source, *tree, *unreduced;
    };
    const Boundary cases[] = {
        {"(char)127", "(leaf char 127)", "(leaf char 127)"}, {"(char)128", "(leaf char -128)", "(leaf char 128)"},
        {"(char)-129", "(leaf char 127)", "(leaf char -129)"}, {"(char)300", "(leaf char 44)", "(leaf char 300)"},
        {"(unsigned char)255", "(leaf uchar 255)", "(leaf uchar 255)"},
        {"(unsigned char)256", "(leaf uchar 0)", "(leaf uchar 256)"},
        {"(unsigned char)-1", "(leaf uchar 255)", "(leaf uchar 4294967295)"}, {"(char)100 * (char)3", N(300), N(300)},
        {"(unsigned char)200 + (unsigned char)100", N(300), N(300)},
        {"(short)32768", "(leaf short -32768)", "(leaf short 32768)"},
        {"(short)-32769", "(leaf short 32767)", "(leaf short -32769)"},
        {"(unsigned short)65535", "(leaf ushort 65535)", "(leaf ushort 65535)"},
        {"(unsigned short)65536", "(leaf ushort 0)", "(leaf ushort 65536)"},
        {"(unsigned short)-1", "(leaf ushort 65535)", "(leaf ushort 4294967295)"}, {"(int)65536", N(0), N(65536)},
        {"0x7fff + 1", N(-32768), N(32768)}, {"32767 * 2", N(-2), N(65534)}, {"-32768 - 1", N(32767), N(-32769)},
        {"1 << 15", N(-32768), N(32768)}, {"-7 % 2", N(-1), N(-1)}, {"-1 >> 1", N(-1), N(-1)},
        {"65535u + 1", "(leaf uint 0)", "(leaf uint 65536)"}, {"0u - 1", "(leaf uint 65535)", "(leaf uint 4294967295)"},
        {"-1 / 2u", "(leaf uint 32767)", "(leaf uint 2147483647)"},
        {"(unsigned)-1", "(leaf uint 65535)", "(leaf uint 4294967295)"},
        {"-1 - 32768", "(leaf long -32769)", "(leaf long -32769)"},
        {"2147483647L + 1", "(leaf long -2147483648)", "(leaf long -2147483648)"},
        {"(long)-1", "(leaf long -1)", "(leaf long -1)"}, {"4294967295UL + 1", "(leaf ulong 0)", "(leaf ulong 0)"},
        {"0UL - 1", "(leaf ulong 4294967295)", "(leaf ulong 4294967295)"},
        {"(unsigned long)-1", "(leaf ulong 4294967295)", "(leaf ulong 4294967295)"},
        // Unary folds reduce to 16 bits, then the unary promotion applies.
        {"~0", N(-1), N(-1)}, {"~0u", "(leaf uint 65535)", "(leaf uint 4294967295)"},
        {"-(unsigned)1", "(leaf uint 65535)", "(leaf uint 4294967295)"}, {"~(unsigned char)1", N(-2), N(-2)},
        {"-(char)-128", N(128), N(128)}, {"-(unsigned char)200", N(-200), N(-200)},
        {"~(unsigned short)0", "(leaf uint 65535)", "(leaf uint 4294967295)"}, {"!5", N(0), N(0)}, {"!0", N(1), N(1)},
        {"-1.5", "(leaf double -1.5)", "(leaf double -1.5)"},
        // Integer constants made floating read their bits by their kind.
        {"(double)(unsigned char)200", "(leaf double 200)", "(leaf double 200)"},
        {"(double)(unsigned)-1", "(leaf double 65535)", "(leaf double 65535)"},
        {"(double)-1", "(leaf double -1)", "(leaf double -1)"},
        {"(double)4294967295UL", "(leaf double 4294967295)", "(leaf double 4294967295)"},
    };
    for (int unreduced = 0; unreduced < 2; ++unreduced)
        for (const Boundary &c : cases) {
            fresh();
            no_const_cast = unreduced;
            EXPECT_EQ(parse(c.source), unreduced ? c.unreduced : c.tree) << c.source << (unreduced ? " under -cc" : "");
            EXPECT_EQ(messages(), "") << c.source;
        }
}

TEST_F(FoldTest, ComparisonRulesInOrder)
{
    const Case cases[] = {
        // Constant left operand: exchanged, the code mirrored.
        {"1 < i", "(> int " Li " " N(1) ")"}, {"2 >= i", "(<= int " Li " " N(2) ")"},
        {"3 == i", "(== int " Li " " N(3) ")"}, {"1.5 < d", "(> int " Ld " (leaf double 1.5))"},
        // Floating 0.0 on the right becomes the integer 0.
        {"d > 0.0", "(> int " Ld " " N(0) ")"}, {"0.0 < fl", "(> int (leaf float sym fl lvalue) " N(0) ")"},
        // Constants compared as doubles when one is floating.
        {"1.5 < 2", N(1)}, {"2.0 == 2", N(1)}, {"0.5 >= 1", N(0)},
        // The same tree on both sides.
        {"i <= i", N(1)}, {"i >= i", N(1)}, {"i == i", N(1)}, {"i < i", N(0)}, {"i > i", N(0)}, {"i != i", N(0)},
        {"i + j == j + i", N(1)}, {"d == d", N(1)}, {"v == v", "(== int " Lv " " Lv ")"},
        {"f() == f()", "(== int " CALL_F " " CALL_F ")"},
        {"i - j < j - i", "(< int (- int " Li " " Lj ") (- int " Lj " " Li "))"},
        // Two integer constants, compared in their common type.
        {"-1 < 1u", N(0)}, {"-1 > 0u", N(1)}, {"65535u == -1", N(1)}, {"65535u > 1", N(1)}, {"-2 < -1", N(1)},
        {"3 != 3", N(0)}, {"-1 < 1L", N(1)}, {"-1L < 1u", N(1)}, {"-1 < 1ul", N(0)}, {"-1L == 4294967295ul", N(1)},
        // A comparison compared with 0 or 1.
        {"(i < j) < 0", N(0)}, {"(i < j) >= 0", N(1)}, {"(i < j) > 0", "(< int " Li " " Lj ")"},
        {"(i < j) != 0", "(< int " Li " " Lj ")"}, {"(i < j) <= 0", "(>= int " Li " " Lj ")"},
        {"(i < j) == 0", "(>= int " Li " " Lj ")"}, {"(i < j) < 1", "(>= int " Li " " Lj ")"},
        {"(i < j) != 1", "(>= int " Li " " Lj ")"}, {"(i < j) >= 1", "(< int " Li " " Lj ")"},
        {"(i < j) == 1", "(< int " Li " " Lj ")"}, {"(i < j) > 1", N(0)}, {"(i < j) <= 1", N(1)},
        // An or with a non-zero constant is never 0.
        {"(i | 4) == 0", N(0)}, {"(i | 4) != 0", N(1)}, {"(i | j) == 0", "(== int (| int " Li " " Lj ") " N(0) ")"},
        // Cheaper forms of comparisons with 1 and -1.
        {"i >= 1", "(> int " Li " " N(0) ")"}, {"u >= 1", "(> int " Lu " " N(0) ")"},
        {"u < 1", "(== int " Lu " " N(0) ")"}, {"i < 1", "(< int " Li " " N(1) ")"},
        {"i <= -1", "(< int " Li " " N(0) ")"}, {"l <= -1", "(< int " Ll " " N(0) ")"},
        // Range tests against the width of the left operand.
        {"c == 300", N(0), OUT_OF_RANGE},
        {"fc() == 300", "(, int (call char (leaf ptr(func(char)) sym fc)) " N(0) ")", OUT_OF_RANGE},
        {"vc != 300", "(, int (leaf char sym vc lvalue) " N(1) ")", OUT_OF_RANGE}, {"u < 0", N(0), OUT_OF_RANGE},
        {"u >= 0", N(1), OUT_OF_RANGE}, {"u > 0", "(> int " Lu " " N(0) ")"}, {"u != 0", "(!= int " Lu " " N(0) ")"},
        {"uc < 256", N(1), OUT_OF_RANGE}, {"uc <= 255", N(1), OUT_OF_RANGE}, {"uc > 255", N(0), OUT_OF_RANGE},
        {"uc < 255", "(< int (leaf uchar sym uc lvalue) " N(255) ")"}, {"c > 127", N(0), OUT_OF_RANGE},
        {"c < -128", N(0), OUT_OF_RANGE}, {"c >= -128", N(1), OUT_OF_RANGE}, {"c != -129", N(1), OUT_OF_RANGE},
        {"c <= -129", N(0), OUT_OF_RANGE}, {"c == -128", "(== int " Lc " " N(-128) ")"},
        {"c < -100", "(< int " Lc " " N(-100) ")"}, {"i > 32767", N(0), OUT_OF_RANGE},
        {"i <= 32767", N(1), OUT_OF_RANGE}, {"i == 32768", N(0), OUT_OF_RANGE}, {"i < -32768", N(0), OUT_OF_RANGE},
        {"us > 65535u", N(0), OUT_OF_RANGE}, {"ul < 0", N(0), OUT_OF_RANGE},
        // No range test when a signed operand or a negative constant turns unsigned.
        {"i < 40000u", "(< int " Li " (leaf uint 40000))"}, {"c == 300u", "(== int " Lc " (leaf uint 300))"},
        {"u <= -1", "(<= int " Lu " " N(-1) ")"}, {"u == -1", "(== int " Lu " " N(-1) ")"},
        {"u > -1", "(> int " Lu " " N(-1) ")"}, {"u <= -1L", N(0), OUT_OF_RANGE}, {"l < 40000u", "(< int " Ll " (leaf uint 40000))"},
        {"ul < 0UL", "(< int (leaf ulong sym ul lvalue) (leaf ulong 0))"},
        {"l > 2147483647L", "(> int " Ll " (leaf long 2147483647))"},
        // A conditional of constants compared with a constant.
        {"(i < j ? 1 : 2) == 1", "(< int " Li " " Lj ")"}, {"(i < j ? 1 : 2) != 1", "(>= int " Li " " Lj ")"},
        {"(i < j ? 1 : 2) == 2", "(>= int " Li " " Lj ")"}, {"(i < j ? 1 : 2) != 2", "(< int " Li " " Lj ")"},
        {"(i < j ? 1 : 2) == 3", N(0)}, {"(i < j ? 1 : 2) != 3", N(1)},
    };
    run(cases);

    // -sa compares constants the same way.
    const Case strict[] = {{"-1 < 1u", N(0)}, {"-1 > 0u", N(1)}, {"65535u == -1", N(1)}};
    run(strict, [] { strict_ansi = 1; });
    // Without warnings the range test folds silently.
    const Case quiet[] = {{"c == 300", N(0)}};
    run(quiet, [] { check_level = 0; });
}

TEST_F(FoldTest, ConditionalOperator)
{
    const Case cases[] = {
        {"i ? j : j", Lj}, {"f() ? j : j", "(, int (!= int " CALL_F " " N(0) ") " Lj ")"},
        {"v ? j : j", "(, int (!= int " Lv " " N(0) ") " Lj ")"},
        {"i ? j : k", "(?: int (!= int " Li " " N(0) ") " Lj " " Lk ")"}, {"1 ? 2 : 3", N(2)}, {"0 ? 2 : 3", N(3)},
        {"1 ? i : l", "(cast long " Li ")"}, {"0 ? i : l", Ll}, {"1 ? c : i", "(cast int " Lc ")"}, {"0 ? c : i", Li},
        {"1 ? 2.5 : i", "(leaf double 2.5)"}, {"0 ? 2.5 : 1", "(leaf double 1)"},
    };
    run(cases);
}

// Every cell of the two tables that combine comparisons of the same operands.
TEST_F(FoldTest, LogicalCombinationTables)
{
    const char *codes[] = {"<", ">=", ">", "<=", "==", "!="};
    const char *both[6][6] = {
        {"<", "0", "0", "<", "0", "<"},     {"0", ">=", ">", "==", "==", ">"}, {"0", ">", ">", "0", "0", ">"},
        {"<", "==", "0", "<=", "==", "<"},  {"0", "==", "0", "==", "==", "0"}, {"<", ">", ">", "<", "0", "!="},
    };
    const char *either[6][6] = {
        {"<", "1", "!=", "<=", "<=", "!="}, {"1", ">=", ">=", "1", ">=", "1"},  {"!=", ">=", ">", "1", ">=", "!="},
        {"<=", "1", "1", "<=", "<=", "1"},  {"<=", ">=", ">=", "<=", "==", "1"}, {"!=", "1", "!=", "1", "1", "!="},
    };
    for (int table = 0; table < 2; ++table)
        for (int row = 0; row < 6; ++row)
            for (int column = 0; column < 6; ++column) {
                std::string source = std::string("i ") + codes[row] + " j " + (table ? "||" : "&&") + " i " + codes[column] + " j";
                const char *cell = table ? either[row][column] : both[row][column];
                std::string expected = std::isdigit(static_cast<unsigned char>(*cell))
                                           ? std::string("(leaf int ") + cell + ")"
                                           : std::string("(") + cell + " int " Li " " Lj ")";
                fresh();
                EXPECT_EQ(parse(source), expected) << source;
                EXPECT_EQ(messages(), "") << source;
            }
}

TEST_F(FoldTest, LogicalOperatorsWithConstants)
{
    const Case cases[] = {
        {"i && i", "(!= int " Li " " N(0) ")"}, {"i && 0", N(0)},
        {"f() && 0", "(&& int (!= int " CALL_F " " N(0) ") " N(0) ")"},
        {"v && 0", "(&& int (!= int " Lv " " N(0) ") " N(0) ")"}, {"i || 5", N(1)},
        {"f() || 5", "(|| int (!= int " CALL_F " " N(0) ") " N(1) ")"}, {"i && 5", "(!= int " Li " " N(0) ")"},
        {"i < j || 0", "(< int " Li " " Lj ")"}, {"0 && f()", N(0)}, {"3 || f()", N(1)},
        {"1 && i", "(!= int " Li " " N(0) ")"}, {"0 || i < j", "(< int " Li " " Lj ")"}, {"1 && 2", N(1)},
        {"1 && 0", N(0)}, {"0 || 0", N(0)}, {"2 || 0", N(1)},
    };
    run(cases);
}

TEST_F(FoldTest, ArithmeticRewritesAndOperandExchange)
{
    const Case cases[] = {
        {"u & ~u", "(leaf uint 0)"}, {"~i & i", N(0)}, {"i | ~i", N(-1)}, {"l | ~l", "(leaf long -1)"},
        {"~i & ~j", "(~ int (| int " Li " " Lj "))"}, {"~i | ~j", "(~ int (& int " Li " " Lj "))"},
        {"-i + -j", "(neg int (+ int " Li " " Lj "))"}, {"-i - -j", "(- int " Lj " " Li ")"},
        {"-i * -j", "(* int " Li " " Lj ")"}, {"-i / -j", "(/ int " Li " " Lj ")"},
        // The common factor taken out; the leaf then moves to the right.
        {"i * j + i * k", "(* int (+ int " Lj " " Lk ") " Li ")"},
        {"j * i + k * i", "(* int (+ int " Lj " " Lk ") " Li ")"},
        {"i * j + k * i", "(* int (+ int " Lj " " Lk ") " Li ")"},
        {"i * j - k * i", "(* int (- int " Lj " " Lk ") " Li ")"},
        {"(i & j) | (i & k)", "(& int (| int " Lj " " Lk ") " Li ")"},
        {"(i & j) ^ (k & i)", "(& int (^ int " Lj " " Lk ") " Li ")"},
        {"(i | j) & (i | k)", "(| int (& int " Lj " " Lk ") " Li ")"},
        {"i * j + i * j", "(<< int (* int " Li " " Lj ") " N(1) ")"},
        {"(i << 2) & (j << 2)", "(<< int (& int " Li " " Lj ") " N(2) ")"},
        {"(i >> 1) | (j >> 1)", "(>> int (| int " Li " " Lj ") " N(1) ")"},
        {"(u & 4080) >> 4", "(& uint (>> uint " Lu " " N(4) ") " N(255) ")"},
        {"(i & 240) >> 4", "(>> int (& int " Li " " N(240) ") " N(4) ")"},
        // Constants and non-leaves of commutative operators go right.
        {"3 + i", "(+ int " Li " " N(3) ")"}, {"5 * i", "(* int " Li " " N(5) ")"},
        {"7 & i", "(& int " Li " " N(7) ")"}, {"6 ^ i", "(^ int " Li " " N(6) ")"},
        {"2 | i", "(| int " Li " " N(2) ")"}, {"2.5 * d", "(* double " Ld " (leaf double 2.5))"},
        {"i + j * k", "(+ int (* int " Lj " " Lk ") " Li ")"}, {"3 - i", "(- int " N(3) " " Li ")"},
        {"3 << i", "(<< int " N(3) " " Li ")"}, {"i - j * k", "(- int " Li " (* int " Lj " " Lk "))"},
        // A non-constant right operand.
        {"0 / i", N(0)}, {"0 % i", N(0)}, {"0 / l", "(leaf long 0)"}, {"0 - i", "(neg int " Li ")"}, {"i / i", N(1)},
        {"i - i", N(0)}, {"i % i", N(0)}, {"i ^ i", N(0)}, {"i & i", Li}, {"i | i", Li},
        {"i + i", "(<< int " Li " " N(1) ")"}, {"(int)c - c", N(0)}, {"v - v", N(0)},
        {"(unsigned char)c ^ c", "(^ int (cast uchar " Lc ") " Lc ")"},
        {"f() - f()", "(- int " CALL_F " " CALL_F ")"}, {"d + d", "(+ double " Ld " " Ld ")"},
        // An operator that a cast retyped in place is not removed or moved.
        {"-(long)-ul", "(neg long (neg long (leaf ulong sym ul lvalue) retyped))"},
        {"-(int)-u", "(neg int (neg int " Lu " retyped))"}, {"~(int)~u", "(~ int (~ int " Lu " retyped))"},
        {"-(char)(i - j)", "(neg int (cast int (- char " Li " " Lj " retyped)))"},
        {"(char)-i * (char)-j", "(* int (neg char " Li " retyped) (neg char " Lj " retyped))"},
        {"(char)~i & (char)~j", "(& int (~ char " Li " retyped) (~ char " Lj " retyped))"},
        {"(unsigned char)~uc | uc", "(| int (~ uchar (cast int (leaf uchar sym uc lvalue)) retyped) (leaf uchar sym uc lvalue))"},
        {"(char)(i * j) + (char)(i * k)", "(+ int (* char " Li " " Lj " retyped) (* char " Li " " Lk " retyped))"},
        {"(char)(i << 2) | (char)(j << 2)", "(| int (<< char " Li " " N(2) " retyped) (<< char " Lj " " N(2) " retyped))"},
        {"(char)(100 - i) + 1", "(+ int (- char " N(100) " " Li " retyped) " N(1) ")"},
        {"300L - (char)(c - 16)", "(- long (leaf long 300) (- char " Lc " " N(16) " retyped))"},
        {"(char)(u & 240) >> 4", "(>> int (& char " Lu " " N(240) " retyped) " N(4) ")"},
    };
    run(cases);
}

TEST_F(FoldTest, FloatingFoldsAndZeroDivisors)
{
    const Case cases[] = {
        {"1.5 + 2.25", "(leaf double 3.75)"}, {"1.0 / 4", "(leaf double 0.25)"}, {"(float)1.5 * 2", "(leaf float 3)"},
        {"(float)0.1 * 3", "(leaf float 0.30000000447034836)"}, {"-1 + 0.5", "(leaf double -0.5)"},
        {"65535u + 0.5", "(leaf double 65535.5)"}, {"d * 2", "(* double " Ld " (leaf double 2))"},
        {"fl + 1", "(+ float (leaf float sym fl lvalue) (leaf float 1))"}, {"0 / d", N(0)},
        {"0 - d", "(neg double " Ld ")"}, {"d - d", N(0)},
        // Divisions by zero are marked for the final pass, not folded.
        {"1.0 / 0.0", "(/ double (leaf double 1) (leaf double 0 zero-divisor))"},
        {"d / 0.0", "(/ double " Ld " (leaf double 0 zero-divisor))"},
        {"d / 0", "(/ double " Ld " (leaf double 0 zero-divisor))"},
        {"i / 0", "(/ int " Li " (leaf int 0 zero-divisor))"}, {"i % 0", "(% int " Li " (leaf int 0 zero-modulus))"},
        {"l / 0", "(/ long " Ll " (leaf int 0 zero-divisor))"}, {"5 / 0", "(/ int " N(5) " (leaf int 0 zero-divisor))"},
        {"5 % 0", "(% int " N(5) " (leaf int 0 zero-modulus))"},
        {"i /= 0", "(/= int " Li " (leaf int 0 zero-divisor))"},
        {"i %= 0", "(%= int " Li " (leaf int 0 zero-modulus))"},
    };
    run(cases);
}

TEST_F(FoldTest, ConstantRightOperand)
{
    const Case cases[] = {
        // An integer cast of an address takes the constant into the address.
        {"(unsigned)&x + 2", "(cast uint (leaf ptr(int) sym x+2))"},
        {"(unsigned)&x - 1", "(cast uint (leaf ptr(int) sym x-1))"},
        {"(unsigned)&x + 1L", "(+ long (cast uint (leaf ptr(int) sym x)) (leaf long 1))"},
        // Applied to both constant branches of a conditional.
        {"(i ? 2 : 3) * 4", "(?: int (!= int " Li " " N(0) ") " N(8) " " N(12) ")"},
        {"(i ? 200 : 300) * 200", "(?: int (!= int " Li " " N(0) ") " N(-25536) " " N(-5536) ")"},
        // 0, 1 and -1.
        {"i << 0", "(leaf int sym i lvalue rvalue)"}, {"i >> 0", "(leaf int sym i lvalue rvalue)"},
        {"i ^ 0", "(leaf int sym i lvalue rvalue)"}, {"i | 0", "(leaf int sym i lvalue rvalue)"},
        {"i + 0", "(leaf int sym i lvalue rvalue)"}, {"i - 0", "(leaf int sym i lvalue rvalue)"},
        {"c + 0", "(cast int " Lc " rvalue)"}, {"i * 0", N(0)}, {"l * 0", "(leaf long 0)"}, {"l & 0", "(leaf long 0)"},
        {"(ul * 0) - 1", "(leaf ulong 4294967295)"}, {"(u % 1) - 1", "(leaf uint 65535)"},
        {"i / 1", "(leaf int sym i lvalue rvalue)"}, {"i * 1", "(leaf int sym i lvalue rvalue)"}, {"i % 1", N(0)},
        {"i / -1", "(neg int " Li ")"}, {"u / -1", "(/ uint " Lu " " N(-1) ")"}, {"i * -1", "(neg int " Li ")"},
        {"i ^ -1", "(~ int " Li ")"}, {"i | -1", N(-1)}, {"u | -1", "(leaf uint 65535)"},
        {"u / -1L", "(neg long (cast long " Lu "))"}, {"u ^ -1L", "(~ long (cast long " Lu "))"},
        {"i & -1", "(leaf int sym i lvalue rvalue)"}, {"l & -1", "(leaf long sym l lvalue rvalue)"},
        // A constant minus x, plus or minus a constant.
        {"(5 - i) + 2", "(- int " N(7) " " Li ")"}, {"(5 - i) - 2", "(- int " N(3) " " Li ")"},
        {"(2 - i) - 2", "(neg int " Li ")"},
        // Other constants against an integer left operand.
        {"u / 8", "(>> uint " Lu " " N(3) ")"}, {"i / 8", "(/ int " Li " " N(8) ")"},
        {"u % 8", "(& uint " Lu " " N(7) ")"}, {"i % 8", "(% int " Li " " N(8) ")"},
        {"i << 16", N(0), "shift count out of range"},
        {"i >> 16", "(>> int " Li " " N(16) ")", "shift count out of range"}, {"l << 16", "(<< long " Ll " " N(16) ")"},
        {"u ^ 65535u", "(~ uint " Lu ")"}, {"c ^ 255", "(^ int " Lc " " N(255) ")"}, {"u | 65535u", "(leaf uint 65535)"},
        {"(u | 65535u) >> 8", "(leaf uint 255)"}, {"(i | 65535u) < 0", N(0)},
        {"(i | 65535u) == -1", N(1)}, {"c / 256ul", "(>> ulong (cast ulong " Lc ") (leaf ulong 8))"},
        {"u * 8", "(<< uint " Lu " " N(3) ")"}, {"i * 4", "(<< int " Li " " N(2) ")"},
        {"i * 6", "(* int " Li " " N(6) ")"}, {"u & 65535u", "(leaf uint sym u lvalue rvalue)"},
        {"uc & 255", "(cast int (leaf uchar sym uc lvalue) rvalue)"},
        {"i & 65535", "(& long " Li " (leaf long 65535))"},
    };
    run(cases);
}

TEST_F(FoldTest, ReassociationSubtractionAndChains)
{
    const Case cases[] = {
        {"(i * 6) / 3", "(* int " Li " " N(2) " rvalue)"}, {"(i * 6) / 4", "(/ int (* int " Li " " N(6) ") " N(4) ")"},
        {"(i << 2) << 3", "(<< int " Li " " N(5) " rvalue)"}, {"(u >> 1) >> 2", "(>> uint " Lu " " N(3) " rvalue)"},
        {"(i + 3) << 2", "(+ int (<< int " Li " " N(2) ") " N(12) ")"},
        {"(i + 3) + 4", "(+ int " Li " " N(7) " rvalue)"}, {"(i + 3) - 5", "(- int " Li " " N(2) " rvalue)"},
        {"(i - 3) - 4", "(- int " Li " " N(7) " rvalue)"}, {"(i - 3) + 3", "(leaf int sym i lvalue rvalue)"},
        {"(i * 3) * 5", "(* int " Li " " N(15) " rvalue)"},
        {"(i + 3) * 5", "(+ int (* int " Li " " N(5) ") " N(15) ")"},
        // Constants combined in a long operation are longs.
        {"(l + 20000) + 15000", "(+ long " Ll " (leaf long 35000) rvalue)"},
        {"(l - 20000) - 20000", "(- long " Ll " (leaf long 40000) rvalue)"},
        {"(ul + 40000u) + 40000u", "(+ ulong (leaf ulong sym ul lvalue) (leaf ulong 80000) rvalue)"},
        {"(u + 40000u) + 40000u", "(+ uint " Lu " (leaf uint 14464) rvalue)"},
        {"(l + 40000u) + 25536u", "(+ long " Ll " (leaf long 65536) rvalue)"},
        {"(l * 300) * 300", "(* long " Ll " (leaf long 90000) rvalue)"},
        {"(l + 1) * 40000", "(+ long (* long " Ll " (leaf long 40000)) (leaf long 40000))"},
        {"(l + 20000) << 2", "(+ long (<< long " Ll " " N(2) ") (leaf long 80000))"},
        {"(20000 - l) + 20000", "(- long (leaf long 40000) " Ll ")"},
        // Not where the inner operation wraps or drops bits first.
        {"(u * 6) / 3", "(/ uint (* uint " Lu " " N(6) ") " N(3) ")"},
        {"(i + 1L) << 2", "(<< long (+ long " Li " (leaf long 1)) " N(2) ")"},
        {"(u + 1u) * 40000", "(* long (+ uint " Lu " (leaf uint 1)) (leaf long 40000))"},
        {"3L - (u + 5)", "(- long (leaf long 3) (+ uint " Lu " " N(5) "))"},
        {"(l << 20) << 20", "(<< long (<< long " Ll " " N(20) ") " N(20) ")"},
        {"(char)i - i", "(- int (cast char " Li ") " Li ")"},
        {"(u >> 8) & 255", "(>> uint " Lu " " N(8) " rvalue)"}, {"10 - (i + 3)", "(- int " N(7) " " Li " rvalue)"},
        {"10 - (3 - i)", "(+ int " Li " " N(7) " rvalue)"}, {"10 - (i - 3)", "(- int " N(13) " " Li " rvalue)"},
        {"3 - (i + 3)", "(neg int " Li " rvalue)"}, {"3 - (3 - i)", "(leaf int sym i lvalue rvalue)"},
        {"(i + 3) + j", "(+ int (+ int " Li " " Lj ") " N(3) ")"},
        {"j + (i + 3)", "(+ int (+ int " Li " " Lj ") " N(3) ")"},
        // An int sum is not spread over a wider operation: earlier folds may
        // have reordered or combined it into one that wraps.
        {"(i + 1) * 40000L", "(* long (+ int " Li " " N(1) ") (leaf long 40000))"},
        {"100000L - (i - 5)", "(- long (leaf long 100000) (- int " Li " " N(5) "))"},
        // The shift under a mask of its remaining bits is the unsigned one.
        {"(i >> 1) & 32767", "(cast int (>> uint (cast uint " Li ") " N(1) ") rvalue)"},
        {"(l >> 4) & 268435455", "(cast long (>> ulong (cast ulong " Ll ") (leaf long 4)) rvalue)"},
        // Not moved out of operands that compute in other types.
        {"(c >> 4) ^ (u >> 4)", "(^ uint (>> int " Lc " " N(4) ") (>> uint " Lu " " N(4) "))"},
        {"(u * 32768L) ^ (i * 32768L)", "(^ long (<< long " Lu " (leaf long 15)) (<< long " Li " (leaf long 15)))"},
        {"(ul & u) | (ul & -3)",
         "(| ulong (& ulong (leaf ulong sym ul lvalue) " Lu ") (& ulong (leaf ulong sym ul lvalue) " N(-3) "))"},
        {"l * 65531u - i * l", "(- long (* long " Ll " (leaf uint 65531)) (* long " Li " " Ll "))"},
        {"u | ~(long)u", "(leaf long -1)"}, {"c | ~(unsigned)c", "(| uint (~ uint (cast uint " Lc ")) " Lc ")"},
    };
    run(cases);
}

TEST_F(FoldTest, PointerArithmetic)
{
    const Case cases[] = {
        {"g + 3", "(leaf ptr(char) sym g+3)"}, {"g + 3 - 1", "(leaf ptr(char) sym g+2)"},
        {"&x + 1", "(leaf ptr(int) sym x+2)"}, {"cp + 0", "(leaf ptr(char) sym cp lvalue rvalue)"},
        {"(char *)0x10 + 1", "(leaf ptr@tiny(char) 17 retyped)"},
        {"(char *)0x10 + 0x100", "(leaf ptr(char) 272 retyped)"},
        {"(char *)0x1000 - 0xff0", "(leaf ptr@tiny(char) 16 retyped)"},
        {"g + (i + 1)", "(+ ptr(char) (leaf ptr(char) sym g+1) " Li ")"},
        {"g + (i - 2)", "(+ ptr(char) (leaf ptr(char) sym g-2) " Li ")"},
        {"(g + i) + 3", "(+ ptr(char) (leaf ptr(char) sym g+3) " Li ")"},
        {"g + i + j + 3 + (k - 1)", "(+ ptr(char) (+ ptr(char) (+ ptr(char) (leaf ptr(char) sym g+2) " Li ") " Lj ") " Lk ")"},
        {"cp + i + j + 3", "(+ ptr(char) (+ ptr(char) (+ ptr(char) (leaf ptr(char) sym cp lvalue) " Li ") " Lj ") " N(3) ")"},
        {"cp + (i + 1)", "(+ ptr(char) (leaf ptr(char) sym cp lvalue) (+ int " Li " " N(1) "))"},
        {"ga + (i + 1)", "(+ ptr(int) (leaf ptr(int) sym ga+2) (<< int " Li " " N(1) "))"},
        {"ga + (i - 1)", "(+ ptr(int) (leaf ptr(int) sym ga-2) (<< int " Li " " N(1) "))"},
        {"g + (int)c", "(+ ptr(char) (leaf ptr(char) sym g) " Lc ")"},
        // The scaled index of a far pointer by an unsigned char is unsigned.
        {"fp + uc", "(+ ptr@far(int) (leaf ptr@far(int) sym fp lvalue) (<< uint (leaf uchar sym uc lvalue) " N(1) "))"},
        {"ip + uc", "(+ ptr(int) (leaf ptr(int) sym ip lvalue) (<< int (leaf uchar sym uc lvalue) " N(1) "))"},
    };
    run(cases);
}

TEST_F(FoldTest, Assignments)
{
    const Case cases[] = {
        {"i = i + 1", "(+= int " Li " " N(1) ")"}, {"i = 3 * i", "(*= int " Li " " N(3) ")"},
        {"i = j - i", "(= int " Li " (- int " Lj " " Li "))"}, {"i = i / 2", "(/= int " Li " " N(2) ")"},
        {"u = u / 8", "(>>= uint " Lu " " N(3) ")"},
        {"c = c + 1", "(+= char " Lc " " N(1) ")", "truncating assignment"}, {"i += 0", Li}, {"i -= 0", Li},
        {"i <<= 0", Li}, {"i >>= 0", Li}, {"i ^= 0", Li}, {"i |= 0", Li}, {"i *= 0", "(= int " Li " " N(0) ")"},
        {"i &= 0", "(= int " Li " " N(0) ")"}, {"i *= 1", Li}, {"i /= 1", Li}, {"i %= 1", "(= int " Li " " N(0) ")"},
        {"i *= -1", "(= int " Li " (neg int " Li "))"}, {"i /= -1", "(= int " Li " (neg int " Li "))"}, {"i &= -1", Li},
        {"i |= -1", "(= int " Li " " N(-1) ")"}, {"i *= 8", "(<<= int " Li " " N(3) ")"},
        {"u /= 8", "(>>= uint " Lu " " N(3) ")"}, {"u %= 8", "(&= uint " Lu " " N(7) ")"},
        // Divided as unsigned, by 65535u or ULONG_MAX: no negation.
        {"u /= -1", "(/= uint " Lu " " N(-1) ")"}, {"ul /= -1", "(/= ulong (leaf ulong sym ul lvalue) " N(-1) ")"},
        {"uc /= -1", "(= uchar (leaf uchar sym uc lvalue) (neg int (cast int (leaf uchar sym uc lvalue))))"},
        {"i /= 8", "(/= int " Li " " N(8) ")"}, {"i %= 8", "(%= int " Li " " N(8) ")"},
        {"i += i", "(<<= int " Li " " N(1) ")"}, {"i /= i", "(= int " Li " " N(1) ")"},
        {"i -= i", "(= int " Li " " N(0) ")"}, {"i %= i", "(= int " Li " " N(0) ")"},
        {"i ^= i", "(= int " Li " " N(0) ")"}, {"i &= i", Li}, {"i |= i", Li}, {"i = i", Li},
        {"v += v", "(+= int " Lv " " Lv ")"}, {"v = v", "(= int " Lv " " Lv ")"},
        {"d += d", "(+= double " Ld " " Ld ")"},
        // A chain ending in `= 0` is split into two assignments of 0.
        {"i = j = 0", "(, int (= int " Lj " " N(0) ") (= int " Li " " N(0) "))"},
        {"c = i = 0", "(, char (= int " Li " " N(0) ") (= char " Lc " " N(0) "))", "truncating assignment"},
        {"i = (f(), j = 0)", "(, int (, int " CALL_F " (= int " Lj " " N(0) ")) (= int " Li " " N(0) "))"},
        {"i = j = 1", "(= int " Li " (= int " Lj " " N(1) "))"},
    };
    run(cases);
}

TEST_F(FoldTest, BitTestConditions)
{
    const Case cases[] = {
        {"((i & 8) >> 3) == 1 ? j : k", "(?: int (!= int (& int " Li " " N(8) ") " N(0) ") " Lj " " Lk ")"},
        {"((i & 8) >> 3) != 1 ? j : k", "(?: int (== int (& int " Li " " N(8) ") " N(0) ") " Lj " " Lk ")"},
        {"((i & 12) >> 2) == 0 ? j : k", "(?: int (== int (& int " Li " " N(12) ") " N(0) ") " Lj " " Lk ")"},
        {"((i & 12) >> 2) == 1 ? j : k",
         "(?: int (== int (>> int (& int " Li " " N(12) ") " N(2) ") " N(1) ") " Lj " " Lk ")"},
        {"((i & 6) >> 2) == 0 ? j : k",
         "(?: int (== int (>> int (& int " Li " " N(6) ") " N(2) ") " N(0) ") " Lj " " Lk ")"},
    };
    run(cases);
}

TEST_F(FoldTest, KnownValues)
{
    const Case cases[] = {
        {"i = 5, j = i + 1", "(, int (= int " Li " " N(5) ") (= int " Lj " " N(6) "))"},
        {"i = 0, j / i", "(, int (= int " Li " " N(0) ") (/ int " Lj " (leaf int 0 zero-divisor)))"},
        {"i = 5, i = 6, k = i", "(, int (, int (= int " Li " " N(5) ") (= int " Li " " N(6) ")) (= int " Lk " " N(6) "))"},
        {"i = j = 5, k = i + j", "(, int (= int " Li " (= int " Lj " " N(5) ")) (= int " Lk " " N(10) "))"},
        {"i = 5, i += 3, j = i", "(, int (, int (= int " Li " " N(5) ") (+= int " Li " " N(3) ")) (= int " Lj " " N(8) "))"},
        {"i = 5, i /= 0, j = i",
         "(, int (, int (= int " Li " " N(5) ") (/= int " Li " (leaf int 0 zero-divisor))) (= int " Lj " " N(0) "))"},
        {"c = 300, j = c", "(, int (= char " Lc " " N(300) ") (= int " Lj " (leaf char 44)))", "value out of range"},
        {"cp = g + 2, c = *cp",
         "(, char (= ptr(char) (leaf ptr(char) sym cp lvalue) (leaf ptr(char) sym g+2)) (= char " Lc
         " (leaf char sym g+2 lvalue)))"},
        {"j = kc + 1", "(= int " Lj " " N(8) ")"}, {"j = \"abc\"[1]", "(= int " Lj " (leaf char 98))"},
        {"j = \"abc\"[3]", "(= int " Lj " (leaf char 0))"},
        {"j = \"abc\"[4]", "(= int " Lj " (deref char (leaf ptr(const char) lit+4)))"},
        // Forgotten: after a call, after an increment, and when a `?:`
        // operand assigns. Never tracked: volatile and address-taken objects.
        {"i = 5, f(), j = i", "(, int (, int (= int " Li " " N(5) ") " CALL_F ") (= int " Lj " " Li "))"},
        {"i = 5, i++, j = i", "(, int (, int (= int " Li " " N(5) ") (post++ int " Li " " N(1) ")) (= int " Lj " " Li "))"},
        {"i = 5, j ? (i = 6) : 0, k = i",
         "(, int (, int (= int " Li " " N(5) ") (?: int (!= int " Lj " " N(0) ") (= int " Li " " N(6) ") " N(0) ")) (= int " Lk
         " " Li "))"},
        {"i = j = 0, k = i", "(, int (, int (= int " Lj " " N(0) ") (= int " Li " " N(0) ")) (= int " Lk " " N(0) "))"},
        {"d = 1, j = d", "(, int (= double " Ld " (leaf double 1)) (= int " Lj " " N(1) "))", "truncating assignment"},
        {"i = 5, i += j, k = i", "(, int (, int (= int " Li " " N(5) ") (+= int " Li " " Lj ")) (= int " Lk " " Li "))"},
        {"i = 5, j && (i = 6), k = i",
         "(, int (, int (= int " Li " " N(5) ") (&& int (!= int " Lj " " N(0) ") (!= int (= int " Li " " N(6) ") " N(0)
         "))) (= int " Lk " " Li "))",
         "constant assignment in a test"},
        {"v = 5, j = v", "(, int (= int " Lv " " N(5) ") (= int " Lj " " Lv "))"},
        {"t = 5, j = t", "(, int (= int (leaf int sym t lvalue) " N(5) ") (= int " Lj " (leaf int sym t lvalue)))"},
    };
    run(cases);

    // -cp stops the tracking of assignments; -nc every replacement.
    const Case unpropagated[] = {
        {"i = 5, j = i + 1", "(, int (= int " Li " " N(5) ") (= int " Lj " (+ int " Li " " N(1) ")))"},
        {"j = kc + 1", "(= int " Lj " " N(8) ")"},
    };
    run(unpropagated, [] { no_const_propagation = 1; });
    const Case unreplaced[] = {
        {"i = 5, j = i + 1", "(, int (= int " Li " " N(5) ") (= int " Lj " (+ int " Li " " N(1) ")))"},
        {"j = kc + 1", "(= int " Lj " (+ int (leaf int sym kc lvalue) " N(1) "))"},
        {"j = \"abc\"[1]", "(= int " Lj " (deref char (leaf ptr(const char) lit+1)))"},
    };
    run(unreplaced, [] { no_const_replacement = 1; });
}

// Bit-field operands, built by hand.
TEST_F(FoldTest, BitFieldOperands)
{
    using namespace tree_build;
    symbols = nullptr;
    check_level = 1;
    struct Hand {
        const char *what;
        std::function<Node *()> build;
        const char *tree;
        const char *message = "";
    };
    auto flag = [] { return var("b", bits(KIND_BITSINT, 3, 1)); };
    auto compare = [&](std::uint8_t code, std::int32_t k) { return check_binary(op(code, nullptr, flag(), num(k))); };
    const char *b = "(leaf bitsint<3:1> sym b lvalue)";
    std::string eq0 = std::string("(== int ") + b + " (leaf int 0))";
    std::string ne0 = std::string("(!= int ") + b + " (leaf int 0))";
    const Hand cases[] = {
        // A 1-bit field compared with 1 is compared with 0.
        {"b < 1", [&] { return compare(OP_LT, 1); }, eq0.c_str()},
        {"b != 1", [&] { return compare(OP_NE, 1); }, eq0.c_str()},
        {"b >= 1", [&] { return compare(OP_GE, 1); }, ne0.c_str()},
        {"b == 1", [&] { return compare(OP_EQ, 1); }, ne0.c_str()},
        {"b > 1", [&] { return compare(OP_GT, 1); }, N(0), OUT_OF_RANGE},
        {"b <= 1", [&] { return compare(OP_LE, 1); }, N(1), OUT_OF_RANGE},
        {"b == 2", [&] { return compare(OP_EQ, 2); }, N(0), OUT_OF_RANGE},
        {"3-bit <= 7", [] { return check_binary(op(OP_LE, nullptr, var("w", bits(KIND_BITS8, 0, 3)), num(7))); }, N(1), OUT_OF_RANGE},
        {"1 - b", [] { return check_binary(op(OP_SUB, nullptr, num(1), var("b", bits(KIND_BITS8, 2, 1)))); },
         "(^ int (leaf bits8<2:1> sym b lvalue) (leaf int 1))"},
        // A mask narrower than the field reads a narrower field.
        {"s.bits & 3", [] { return check_binary(op(OP_AND, nullptr, var("b", bits(KIND_BITSINT, 4, 5)), num(3))); },
         "(leaf bitsint<4:2> sym b lvalue rvalue)"},
    };
    for (const Hand &c : cases) {
        EXPECT_EQ(text(c.build()), c.tree) << c.what;
        std::string m = messages();
        if (*c.message)
            EXPECT_NE(m.find(c.message), std::string::npos) << c.what << ": " << m;
        else
            EXPECT_EQ(m, "") << c.what;
    }
}

}  // namespace
