// The one reader of the intermediate file that the tools share: bounds-checked
// primitives (little-endian numbers, fixed bytes, counted texts), the
// structured forms of a name reference and a type reference, and the tables
// of record codes, operator bytes and type codes. zpc-dump turns what it
// reads into text, zpc-run into executable form. Written from the file's
// layout alone: it shares no code with the compiler's writer.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace ir {

// Record codes. Code 203 is the unit record at offset 0 and assembly text
// anywhere else; the six branch codes, the three switch codes and the three
// address-item codes share one layout each.
enum : unsigned {
    REC_UNIT = 203, REC_ASM_TEXT = 203, REC_UNIT_ANALYSER = 202,
    REC_FILE = 19, REC_LINE = 20, REC_JUMP = 139, REC_LABEL = 140, REC_CASE_LABEL = 130,
    REC_BRANCH_LT = 141, REC_BRANCH_GE = 135, REC_BRANCH_GT = 136, REC_BRANCH_LE = 142,
    REC_BRANCH_EQ = 138, REC_BRANCH_NE = 143,
    REC_EVAL = 150, REC_RETURN = 146, REC_NEGATE_IN_PLACE = 114, REC_COMPLEMENT_IN_PLACE = 115,
    REC_ASM = 113, REC_ASM_ARGS = 180,
    REC_SWITCH_2 = 149, REC_SWITCH_1 = 190, REC_SWITCH_4 = 189,
    REC_CASES = 185, REC_CASE_RANGE = 205, REC_CASE_LIST = 206, REC_CASES_END = 151,
    REC_LOOP = 194, REC_FUNCTION = 251, REC_FIRST_ARG = 217, REC_ARG_SIZE = 218, REC_FRAME = 129,
    REC_FUNCTION_END = 211, REC_FUNC_DEF = 134, REC_OBJ_DEF = 132, REC_EXTERN = 144,
    REC_DATA = 131, REC_DATA_ATTR = 199, REC_DATA_AT = 201, REC_DATA_LABEL = 184,
    REC_BYTES = 148, REC_INT = 137, REC_FLOAT = 133,
    REC_ADDR_1 = 197, REC_ADDR_2 = 192, REC_ADDR_4 = 200,
    REC_SPACE = 147, REC_DATA_END = 210, REC_SECTION = 204, REC_SPACE_NAME = 186, REC_NAME = 187,
    REC_SOURCE_RANGE = 188, REC_DEBUG_LABEL = 213, REC_DEBUG_FUNC = 214, REC_DEBUG_FILE = 215,
};

// Bytes of the expression encoding.
enum : unsigned {
    EXPR_LEAF = 0, EXPR_CALL = 105, EXPR_CALL_WITH_ARGS = 169, EXPR_ARG_PREFIX = 165,
    OP_ADD = 222, OP_SUB = 216, OP_MUL = 226, OP_DIV = 133, OP_MOD = 153, OP_SHL = 151, OP_SHR = 160,
    OP_AND = 193, OP_XOR = 163, OP_OR = 156, OP_NEG = 108, OP_DEREF = 107, OP_ADDR = 100,
    OP_LT = 149, OP_GE = 144, OP_GT = 143, OP_LE = 150, OP_EQ = 148, OP_NE = 155,
    OP_ANDAND = 130, OP_OROR = 157, OP_NOT = 90, OP_COMPL = 67, OP_ASSIGN = 136, OP_COND = 159,
    OP_CAST = 102, OP_ADDASG = 142, OP_SUBASG = 139, OP_MULASG = 145, OP_DIVASG = 135,
    OP_MODASG = 140, OP_SHLASG = 137, OP_SHRASG = 138, OP_ANDASG = 134, OP_XORASG = 146,
    OP_ORASG = 141, OP_COMMA = 168, OP_POSTINC = 170, OP_POSTDEC = 167,
};

// Type codes.
enum : unsigned {
    TYPE_CHAR = 1, TYPE_UCHAR = 2, TYPE_INT = 3, TYPE_BITS16 = 4, TYPE_UINT = 5, TYPE_LONG = 6,
    TYPE_BITS32 = 7, TYPE_ULONG = 8, TYPE_FLOAT = 9, TYPE_DOUBLE = 10, TYPE_PTR = 11,
    TYPE_REAL12 = 12, TYPE_BITS8 = 13, TYPE_STRUCT = 14,
};

constexpr bool is_bitfield_type(unsigned code) { return code == TYPE_BITS16 || code == TYPE_BITS32 || code == TYPE_BITS8; }

struct OperatorInfo {
    const char *spelling;    // the C spelling, or neg deref addr cast post++ post--
    unsigned char operands;  // 0: not an operator of the table
};
const OperatorInfo &operator_info(unsigned code);

// The record's name for a code byte met after the first record, or null.
const char *record_name(unsigned code);
// lt ge gt le eq ne for the six branch codes, else null.
const char *branch_condition(unsigned code);
const char *type_name(unsigned code);  // codes 1 to 14

// The offset in the form every message uses: decimal, at least six digits.
void put_offset(std::string &s, std::size_t offset);

struct TypeRef {
    unsigned code;  // 1 to 14
    bool has_attr;
    unsigned attr;         // the object's attribute word when has_attr
    unsigned target_attr;  // pointer: attribute word of the pointed-to object
    unsigned bit_offset, bit_width;
    std::uint32_t struct_size;
};

struct NameRef {
    unsigned length;  // characters + 1; 0: a label or nothing
    unsigned tag;     // label, static label or instance number
    unsigned kind;    // when length is not 0
    const unsigned char *chars;
    std::size_t chars_length() const { return length ? length - 1 : 0; }
};

// Reads one record at a time. After the first failure every read yields 0
// and `error` keeps the message that names the record and its offset.
struct Reader {
    const unsigned char *data = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
    bool analyser = false;  // the file began with REC_UNIT_ANALYSER
    const char *record = "";
    std::size_t record_at = 0;
    std::string error;
    bool bad = false;  // error holds a message

    bool failed() const { return bad; }
    void fail(const std::string &what, std::size_t at);
    // True when n more bytes are there to read; sets the error otherwise.
    bool have(std::size_t n) { return (!bad && size - pos >= n) || short_read(); }
    unsigned byte() { return have(1) ? data[pos++] : 0; }
    unsigned half()
    {
        if (!have(2))
            return 0;
        unsigned v = data[pos] | data[pos + 1] << 8;
        pos += 2;
        return v;
    }
    std::uint32_t word()
    {
        if (!have(4))
            return 0;
        const unsigned char *p = data + pos;
        pos += 4;
        return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
    }
    std::uint64_t eight_bytes();
    const unsigned char *bytes(std::size_t n);
    // A byte the layout fixes (padding zeros, markers).
    void fixed(unsigned expected, std::size_t count = 1);
    // A length byte that counts one more than the characters after it.
    std::size_t length_plus_one();
    TypeRef type_ref()
    {
        TypeRef t{};
        std::size_t at = pos;
        unsigned code = byte();
        t.code = code & 0x7F;
        if (bad || t.code < 1 || t.code > 14) {
            t.code = 0;
            if (!bad)
                bad_type_code(code, at);
            return t;
        }
        if (code & 0x80) {
            t.has_attr = true;
            t.attr = half();
        }
        if (t.code == TYPE_PTR) {
            t.target_attr = half();
        } else if (is_bitfield_type(t.code)) {
            t.bit_offset = byte();
            t.bit_width = byte();
        } else if (t.code == TYPE_STRUCT) {
            t.struct_size = word();
        }
        return t;
    }
    NameRef name_ref()
    {
        NameRef n{};
        n.length = byte();
        n.tag = half();
        if (bad || n.length == 0)
            return n;
        n.kind = byte();
        n.chars = bytes(n.length - 1);
        return n;
    }
  private:
    bool short_read();
    void bad_type_code(unsigned code, std::size_t at);

  public:
    // The byte 165 and the type int before every call argument but the last;
    // sets `last` when no prefix comes. False after a failure.
    bool argument_prefix(bool &last);
};

}  // namespace ir
