// The -e text read back by the line scanner: where expansion sets tokens
// from different places side by side, the text must scan as the tokens
// the compiler saw, with a blank put in only where one is needed.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "../support.h"
#include "lexer/pptoken.h"
#include "lexer/source.h"
#include "preproc/output.h"

namespace {

class PreprocessedTextTest : public CompilerTest {
protected:
    std::string preprocess(const std::string &text)
    {
        output_stream = std::tmpfile();
        open_text(text);
        write_preprocessed();
        std::string out = read_stream(output_stream);
        std::fclose(output_stream);
        output_stream = nullptr;
        return out;
    }
    // The spellings the scanner makes of `text`, end of line left out.
    static std::vector<std::string> scanned(const std::string &text)
    {
        std::vector<std::string> spellings;
        PpToken *list = scan_text(text.data(), text.size());
        for (const PpToken *t = list; t && t->kind != TK_EOL; t = t->next)
            spellings.emplace_back(t->text, t->len);
        free_pp_list(list);
        return spellings;
    }
};

// Every pair of sample tokens, the left one brought in by a macro and the
// right one written directly after the call.
TEST_F(PreprocessedTextTest, EveryPairOfTokensReadsBackAsThatPair)
{
    const std::vector<std::string> samples = {
        "a", "L", "e", "x1", "1", "1e", "12", ".5", "1.", "\"s\"", "'c'", ":", ";", "@", ".", "...", "->",
        "?", "[", "]", "{", "}", "++", "--", "#", "##", "\\", "!", "~", "/", "%", "<<", ">>", "^", "|", "<",
        ">=", ">", "<=", "==", "!=", "+=", "-=", "*=", "/=", "%=", "<<=", ">>=", "&=", "^=", "|=", "&&",
        "||", "=", "+", "-", "*", "&", "(", ")"};
    std::string source = "#define ID(a) a\n";
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string &left : samples) {
        if (left == "(" || left == ")")
            continue;  // not an argument of its own
        for (const std::string &right : samples) {
            source += "ID(" + left + ")" + right + " ;\n";
            pairs.emplace_back(left, right);
        }
    }
    std::string out = preprocess(source);
    std::size_t at = 0;
    for (const auto &[left, right] : pairs) {
        std::size_t end = out.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        std::string line = out.substr(at, end - at);
        at = end + 1;
        std::vector<std::string> want = {left, right, ";"};
        EXPECT_EQ(scanned(line), want) << "line " << line;
        // Together they would scan as the same pair: nothing in between.
        // A dot before a dot gets its blank all the same, as it cannot be
        // told from the first two dots of "...".
        bool dots = left.back() == '.' && right[0] == '.';
        if (scanned(left + right + " ;") == want && !dots) {
            EXPECT_EQ(line, left + right + " ;");
        }
    }
    EXPECT_EQ(at, out.size());
    EXPECT_EQ(messages(), "");
}

}  // namespace
