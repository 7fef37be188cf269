// Constant folding against a small evaluator of the target's integer rules:
// random constant expressions over the eight integer kinds are written as C
// text, folded by the compiler, and their values compared. A second test
// folds expressions of variables and constants and runs the folded tree
// against the C value for many values of the variables. The seeds are fixed
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
#include "../tree/trees.h"
#include "base/options.h"
#include "lexer/pptoken.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/parse.h"
#include "tree/tree.h"

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

// Constants compared as C compares them: both converted to the higher of
// their promoted types, then compared signed or unsigned by that type.
int compare(Value l, Value r, const Mode &m)
{
    std::uint8_t pl = promote(l.kind), pr = promote(r.kind);
    std::uint8_t t = rank(pl) > rank(pr) ? pl : pr;
    std::uint32_t a = reduce(l.v, t, m), b = reduce(r.v, t, m);
    if (t & 1)
        return a < b ? -1 : a > b;
    std::int32_t sa = static_cast<std::int32_t>(a), sb = static_cast<std::int32_t>(b);
    return sa < sb ? -1 : sa > sb;
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
                // The final folding reports the divisor where the division
                // was read; "invalid constant expression" follows unless it
                // falls on the same position.
                if (!present || (said.find("zero divide") == std::string::npos &&
                                 said.find("zero modulus") == std::string::npos))
                    failure = "expected \"zero divide\" or \"zero modulus\"";
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

// ---- Expressions of variables ----

// A generated expression: a variable, a constant, a cast, a unary or a
// binary operator, with the kind C gives it.
struct VarExpr {
    char what;  // 'v' variable, 'k' constant, 'c' cast, 'u' unary, 'b' binary
    int op = 0;  // BinOp, or the unary's character
    int var = 0;
    Value constant{};
    std::uint8_t kind = INT;
    int left = -1, right = -1;  // indexes into the expression's node list
    std::string text;
};

struct Variable {
    const char *name;
    std::uint8_t kind;
};
const Variable variables[] = {{"i", INT}, {"u", UINT}, {"l", LONG}, {"ul", ULONG}, {"c", CHAR}, {"uc", UCHAR}};

Type &type_of_kind(std::uint8_t k)
{
    switch (k) {
    case CHAR: return type_char;
    case UCHAR: return type_uchar;
    case UINT: return type_uint;
    case LONG: return type_long;
    case ULONG: return type_ulong;
    default: return type_int;
    }
}

// A value for a variable: mostly one at a boundary, else any.
template <std::size_t count>
std::uint32_t pick_input(std::mt19937 &rng, const std::uint32_t (&interesting)[count])
{
    return rng() % 2 ? interesting[rng() % count] : static_cast<std::uint32_t>(rng()) >> (8 * (rng() % 4));
}

// The C value of node `n` for the variable values `vars`, or false when
// the evaluation overflows a signed type (undefined, so any result will do).
bool c_value(const std::vector<VarExpr> &nodes, int n, const std::uint32_t *vars, std::uint32_t *out)
{
    const Mode m{false, false};
    const VarExpr &e = nodes[static_cast<std::size_t>(n)];
    auto fits = [&](std::int64_t exact, std::uint8_t k) {
        return k & 1 || (k == LONG ? exact == static_cast<std::int32_t>(exact) : exact == static_cast<std::int16_t>(exact));
    };
    switch (e.what) {
    case 'v': *out = reduce(vars[e.var], e.kind, m); return true;
    case 'k': *out = e.constant.v; return true;
    case 'c': {
        std::uint32_t v;
        if (!c_value(nodes, e.left, vars, &v))
            return false;
        *out = reduce(v, e.kind, m);
        return true;
    }
    case 'u': {
        std::uint32_t v;
        if (!c_value(nodes, e.left, vars, &v))
            return false;
        v = reduce(v, e.kind, m);
        std::int64_t exact = -static_cast<std::int64_t>(static_cast<std::int32_t>(v));
        if (e.op == '-' && !fits(exact, e.kind))
            return false;
        *out = reduce(e.op == '-' ? 0u - v : ~v, e.kind, m);
        return true;
    }
    default: break;
    }
    std::uint32_t a, b;
    if (!c_value(nodes, e.left, vars, &a) || !c_value(nodes, e.right, vars, &b))
        return false;
    bool shift = e.op == SHL || e.op == SHR;
    a = reduce(a, e.kind, m);
    b = shift ? b : reduce(b, e.kind, m);
    bool is_signed = !(e.kind & 1);
    std::int64_t sa = is_signed ? static_cast<std::int32_t>(a) : static_cast<std::int64_t>(a);
    std::int64_t sb = is_signed ? static_cast<std::int32_t>(b) : static_cast<std::int64_t>(b);
    std::int64_t exact = 0;
    std::uint32_t v = 0;
    switch (e.op) {
    case ADD: exact = sa + sb; v = a + b; break;
    case SUB: exact = sa - sb; v = a - b; break;
    case MUL: exact = is_signed ? sa * sb : 0; v = a * b; break;
    case DIV:
    case MOD:
        if (b == 0)
            return false;
        exact = e.op == DIV ? sa / sb : sa % sb;
        v = static_cast<std::uint32_t>(exact);
        break;
    case SHL: v = a << b; break;
    case SHR: v = is_signed ? static_cast<std::uint32_t>(static_cast<std::int32_t>(a) >> b) : a >> b; break;
    case AND: v = a & b; break;
    case XOR: v = a ^ b; break;
    default: v = a | b; break;
    }
    if (is_signed && (e.op <= SUB) && !fits(exact, e.kind))
        return false;
    *out = reduce(v, e.kind, m);
    return true;
}

class VarGenerator {
public:
    explicit VarGenerator(std::mt19937 &rng) : rng_(rng) {}

    // A new expression of about `depth` operators; its root is the last node.
    std::vector<VarExpr> make(int depth)
    {
        nodes_.clear();
        chain(depth);
        return nodes_;
    }

private:
    std::mt19937 &rng_;
    std::vector<VarExpr> nodes_;

    unsigned pick(std::size_t n) { return static_cast<unsigned>(rng_() % n); }

    int add(VarExpr e)
    {
        nodes_.push_back(std::move(e));
        return static_cast<int>(nodes_.size()) - 1;
    }

    int constant(bool nonzero, bool small)
    {
        static const std::uint32_t values[] = {1, 2, 3, 4, 5, 7, 8, 15, 16, 255, 256, 300, 1000, 15000, 20000,
                                               32767, 32768, 40000, 65535, 65536, 80000, 0x7fffffff, 0x80000000};
        static const std::uint8_t kinds[] = {INT, INT, INT, UINT, LONG, LONG, ULONG};
        std::uint32_t v = small ? pick(5) : pick(8) == 0 && !nonzero ? 0 : values[pick(std::size(values))];
        bool negative = !small && pick(4) == 0;
        std::uint8_t k = small ? INT : kinds[pick(std::size(kinds))];
        // The kind the spelling gives: a plain decimal number beyond int is a
        // long; an unsigned number beyond 16 bits an unsigned long.
        if (k == INT && v > 32767)
            k = LONG;
        if (k == UINT && v > 65535)
            k = ULONG;
        if (k == LONG && v > 0x7fffffff)
            k = ULONG;
        // (A minus before a plain 32768 makes an int of it: the suffix
        // keeps that spelling out.)
        const char *suffix = k == UINT ? "u" : k == LONG ? (pick(2) || negative ? "l" : "") : k == ULONG ? "ul" : "";
        if (k == LONG && v <= 32767)
            suffix = "L";
        std::string text = std::to_string(v) + suffix;
        Value val{v, k};
        if (negative && v != 0) {
            // Unary minus of the constant, in its own kind.
            std::uint8_t pk = promote(k);
            val = {reduce(0u - v, pk, Mode{false, false}), pk};
            text = "(-" + text + ")";
        }
        VarExpr e{'k', 0, 0, {}, INT, -1, -1, {}};
        e.constant = val;
        e.kind = val.kind;
        e.text = text;
        return add(e);
    }

    int variable()
    {
        VarExpr e{'v', 0, 0, {}, INT, -1, -1, {}};
        e.var = static_cast<int>(pick(std::size(variables)));
        e.kind = variables[e.var].kind;
        e.text = variables[e.var].name;
        return add(e);
    }

    int binary(int op, int l, int r)
    {
        VarExpr e{'b', 0, 0, {}, INT, -1, -1, {}};
        e.op = op;
        e.left = l;
        e.right = r;
        std::uint8_t pl = promote(nodes_[static_cast<std::size_t>(l)].kind), pr = promote(nodes_[static_cast<std::size_t>(r)].kind);
        e.kind = op == SHL || op == SHR ? pl : rank(pl) > rank(pr) ? pl : pr;
        e.text = "(" + nodes_[static_cast<std::size_t>(l)].text + " " + binops[op].text + " " +
                 nodes_[static_cast<std::size_t>(r)].text + ")";
        return add(e);
    }

    // A variable with operators and constants applied one after the other,
    // now and then joined with a second such chain: the shapes where
    // constants are combined, moved and rewritten.
    int chain(int depth)
    {
        int n = variable();
        for (int k = 0; k < depth; ++k) {
            unsigned what = pick(20);
            if (what < 13) {
                static const int ops[] = {ADD, ADD, SUB, SUB, MUL, MUL, DIV, MOD, SHL, SHR, AND, OR, XOR};
                int op = ops[pick(std::size(ops))];
                bool shift = op == SHL || op == SHR;
                int c = constant(op == DIV || op == MOD, shift);
                // Constants on the left where that keeps the divisor constant.
                n = !shift && op != DIV && op != MOD && pick(4) == 0 ? binary(op, c, n) : binary(op, n, c);
            } else if (what < 15) {
                VarExpr e{'u', 0, 0, {}, INT, -1, -1, {}};
                e.op = pick(2) ? '-' : '~';
                e.left = n;
                e.kind = promote(nodes_[static_cast<std::size_t>(n)].kind);
                e.text = std::string(1, static_cast<char>(e.op)) + " " + nodes_[static_cast<std::size_t>(n)].text;
                n = add(e);
            } else if (what < 17) {
                // Casts that widen keep a cast node; those that narrow or
                // change only the signedness mostly retype the operand.
                static const CastName to[] = {{CHAR, "char"}, {UCHAR, "unsigned char"}, {INT, "int"},
                                              {UINT, "unsigned"},  {LONG, "long"},  {ULONG, "unsigned long"}};
                const CastName &t = to[pick(std::size(to))];
                VarExpr e{'c', 0, 0, {}, INT, -1, -1, {}};
                e.left = n;
                e.kind = t.kind;
                e.text = "((" + std::string(t.text) + ")" + nodes_[static_cast<std::size_t>(n)].text + ")";
                n = add(e);
            } else if (depth > 1) {
                static const int ops[] = {ADD, SUB, MUL, AND, OR, XOR};
                int other = chain(depth / 2);
                n = binary(ops[pick(std::size(ops))], n, other);
            }
        }
        return n;
    }
};

// The value of a folded tree as the target computes it: each operand keeps
// its own type and is converted to the type of the node that uses it. A
// constant leaf must hold its value reduced to its type.
struct TreeRunner {
    const std::uint32_t *vars;
    const Symbol *symbols[std::size(variables)];
    std::string fault;

    std::uint32_t run(const Node *n)
    {
        const Mode m{false, false};
        std::uint8_t k = static_cast<std::uint8_t>(n->type->kind);
        if (!is_integer_kind(k) || is_bitfield_kind(k)) {
            fault = "a node that is not a plain integer";
            return 0;
        }
        if (n->op == OP_LEAF) {
            if (n->leaf & LEAF_SYMBOL) {
                for (std::size_t v = 0; v < std::size(variables); ++v)
                    if (n->symbol == symbols[v])
                        return reduce(reduce(vars[v], variables[v].kind, m), k, m);
                fault = "an unknown symbol";
                return 0;
            }
            if (n->value != reduce(n->value, k, m))
                fault = "the constant " + std::to_string(static_cast<std::int32_t>(n->value)) + " beyond its type";
            return n->value;
        }
        switch (n->op) {
        case OP_CAST: return reduce(run(n->left), k, m);
        case OP_NEG: return reduce(0u - reduce(run(n->left), k, m), k, m);
        case OP_COMPL: return reduce(~reduce(run(n->left), k, m), k, m);
        case OP_COMMA: run(n->left); return reduce(run(n->right), k, m);
        default: break;
        }
        std::uint32_t a = reduce(run(n->left), k, m), b = run(n->right);
        bool is_signed = !(k & 1);
        bool shift = n->op == OP_SHL || n->op == OP_SHR;
        if (!shift)
            b = reduce(b, k, m);
        auto sa = static_cast<std::int32_t>(a), sb = static_cast<std::int32_t>(b);
        std::uint32_t v;
        switch (n->op) {
        case OP_ADD: v = a + b; break;
        case OP_SUB: v = a - b; break;
        case OP_MUL: v = a * b; break;
        case OP_AND: v = a & b; break;
        case OP_OR: v = a | b; break;
        case OP_XOR: v = a ^ b; break;
        case OP_SHL: v = a << (b & 31); break;
        case OP_SHR: v = is_signed ? static_cast<std::uint32_t>(sa >> (b & 31)) : a >> (b & 31); break;
        case OP_DIV:
        case OP_MOD:
            if (b == 0) {
                fault = "a division by zero";
                return 0;
            }
            if (!is_signed)
                v = n->op == OP_DIV ? a / b : a % b;
            else if (sb == -1)
                v = n->op == OP_DIV ? 0u - a : 0u;
            else
                v = static_cast<std::uint32_t>(n->op == OP_DIV ? sa / sb : sa % sb);
            break;
        default:
            fault = "the operator " + std::to_string(n->op);
            return 0;
        }
        return reduce(v, k, m);
    }
};

TEST_F(FoldRandom, FoldedExpressionsOfVariablesKeepTheirValue)
{
    std::uint32_t seed = 0x5eed2025;
    if (const char *s = std::getenv("ZPC_FOLD_SEED"))
        seed = static_cast<std::uint32_t>(std::strtoul(s, nullptr, 0));
    std::mt19937 rng(seed);
    VarGenerator gen(rng);
    static const std::uint32_t interesting[] = {0, 1, 2, 3, 0xffffffff, 0xfffffffe, 127, 128, 255, 256, 32767,
                                                0xffff8000, 65535, 65536, 0x7fffffff, 0x80000000};
    constexpr int units = 8, per_unit = 1000, inputs = 24, max_failures = 10;
    const Mode m{false, false};
    int failures = 0, compared = 0;
    for (int unit = 0; unit < units && failures < max_failures; ++unit) {
        TearDown();  // a fresh compiler for each unit
        SetUp();
        std::vector<std::vector<VarExpr>> exprs;
        std::string source;
        for (int k = 0; k < per_unit; ++k) {
            exprs.push_back(gen.make(1 + static_cast<int>(rng() % 6)));
            source += exprs.back().back().text + ";\n";
        }
        open_text(source);
        TreeRunner runner{};
        for (std::size_t v = 0; v < std::size(variables); ++v) {
            Symbol *s = new_symbol(&ident_list, intern_name(variables[v].name, std::strlen(variables[v].name)), SC_AUTO,
                                   &type_of_kind(variables[v].kind));
            s->flags |= SYM_DECLARED;
            runner.symbols[v] = s;
        }
        for (const std::vector<VarExpr> &nodes : exprs) {
            const VarExpr &root = nodes.back();
            Node *tree = parse_expression(0);
            bool whole = next_token()->code == TK_SEMICOLON;
            std::string said = messages();
            std::string failure;
            if (!whole || !said.empty())
                failure = "not parsed cleanly: " + said;
            for (int in = 0; in < inputs && failure.empty(); ++in) {
                std::uint32_t vars[std::size(variables)];
                for (std::uint32_t &v : vars)
                    v = pick_input(rng, interesting);
                std::uint32_t expected;
                if (!c_value(nodes, static_cast<int>(nodes.size()) - 1, vars, &expected))
                    continue;
                runner.vars = vars;
                runner.fault.clear();
                std::uint32_t got = runner.run(tree);
                ++compared;
                // Compared in the width of the C type: a fold may give a
                // constant a type of that width but the other signedness.
                if (!runner.fault.empty())
                    failure = "the folded tree holds " + runner.fault;
                else if (reduce(got, root.kind, m) != expected) {
                    failure = "gives " + std::to_string(static_cast<std::int32_t>(got)) + ", C gives " +
                              std::to_string(static_cast<std::int32_t>(expected)) + " for";
                    for (std::size_t v = 0; v < std::size(variables); ++v)
                        failure += std::string(" ") + variables[v].name + "=" +
                                   std::to_string(static_cast<std::int32_t>(reduce(vars[v], variables[v].kind, m)));
                }
            }
            if (!failure.empty()) {
                ADD_FAILURE() << "seed " << seed << ": " << root.text << "\n  folded: " << tree_build::text(tree)
                              << "\n  " << failure;
                if (++failures == max_failures || !whole)
                    break;
            }
            end_function_nodes();
        }
    }
    // Most evaluations are defined: the comparisons really ran.
    EXPECT_GT(compared, units * per_unit * inputs / 2);
}

}  // namespace
