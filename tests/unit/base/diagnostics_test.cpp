// report(): classification by prefix, warning levels, both position
// forms, dropped repeats after an error, and argument formatting.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "../support.h"
#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "driver/run.h"
#include "lexer/source.h"

namespace {

class ReportTest : public ::testing::Test {
protected:
    TempDir dir;
    std::string m = dir / "m.c";  // the source's name as opened
    Token token{1, 12, 5, 3, 0};

    void SetUp() override
    {
        zpc_reset();
        set_program_name("zpc");
        error_stream = std::tmpfile();
        write_file(m, "int x;\n");
        ASSERT_TRUE(open_source(m.c_str(), false));
        current_token = &token;
    }
    void TearDown() override
    {
        current_token = nullptr;
        if (error_stream != stderr)
            std::fclose(error_stream);
        zpc_reset();
    }
    // What was written since the last call.
    std::string take()
    {
        std::string text = read_stream(error_stream);
        std::fclose(error_stream);
        error_stream = std::tmpfile();
        return text;
    }
    // Reports `message` with the current token at `line`.
    void at(std::uint32_t line, const char *message, std::uint16_t column = 5)
    {
        token.line = line;
        token.column = column;
        report(message);
    }
};

TEST_F(ReportTest, PositionForms)
{
    at(12, "msg");
    token.length = 1;
    at(13, "WWmsg");
    EXPECT_EQ(take(), "#error zpc " + m + ":12(5+3) msg\n#warning zpc " + m + ":13(5) msg\n");

    eclipse_messages = 1;
    at(14, "msg");
    at(15, "WWmsg");
    EXPECT_EQ(take(), m + ":14:5: msg\n" + m + ":15:5: warning: msg\n");

    // Without a current token the reader's line is used and there is no column.
    current_token = nullptr;
    current_file->line = 16;
    report("WWmsg");
    eclipse_messages = 0;
    current_file->line = 17;
    report("msg");
    EXPECT_EQ(take(), m + ":16:1: warning: msg\n#error zpc " + m + ":17 msg\n");
    EXPECT_EQ(error_count, 3);
}

TEST_F(ReportTest, WarningLevels)
{
    std::uint32_t line = 20;
    auto each_level = [&] {
        for (const char *text : {"W1a", "W2b", "W3c", "W4d", "W5e", "W6f", "W7g", "WWh"})
            at(++line, text);
    };
    const std::string w = "#warning zpc " + m + ":";
    check_level = 0;
    each_level();
    EXPECT_EQ(take(), w + "28(5+3) h\n");
    check_level = 5;
    each_level();
    EXPECT_EQ(take(), w + "33(5+3) e\n" + w + "34(5+3) f\n" + w + "35(5+3) g\n" + w + "36(5+3) h\n");
    EXPECT_EQ(error_count, 0);

    check_level = -1;
    at(40, "W1a");
    at(41, "W7g");
    at(42, "WWh");
    EXPECT_EQ(take(), "#error zpc " + m + ":40(5+3) a\n#error zpc " + m + ":41(5+3) g\n" + w + "42(5+3) h\n");
    EXPECT_EQ(error_count, 2);
}

TEST_F(ReportTest, RepeatsAfterAnErrorAreDropped)
{
    at(12, "WWfirst");
    at(12, "WWsecond");
    EXPECT_EQ(take(), "#warning zpc " + m + ":12(5+3) first\n#warning zpc " + m + ":12(5+3) second\n")
        << "before any error nothing is dropped";
    at(12, "error");
    at(12, "again");
    at(12, "WWwarning");
    at(12, "next column", 6);
    at(13, "next line", 6);
    EXPECT_EQ(take(), "#error zpc " + m + ":12(5+3) error\n#error zpc " + m + ":12(6+3) next column\n#error zpc " +
                          m + ":13(6+3) next line\n");

    // Without a column, only a current token of code 0 drops a repeat.
    token.code = 0;
    current_file->line = 30;
    report("a");
    report("b");
    current_token = nullptr;
    report("c");
    EXPECT_EQ(take(), "#error zpc " + m + ":30 a\n#error zpc " + m + ":30 c\n");
    EXPECT_EQ(error_count, 5);
}

TEST_F(ReportTest, NoSourceOpen)
{
    source_reset();
    char name[] = "in.c";
    input_name = name;
    // The prefix goes to standard error; so does the text here.
    std::fclose(error_stream);
    error_stream = stderr;
    testing::internal::CaptureStderr();
    report("bad %s", 0, "thing");
    report("WWcareful");
    eclipse_messages = 1;
    report("bad");
    report("WWcareful");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "#error zpc in.c:0 bad thing\n#warning zpc in.c:0 careful\nin.c:1:1: bad\nin.c:1:1: warning: careful\n");
    EXPECT_EQ(error_count, 2);
}

TEST_F(ReportTest, Arguments)
{
    current_token = nullptr;  // no column: repeats on one line are kept
    current_file->line = 1;
    check_level = 1;
    report("duplicate %s", 0, "case");
    report("%.*s is not a member", 3, "abcdef");
    report("W7%.*s used before set", 2, "xyz");
    report("PANIC! unknown op %x", 0, 0x1f);
    report("%d of %x", -3, 70000);
    report("line %d", 9, 0);
    const std::string e = "#error zpc " + m + ":1 ", w = "#warning zpc " + m + ":1 ";
    EXPECT_EQ(take(), e + "duplicate case\n" + e + "abc is not a member\n" + w + "xy used before set\n" + e +
                          "PANIC! unknown op 1f\n" + e + "-3 of 11170\n" + e + "line 9\n");
}

}  // namespace
