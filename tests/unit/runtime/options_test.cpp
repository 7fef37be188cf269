// The number reader and the option parser, run with zpc's own option table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support.h"
#include "base/options.h"
#include "runtime/options.h"

namespace {

using Strings = std::vector<std::string>;
using ::testing::ExitedWithCode;

// Parses like zpc does; returns the operands left.
Strings parse(Args &args)
{
    options_reset();
    options_library_reset();
    program_version = ZPC_VERSION;
    program_build_date = ZPC_BUILD_DATE;
    parse_options(&args.argc, &args.argv, ZPC_TITLE, "file", option_table);
    return args.operands();
}

// The value read and the number of characters used, as "value/used".
std::string number(const char *text, int base)
{
    std::int32_t value = 12345;
    const char *end = parse_number(text, &value, base);
    return std::to_string(value) + "/" + std::to_string(end - text);
}

// The option variables point into each test's own arguments.
class ParseOptions : public ::testing::Test {
    void TearDown() override
    {
        options_reset();
        options_library_reset();
    }
};

TEST(ParseNumber, BasesPrefixesSignsAndStops)
{
    EXPECT_EQ(number("0X1f", 1), "31/4");
    EXPECT_EQ(number("017", 1), "15/3");
    EXPECT_EQ(number("019", 1), "1/2") << "9 is not an octal digit";
    EXPECT_EQ(number("  -12z", 1), "-12/5");
    EXPECT_EQ(number("+7", 1), "7/2");
    EXPECT_EQ(number("-0x10", 1), "-16/5");
    EXPECT_EQ(number("0xff", 16), "255/4");
    EXPECT_EQ(number("0x1F", 10), "0/1") << "only bases 1 and 16 skip 0x";
    EXPECT_EQ(number("Zz", 36), std::to_string(35 * 36 + 35) + "/2");
    // Unsigned 32-bit accumulation without overflow check.
    EXPECT_EQ(number("4294967295", 10), "-1/10");
    EXPECT_EQ(number("0x123456789", 1), std::to_string(0x23456789) + "/11");
}

TEST_F(ParseOptions, ValuesFlagsAndOperands)
{
    Args a{"/usr/bin/ZPC.exe", "-m0x1F", "-xux", "-nsb", "+eerr.txt", "-o", "out.o", "f.c", "-u", "g.c"};
    EXPECT_EQ(parse(a), (Strings{"f.c", "-u", "g.c"})) << "options end at the first operand";
    EXPECT_STREQ(program_name, "zpc");
    EXPECT_EQ(model_config, 31);
    EXPECT_EQ(debug_skip_unused + debug_info + no_share_locals + even_align_data, 4);
    EXPECT_EQ(plain_char_unsigned, 0);
    EXPECT_EQ(std::string(error_file_name) + " " + output_file_name, "err.txt out.o");

    // Longer descriptors are tried before their prefixes.
    Args b{"zpc", "-sa", "-xx", "-bc", "-wp", "-w", "3", "-m017", "x.c"};
    parse(b);
    EXPECT_EQ(strict_ansi + debug_extended + even_align_constants + warn_unknown_pragmas, 4);
    EXPECT_EQ(no_reorder_locals + debug_info + even_align_data, 0);
    EXPECT_EQ(warning_option * 100 + model_config, 315);

    // A number or string option that is the last argument takes nothing.
    Args c{"zpc", "-m5", "-m"};
    EXPECT_TRUE(parse(c).empty()) << "options without operand return with no operand";
    EXPECT_EQ(model_config, 0);
    Args d{"zpc", "-ox.o", "-o"};
    parse(d);
    ASSERT_NE(output_file_name, nullptr);
    EXPECT_STREQ(output_file_name, "");

    Args e{"zpc", "-x", "--", "-u", "f.c"}, f{"zpc", "-x", "-", "-u"};
    EXPECT_EQ(parse(e), (Strings{"-u", "f.c"}));
    EXPECT_EQ(parse(f), (Strings{"-", "-u"}));
    EXPECT_EQ(plain_char_unsigned, 0);
}

TEST_F(ParseOptions, ListsFillFromTheTop)
{
    Args a{"zpc", "-ia", "-i", "b", "-ic", "-hx.h", "-h", "y.h", "f.c"};
    parse(a);
    ASSERT_EQ(include_list.free_slots, 125);
    EXPECT_EQ((Strings{include_list.slots[127], include_list.slots[126], include_list.slots[125]}),
              (Strings{"a", "b", "c"}));
    ASSERT_EQ(header_list.free_slots, 126);
    EXPECT_STREQ(header_list.slots[127], "x.h");

    Strings many{"zpc"};
    for (int i = 0; i < 128; ++i)
        many.push_back("-i" + std::to_string(i));
    many.push_back("f.c");
    Args full(many);
    parse(full);
    EXPECT_EQ(include_list.free_slots, 0);
    EXPECT_STREQ(include_list.slots[0], "127");
    many.insert(many.end() - 1, "-ilast");
    Args over(many);
    EXPECT_EXIT(parse(over), ExitedWithCode(1), "^argument list overflow\n$");
}

TEST_F(ParseOptions, UsageAndVersion)
{
    // The option errors themselves are pinned by command_line.case.
    // Banner, usage line, then the descriptors not marked '<': -an and -asp
    // stand between -ad and -bc, -cq and -cr between -cp and -csb.
    const std::string banner = std::string("^Harrowgate Labs ") + ZPC_TITLE + " " + ZPC_VERSION;
    const std::string usage = banner + "\nusage: zpc \\[options\\] file\n"
                                       "    -ad   expand defines in assembly\n"
                                       "    -bc   even align constants\n.*"
                                       "    -cp   no constant propagation\n"
                                       "    -csb  check signed bitfields\n.*"
                                       "    \\+e\\*   error file name\n.*"
                                       "    -x    output debug info\n$";
    Args help{"zpc", "-x", "-help", "f.c"}, helpme{"zpc", "-helpme", "x.c"}, nothing{"zpc"};
    Args alone{"zpc", "*.nothing"}, vers{"zpc", "-vers"};
    for (Args *args : {&help, &helpme, &nothing, &alone})
        EXPECT_EXIT(parse(*args), ExitedWithCode(1), usage);
    EXPECT_EXIT(parse(vers), ExitedWithCode(1), banner + " - " + ZPC_BUILD_DATE + " - Win32\n$");
}

TEST_F(ParseOptions, WildcardOperands)
{
    TempDir dir;
    std::filesystem::create_directory(dir / "Sub");
    for (const char *name : {"A.C", "B.C", "Sub/C.C", "Sub/d.h"})
        write_file(dir / name, "");
    const std::filesystem::path saved = std::filesystem::current_path();
    std::filesystem::current_path(dir.path);
    Args a{"zpc", "-x", "first.c", "*.C", "*.none", "Sub/*.C", "Sub\\?.h"}, b{"zpc", "-x", "*.none"};
    Strings got = parse(a), none = parse(b);
    std::filesystem::current_path(saved);

    EXPECT_EQ(got, (Strings{"first.c", "A.C", "B.C", "Sub/C.C", "Sub\\d.h"})) << "names keep their case";
    EXPECT_TRUE(none.empty());
}

}  // namespace
