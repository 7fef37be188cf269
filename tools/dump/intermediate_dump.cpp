// Reader of the intermediate file, for zpc-dump.
//
// Output: one line per record,
//
//   OOOOOO REC_NAME field=value field=value ...
//
// OOOOOO is the offset of the record's code byte in decimal, zero padded to
// six digits (more when the file is larger). Fields follow in the order of
// the record's layout. Numbers are decimal: labels, lines, columns, sizes
// and counts unsigned; integer values and offsets as signed 32-bit.
// Attribute words print as 0x plus four hex digits, flag bytes as 0x plus
// two. Records that share a layout under several codes name the code's
// meaning in their first field: REC_BRANCH cond=lt|ge|gt|le|eq|ne,
// REC_SWITCH and REC_ADDR size=1|2|4. Fixed bytes (the zeros and marker
// bytes of a layout) are checked, not printed: a line stands for exactly
// one byte sequence.
//
//   000000 REC_UNIT alignment=0 flags=0x04 header="zpc" header="cp"
//   000031 REC_LABEL label=5 line=12 loop=1
//   000040 REC_BRANCH cond=lt label=9 left=(leaf int x{81} 0 storage=0 lvalue=1) right=(leaf int - 10 storage=0 lvalue=0)
//
// Field texts:
// - NameRef: a name prints as its characters, then [tag] when the tag is not
//   0, then {kk}, the kind byte in hex: counter{81}, buf[5]{81}. Without a
//   name: L5 for label 5, - for no label. Name characters other than
//   printable ones that cannot be confused with this syntax print as \ooo.
// - TypeRef: char uchar int bits16 uint long bits32 ulong float double ptr
//   real12 bits8 struct for codes 1 to 14; an attribute word appends
//   @0x8000; a pointer's pointed-to attribute ->0x1000; a bitfield
//   :offset:width; a struct its size [6]: int@0x8000, ptr->0x1000,
//   bits16:3:5, struct[6].
// - Expressions: prefix S-expressions (OP TYPE OPERAND...) with the C
//   spelling of the operator, or neg deref addr cast post++ post--; leaves
//   (leaf TYPE NAMEREF OFFSET storage=N lvalue=N); calls (call TYPE FN ARG...)
//   for both call codes.
// - Texts (header strings, REC_BYTES data, assembly text, names of files,
//   sections and spaces) print in double quotes with \\, \" and \ooo for
//   bytes outside printable ASCII. REC_BYTES, REC_ASM_TEXT and the text of
//   REC_ASM print the byte count first: n=5 "hello".
// - Lists: header strings and the further arguments of REC_ASM_ARGS repeat
//   their field (header="a" header="b", arg=... arg=...); the labels of
//   REC_CASE_RANGE and the pairs of REC_CASE_LIST are comma lists
//   (labels=5,7,9 and cases=10:5,20:7 as value:label).
// - Optional parts print only when present: loop= of REC_LABEL and
//   REC_CASE_LABEL when the line is not 0, dir= of REC_FILE when a 0 byte
//   splits the directory off, count= of REC_LOOP when start=1.
//
// The first record must be REC_UNIT or REC_UNIT_ANALYSER; the latter selects
// the analyser layouts of REC_DATA_ATTR (no size) and of the 4-byte REC_ADDR
// (no attribute word). Code 203 is REC_UNIT at offset 0 and REC_ASM_TEXT
// anywhere else.
//
// Failures stop the dump with one of (an empty file has a message of its
// own):
//   bad record code N at offset OOOOOO
//   unexpected end of file in REC_X at offset OOOOOO     (offset of the record)
//   WHAT at offset BBBBBB in REC_X at offset OOOOOO      (offset of the bad byte, of the record)
#include "dump/intermediate_dump.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr unsigned CODE_UNIT = 203;  // REC_ASM_TEXT after the first record
constexpr unsigned CODE_UNIT_ANALYSER = 202;

// Bytes of the expression encoding that are not operators of the table.
constexpr unsigned EXPR_LEAF = 0;
constexpr unsigned EXPR_CALL = 105;
constexpr unsigned EXPR_CALL_WITH_ARGS = 169;
constexpr unsigned EXPR_ARG_PREFIX = 165;
constexpr unsigned TYPE_INT = 3;

constexpr const char *type_names[] = {nullptr, "char",  "uchar", "int", "bits16", "uint",   "long", "bits32",
                                      "ulong", "float", "double", "ptr", "real12", "bits8", "struct"};
constexpr unsigned TYPE_PTR = 11;
constexpr unsigned TYPE_STRUCT = 14;
constexpr bool is_bitfield_type(unsigned code) { return code == 4 || code == 7 || code == 13; }

struct Operator {
    const char *spelling;
    unsigned char operands;
};

constexpr std::array<Operator, 256> make_operators()
{
    std::array<Operator, 256> t{};
    auto set = [&](unsigned code, const char *spelling, unsigned char operands) { t[code] = {spelling, operands}; };
    set(222, "+", 2);
    set(216, "-", 2);
    set(226, "*", 2);
    set(133, "/", 2);
    set(153, "%", 2);
    set(151, "<<", 2);
    set(160, ">>", 2);
    set(193, "&", 2);
    set(163, "^", 2);
    set(156, "|", 2);
    set(108, "neg", 1);
    set(107, "deref", 1);
    set(100, "addr", 1);
    set(149, "<", 2);
    set(144, ">=", 2);
    set(143, ">", 2);
    set(150, "<=", 2);
    set(148, "==", 2);
    set(155, "!=", 2);
    set(130, "&&", 2);
    set(157, "||", 2);
    set(90, "!", 1);
    set(67, "~", 1);
    set(136, "=", 2);
    set(159, "?:", 3);
    set(102, "cast", 1);
    set(142, "+=", 2);
    set(139, "-=", 2);
    set(145, "*=", 2);
    set(135, "/=", 2);
    set(140, "%=", 2);
    set(137, "<<=", 2);
    set(138, ">>=", 2);
    set(134, "&=", 2);
    set(146, "^=", 2);
    set(141, "|=", 2);
    set(168, ",", 2);
    // The increment is carried as a second operand, the constant 1.
    set(170, "post++", 2);
    set(167, "post--", 2);
    return t;
}
constexpr std::array<Operator, 256> operators = make_operators();

void put_offset(std::string &s, std::size_t offset)
{
    char text[32];
    std::snprintf(text, sizeof text, "%06zu", offset);
    s += text;
}

void put_unsigned(std::string &s, std::uint64_t v) { s += std::to_string(v); }
void put_signed(std::string &s, std::uint32_t w) { s += std::to_string(static_cast<std::int32_t>(w)); }

void put_hex(std::string &s, unsigned v, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, v);
    s += text;
}

void put_octal_escape(std::string &s, unsigned char c)
{
    s += '\\';
    s += static_cast<char>('0' + (c >> 6));
    s += static_cast<char>('0' + ((c >> 3) & 7));
    s += static_cast<char>('0' + (c & 7));
}

void put_quoted(std::string &s, const unsigned char *bytes, std::size_t n)
{
    s += '"';
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char c = bytes[i];
        if (c == '\\' || c == '"') {
            s += '\\';
            s += static_cast<char>(c);
        } else if (c < 0x20 || c > 0x7E) {
            put_octal_escape(s, c);
        } else {
            s += static_cast<char>(c);
        }
    }
    s += '"';
}

// Name characters print bare except those that would blur where the name
// ends or what follows it.
void put_name(std::string &s, const unsigned char *chars, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char c = chars[i];
        if (c <= 0x20 || c > 0x7E || std::strchr("\\\"()[]{},=", c))
            put_octal_escape(s, c);
        else
            s += static_cast<char>(c);
    }
}

// The shortest text that reads back as the same double; a NaN also shows
// its bits, which the text alone would lose.
void put_double(std::string &s, std::uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    if (std::isnan(value)) {
        char text[32];
        std::snprintf(text, sizeof text, "nan(0x%016llx)", static_cast<unsigned long long>(bits));
        s += text;
        return;
    }
    char text[64];
    std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
    s.append(text, r.ptr);
}

struct Decoder {
    const unsigned char *data = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
    bool analyser = false;
    const char *record = "";
    std::size_t record_at = 0;
    std::string error;  // the first failure; reads after it yield 0

    bool failed() const { return !error.empty(); }

    void fail(const std::string &what, std::size_t at)
    {
        if (failed())
            return;
        error = what + " at offset ";
        put_offset(error, at);
        error += " in ";
        error += record;
        error += " at offset ";
        put_offset(error, record_at);
    }

    bool have(std::size_t n)
    {
        if (failed())
            return false;
        if (size - pos < n) {
            error = std::string("unexpected end of file in ") + record + " at offset ";
            put_offset(error, record_at);
            return false;
        }
        return true;
    }

    unsigned byte()
    {
        if (!have(1))
            return 0;
        return data[pos++];
    }
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
        std::uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = v << 8 | data[pos + static_cast<std::size_t>(i)];
        pos += 4;
        return v;
    }
    std::uint64_t eight_bytes()
    {
        if (!have(8))
            return 0;
        std::uint64_t v = 0;
        for (int i = 7; i >= 0; --i)
            v = v << 8 | data[pos + static_cast<std::size_t>(i)];
        pos += 8;
        return v;
    }
    const unsigned char *bytes(std::size_t n)
    {
        if (!have(n))
            return nullptr;
        const unsigned char *p = data + pos;
        pos += n;
        return p;
    }

    // A byte the layout fixes (padding zeros, markers).
    void fixed(unsigned expected, std::size_t count = 1)
    {
        for (std::size_t i = 0; i < count; ++i) {
            std::size_t at = pos;
            unsigned b = byte();
            if (!failed() && b != expected)
                fail("byte " + std::to_string(b) + " where " + std::to_string(expected) + " belongs", at);
        }
    }

    // A length byte that counts one more than the characters after it.
    std::size_t length_plus_one()
    {
        std::size_t at = pos;
        unsigned n = byte();
        if (!failed() && n == 0)
            fail("length byte 0 (it counts one more than the characters)", at);
        return n ? n - 1 : 0;
    }

    void field(std::string &s, const char *name)
    {
        s += ' ';
        s += name;
        s += '=';
    }
    void field_unsigned(std::string &s, const char *name, std::uint64_t v)
    {
        field(s, name);
        put_unsigned(s, v);
    }

    void text(std::string &s, std::size_t n)
    {
        if (const unsigned char *p = bytes(n))
            put_quoted(s, p, n);
    }
    void counted_text(std::string &s, std::size_t n)
    {
        field_unsigned(s, "n", n);
        s += ' ';
        text(s, n);
    }

    void type_ref(std::string &s)
    {
        std::size_t at = pos;
        unsigned code = byte();
        if (failed())
            return;
        unsigned base = code & 0x7F;
        if (base < 1 || base > 14) {
            fail("bad type code " + std::to_string(code), at);
            return;
        }
        s += type_names[base];
        if (code & 0x80) {
            s += '@';
            put_hex(s, half(), 4);
        }
        if (base == TYPE_PTR) {
            s += "->";
            put_hex(s, half(), 4);
        } else if (is_bitfield_type(base)) {
            s += ':';
            put_unsigned(s, byte());
            s += ':';
            put_unsigned(s, byte());
        } else if (base == TYPE_STRUCT) {
            s += '[';
            put_unsigned(s, word());
            s += ']';
        }
    }

    void name_ref(std::string &s)
    {
        unsigned length = byte();
        unsigned tag = half();
        if (failed())
            return;
        if (length == 0) {
            if (tag) {
                s += 'L';
                put_unsigned(s, tag);
            } else {
                s += '-';
            }
            return;
        }
        unsigned kind = byte();
        const unsigned char *chars = bytes(length - 1);
        if (failed())
            return;
        put_name(s, chars, length - 1);
        if (tag) {
            s += '[';
            put_unsigned(s, tag);
            s += ']';
        }
        s += '{';
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", kind);
        s += hex;
        s += '}';
    }

    // Before every argument but the last: byte 165 and the type int. Sets
    // `last` when no prefix comes, that is when the next argument ends the
    // list.
    bool argument_prefix(bool &last)
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

    // Nodes still awaiting operands are kept on an explicit stack, so a file
    // nesting expressions a million deep costs heap, not the call stack.
    void expression(std::string &s)
    {
        struct Open {
            unsigned pending;  // operands still to read (for a call: the function)
            bool call_args;    // a call whose argument list is still open
        };
        std::vector<Open> open;
        for (;;) {
            std::size_t at = pos;
            unsigned op = byte();
            if (failed())
                return;
            if (op == EXPR_LEAF) {
                s += "(leaf ";
                type_ref(s);
                s += ' ';
                name_ref(s);
                s += ' ';
                put_signed(s, word());
                field_unsigned(s, "storage", byte());
                field_unsigned(s, "lvalue", byte());
                s += ')';
            } else if (op == EXPR_CALL || op == EXPR_CALL_WITH_ARGS) {
                s += "(call ";
                type_ref(s);
                open.push_back({1, op == EXPR_CALL_WITH_ARGS});
            } else if (operators[op].spelling) {
                s += '(';
                s += operators[op].spelling;
                s += ' ';
                type_ref(s);
                open.push_back({operators[op].operands, false});
            } else {
                fail("bad operator " + std::to_string(op), at);
            }
            if (failed())
                return;
            // Close the nodes this one completed, up to the next operand.
            for (;;) {
                if (open.empty())
                    return;
                Open &o = open.back();
                if (o.pending) {
                    --o.pending;
                    break;
                }
                if (o.call_args) {
                    bool last = false;
                    if (!argument_prefix(last))
                        return;
                    o.call_args = !last;
                    break;
                }
                s += ')';
                open.pop_back();
            }
            s += ' ';
        }
    }

    void expression_field(std::string &s, const char *name)
    {
        field(s, name);
        expression(s);
    }

    void attr_field(std::string &s, const char *name = "attr")
    {
        field(s, name);
        put_hex(s, half(), 4);
    }

    bool unit(std::string &s)
    {
        field_unsigned(s, "alignment", byte());
        field(s, "flags");
        put_hex(s, byte(), 2);
        fixed(255);
        fixed(0);
        // Header strings run until the empty one.
        while (!failed()) {
            unsigned n = byte();
            if (n == 0)
                break;
            field(s, "header");
            text(s, n);
        }
        return !failed();
    }

    void label_definition(std::string &s)
    {
        field_unsigned(s, "label", half());
        std::uint32_t line = word();
        field_unsigned(s, "line", line);
        if (line != 0)
            field_unsigned(s, "loop", byte());
    }

    // REC_ASM's layout: type, the called expression, the text with its
    // terminating 0.
    void asm_call(std::string &s)
    {
        field(s, "type");
        type_ref(s);
        expression_field(s, "fn");
        std::size_t n = length_plus_one();
        if (failed())
            return;
        counted_text(s, n);
        fixed(0);
    }

    // Name, fixed-size padding: the layouts that put a length byte (one more
    // than the characters) before three zero bytes.
    void padded_name(std::string &s)
    {
        std::size_t n = length_plus_one();
        fixed(0, 3);
        if (failed())
            return;
        field(s, "name");
        text(s, n);
    }

    bool record_body(unsigned code, std::string &s);
};

const char *branch_condition(unsigned code)
{
    switch (code) {
    case 141: return "lt";
    case 135: return "ge";
    case 136: return "gt";
    case 142: return "le";
    case 138: return "eq";
    case 143: return "ne";
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

// Decodes the fields of the record whose code byte was just read (and whose
// name is already in `s`); false after a failure.
bool Decoder::record_body(unsigned code, std::string &s)
{
    switch (code) {
    case 203:  // a 203 after the first record: assembly text
        counted_text(s, byte());
        break;
    case 202:
        field(s, "flags");
        put_hex(s, byte(), 2);
        break;
    case 19: {
        std::size_t n = length_plus_one();
        fixed(0, 3);
        const unsigned char *p = bytes(n);
        if (!p)
            break;
        // A directory split off from the name follows it after a 0 byte.
        const void *zero = std::memchr(p, 0, n);
        std::size_t name_length = zero ? static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - p) : n;
        field(s, "name");
        put_quoted(s, p, name_length);
        if (zero) {
            field(s, "dir");
            put_quoted(s, p + name_length + 1, n - name_length - 1);
        }
        break;
    }
    case 20:
        field_unsigned(s, "line", word());
        break;
    case 139:
        field_unsigned(s, "label", half());
        break;
    case 140:
    case 130:
        label_definition(s);
        break;
    case 141: case 135: case 136: case 142: case 138: case 143:
        field(s, "cond");
        s += branch_condition(code);
        field_unsigned(s, "label", half());
        expression_field(s, "left");
        expression_field(s, "right");
        break;
    case 150:
        expression_field(s, "expr");
        break;
    case 146: case 151: case 211: case 210:
        break;
    case 114:
    case 115:
        field(s, "type");
        type_ref(s);
        expression_field(s, "object");
        break;
    case 113:
        asm_call(s);
        break;
    case 180: {
        asm_call(s);
        // The further arguments, prefixed as in a call.
        bool last = false;
        while (!failed() && !last) {
            if (!argument_prefix(last))
                break;
            expression_field(s, "arg");
        }
        break;
    }
    case 149: case 190: case 189:
        field_unsigned(s, "size", code == 190 ? 1 : code == 149 ? 2 : 4);
        field_unsigned(s, "label", half());
        break;
    case 185:
        fixed(0);
        field_unsigned(s, "switch_label", half());
        field_unsigned(s, "default_target", half());
        field_unsigned(s, "cases", half());
        field_unsigned(s, "value_size", half());
        break;
    case 205: {
        unsigned span = half();
        field_unsigned(s, "span", span);
        field(s, "first_value");
        put_signed(s, word());
        field(s, "labels");
        for (unsigned i = 0; i < span && !failed(); ++i) {
            if (i)
                s += ',';
            put_unsigned(s, half());
        }
        break;
    }
    case 206: {
        unsigned pairs = half();
        field_unsigned(s, "pairs", pairs);
        field(s, "cases");
        for (unsigned i = 0; i < pairs && !failed(); ++i) {
            if (i)
                s += ',';
            put_signed(s, word());
            s += ':';
            put_unsigned(s, half());
        }
        break;
    }
    case 194: {
        field_unsigned(s, "label", half());
        std::size_t at = pos;
        unsigned start = byte();
        if (failed())
            break;
        field_unsigned(s, "start", start);
        if (start == 1)
            expression_field(s, "count");
        else if (start != 0)
            fail("loop byte " + std::to_string(start) + " (neither 0 nor 1)", at);
        break;
    }
    case 251:
        field_unsigned(s, "decl_line", word());
        field_unsigned(s, "brace_line", word());
        break;
    case 217:
        field(s, "type");
        type_ref(s);
        break;
    case 218:
        field_unsigned(s, "size", word());
        break;
    case 129:
        field(s, "offset");
        put_signed(s, word());
        break;
    case 134: case 132: case 144:
        field(s, "name");
        name_ref(s);
        attr_field(s);
        field_unsigned(s, "size", word());
        break;
    case 131:
        field_unsigned(s, "alignment", byte());
        field(s, "name");
        name_ref(s);
        break;
    case 199:
        field_unsigned(s, "alignment", byte());
        attr_field(s);
        if (!analyser)
            field_unsigned(s, "size", word());
        field(s, "name");
        name_ref(s);
        break;
    case 201:
        fixed(0);
        field(s, "name");
        name_ref(s);
        field_unsigned(s, "address", word());
        break;
    case 184:
        field_unsigned(s, "alignment", byte());
        fixed(0, 3);
        field_unsigned(s, "label", half());
        break;
    case 148:
        counted_text(s, byte());
        break;
    case 137:
        field_unsigned(s, "size", byte());
        field(s, "value");
        put_signed(s, word());
        break;
    case 133:
        field_unsigned(s, "size", byte());
        field(s, "value");
        put_double(s, eight_bytes());
        break;
    case 197: case 192: case 200:
        field_unsigned(s, "size", code == 197 ? 1 : code == 192 ? 2 : 4);
        field(s, "address");
        name_ref(s);
        if (code == 200 && !analyser)
            attr_field(s);
        field(s, "offset");
        put_signed(s, word());
        break;
    case 147:
        field_unsigned(s, "n", word());
        break;
    case 204:
        field_unsigned(s, "value", half());
        field(s, "name");
        text(s, byte());
        break;
    case 186:
        padded_name(s);
        break;
    case 187:
        field(s, "name");
        text(s, byte());
        break;
    case 188:
        field_unsigned(s, "first_line", word());
        field_unsigned(s, "first_column", half());
        field_unsigned(s, "last_line", word());
        field_unsigned(s, "last_column", half());
        break;
    case 213:
        fixed(0, 2);
        field_unsigned(s, "label", half());
        break;
    case 214:
    case 215:
        fixed(0);
        padded_name(s);
        break;
    }
    return !failed();
}

}  // namespace

DumpResult dump_intermediate(const unsigned char *data, std::size_t size, std::string &out)
{
    Decoder d;
    d.data = data;
    d.size = size;
    if (size == 0)
        return {false, "empty file: no REC_UNIT or REC_UNIT_ANALYSER"};
    while (d.pos < size) {
        std::size_t at = d.pos;
        unsigned code = data[d.pos++];
        bool first = at == 0;
        const char *name = first ? (code == CODE_UNIT ? "REC_UNIT" : code == CODE_UNIT_ANALYSER ? "REC_UNIT_ANALYSER" : nullptr)
                                 : code == CODE_UNIT_ANALYSER ? nullptr : record_name(code);
        if (!name) {
            std::string message = "bad record code " + std::to_string(code) + " at offset ";
            put_offset(message, at);
            if (first)
                message += " (a file begins with REC_UNIT or REC_UNIT_ANALYSER)";
            return {false, message};
        }
        d.record = name;
        d.record_at = at;
        std::size_t mark = out.size();
        put_offset(out, at);
        out += ' ';
        out += name;
        bool ok;
        if (first && code == CODE_UNIT) {
            ok = d.unit(out);
        } else {
            if (first)
                d.analyser = true;
            ok = d.record_body(code, out);
        }
        if (!ok) {
            out.resize(mark);
            return {false, d.error};
        }
        out += '\n';
    }
    return {true, {}};
}
