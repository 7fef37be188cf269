// Constant folding against a small evaluator of the target's integer rules:
// random constant expressions over the eight integer kinds are written as C
// text, folded by the compiler, and their values compared. The seed is fixed
// and may be replaced through ZPC_FOLD_SEED to explore further.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "../support.h"
#include "driver/options.h"
#include "expr/parse.h"
#include "expr/tree.h"
#include "lexer/pptoken.h"
#include "lexer/tokenizer.h"

namespace {

// Kind codes as the type model numbers them: bit 0 set = unsigned.
constexpr std::uint8_t CHAR = 0x10, UCHAR = 0x11, SHORT = 0x20, USHORT = 0x21, INT = 0x30, UINT = 0x31, LONG = 0x40,
                       ULONG = 0x41;

struct Mode {
    bool cc, sa;  // -cc, -sa
};

struct Value {
    std::uint32_t v;
    std::uint8_t kind;
};

// The value cut to the width of its kind; longs and everything under -cc
// stay as they are.
std::uint32_t reduce(std::uint32_t v, std::uint8_t kind, const Mode &m)
{
    if (m.cc)
        return v;
    switch (kind) {
    case CHAR: return static_cast<std::uint32_t>(static_cast<std::int8_t>(v));
    case UCHAR: return v & 0xFF;
    case SHORT:
    case INT: return static_cast<std::uint32_t>(static_cast<std::int16_t>(v));
    case USHORT:
    case UINT: return v & 0xFFFF;
    default: return v;
    }
}

// For these kinds the unary and the binary promotion agree.
std::uint8_t promote(std::uint8_t k) { return k < USHORT ? INT : k == USHORT ? UINT : k; }
int rank(std::uint8_t k) { return k == INT ? SHORT : k == UINT ? USHORT : k; }

// Constants compared: unsigned 16-bit values are cut first (not under -sa),
// and a side is unsigned-like by its type or, without -sa, by a value that
// is not negative; under -sa one unsigned type makes both sides so.
int compare(Value l, Value r, const Mode &m)
{
    std::uint32_t a = l.v, b = r.v;
    bool ul, ur;
    if (m.sa) {
        ul = ur = (l.kind | r.kind) & 1;
    } else {
        if (l.kind == USHORT || l.kind == UINT)
            a &= 0xFFFF;
        if (r.kind == USHORT || r.kind == UINT)
            b &= 0xFFFF;
        ul = (l.kind & 1) || static_cast<std::int32_t>(a) >= 0;
        ur = (r.kind & 1) || static_cast<std::int32_t>(b) >= 0;
    }
    if (ul && ur)
        return a < b ? -1 : a > b;
    if (!ul && !ur) {
        std::int32_t sa = static_cast<std::int32_t>(a), sb = static_cast<std::int32_t>(b);
        return sa < sb ? -1 : sa > sb;
    }
    return ul ? 1 : -1;  // the negative side is the smaller
}

// A constant used as a condition is compared with the int 0.
bool truth(Value x, const Mode &m) { return compare(x, {0, INT}, m) != 0; }

enum BinOp { MUL, DIV, MOD, ADD, SUB, SHL, SHR, AND, XOR, OR, LT, LE, GT, GE, EQ, NE, LAND, LOR };
struct BinOpInfo {
    const char *text;
    int level;
};
const BinOpInfo binops[] = {{"*", 12}, {"/", 12}, {"%", 12}, {"+", 11}, {"-", 11}, {"<<", 10},
                            {">>", 10}, {"&", 7}, {"^", 6}, {"|", 5}, {"<", 9}, {"<=", 9},
                            {">", 9}, {">=", 9}, {"==", 8}, {"!=", 8}, {"&&", 4}, {"||", 3}};

// Both operands constant. False for a zero divisor, which is not folded.
bool fold(BinOp op, Value l, Value r, const Mode &m, Value *out)
{
    if (op >= LT) {
        int c = op >= LAND ? 0 : compare(l, r, m);
        bool t = op == LT ? c < 0 : op == LE ? c <= 0 : op == GT ? c > 0 : op == GE ? c >= 0
               : op == EQ ? c == 0 : op == NE ? c != 0
               : op == LAND ? truth(l, m) && truth(r, m) : truth(l, m) || truth(r, m);
        *out = {t, INT};
        return true;
    }
    bool shift = op == SHL || op == SHR;
    std::uint8_t pl = promote(l.kind), pr = promote(r.kind);
    // The higher rank wins; on equal ranks the right operand's type.
    std::uint8_t t = shift ? pl : rank(pl) > rank(pr) ? pl : pr;
    std::uint32_t a = reduce(l.v, t, m), b = reduce(r.v, shift ? UCHAR : t, m);
    std::int64_t sa = static_cast<std::int32_t>(a), sb = static_cast<std::int32_t>(b);
    bool is_signed = !(t & 1);
    std::uint32_t v = 0;
    switch (op) {
    case MUL: v = a * b; break;
    case DIV:
    case MOD:
        if (b == 0)
            return false;
        if (op == DIV)
            v = is_signed ? static_cast<std::uint32_t>(sa / sb) : a / b;
        else
            v = is_signed ? static_cast<std::uint32_t>(sa % sb) : a % b;
        break;
    case ADD: v = a + b; break;
    case SUB: v = a - b; break;
    // Counts are taken modulo 32.
    case SHL: v = a << (b & 31); break;
    case SHR:
        v = is_signed ? static_cast<std::uint32_t>(static_cast<std::int32_t>(a) >> (b & 31)) : a >> (b & 31);
        break;
    case AND: v = a & b; break;
    case XOR: v = a ^ b; break;
    default: v = a | b; break;
    }
    *out = {reduce(v, t, m), t};
    return true;
}

struct CastName {
    std::uint8_t kind;
    const char *text;
};
const CastName casts[] = {{CHAR, "char"}, {CHAR, "signed char"}, {UCHAR, "unsigned char"},
                          {SHORT, "short"}, {SHORT, "short int"}, {USHORT, "unsigned short"},
                          {INT, "int"}, {INT, "signed"}, {UINT, "unsigned"}, {UINT, "unsigned int"},
                          {LONG, "long"}, {LONG, "long int"}, {ULONG, "unsigned long"}};

const std::uint32_t boundaries[] = {0, 1, 2, 7, 8, 15, 16, 31, 32, 33, 127, 128, 255, 256, 32767, 32768,
                                    32769, 65535, 65536, 0x7fffffff, 0x80000000, 0x80000001, 0xffffffff};
const char *const suffixes[] = {"", "", "", "", "u", "U", "l", "L", "ul", "lu", "UL", "Lu"};

// Constants of other spellings: character constants (int, sign-extended
// from a byte) and sizeof (unsigned int).
struct Spelled {
    const char *text;
    Value val;
};
const Spelled spelled[] = {{"'A'", {65, INT}}, {"'\\377'", {0xffffffff, INT}}, {"'\\x80'", {0xffffff80, INT}},
                           {"'ab'", {0x6162, INT}}, {"'\\0'", {0, INT}}, {"sizeof(long)", {4, UINT}},
                           {"sizeof(unsigned char)", {1, UINT}}, {"sizeof 0", {2, UINT}}};

// An expression as text, the precedence level of its top operator (14 a
// literal, 13 a unary form or cast) and its value. For a literal, `bare` is
// its value as the direct operand of unary minus, where 32768 stays an int
// and 0x80000000 a long.
struct Expr {
    std::string text;
    int level;
    Value val, bare;
    bool literal;
};

class Generator {
public:
    Generator(std::mt19937 &rng, Mode m) : rng_(rng), m_(m) {}

    Expr make(int depth)
    {
        if (depth <= 0 || pick(5) == 0)
            return literal();
        unsigned what = pick(22);
        if (what < 14)
            return binary(what < 10 ? BinOp(pick(10)) : what < 13 ? BinOp(LT + pick(6)) : BinOp(LAND + pick(2)), depth);
        if (what < 16)
            return unary("-+~!"[pick(4)], depth);
        if (what < 19) {
            const CastName &c = casts[pick(std::size(casts))];
            Expr e = make(depth - 1);
            Value v = {reduce(e.val.v, c.kind, m_), c.kind};
            return {"(" + std::string(c.text) + ")" + paren(e, e.level < 13), 13, v, {}, false};
        }
        if (what == 21 && depth > 1)
            return guarded(depth);
        if (what >= 20) {
            // The size of the folded expression's type shows that type.
            Expr e = make(depth - 1);
            std::uint32_t size = e.val.kind < SHORT ? 1 : e.val.kind < LONG ? 2 : 4;
            return {"sizeof(" + e.text + ")", 14, {size, UINT}, {size, UINT}, false};
        }
        Expr t = make(depth - 1), a = make(depth - 1), b = make(depth - 1);
        return conditional(t, a, b, truth(t.val, m_) ? a.val : b.val);
    }

    // `e / (x ^ x)` or `e % (x ^ x)`: a division by a constant zero, which
    // stays unfolded. Its value is unknown; its kind is the division's.
    Expr zero_divisor(int depth)
    {
        Expr e = make(depth), x = make(depth - 1);
        std::uint8_t pe = promote(e.val.kind), px = promote(x.val.kind);
        std::string text = paren(e, e.level < 12) + (pick(2) ? " / " : " % ") + "((" + x.text + ") ^ (" + x.text + "))";
        return {text, 12, {0, rank(pe) > rank(px) ? pe : px}, {}, false};
    }

private:
    std::mt19937 &rng_;
    Mode m_;

    unsigned pick(std::size_t n) { return static_cast<unsigned>(rng_() % n); }

    // Parentheses where the grammar needs them, and now and then where it
    // does not.
    std::string paren(const Expr &e, bool needed)
    {
        return needed || pick(16) == 0 ? "(" + e.text + ")" : e.text;
    }

    Expr literal()
    {
        if (pick(20) == 0) {
            const Spelled &c = spelled[pick(std::size(spelled))];
            return {c.text, 14, c.val, c.val, true};
        }
        std::uint32_t v = boundaries[pick(std::size(boundaries))];
        if (pick(4) == 0)
            v = rng_() >> (8 * pick(4));
        std::string suffix = suffixes[pick(std::size(suffixes))];
        bool u = suffix.find_first_of("uU") != std::string::npos;
        bool l = suffix.find_first_of("lL") != std::string::npos;
        char digits[16];
        unsigned base = pick(8);
        std::snprintf(digits, sizeof digits, base < 5 ? "%u" : base == 5 ? "0x%x" : base == 6 ? "0X%X" : "0%o", v);
        bool decimal = base < 5 && v != 0;
        // The kind the spelling gives.
        std::uint8_t k = u && l ? ULONG
                       : u ? (v < 65536 ? UINT : ULONG)
                       : l ? (v < 0x80000000u ? LONG : ULONG)
                       : v <= 32767 || (decimal && v == 32768) ? INT
                       : !decimal && v < 65536 ? UINT
                       : v <= 0x80000000u ? LONG : ULONG;
        Value bare = {v, k}, val = bare;
        if (k == INT && v == 32768)
            val.kind = LONG;
        else if (k == LONG && v == 0x80000000u)
            val.kind = ULONG;
        return {digits + suffix, 14, val, bare, true};
    }

    // A constant test picks a branch; the result has the higher of the two
    // promoted types, the middle operand's on equal ranks.
    Expr conditional(const Expr &t, const Expr &a, const Expr &b, Value chosen)
    {
        std::uint8_t pa = promote(a.val.kind), pb = promote(b.val.kind);
        std::uint8_t k = rank(pa) >= rank(pb) ? pa : pb;
        return {paren(t, t.level <= 2) + " ? " + a.text + " : " + b.text, 2, {reduce(chosen.v, k, m_), k}, {}, false};
    }

    // A zero divisor where it is never evaluated: the branch a constant test
    // does not take, or beside a constant that decides `&&` or `||` (an
    // operand without effects may be dropped).
    Expr guarded(int depth)
    {
        Expr t = make(depth - 1), e = make(depth - 1), z = zero_divisor(depth - 2);
        bool taken = truth(t.val, m_);
        if (pick(2))
            return taken ? conditional(t, e, z, e.val) : conditional(t, z, e, e.val);
        BinOp op = taken ? LOR : LAND;
        int level = binops[op].level;
        const Expr &l = pick(2) ? t : z, &r = &l == &t ? z : t;
        return {paren(l, l.level <= level) + " " + binops[op].text + " " + paren(r, r.level <= level), level,
                {taken, INT}, {}, false};
    }

    Expr unary(char op, int depth)
    {
        Expr e = make(depth - 1);
        std::string operand = paren(e, e.level < 13);
        Value x = op == '-' && e.literal && operand == e.text ? e.bare : e.val;
        std::uint8_t k = promote(x.kind);
        std::uint32_t v = op == '-' ? 0u - x.v : op == '~' ? ~x.v : op == '+' ? x.v : x.v == 0;
        if (op == '!')
            k = INT;
        // `- -1` and `+ +1`, not the decrement and increment tokens.
        return {std::string(1, op) + (operand[0] == op ? " " : "") + operand, 13, {reduce(v, k, m_), k}, {}, false};
    }

    Expr binary(BinOp op, int depth)
    {
        Expr l = make(depth - 1), r = make(depth - 1);
        Value v;
        if (!fold(op, l.val, r.val, m_, &v)) {
            op = SUB;  // keep the divisors of inner nodes non-zero
            fold(op, l.val, r.val, m_, &v);
        }
        // `&&` and `||` group to the right: equal levels get parentheses on
        // either side.
        int level = binops[op].level;
        bool left_needs = l.level < level || (l.level == level && level <= 4);
        return {paren(l, left_needs) + " " + binops[op].text + " " + paren(r, r.level <= level), level, v, {}, false};
    }
};

const char *kind_name(std::uint8_t k)
{
    for (const CastName &c : casts)
        if (c.kind == k)
            return c.text;
    return "?";
}

class FoldRandom : public CompilerTest {
protected:
    // What the last parse reported, read from where the stream stood.
    std::string reported_since(long start)
    {
        std::fflush(error_stream);
        if (std::ftell(error_stream) == start)
            return "";
        std::fseek(error_stream, start, SEEK_SET);
        std::string text;
        for (int c; (c = std::fgetc(error_stream)) != EOF;)
            text += static_cast<char>(c);
        return text;
    }
};

struct Case {
    std::string text;
    Value expected;
    bool zero_divisor;
};

TEST_F(FoldRandom, ConstantExpressionsFoldByTheTargetRules)
{
    std::uint32_t seed = 0x5eed2024;
    if (const char *s = std::getenv("ZPC_FOLD_SEED"))
        seed = static_cast<std::uint32_t>(std::strtoul(s, nullptr, 0));
    std::mt19937 rng(seed);
    // Twenty units of 5000 expressions: most without options, the rest under
    // -cc, -sa or both.
    const Mode modes[] = {{false, false}, {true, false}, {false, false}, {false, true}, {false, false},
                          {true, true}, {false, false}, {true, false}, {false, false}, {false, true}};
    constexpr int units = 20, per_unit = 5000, max_failures = 10;
    int failures = 0, folded = 0, zero_divisors = 0;
    for (int unit = 0; unit < units && failures < max_failures; ++unit) {
        const Mode &m = modes[unit % std::size(modes)];
        TearDown();  // a fresh compiler for each unit
        SetUp();
        no_const_cast = m.cc;
        strict_ansi = m.sa;
        no_const_replacement = m.sa;
        Generator gen(rng, m);
        std::vector<Case> cases;
        for (int k = 0; k < per_unit; ++k) {
            Expr e = gen.make(1 + rng() % 5);
            cases.push_back({e.text, e.val, false});
            if (k % 100 == 99)
                cases.push_back({gen.zero_divisor(1 + rng() % 4).text, {}, true});
        }
        std::string source;
        for (const Case &c : cases)
            source += c.text + ";\n";
        open_text(source);
        const std::string options = std::string(m.cc ? " -cc" : "") + (m.sa ? " -sa" : "");
        for (const Case &c : cases) {
            std::fflush(error_stream);
            long start = std::ftell(error_stream);
            std::int32_t value = 0;
            bool present = parse_constant(&value, 1);
            std::uint16_t next = next_token()->code;
            std::string said = reported_since(start);
            end_function_nodes();
            std::string failure;
            if (c.zero_divisor) {
                ++zero_divisors;
                if (!present || said.find("invalid constant expression") == std::string::npos)
                    failure = "expected \"invalid constant expression\"";
            } else {
                ++folded;
                if (!present || static_cast<std::uint32_t>(value) != c.expected.v || !said.empty()) {
                    char text[96];
                    std::snprintf(text, sizeof text, "folded to %d (0x%x), expected %d (0x%x, %s)", value,
                                  static_cast<unsigned>(value), static_cast<int>(c.expected.v), c.expected.v,
                                  kind_name(c.expected.kind));
                    failure = text;
                }
            }
            if (next != TK_SEMICOLON)
                failure += " [the parse stopped before the ';']";
            if (!failure.empty()) {
                ADD_FAILURE() << "seed " << seed << ", options" << (options.empty() ? " none" : options) << ": "
                              << c.text << "\n  " << failure << (said.empty() ? "" : "\n  reported: " + said);
                if (++failures == max_failures || next != TK_SEMICOLON)
                    break;
            }
        }
    }
    if (failures == 0) {
        EXPECT_EQ(folded, units * per_unit);
        EXPECT_EQ(zero_divisors, units * per_unit / 100);
    }
}

}  // namespace
