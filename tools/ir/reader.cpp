#include "ir/reader.h"

#include <array>
#include <cstdio>

namespace ir {

namespace {

constexpr const char *type_names[] = {nullptr, "char",  "uchar", "int", "bits16", "uint",   "long", "bits32",
                                      "ulong", "float", "double", "ptr", "real12", "bits8", "struct"};

constexpr std::array<OperatorInfo, 256> make_operators()
{
    std::array<OperatorInfo, 256> t{};
    auto set = [&](unsigned code, const char *spelling, unsigned char operands) { t[code] = {spelling, operands}; };
    set(OP_ADD, "+", 2);
    set(OP_SUB, "-", 2);
    set(OP_MUL, "*", 2);
    set(OP_DIV, "/", 2);
    set(OP_MOD, "%", 2);
    set(OP_SHL, "<<", 2);
    set(OP_SHR, ">>", 2);
    set(OP_AND, "&", 2);
    set(OP_XOR, "^", 2);
    set(OP_OR, "|", 2);
    set(OP_NEG, "neg", 1);
    set(OP_DEREF, "deref", 1);
    set(OP_ADDR, "addr", 1);
    set(OP_LT, "<", 2);
    set(OP_GE, ">=", 2);
    set(OP_GT, ">", 2);
    set(OP_LE, "<=", 2);
    set(OP_EQ, "==", 2);
    set(OP_NE, "!=", 2);
    set(OP_ANDAND, "&&", 2);
    set(OP_OROR, "||", 2);
    set(OP_NOT, "!", 1);
    set(OP_COMPL, "~", 1);
    set(OP_ASSIGN, "=", 2);
    set(OP_COND, "?:", 3);
    set(OP_CAST, "cast", 1);
    set(OP_ADDASG, "+=", 2);
    set(OP_SUBASG, "-=", 2);
    set(OP_MULASG, "*=", 2);
    set(OP_DIVASG, "/=", 2);
    set(OP_MODASG, "%=", 2);
    set(OP_SHLASG, "<<=", 2);
    set(OP_SHRASG, ">>=", 2);
    set(OP_ANDASG, "&=", 2);
    set(OP_XORASG, "^=", 2);
    set(OP_ORASG, "|=", 2);
    set(OP_COMMA, ",", 2);
    // The increment is carried as a second operand, the constant 1.
    set(OP_POSTINC, "post++", 2);
    set(OP_POSTDEC, "post--", 2);
    return t;
}
constexpr std::array<OperatorInfo, 256> operators = make_operators();

}  // namespace

const OperatorInfo &operator_info(unsigned code) { return operators[code & 0xFF]; }

const char *type_name(unsigned code) { return code >= 1 && code <= 14 ? type_names[code] : nullptr; }

const char *branch_condition(unsigned code)
{
    switch (code) {
    case REC_BRANCH_LT: return "lt";
    case REC_BRANCH_GE: return "ge";
    case REC_BRANCH_GT: return "gt";
    case REC_BRANCH_LE: return "le";
    case REC_BRANCH_EQ: return "eq";
    case REC_BRANCH_NE: return "ne";
    }
    return nullptr;
}

const char *record_name(unsigned code)
{
    switch (code) {
    case 203: return "REC_ASM_TEXT";
    case 202: return "REC_UNIT_ANALYSER";
    case 19: return "REC_FILE";
    case 20: return "REC_LINE";
    case 139: return "REC_JUMP";
    case 140: return "REC_LABEL";
    case 130: return "REC_CASE_LABEL";
    case 141: case 135: case 136: case 142: case 138: case 143: return "REC_BRANCH";
    case 150: return "REC_EVAL";
    case 146: return "REC_RETURN";
    case 114: return "REC_NEGATE_IN_PLACE";
    case 115: return "REC_COMPLEMENT_IN_PLACE";
    case 113: return "REC_ASM";
    case 180: return "REC_ASM_ARGS";
    case 149: case 190: case 189: return "REC_SWITCH";
    case 185: return "REC_CASES";
    case 205: return "REC_CASE_RANGE";
    case 206: return "REC_CASE_LIST";
    case 151: return "REC_CASES_END";
    case 194: return "REC_LOOP";
    case 251: return "REC_FUNCTION";
    case 217: return "REC_FIRST_ARG";
    case 218: return "REC_ARG_SIZE";
    case 129: return "REC_FRAME";
    case 211: return "REC_FUNCTION_END";
    case 134: return "REC_FUNC_DEF";
    case 132: return "REC_OBJ_DEF";
    case 144: return "REC_EXTERN";
    case 131: return "REC_DATA";
    case 199: return "REC_DATA_ATTR";
    case 201: return "REC_DATA_AT";
    case 184: return "REC_DATA_LABEL";
    case 148: return "REC_BYTES";
    case 137: return "REC_INT";
    case 133: return "REC_FLOAT";
    case 197: case 192: case 200: return "REC_ADDR";
    case 147: return "REC_SPACE";
    case 210: return "REC_DATA_END";
    case 204: return "REC_SECTION";
    case 186: return "REC_SPACE_NAME";
    case 187: return "REC_NAME";
    case 188: return "REC_SOURCE_RANGE";
    case 213: return "REC_DEBUG_LABEL";
    case 214: return "REC_DEBUG_FUNC";
    case 215: return "REC_DEBUG_FILE";
    }
    return nullptr;
}

void put_offset(std::string &s, std::size_t offset)
{
    char text[32];
    std::snprintf(text, sizeof text, "%06zu", offset);
    s += text;
}

void Reader::fail(const std::string &what, std::size_t at)
{
    if (failed())
        return;
    error = what + " at offset ";
    put_offset(error, at);
    error += " in ";
    error += record;
    error += " at offset ";
    put_offset(error, record_at);
    bad = true;
}

bool Reader::short_read()
{
    if (!bad) {
        error = std::string("unexpected end of file in ") + record + " at offset ";
        put_offset(error, record_at);
        bad = true;
    }
    return false;
}

std::uint64_t Reader::eight_bytes()
{
    if (!have(8))
        return 0;
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = v << 8 | data[pos + static_cast<std::size_t>(i)];
    pos += 8;
    return v;
}

const unsigned char *Reader::bytes(std::size_t n)
{
    if (!have(n))
        return nullptr;
    const unsigned char *p = data + pos;
    pos += n;
    return p;
}

void Reader::fixed(unsigned expected, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t at = pos;
        unsigned b = byte();
        if (!failed() && b != expected)
            fail("byte " + std::to_string(b) + " where " + std::to_string(expected) + " belongs", at);
    }
}

std::size_t Reader::length_plus_one()
{
    std::size_t at = pos;
    unsigned n = byte();
    if (!failed() && n == 0)
        fail("length byte 0 (it counts one more than the characters)", at);
    return n ? n - 1 : 0;
}

void Reader::bad_type_code(unsigned code, std::size_t at) { fail("bad type code " + std::to_string(code), at); }

bool Reader::argument_prefix(bool &last)
{
    if (!have(1))
        return false;
    if (data[pos] != EXPR_ARG_PREFIX) {
        last = true;
        return true;
    }
    ++pos;
    std::size_t at = pos;
    unsigned type = byte();
    if (!failed() && type != TYPE_INT)
        fail("argument prefix with type code " + std::to_string(type) + " instead of int", at);
    return !failed();
}

}  // namespace ir
