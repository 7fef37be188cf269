// The constant pool, string decoding and joining, escapes and real scaling,
// called directly; and the line reader's limits on long lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "../support.h"
#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "driver/run.h"
#include "lexer/constants.h"
#include "lexer/pptoken.h"
#include "lexer/source.h"
#include "runtime/options.h"

namespace {

class ConstantsTest : public CompilerTest {
protected:
    // The message texts, one a line, without their position prefix.
    std::string texts()
    {
        std::string all = messages(), texts;
        for (std::size_t start = 0; start < all.size();) {
            std::size_t end = all.find('\n', start);
            std::string line = all.substr(start, end - start);
            texts += line.substr(line.find(":0 ") + 3) + "\n";
            start = end + 1;
        }
        return texts;
    }
    static std::string bytes(const PoolEntry *e) { return std::string(reinterpret_cast<const char *>(e->bytes), e->length); }
    static int entries_holding(const std::string &b)
    {
        int n = 0;
        for (PoolEntry *e = constant_pool; e; e = e->link)
            n += e->section == constant_section && bytes(e) == b;
        return n;
    }
    static Token string_token(const std::string &b)
    {
        Token t{};
        t.code = TK_STRING;
        t.value = reinterpret_cast<std::uintptr_t>(pool_intern(b.data(), b.size()));
        return t;
    }
    static double real(const char *spelling)
    {
        std::string text = spelling;
        PpToken pp{};
        pp.text = text.data();
        pp.len = static_cast<std::uint16_t>(text.size());
        pp.kind = TK_PPNUMBER;
        Token t{};
        convert_number(&t, &pp);
        EXPECT_TRUE(t.code == TK_DOUBLE_CONST || t.code == TK_FLOAT_CONST) << spelling;
        double v;
        std::memcpy(&v, token_pool_entry(&t)->bytes, sizeof v);
        return v;
    }
};

TEST_F(ConstantsTest, PoolSharesEqualBytesWithinOneSection)
{
    PoolEntry *ab = pool_intern("ab", 2);
    EXPECT_EQ(ab->refs, 0u);
    EXPECT_EQ(pool_intern("ab", 2), ab);
    EXPECT_EQ(ab->refs, 1u);
    EXPECT_NE(pool_intern("a", 1), ab);
    EXPECT_NE(pool_intern("ab\0", 3), ab) << "a trailing NUL makes other bytes";

    static const int other_section = 0;
    constant_section = &other_section;
    PoolEntry *elsewhere = pool_intern("ab", 2);
    EXPECT_NE(elsewhere, ab);
    EXPECT_EQ(elsewhere->section, &other_section);
    EXPECT_EQ(elsewhere->refs, 0u);
    EXPECT_EQ(constant_pool, elsewhere) << "new entries go to the head of the pool";
    constant_section = nullptr;
    EXPECT_EQ(pool_intern("ab", 2), ab);
    EXPECT_EQ(ab->refs, 2u);

    // Many entries later every one is still found again.
    std::vector<PoolEntry *> made;
    for (int i = 0; i < 3000; ++i)
        made.push_back(pool_intern(std::to_string(i).data(), std::to_string(i).size()));
    for (int i = 0; i < 3000; i += 7)
        EXPECT_EQ(pool_intern(std::to_string(i).data(), std::to_string(i).size()), made[static_cast<std::size_t>(i)]);
    EXPECT_EQ(pool_intern("ab", 2), ab);

    // Each release takes one user away; the last one takes the entry out.
    for (int i = 0; i < 3; ++i)
        pool_release(ab);
    EXPECT_EQ(entries_holding("ab"), 1);
    pool_release(ab);
    EXPECT_EQ(entries_holding("ab"), 0);
    EXPECT_EQ(pool_intern("ab", 2)->refs, 0u) << "interned afresh after its last release";
    constant_section = &other_section;
    EXPECT_EQ(pool_intern("ab", 2), elsewhere);
}

TEST_F(ConstantsTest, ALiteralDecodedTwiceGivesTheSameBytes)
{
    const std::string many_nuls(34, '\0');
    const std::string count_wraps(256, '\0');
    auto escaped_nuls = [](std::size_t n) {
        std::string s = "\"";
        for (std::size_t i = 0; i < n; ++i)
            s += "\\0";
        return s + "\"";
    };
    struct Case {
        std::string spelling, decoded;
    } cases[] = {
        {"\"plain\"", "plain"},
        {"\"\"", ""},
        {"\"\\0\"", std::string(1, '\0')},
        {"\"a\\0b\\x0g\\1\"", std::string("a\0b\0g\1", 6)},
        {"L\"x\\n\\\\\"", "x\n\\"},
        {"\"ab", "ab"},  // unclosed, runs to the end of its line
        // The decoded text starts with a NUL count; these counts must not
        // pass for a spelling still to be decoded.
        {escaped_nuls(34), many_nuls},
        {escaped_nuls(256), count_wraps},
    };
    for (Case &c : cases) {
        SCOPED_TRACE(c.spelling.size() > 20 ? c.spelling.substr(0, 20) + "..." : c.spelling);
        std::string text = c.spelling;
        PpToken pp{};
        pp.text = text.data();
        pp.len = static_cast<std::uint16_t>(text.size());
        pp.kind = TK_STRING;
        Token first{}, second{};
        decode_string(&first, &pp);
        EXPECT_EQ(first.code, TK_STRING);
        PoolEntry *entry = token_pool_entry(&first);
        // Compared whole, without printing long runs of NULs.
        EXPECT_TRUE(bytes(entry) == c.decoded) << "first decoding: " << entry->length << " bytes";
        std::uint16_t refs = entry->refs;
        decode_string(&second, &pp);
        EXPECT_TRUE(bytes(token_pool_entry(&second)) == c.decoded)
            << "second decoding: " << token_pool_entry(&second)->length << " bytes";
        EXPECT_EQ(token_pool_entry(&second), entry);
        EXPECT_EQ(entry->refs, refs + 1u);
    }
    EXPECT_EQ(error_count, 0);
}

TEST_F(ConstantsTest, EscapesMovePastWhatTheyRead)
{
    struct Case {
        const char *text;
        std::uint32_t value;
        std::size_t used;
        const char *message;
    } cases[] = {
        {"\\x41g", 0x41, 4, ""},
        {"\\1234", 0123, 4, ""},
        {"\\08", 0, 2, ""},
        {"\\q", 0x5C, 1, ""},  // the backslash alone
        {"\\n", 0x0A, 2, ""},
        {"\\xg", 0, 2, "invalid hexadecimal character\n"},
        {"\\xFFFFFFF", 0x0FFFFFFF, 9, ""},
        {"\\x10000000", 0x10000000, 10, "hexadecimal constant too large\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        const char *p = c.text;
        EXPECT_EQ(decode_escape(&p, c.text + std::strlen(c.text)), c.value);
        EXPECT_EQ(static_cast<std::size_t>(p - c.text), c.used);
        EXPECT_EQ(texts(), c.message);
    }
    // Nothing past the end is read.
    const char *text = "\\x41";
    const char *p = text;
    EXPECT_EQ(decode_escape(&p, text + 3), 4u);
    EXPECT_EQ(p, text + 3);
}

TEST_F(ConstantsTest, RealsAreScaledStepByStepWithinOneUnit)
{
    // Exact whenever every step is exact.
    EXPECT_EQ(real("1e10"), 1e10);
    EXPECT_EQ(real("1e22"), 1e22);
    EXPECT_EQ(real("12.5e-1"), 1.25);
    EXPECT_EQ(real("2.2250738585072014e-308"), 0x1p-1022);
    // 1e-300 is divided by 1e4, 1e8, 1e32 and then 1e256, rounding at each
    // step, which ends one unit in the last place below the nearest double.
    EXPECT_EQ(real("1e-300"), 0x1.56e1fc2f8f358p-997);
    // Further than one unit from the nearest double the scaled value is
    // not used (C allows the nearest double or a neighbour): the largest
    // double would overflow on the last multiplication by 1e256, and
    // 54331530051371346e224 would end two units above its value.
    EXPECT_EQ(real("1.7976931348623157e308"), 0x1.fffffffffffffp1023);
    EXPECT_EQ(real("54331530051371346e224"), 0x1.a12e8b2ed07cdp+799);
    EXPECT_EQ(real("1e310"), HUGE_VAL);
    EXPECT_EQ(texts(), "");
    EXPECT_EQ(real("1e311"), HUGE_VAL);
    EXPECT_EQ(real("4.9e-324"), 0x1p-1074);
    EXPECT_EQ(texts(), "exponent overflow in real\nexponent overflow in real\n");

    c99_mode = 1;
    EXPECT_EQ(real("0x1.8p-600"), 0x1.8p-600);
    EXPECT_EQ(real("0x1p+713"), 0x1p713);
    EXPECT_EQ(real("0x1.Fp-3"), 0x1.fp-3);
    EXPECT_EQ(texts(), "");
    // Past 713 the exponent is reported, and the value is still scaled.
    EXPECT_EQ(real("0x1p714"), 0x1p714);
    EXPECT_EQ(real("0x1p-1074"), 0x1p-1074);
    EXPECT_EQ(real("0x1p1023"), 0x1p1023);
    EXPECT_EQ(texts(), "exponent overflow in real\nexponent overflow in real\nexponent overflow in real\n");
}

// The line reader, on files written for the purpose.
class LineReaderTest : public CompilerTest {
protected:
    std::string next_line()
    {
        const char *line = read_logical_line(false);
        return line ? line : "(end)";
    }
};

TEST_F(LineReaderTest, OverLongLinesAreReportedAndReadOn)
{
    const std::string fits(20477, 'a'), over(20478, 'b'), joined(10000, 'c');
    open_text(fits + "\n" + over + "\nx\n" + joined + "\\\n" + joined + "\n" + std::string(16383, 'd') + "\n");
    const std::string prefix = "#error zpc " + path + ":";
    EXPECT_EQ(next_line(), fits + "\n");
    EXPECT_EQ(messages_so_far(), prefix + "1 logical line too long\n");
    EXPECT_EQ(next_line(), over + "\n");
    EXPECT_EQ(messages_so_far(), prefix + "1 logical line too long\n" + prefix + "2 line too long\n");
    EXPECT_EQ(next_line(), "\n") << "the rest of the line is read as the next line";
    EXPECT_EQ(current_line(), 3);
    EXPECT_EQ(next_line(), "x\n");
    EXPECT_EQ(current_line(), 4);
    EXPECT_EQ(next_line(), joined + joined + "\n") << "a logical line too long stays whole";
    EXPECT_EQ(next_line(), std::string(16383, 'd') + "\n");
    EXPECT_EQ(next_line(), "(end)");
    EXPECT_EQ(messages_so_far(), prefix + "1 logical line too long\n" + prefix + "2 line too long\n" + prefix +
                                           "6 logical line too long\n");
}

// A NUL reads as a blank, also inside a literal, and is reported once a
// physical line at the first one; a skipped group is not looked at.
TEST_F(LineReaderTest, NulBytesAreReportedOncePerLine)
{
    using namespace std::string_literals;
    open_text("char s[] = \"ab\0cd\";\n"s + "ok\n" + "\0x\0\0y\\\n"s + "z\0\n"s + "skipped\0\n"s);
    const std::string prefix = "#error zpc " + path + ":";
    EXPECT_EQ(next_line(), "char s[] = \"ab cd\";\n");
    EXPECT_EQ(next_line(), "ok\n");
    EXPECT_EQ(next_line(), " x  yz \n") << "a splice joins the lines, each reported";
    scan_in_skipped_region = true;
    EXPECT_EQ(next_line(), "skipped \n");
    scan_in_skipped_region = false;
    EXPECT_EQ(messages(), prefix + "1(14) null character in source\n" + prefix + "3(0) null character in source\n" +
                              prefix + "4(1) null character in source\n");
}

// A continuation read goes behind the line before it. Swept so that the
// first line ends at every offset near the end of the buffer: what does
// not fit is reported and read later, and no character is lost.
TEST_F(LineReaderTest, ContinuationReadsNearTheEndOfTheBuffer)
{
    for (std::size_t k = 20470; k <= 20478; ++k) {
        TearDown();
        SetUp();
        open_text(std::string(k, 'a') + "\nxy\nz\n");
        std::string text = next_line();
        if (const char *more = read_logical_line(true))
            text += more;
        for (std::string line; (line = next_line()) != "(end)";)
            text += line;
        std::erase(text, '\n');
        EXPECT_EQ(text, std::string(k, 'a') + "xyz") << k;
        std::string all = messages();
        for (std::size_t at; (at = all.find("logical line too long")) != std::string::npos;)
            all.erase(at, 21);
        EXPECT_EQ(all.find("line too long") != std::string::npos, k >= 20474) << k << all;
    }
}

// The reader takes the file in blocks: carriage returns, NULs and line
// ends are put at every offset around the first block boundaries, and the
// lines must come out as a character-at-a-time text-mode read gives them.
TEST_F(LineReaderTest, LineEndsAcrossReadBlocks)
{
    const std::string tails[] = {"\r\n", "\r", "\n", std::string("\0\n", 2), "\r\r\n", std::string("x\r\0\r\n", 5)};
    for (std::size_t block : {16384u, 32768u})
        for (const std::string &tail : tails)
            for (std::size_t k = block - 4; k <= block + 2; ++k) {
                TearDown();
                SetUp();
                // Short lines up to the offset, so that no line is too long.
                std::string file;
                while (file.size() + 100 < k)
                    file += std::string(79, 'b') + "\n";
                file += std::string(k - file.size(), 'b') + tail + "c\r\nd\n";
                open_text(file);
                // The reference: "\r\n" is a newline, NUL a blank, lines end at '\n'.
                std::string want;
                for (std::size_t i = 0; i < file.size(); ++i) {
                    if (file[i] == '\r' && i + 1 < file.size() && file[i + 1] == '\n')
                        continue;
                    want += file[i] ? file[i] : ' ';
                }
                std::string got;
                for (std::string line; (line = next_line()) != "(end)";)
                    got += line;
                EXPECT_TRUE(got == want) << "block " << block << " offset " << k << " tail " << tail.size()
                                         << ": first difference at "
                                         << std::mismatch(got.begin(), got.end(), want.begin(), want.end()).first - got.begin();
                // A NUL is read as a blank, but not in silence: one report.
                std::string said = messages();
                bool nul = tail.find('\0') != std::string::npos;
                EXPECT_EQ(said.find("null character in source") != std::string::npos, nul) << said;
                EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), nul ? 1 : 0) << said;
            }
}

TEST_F(LineReaderTest, CarriageReturnNewlineEndsALine)
{
    open_text("int\r\nx\\\r\ny ?\?/\r\nz\r\nw\r");
    EXPECT_EQ(next_line(), "int\n");
    EXPECT_EQ(next_line(), "xy z\n") << "both splices join";
    const LineStarts &starts = line_start_table();
    ASSERT_EQ(starts.count, 3);
    EXPECT_EQ(starts.offset[1], 1u);
    EXPECT_EQ(starts.offset[2], 3u);
    EXPECT_EQ(next_line(), "w\r\n") << "a lone carriage return is no line end";
    EXPECT_EQ(current_line(), 5);
    EXPECT_EQ(next_line(), "(end)");
}

}  // namespace
