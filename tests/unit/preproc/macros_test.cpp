// Macro definitions and expansion, driven the way the directive stage
// drives them: #define lines go to the handler, other lines are expanded
// whole and written back as text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <string>

#include "../support.h"
#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/source.h"
#include "preproc/directives.h"
#include "preproc/macros.h"

namespace {

class MacroTest : public CompilerTest {
protected:
    // Lines stay alive for the tokens and macros that point into them.
    std::deque<std::string> lines;
    char *keep(const std::string &text)
    {
        lines.push_back(text + "\n");
        return lines.back().data();
    }
    void define(const std::string &text)
    {
        PpToken *list = scan_line(keep(text));
        define_directive(list);
        free_pp_list(list);
    }
    void undef(const std::string &text)
    {
        PpToken *list = scan_line(keep(text));
        undef_directive(list);
        free_pp_list(list);
    }
    // The expanded line as text: each token's white space and spelling.
    std::string expand(const std::string &text)
    {
        PpToken *list = process_line(scan_line(keep(text)));
        std::string out = spell(list);
        free_pp_list(list);
        return out;
    }
    static std::string spell(const PpToken *list)
    {
        std::string out;
        for (const PpToken *t = list; t; t = t->next) {
            out.append(t->ws, t->ws_len);
            out.append(t->text, t->len);
        }
        while (!out.empty() && (out.back() == '\n' || out.back() == ' '))
            out.pop_back();
        return out;
    }
};

TEST_F(MacroTest, RescanningAndDisabledMacros)
{
    define("x x+1");
    define("f(x) [x]");
    define("g f");
    define("h(a) a h(a)");
    define("id(a) a");
    EXPECT_EQ(expand("x"), "x+1");
    EXPECT_EQ(expand("g(1) g (1) f (1)"), "[1] f (1) [1]");
    EXPECT_EQ(expand("f(f(1)) id(id(x))"), "[[1]] x+1");
    EXPECT_EQ(expand("h(1)"), "1 h(1)");
    // g's expansion takes the ( from the line; the f inside the argument
    // of that call is still free, the g is not.
    EXPECT_EQ(expand("g(g)(2)"), "[g](2)");
    EXPECT_EQ(messages(), "");
}

TEST_F(MacroTest, CallsRunningOnOverLines)
{
    define("f(x) [x]");
    define("k 7");
    open_text("(2) k\nnext\n");
    EXPECT_EQ(expand("f"), "[2] 7");
    // A function-like name at the end of a line pulls in the next line even
    // when it does not start with '('.
    EXPECT_EQ(expand("f"), "f next") << "a blank keeps the joined lines apart";
    in_directive = true;
    EXPECT_EQ(expand("k f( k"), "7 f( k");
    in_directive = false;
    EXPECT_EQ(messages(), "#error zpc " + path + ":2 bad invocation of macro f\n");
}

// A call that never closes pulls in lines until the line buffer is full:
// then the line waiting to be joined is not read, and is read afresh after
// the call is given up. Swept so that the joined text ends at every offset
// around the end of the buffer.
TEST_F(MacroTest, CallsRunningOnFillTheLineBufferSafely)
{
    for (int pad = 0; pad < 12; ++pad) {
        TearDown();
        SetUp();
        define("X(a) a");
        std::string text = std::string(pad, ' ') + "(\n";
        for (int i = 0; i < 3000; ++i)
            text += "aaaaaaaaa(\n";
        text += "last\n";
        open_text(text);
        std::string first = expand("X");
        EXPECT_EQ(first.substr(0, 2), "X ") << pad;
        std::string all = messages();
        EXPECT_NE(all.find("line too long\n"), std::string::npos) << pad;
        EXPECT_NE(all.find("bad invocation of macro X\n"), std::string::npos) << pad;
        // The lines after the full buffer are read afresh, and nothing is lost.
        std::size_t opened = static_cast<std::size_t>(std::count(first.begin(), first.end(), '('));
        std::string rest;
        while (char *line = read_logical_line(false))
            rest += line;
        opened += static_cast<std::size_t>(std::count(rest.begin(), rest.end(), '('));
        EXPECT_EQ(opened, 3001u) << pad;
        EXPECT_NE(rest.find("last\n"), std::string::npos) << pad;
    }
}

TEST_F(MacroTest, ArgumentCounts)
{
    define("two(a,b) [a|b]");
    define("none() N");
    define("k 7");
    EXPECT_EQ(expand("two(1) k"), "two(1) k");
    EXPECT_EQ(messages(), "#error zpc :0 missing argument for macro two\n");
    EXPECT_EQ(expand("two(1,2,3) two((1,2),3) two(1,) none() none(1) k"), "[1|2]3) [(1,2)|3] [1|] N none(1) 7");
    EXPECT_EQ(messages(), "#error zpc :0 too many arguments for macro two\n");
    EXPECT_EQ(expand("two() k"), "two() k");
    EXPECT_EQ(expand("two(,) k"), "two(,) k");
    EXPECT_EQ(messages(), "#error zpc :0 missing argument for macro two\n#error zpc :0 missing argument for macro two\n");

    c99_mode = 1;
    define("v(a, ...) <a|__VA_ARGS__>");
    define("w(...) {__VA_ARGS__}");
    EXPECT_EQ(expand("two(1) two() two(,2) two(,)"), "[1|] [|] [|2] [|]");
    EXPECT_EQ(expand("v(1) v(1,2,3) v() w() w(1,(2,3))"), "<1|> <1|2,3> <|> {} {1,(2,3)}");
    // The variable part keeps a comma it begins with.
    EXPECT_EQ(expand("v(1,,2) w(,a) w(,) v(1,,)"), "<1|,2> {,a} {,} <1|,>");
    EXPECT_EQ(messages(), "");
    define("bad(..., x) x");
    define("ok(void) 1");
    EXPECT_EQ(expand("ok()"), "1");
    EXPECT_EQ(messages(), "#error zpc :0 bad macro ... usage\n");
}

TEST_F(MacroTest, StringizingAndPasting)
{
    define("str(x) #x");
    define("cat(a,b) a##b");
    define("cat3(a,b,c) a ## b ## c");
    define("COMMENT / ## /");
    EXPECT_EQ(expand(R"(str(a  "b\c") str( a /*c*/ b ) str('"'))"), R"("a  \"b\\c\"" "a /*c*/ b" "'\"'")");
    EXPECT_EQ(expand("cat(x,1) cat(+,=) cat(<<,=) cat3(a,1,_b)"), "x1 += <<= a1_b");
    // A paste may make several tokens; each one stands on its own.
    PpToken *list = process_line(scan_line(keep("cat(1,+)")));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->kind, TK_PPNUMBER);
    ASSERT_NE(list->next, nullptr);
    EXPECT_EQ(list->next->kind, TK_PLUS);
    free_pp_list(list);
    // Two slashes make the end of the line: a comment to its end.
    list = process_line(scan_line(keep("a COMMENT b")));
    ASSERT_NE(list->next, nullptr);
    EXPECT_EQ(list->next->kind, TK_EOL);
    EXPECT_EQ(std::string(list->next->text, list->next->len), "//");
    free_pp_list(list);
    EXPECT_EQ(messages(), "");

    define("q(x) #x ## y");
    define("r(x) ## x");
    define("s(x) x ##");
    define("t(x) # y");
    EXPECT_EQ(expand("q(1) r(1) s(1) t(1)"), "\"1\" ## y ## 1 1 ## # y");
    EXPECT_EQ(messages(),
              "#error zpc :0 missing ## argument in macro q\n#error zpc :0 missing ## argument in macro r\n"
              "#error zpc :0 missing ## argument in macro s\n#error zpc :0 bad # argument in macro t\n");
    EXPECT_EQ(expand("str(\\)"), "\"\\\"");
    EXPECT_EQ(messages(), "#error zpc :0 unbalanced \" in string constant\n");
    // '#' in an object-like body must be followed by a parameter too,
    // which it can never be.
    define("H #a");
    define("H2 a #");
    EXPECT_EQ(expand("H H2"), "#a a #");
    EXPECT_EQ(messages(), "#error zpc :0 bad # argument in macro H\n#error zpc :0 bad # argument in macro H2\n");
    EXPECT_EQ(expand("cat(/,*)"), "/##*");
    EXPECT_EQ(messages(), "#error zpc :0 bad ## arguments in macro cat\n");

    // Under -c99 an empty argument is an absent operand: the other side
    // stands alone, in the place of the absent one.
    c99_mode = 1;
    define("k(a,b) x a##b y");
    EXPECT_EQ(expand("k(,) k(,2) k(1,) k(a b,c d) cat3(,,) cat3(,,z) cat3(p,,q)"),
              "x y x 2 y x 1 y x a bc d y z pq");
    EXPECT_EQ(messages(), "");
}

TEST_F(MacroTest, Redefinition)
{
    define("f(x) x + 1");
    define("f(y) y   +   1");
    EXPECT_EQ(messages(), "") << "other names and other amounts of white space are the same definition";
    define("f(x) x+ 1");
    define("f(x,y) x + 1");
    define("f(x) x + 2");
    EXPECT_EQ(messages(), "#error zpc :0 can't redefine macro f\n#error zpc :0 can't redefine macro f\n"
                          "#error zpc :0 can't redefine macro f\n");
    EXPECT_EQ(expand("f(3)"), "3 + 1");

    define("g (x)");
    EXPECT_EQ(expand("g"), "(x)") << "a blank before ( makes an object-like macro";
    define("e(x)");
    EXPECT_EQ(expand("[e(1)]"), "[]");
    define("__LINE__ 1");
    undef("__FILE__");
    undef("nothing");
    define("_Pragma 1");
    EXPECT_EQ(expand("_Pragma"), "1");
    EXPECT_EQ(messages(), "#error zpc :0 can't redefine macro __LINE__\n#error zpc :0 can't undef macro __FILE__\n");
    c99_mode = 1;
    define("_Pragma 2");
    undef("_Pragma");
    EXPECT_EQ(messages(), "#error zpc :0 can't redefine macro _Pragma\n#error zpc :0 can't undef macro _Pragma\n");
    define("1x");
    define("m(1) x");
    define("m(a b) x");
    define("m(a,a) a");
    EXPECT_EQ(messages(), "#error zpc :0 bad #define syntax\n#error zpc :0 bad macro argument\n"
                          "#error zpc :0 bad macro argument syntax\n#error zpc :0 redeclared parameter\n");
    EXPECT_EQ(expand("m(1,2)"), "1") << "the first parameter of that name is the one used";
}

TEST_F(MacroTest, OptionDefinitionsAndBuiltins)
{
    define_from_option("X");
    define_from_option("Y=");
    define_from_option("Z=1+2");
    define_from_option("F(a)=a");
    EXPECT_EQ(expand("X [Y] Z"), "1 [] 1+2");
    EXPECT_EQ(messages(), "#error zpc :0 bad symbol definition\n");

    EXPECT_EQ(expand("__ZPKW__ __STDC__ __CC99__ __TRGT__ defined X defined(Q) defined(__LINE__)"),
              "64 1 0 \"S12X\" 1 0 1");
    no_widen_arguments = single_float = plain_char_unsigned = even_align_data = reverse_bitfields = 1;
    no_enum_optimization = no_const_replacement = no_const_propagation = need_prototypes = 1;
    no_bitfield_packing = 1;
    EXPECT_EQ(expand("__ZPKW__"), "959");
    EXPECT_EQ(expand("__STDC_VERSION__ _Pragma"), "__STDC_VERSION__ _Pragma") << "only under -c99";
    c99_mode = 1;
    EXPECT_EQ(expand("__STDC_VERSION__ __STDC_HOSTED__ __CC99__ x _Pragma(\"anything\") y"), "199901L 0 1 x y");
    EXPECT_EQ(expand("_Pragma(1) _Pragma"), "_Pragma(1) _Pragma");
    EXPECT_EQ(messages(), "#error zpc :0 bad _Pragma syntax\n#error zpc :0 bad _Pragma syntax\n");

    std::string date = expand("__DATE__"), time = expand("__TIME__");
    EXPECT_EQ(date.size(), 13u);
    EXPECT_NE(std::string("JanFebMarAprMayJunJulAugSepOctNovDec").find(date.substr(1, 3)), std::string::npos);
    EXPECT_EQ(time.size(), 10u);
    EXPECT_EQ(time[3], ':');
    EXPECT_EQ(expand("__DATE__"), date) << "the clock is read once";
}

TEST_F(MacroTest, NoBlowUp)
{
    define("X (1+Y)");
    define("Y 2");
    std::string line = "X", expected = "(1+2)";
    for (int i = 1; i < 3000; ++i) {
        line += " X";
        expected += " (1+2)";
    }
    EXPECT_EQ(expand(line), expected);

    // Each level doubles the one below: 2^12 copies of a 5-token body.
    define("L0 a+b*c");
    for (int i = 1; i <= 12; ++i)
        define("L" + std::to_string(i) + " L" + std::to_string(i - 1) + " L" + std::to_string(i - 1));
    PpToken *list = process_line(scan_line(keep("L12")));
    int count = 0;
    for (PpToken *t = list; t && t->kind != TK_EOL; t = t->next)
        ++count;
    free_pp_list(list);
    EXPECT_EQ(count, 5 << 12);

    // Nesting does not use the machine's stack: a chain of 100,000 macros
    // each naming the next, and 5,000 calls nested in arguments, give
    // their whole result.
    for (int i = 0; i < 100000; ++i)
        define("D" + std::to_string(i) + " D" + std::to_string(i + 1));
    EXPECT_EQ(expand("D0 X"), "D100000 (1+2)");
    define("f(x) [x]");
    define("g(x) x");
    std::string nested, brackets;
    for (int i = 0; i < 5000; ++i)
        nested += "f(g(";
    nested += "Y";
    for (int i = 0; i < 5000; ++i) {
        nested += "))";
        brackets += "[";
    }
    brackets += "2" + std::string(5000, ']');
    EXPECT_EQ(expand(nested), brackets);
    EXPECT_EQ(messages(), "");

    // The limit, swept across: a chain of n macros nests n levels (the
    // top line is one more).
    for (int limit = 98; limit <= 102; ++limit) {
        expansion_nesting_limit = limit;
        std::string result = expand("D" + std::to_string(100000 - 100) + " X");
        if (limit > 100) {
            EXPECT_EQ(result, "D100000 (1+2)") << limit;
            EXPECT_EQ(messages(), "") << limit;
        } else {
            EXPECT_EQ(result.rfind("D", 0), 0u) << limit;
            EXPECT_EQ(result.find("(1+2)"), std::string::npos) << "the rest of the line is left: " << limit;
            EXPECT_EQ(messages(), "#error zpc :0 macro expansion nested too deeply\n") << limit;
        }
    }
}

}  // namespace

namespace {

// Random definitions and lines, from a fixed seed: whatever they hold,
// expansion ends and gives back a whole line (run under the sanitizers
// in CI, this is where memory faults in expansion would show).
TEST_F(MacroTest, RandomInputKeepsTheLineWhole)
{
    static const char *const heads[] = {"f", "g", "x", "f(x)", "g(x,y)", "h()", "v(...)", "w(x,...)", "h(void)", "f(x,x)"};
    static const char *const pieces[] = {"f", "g", "h", "v", "w", "x", "y", "(", ")", ",", "#", "##", "x##y", "#x",
                                         "__VA_ARGS__", "defined", "1", "\"s\"", "'c'", "/", " ", "_Pragma", "(\"p\")",
                                         "g(,)", "f()", "h(,,)", "__LINE__", "...", "+"};
    unsigned seed = 12345;
    auto pick = [&seed](unsigned n) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 16) % n;
    };
    std::FILE *stream = error_stream;
    for (int round = 0; round < 300; ++round) {
        zpc_reset();
        options_reset();
        error_stream = stream;
        c99_mode = round % 2;
        for (unsigned d = pick(5) + 1; d > 0; --d) {
            std::string text = heads[pick(10)];
            for (unsigned k = pick(10); k > 0; --k)
                text += std::string(" ") + pieces[pick(29)];
            define(text);
        }
        std::string line;
        for (unsigned k = pick(30); k > 0; --k)
            line += pieces[pick(29)];
        PpToken *list = process_line(scan_line(keep(line)));
        const PpToken *last = list;
        while (last && last->next)
            last = last->next;
        EXPECT_TRUE(!list || last->kind == TK_EOL) << line;
        free_pp_list(list);
    }
}

}  // namespace
