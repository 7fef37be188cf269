// The expression parser read from source text: the tree it builds (as the
// one-line dump) and the messages it reports.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "../support.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/parse.h"
#include "parse/typename.h"
#include "runtime/textbuf.h"
#include "tree/tree.h"

namespace {

std::string text(const Node *n)
{
    TextBuffer out;
    dump_tree(out, n);
    return out.data ? out.data : "";
}

class ParseTest : public CompilerTest {
protected:
    // Variables every case may use: int a b c i j, char ch, float fl,
    // long l, int *p, int arr[4]; the function int f(int, char).
    void declare_all()
    {
        for (const char *n : {"a", "b", "c", "i", "j"})
            declare(n, &type_int);
        declare("ch", &type_char);
        declare("fl", &type_float);
        declare("l", &type_long);
        Type *pointer = new_type(KIND_POINTER, &type_int);
        declare("p", pointer);
        Type *array = new_type(KIND_ARRAY, &type_int);
        array->dim = 4;
        declare("arr", array);
        Type *f = new_type(KIND_FUNCTION, &type_int);
        Symbol *end = new_symbol(&f->params, nullptr, 0, &type_void);
        Symbol *second = new_symbol(&f->params, nullptr, SC_NONE, &type_char);
        second->next = end;
        Symbol *first = new_symbol(&f->params, nullptr, SC_NONE, &type_int);
        first->next = second;
        f->params = first;
        declare("f", f, SC_EXTERN);
    }
    Symbol *declare(const char *name, Type *type, std::uint8_t sclass = SC_AUTO)
    {
        Symbol *s = new_symbol(&ident_list, intern_name(name, std::strlen(name)), sclass, type);
        s->flags |= SYM_DECLARED;
        return s;
    }
    // The expression statement `source` parsed; the rest of the text must
    // be the `;`.
    std::string parse(const std::string &source, int unused = 0)
    {
        open_text(source + ";\n");
        declare_all();
        Node *tree = parse_expression(unused);
        Token *t = next_token();
        std::string result = text(tree);
        if (t->code != TK_SEMICOLON)
            result += " [stopped at " + std::to_string(t->code) + "]";
        return result;
    }
};

struct Case {
    const char *source;
    const char *tree;
};

const Case trees[] = {
    {"a = b = 3", "(= int (leaf int sym a lvalue) (= int (leaf int sym b lvalue) (leaf int 3)))"},
    {"a - b - c", "(- int (- int (leaf int sym a lvalue) (leaf int sym b lvalue)) (leaf int sym c lvalue))"},
    {"a || b || c", "(|| int (!= int (leaf int sym a lvalue) (leaf int 0)) (|| int (!= int (leaf int sym b lvalue) "
                    "(leaf int 0)) (!= int (leaf int sym c lvalue) (leaf int 0))))"},
    {"a = b ? c : i", "(= int (leaf int sym a lvalue) (?: int (!= int (leaf int sym b lvalue) (leaf int 0)) "
                      "(leaf int sym c lvalue) (leaf int sym i lvalue)))"},
    {"a++ + ++b", "(+ int (post++ int (leaf int sym a lvalue) (leaf int 1)) (+= int (leaf int sym b lvalue) (leaf int 1)))"},
    {"-32768", "(leaf int -32768)"},
    {"32768", "(leaf long 32768)"},
    {"-2147483648", "(leaf long -2147483648)"},
    {"2147483648", "(leaf ulong 2147483648)"},
    {"\"ab\"", "(leaf array[3](char) lit)"},
    {"1.5", "(leaf double 1.5)"},
    {"x, b", "(leaf int sym b lvalue rvalue)"},
    {"f(1, 2), b", "(, int (call int (leaf ptr(func(int)) sym f) (arg int (leaf int 1) (leaf int 2))) (leaf int sym b lvalue))"},
    {"j = i++", "(= int (leaf int sym j lvalue) (post++ int (leaf int sym i lvalue) (leaf int 1)))"},
    {"sizeof(int)", "(leaf uint 2)"},
    {"sizeof ch", "(leaf uint 1)"},
    {"sizeof @ch", "(leaf uint 2)"},
    {"sizeof @fl", "(leaf uint 8)"},
    {"sizeof(char *[3])", "(leaf uint 6)"},
    {"(char)a", "(cast char (leaf int sym a lvalue))"},
    {"(unsigned char *)p", "(leaf ptr(uchar) sym p lvalue retyped)"},
    {"(int (*)[2])0", "(leaf ptr(array[2](int)) 0 retyped)"},
    {"arr[1]", "(leaf int sym arr+2 lvalue)"},
    {"+ch", "(cast int (leaf char sym ch lvalue) rvalue)"},
    {"-(a)", "(neg int (leaf int sym a lvalue))"},
    {"f(ch, 'x')", "(call int (leaf ptr(func(int)) sym f) (arg char (leaf char sym ch lvalue) (leaf int 120)))"},
};

TEST_F(ParseTest, TreesOfExpressions)
{
    for (const Case &c : trees) {
        EXPECT_EQ(parse(c.source), c.tree) << c.source;
        EXPECT_EQ(messages(), "") << c.source;
        fresh();
    }
}

TEST_F(ParseTest, DiscardedValues)
{
    EXPECT_EQ(parse("i++", 1), "(+= int (leaf int sym i lvalue) (leaf int 1))");
    fresh();
    EXPECT_EQ(parse("a, i--", 1), "(-= int (leaf int sym i lvalue) (leaf int 1) rvalue)");
    fresh();
    EXPECT_EQ(parse("f(1, 2), (void)i++", 1).find("post++"), std::string::npos);
}

TEST_F(ParseTest, UndeclaredFunctionsAndPrototypes)
{
    const char *tree = "(call int (leaf ptr(func(int)) sym g) (leaf int 1))";
    EXPECT_EQ(parse("g(1)"), tree);
    EXPECT_EQ(messages(), "");
    Symbol *g = find_symbol(intern_name("g", 1), ident_list, nullptr);
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->sclass, SC_EXTERN);
    EXPECT_EQ(g->flags & 0x1006u, 0x1006u);
    fresh();
    need_prototypes = 1;
    EXPECT_EQ(parse("g(1)"), tree);
    std::string errors = messages();
    EXPECT_NE(errors.find("#error zpc"), std::string::npos) << errors;
    EXPECT_NE(errors.find("missing prototype"), std::string::npos) << errors;
    fresh();
    check_level = 2;
    EXPECT_EQ(parse("g(1)"), tree);
    std::string warnings = messages();
    EXPECT_NE(warnings.find("#warning zpc"), std::string::npos) << warnings;
    EXPECT_NE(warnings.find("missing prototype"), std::string::npos) << warnings;
}

struct MessageCase {
    const char *source;
    const char *message;
};

const MessageCase message_cases[] = {
    {"a +", "missing expression"},
    {"a = (", "invalid expression"},
    {"a ? : b", "missing ? test expression"},
    {"a ? b c", "missing :"},
    {"+p", "invalid arithmetic operand"},
    {"T + 1", "invalid typedef usage"},
    {"(int x)a", "name unexpected in abstract type"},
    {"(int){1}", "unexpected compound literal"},
    {"(void){1}", "bad compound literal type"},
    {"a(1)", "invalid function type"},
    {"f(1, 2, 3)", "too many arguments"},
    {"f(1)", "missing argument"},
    {"f(1, )", "missing argument"},
    {"f(p, 1)", "incompatible argument type"},
    {"arr[]", "missing array subscript"},
    {"p->", "missing member name"},
    {"a.m", "bad struct/union operand"},
    {"sizeof(long long)", "repeated type specification"},
    {"(short float)a", "illegal type specification"},
    {"(int [0])a", "invalid array dimension"},
};

TEST_F(ParseTest, EveryMessage)
{
    for (const MessageCase &c : message_cases) {
        // One error is shown per position: the compound literal's type is
        // tested where the literal itself is allowed.
        c99_mode = !std::strcmp(c.message, "bad compound literal type");
        open_text(std::string(c.source) + ";\n");
        declare_all();
        declare("T", &type_int, SC_TYPEDEF);
        parse_expression(0);
        std::string m = messages();
        EXPECT_NE(m.find(c.message), std::string::npos) << c.source << ": " << m;
        fresh();
    }
    std::int32_t value = 7;
    open_text("a + 1;\n;\n");
    declare_all();
    EXPECT_TRUE(parse_constant(&value, 0));
    EXPECT_NE(messages().find("invalid constant expression"), std::string::npos);
    next_token();
    EXPECT_FALSE(parse_constant(&value, 1));
    EXPECT_EQ(value, 0);
    EXPECT_NE(messages().find("missing expression"), std::string::npos);
}

TEST_F(ParseTest, ConstantsAndTypeNames)
{
    std::int32_t value = 0;
    open_text("-(5); 5\n");
    EXPECT_TRUE(parse_constant(&value, 1));
    EXPECT_EQ(value, -5);
    EXPECT_EQ(messages(), "");
    fresh();
    // No type name here: the tokens stay for the expression.
    open_text("a)\n");
    EXPECT_EQ(parse_type_name(), nullptr);
    EXPECT_EQ(next_token()->code, TK_IDENT);
}

TEST_F(ParseTest, NestingIsLimited)
{
    constexpr int levels = 100000;
    for (const char *open : {"(", "-", "a = "}) {
        std::string source;
        for (int k = 0; k < levels; ++k)
            source += open;
        source += "1";
        if (*open == '(')
            source += std::string(levels, ')');
        open_text(source + ";\n");
        declare_all();
        Node *tree = parse_expression(0);
        EXPECT_NE(tree, nullptr) << open;
        EXPECT_EQ(next_token()->code, TK_SEMICOLON) << open;
        std::string m = messages();
        EXPECT_NE(m.find("expression nested too deeply"), std::string::npos) << open;
        EXPECT_EQ(m.find("missing"), std::string::npos) << open << ": the rest of the nested text is passed over";
        fresh();
    }
}

}  // namespace
