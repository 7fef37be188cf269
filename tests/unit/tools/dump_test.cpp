// The intermediate-file reader: byte sequences written field by field from
// the file layout, and the dump text each must give; analyser mode, the two
// meanings of code 203, and the failures that end a dump.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dump/intermediate_dump.h"

namespace {

// Bytes in a compact notation: N a byte (decimal or 0x hex), hN a
// little-endian half, wN a little-endian word (may be negative), dX the
// eight little-endian bytes of the double X, 'text' its characters.
std::vector<unsigned char> bytes(const std::string &spec)
{
    std::vector<unsigned char> b;
    std::size_t i = 0;
    auto little_endian = [&](std::uint64_t v, int n) {
        for (int k = 0; k < n; ++k, v >>= 8)
            b.push_back(static_cast<unsigned char>(v));
    };
    while (i < spec.size()) {
        char c = spec[i];
        if (c == ' ') {
            ++i;
        } else if (c == '\'') {
            std::size_t end = spec.find('\'', i + 1);
            b.insert(b.end(), spec.begin() + static_cast<long>(i) + 1, spec.begin() + static_cast<long>(end));
            i = end + 1;
        } else {
            std::size_t end = spec.find(' ', i);
            std::string item = spec.substr(i, end == std::string::npos ? std::string::npos : end - i);
            i = end == std::string::npos ? spec.size() : end;
            if (item[0] == 'h') {
                little_endian(std::strtoul(item.c_str() + 1, nullptr, 0), 2);
            } else if (item[0] == 'w') {
                little_endian(static_cast<std::uint32_t>(std::strtol(item.c_str() + 1, nullptr, 0)), 4);
            } else if (item[0] == 'd') {
                double d = std::strtod(item.c_str() + 1, nullptr);
                std::uint64_t bits;
                std::memcpy(&bits, &d, sizeof bits);
                little_endian(bits, 8);
            } else {
                b.push_back(static_cast<unsigned char>(std::strtoul(item.c_str(), nullptr, 0)));
            }
        }
    }
    return b;
}

struct Dumped {
    DumpResult result;
    std::string text;
};

Dumped dump(const std::vector<unsigned char> &b)
{
    Dumped d{{true, {}}, {}};
    d.result = dump_intermediate(b.data(), b.size(), d.text);
    return d;
}

// The smallest unit record: no alignment, no flags, no header strings. The
// record under test then starts at offset 6.
const std::string unit = "203 0 0 255 0 0 ";
const std::string unit_line = "000000 REC_UNIT alignment=0 flags=0x00\n";

// Leaves shared by the expression cases: an lvalue, a number, a function.
const std::string x = "0 3 2 h0 0x81 'x' w0 0 1";
const std::string xt = "(leaf int x{81} 0 storage=0 lvalue=1)";
const std::string ten = "0 3 0 h0 w10 0 0";
const std::string tent = "(leaf int - 10 storage=0 lvalue=0)";
const std::string fn = "0 3 2 h0 0x84 'f' w0 0 0";
const std::string fnt = "(leaf int f{84} 0 storage=0 lvalue=0)";

TEST(DumpRecords, EachLayoutDecodesToItsFields)
{
    struct Case {
        std::string bytes;
        std::string dump;
    };
    const Case cases[] = {
        {"19 4 0 0 0 'a.c'", "000006 REC_FILE name=\"a.c\"\n"},
        {"19 7 0 0 0 'a.c' 0 'd/'", "000006 REC_FILE name=\"a.c\" dir=\"d/\"\n"},
        {"20 w12", "000006 REC_LINE line=12\n"},
        {"20 0x01 0x02 0x00 0x00", "000006 REC_LINE line=513\n"},
        {"139 0x05 0x01", "000006 REC_JUMP label=261\n"},
        {"140 h5 w12 1 140 h7 w0", "000006 REC_LABEL label=5 line=12 loop=1\n000014 REC_LABEL label=7 line=0\n"},
        {"130 h9 w3 0", "000006 REC_CASE_LABEL label=9 line=3 loop=0\n"},
        {"141 h9 " + x + " " + ten, "000006 REC_BRANCH cond=lt label=9 left=" + xt + " right=" + tent + "\n"},
        {"135 h9 " + x + " " + ten, "000006 REC_BRANCH cond=ge label=9 left=" + xt + " right=" + tent + "\n"},
        {"136 h9 " + x + " " + ten, "000006 REC_BRANCH cond=gt label=9 left=" + xt + " right=" + tent + "\n"},
        {"142 h9 " + x + " " + ten, "000006 REC_BRANCH cond=le label=9 left=" + xt + " right=" + tent + "\n"},
        {"138 h9 " + x + " " + ten, "000006 REC_BRANCH cond=eq label=9 left=" + xt + " right=" + tent + "\n"},
        {"143 h9 " + x + " " + ten, "000006 REC_BRANCH cond=ne label=9 left=" + xt + " right=" + tent + "\n"},
        {"146 151 211 210",
         "000006 REC_RETURN\n000007 REC_CASES_END\n000008 REC_FUNCTION_END\n000009 REC_DATA_END\n"},
        {"114 3 " + x, "000006 REC_NEGATE_IN_PLACE type=int object=" + xt + "\n"},
        {"115 0x84 h0x8000 3 1 " + x,
         "000006 REC_COMPLEMENT_IN_PLACE type=bits16@0x8000:3:1 object=" + xt + "\n"},
        {"113 3 " + fn + " 4 'nop' 0", "000006 REC_ASM type=int fn=" + fnt + " n=3 \"nop\"\n"},
        {"180 3 " + fn + " 3 'ld' 0 " + x, "000006 REC_ASM_ARGS type=int fn=" + fnt + " n=2 \"ld\" arg=" + xt + "\n"},
        {"180 3 " + fn + " 3 'ld' 0 165 3 " + x + " " + ten,
         "000006 REC_ASM_ARGS type=int fn=" + fnt + " n=2 \"ld\" arg=" + xt + " arg=" + tent + "\n"},
        {"190 h7 149 h9 189 h11",
         "000006 REC_SWITCH size=1 label=7\n000009 REC_SWITCH size=2 label=9\n000012 REC_SWITCH size=4 label=11\n"},
        {"185 0 h7 h9 h3 h2", "000006 REC_CASES switch_label=7 default_target=9 cases=3 value_size=2\n"},
        {"205 h3 w-1 h11 h9 h13", "000006 REC_CASE_RANGE span=3 first_value=-1 labels=11,9,13\n"},
        {"206 h2 w100 h15 w-5 h17", "000006 REC_CASE_LIST pairs=2 cases=100:15,-5:17\n"},
        {"194 h5 1 " + x + " 194 h5 0",
         "000006 REC_LOOP label=5 start=1 count=" + xt + "\n000023 REC_LOOP label=5 start=0\n"},
        {"251 w10 w11", "000006 REC_FUNCTION decl_line=10 brace_line=11\n"},
        {"218 w4 129 w-6", "000006 REC_ARG_SIZE size=4\n000011 REC_FRAME offset=-6\n"},
        {"134 5 h0 0x84 'main' h0 w0", "000006 REC_FUNC_DEF name=main{84} attr=0x0000 size=0\n"},
        {"132 4 h7 0x81 'buf' h0x0400 w10", "000006 REC_OBJ_DEF name=buf[7]{81} attr=0x0400(nostack) size=10\n"},
        {"144 2 h0 0x86 'f' h0 w6", "000006 REC_EXTERN name=f{86} attr=0x0000 size=6\n"},
        {"131 1 4 h0 0x89 'far'", "000006 REC_DATA alignment=1 name=far{89}\n"},
        {"199 1 h0x0020 w2 2 h0 0x81 'v'", "000006 REC_DATA_ATTR alignment=1 attr=0x0020(user=0x20) size=2 name=v{81}\n"},
        {"201 0 5 h0 0x91 'port' w4096", "000006 REC_DATA_AT name=port{91} address=4096\n"},
        {"184 1 0 0 0 h11", "000006 REC_DATA_LABEL alignment=1 label=11\n"},
        {"148 5 'hello' 148 0", "000006 REC_BYTES n=5 \"hello\"\n000013 REC_BYTES n=0 \"\"\n"},
        {"148 4 0x22 0x5c 0x0a 0xff", "000006 REC_BYTES n=4 \"\\\"\\\\\\012\\377\"\n"},
        {"137 2 w-1 137 4 w70000", "000006 REC_INT size=2 value=-1\n000012 REC_INT size=4 value=70000\n"},
        {"133 8 0 0 0 0 0 0 0xf0 0x3f 133 4 d-0.1",
         "000006 REC_FLOAT size=8 value=1\n000016 REC_FLOAT size=4 value=-0.1\n"},
        {"197 0 h13 w0", "000006 REC_ADDR size=1 address=L13 offset=0\n"},
        {"192 0 h0 w4660", "000006 REC_ADDR size=2 address=- offset=4660\n"},
        {"200 2 h0 0x81 'p' h0x1000 w-2", "000006 REC_ADDR size=4 address=p{81} attr=0x1000(tiny) offset=-2\n"},
        {"147 w100", "000006 REC_SPACE n=100\n"},
        {"204 h3 4 'CODE' 204 h0 0",
         "000006 REC_SECTION value=3 name=\"CODE\"\n000014 REC_SECTION value=0 name=\"\"\n"},
        {"186 6 0 0 0 'EEROM'", "000006 REC_SPACE_NAME name=\"EEROM\"\n"},
        {"187 3 '#AB'", "000006 REC_NAME name=\"#AB\"\n"},
        {"188 w1 h2 w3 h4", "000006 REC_SOURCE_RANGE first_line=1 first_column=2 last_line=3 last_column=4\n"},
        {"213 0 0 h5", "000006 REC_DEBUG_LABEL label=5\n"},
        {"214 0 9 0 0 0 'a.c~main'", "000006 REC_DEBUG_FUNC name=\"a.c~main\"\n"},
        {"215 0 4 0 0 0 'a.c'", "000006 REC_DEBUG_FILE name=\"a.c\"\n"},
        // Code 203 past the first record is assembly text.
        {"203 3 'rts'", "000006 REC_ASM_TEXT n=3 \"rts\"\n"},
        // Name characters that would blur the syntax are escaped.
        {"131 0 4 h0 0x81 'a{b'", "000006 REC_DATA alignment=0 name=a\\173b{81}\n"},
    };
    for (const Case &c : cases) {
        Dumped d = dump(bytes(unit + c.bytes));
        EXPECT_TRUE(d.result.ok) << c.bytes << ": " << d.result.error;
        EXPECT_EQ(d.text, unit_line + c.dump) << c.bytes;
    }

    // Every type code with its extras, as the argument type of REC_FIRST_ARG.
    const Case types[] = {
        {"1", "char"},          {"2", "uchar"},         {"3", "int"},
        {"4 0 3", "bits16:0:3"}, {"5", "uint"},         {"6", "long"},
        {"7 4 5", "bits32:4:5"}, {"8", "ulong"},        {"9", "float"},
        {"10", "double"},       {"11 h0x2000", "ptr->0x2000"}, {"12", "real12"},
        {"13 1 2", "bits8:1:2"}, {"14 w6", "struct[6]"}, {"0x83 h0x8000", "int@0x8000"},
        {"0x8b h0x8000 h0x1000", "ptr@0x8000->0x1000"}, {"0x8e h1 w300", "struct@0x0001[300]"},
    };
    for (const Case &t : types) {
        Dumped d = dump(bytes(unit + "217 " + t.bytes));
        EXPECT_TRUE(d.result.ok) << t.bytes << ": " << d.result.error;
        EXPECT_EQ(d.text, unit_line + "000006 REC_FIRST_ARG type=" + t.dump + "\n") << t.bytes;
    }
}

TEST(DumpExpressions, EveryOperatorLeafAndCall)
{
    struct Op {
        int code;
        const char *spelling;
        int operands;
    };
    const Op ops[] = {
        {222, "+", 2},     {216, "-", 2},     {226, "*", 2},      {133, "/", 2},      {153, "%", 2},
        {151, "<<", 2},    {160, ">>", 2},    {193, "&", 2},      {163, "^", 2},      {156, "|", 2},
        {108, "neg", 1},   {107, "deref", 1}, {100, "addr", 1},   {149, "<", 2},      {144, ">=", 2},
        {143, ">", 2},     {150, "<=", 2},    {148, "==", 2},     {155, "!=", 2},     {130, "&&", 2},
        {157, "||", 2},    {90, "!", 1},      {67, "~", 1},       {136, "=", 2},      {159, "?:", 3},
        {102, "cast", 1},  {142, "+=", 2},    {139, "-=", 2},     {145, "*=", 2},     {135, "/=", 2},
        {140, "%=", 2},    {137, "<<=", 2},   {138, ">>=", 2},    {134, "&=", 2},     {146, "^=", 2},
        {141, "|=", 2},    {168, ",", 2},     {170, "post++", 2}, {167, "post--", 2},
    };
    for (const Op &op : ops) {
        std::string in = "150 " + std::to_string(op.code) + " 5 " + x, out = std::string("(") + op.spelling + " uint " + xt;
        for (int i = 1; i < op.operands; ++i) {
            in += " " + ten;
            out += " " + tent;
        }
        Dumped d = dump(bytes(unit + in));
        EXPECT_TRUE(d.result.ok) << op.spelling << ": " << d.result.error;
        EXPECT_EQ(d.text, unit_line + "000006 REC_EVAL expr=" + out + ")\n") << op.spelling;
    }

    struct Case {
        std::string bytes;
        std::string expr;
    };
    const Case cases[] = {
        {"0 0x83 h0x8000 0 h0 w-4 32 1", "(leaf int@0x8000 - -4 storage=32(frame) lvalue=1)"},
        {"0 11 h0 0 h9 w0 0 0", "(leaf ptr->0x0000 L9 0 storage=0 lvalue=0)"},
        {"0 3 3 h4 0x91 'st' w2 0 1", "(leaf int st[4]{91} 2 storage=0 lvalue=1)"},
        {"105 3 " + fn, "(call int " + fnt + ")"},
        {"169 3 " + fn + " " + x, "(call int " + fnt + " " + xt + ")"},
        {"169 6 " + fn + " 165 3 " + x + " 165 3 " + ten + " " + x,
         "(call long " + fnt + " " + xt + " " + tent + " " + xt + ")"},
        // A call closes inside an operator that still awaits its operand.
        {"222 3 169 3 107 11 h0 " + fn + " " + ten + " " + x,
         "(+ int (call int (deref ptr->0x0000 " + fnt + ") " + tent + ") " + xt + ")"},
        {"159 3 105 3 " + fn + " 108 3 " + ten + " 105 3 " + fn,
         "(?: int (call int " + fnt + ") (neg int " + tent + ") (call int " + fnt + "))"},
    };
    for (const Case &c : cases) {
        Dumped d = dump(bytes(unit + "150 " + c.bytes));
        EXPECT_TRUE(d.result.ok) << c.bytes << ": " << d.result.error;
        EXPECT_EQ(d.text, unit_line + "000006 REC_EVAL expr=" + c.expr + "\n") << c.bytes;
    }
}

TEST(DumpModes, FirstRecordSelectsLayouts)
{
    // Header strings, with the bytes a quoted text must escape; then a
    // later 203, which is assembly text.
    Dumped d = dump(bytes("203 4 0x0d 255 0 3 'zpc' 3 0x22 0x5c 0x07 2 'cp' 0 203 2 'rt'"));
    EXPECT_TRUE(d.result.ok) << d.result.error;
    EXPECT_EQ(d.text, "000000 REC_UNIT alignment=4 flags=0x0d header=\"zpc\" header=\"\\\"\\\\\\007\" header=\"cp\"\n"
                      "000017 REC_ASM_TEXT n=2 \"rt\"\n");

    // Analyser mode drops the size of REC_DATA_ATTR and the attribute word
    // of the 4-byte REC_ADDR; the 1- and 2-byte forms are unchanged.
    d = dump(bytes("202 0x1f 199 1 h0x0020 2 h0 0x81 'v' 200 2 h0 0x81 'p' w-2 192 0 h7 w1 203 3 'rts'"));
    EXPECT_TRUE(d.result.ok) << d.result.error;
    EXPECT_EQ(d.text, "000000 REC_UNIT_ANALYSER flags=0x1f\n"
                      "000002 REC_DATA_ATTR alignment=1 attr=0x0020(user=0x20) name=v{81}\n"
                      "000011 REC_ADDR size=4 address=p{81} offset=-2\n"
                      "000021 REC_ADDR size=2 address=L7 offset=1\n"
                      "000029 REC_ASM_TEXT n=3 \"rts\"\n");
}

TEST(DumpFailures, DecodedRecordsThenOneMessage)
{
    struct Case {
        std::string bytes;
        std::string dump;
        std::string error;
    };
    const Case cases[] = {
        {"", "", "empty file: no REC_UNIT or REC_UNIT_ANALYSER"},
        {"20 w1", "", "bad record code 20 at offset 000000 (a file begins with REC_UNIT or REC_UNIT_ANALYSER)"},
        {unit + "146 99 146", unit_line + "000006 REC_RETURN\n", "bad record code 99 at offset 000007"},
        {unit + "202 0x17", unit_line, "bad record code 202 at offset 000006"},
        {"203 0 0 255 0 3 'zp'", "", "unexpected end of file in REC_UNIT at offset 000000"},
        {"203 0 0 254 0 0", "", "byte 254 where 255 belongs at offset 000003 in REC_UNIT at offset 000000"},
        {unit + "20 1 2", unit_line, "unexpected end of file in REC_LINE at offset 000006"},
        {unit + "148 5 'hell'", unit_line, "unexpected end of file in REC_BYTES at offset 000006"},
        {unit + "205 h3 w0 h5 h7", unit_line, "unexpected end of file in REC_CASE_RANGE at offset 000006"},
        {unit + "150 222 3 " + x, unit_line, "unexpected end of file in REC_EVAL at offset 000006"},
        {unit + "150 169 3 " + fn + " 165 3", unit_line, "unexpected end of file in REC_EVAL at offset 000006"},
        {unit + "217 15", unit_line, "bad type code 15 at offset 000007 in REC_FIRST_ARG at offset 000006"},
        {unit + "217 0x80", unit_line, "bad type code 128 at offset 000007 in REC_FIRST_ARG at offset 000006"},
        {unit + "150 1 3", unit_line, "bad operator 1 at offset 000007 in REC_EVAL at offset 000006"},
        {unit + "150 169 3 " + fn + " 165 5 " + x + " " + x, unit_line,
         "argument prefix with type code 5 instead of int at offset 000023 in REC_EVAL at offset 000006"},
        {unit + "180 3 " + fn + " 3 'ld' 0 165 0x83 h0 " + x + " " + x, unit_line,
         "argument prefix with type code 131 instead of int at offset 000026 in REC_ASM_ARGS at offset 000006"},
        {unit + "113 3 " + fn + " 4 'nop' 1", unit_line,
         "byte 1 where 0 belongs at offset 000025 in REC_ASM at offset 000006"},
        {unit + "19 0 0 0 0", unit_line,
         "length byte 0 (it counts one more than the characters) at offset 000007 in REC_FILE at offset 000006"},
        {unit + "184 1 0 1 0 h11", unit_line,
         "byte 1 where 0 belongs at offset 000009 in REC_DATA_LABEL at offset 000006"},
        {unit + "194 h5 2", unit_line, "loop byte 2 (neither 0 nor 1) at offset 000009 in REC_LOOP at offset 000006"},
    };
    for (const Case &c : cases) {
        Dumped d = dump(bytes(c.bytes));
        EXPECT_FALSE(d.result.ok) << c.bytes;
        EXPECT_EQ(d.text, c.dump) << c.bytes;
        EXPECT_EQ(d.result.error, c.error) << c.bytes;
    }
}

// A hostile file may nest operators arbitrarily deep; the reader must finish
// (or fail cleanly) without exhausting the call stack.
TEST(DumpExpressions, MillionDeepNesting)
{
    const int depth = 1000000;
    std::vector<unsigned char> b = bytes(unit + "150");
    for (int i = 0; i < depth; ++i) {
        b.push_back(108);
        b.push_back(3);
    }
    std::vector<unsigned char> leaf = bytes(ten);
    std::vector<unsigned char> truncated = b;
    b.insert(b.end(), leaf.begin(), leaf.end());

    Dumped d = dump(b);
    ASSERT_TRUE(d.result.ok) << d.result.error;
    const std::string head = unit_line + "000006 REC_EVAL expr=(neg int (neg int ";
    EXPECT_EQ(d.text.compare(0, head.size(), head), 0);
    EXPECT_EQ(d.text.size(), unit_line.size() + std::string("000006 REC_EVAL expr=").size() +
                                 depth * std::string("(neg int ").size() + tent.size() + depth + 1);
    EXPECT_EQ(d.text.substr(d.text.size() - 3), "))\n");

    d = dump(truncated);
    EXPECT_FALSE(d.result.ok);
    EXPECT_EQ(d.result.error, "unexpected end of file in REC_EVAL at offset 000006");
    EXPECT_EQ(d.text, unit_line);
}

}  // namespace
