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
//   for both call codes. A storage byte other than 0 (static, external or
//   none) is followed by its meaning: storage=32(frame), 160(arg),
//   1(result), 2(switch), anything else (register).
// - Attribute fields (attr=) print the word in hex and, when it is not 0,
//   the names of its bits: attr=0xb800(const,far,funcdecl); const volatile
//   tiny near far funcdecl nostack inline packed, user=0xNN for the
//   user-defined spaces. Type references keep the bare hex (@0x8000).
// - Texts (header strings, REC_BYTES data, assembly text, names of files,
//   sections and spaces) print in double quotes with \\, \" and \ooo for
//   bytes outside printable ASCII. REC_BYTES, REC_ASM_TEXT and the text of
//   REC_ASM print the byte count first: n=5 "hello".
// - Lists: header strings and the further arguments of REC_ASM_ARGS repeat
//   their field (header="a" header="b", arg=... arg=...); the labels of
//   REC_CASE_RANGE and the pairs of REC_CASE_LIST are comma lists
//   (labels=5,7,9 and cases=10:5,20:7 as value:label).
// - Inside the debug tables (the data after REC_DEBUG_LABEL, REC_DEBUG_FILE,
//   REC_DEBUG_FUNC or REC_NAME, up to the next other record) a 4-byte
//   REC_INT also prints its bytes read most significant first, which is
//   how a type word is stored: value=402653264 msb_first=0x50000018.
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

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ir/reader.h"

namespace {

using ir::put_offset;

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

struct Decoder : ir::Reader {
    bool in_debug = false;  // after a debug marker: 4-byte integers also in file order

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
        ir::TypeRef t = Reader::type_ref();
        if (failed())
            return;
        s += ir::type_name(t.code);
        if (t.has_attr) {
            s += '@';
            put_hex(s, t.attr, 4);
        }
        if (t.code == ir::TYPE_PTR) {
            s += "->";
            put_hex(s, t.target_attr, 4);
        } else if (ir::is_bitfield_type(t.code)) {
            s += ':';
            put_unsigned(s, t.bit_offset);
            s += ':';
            put_unsigned(s, t.bit_width);
        } else if (t.code == ir::TYPE_STRUCT) {
            s += '[';
            put_unsigned(s, t.struct_size);
            s += ']';
        }
    }

    void name_ref(std::string &s)
    {
        ir::NameRef n = Reader::name_ref();
        if (failed())
            return;
        if (n.length == 0) {
            if (n.tag) {
                s += 'L';
                put_unsigned(s, n.tag);
            } else {
                s += '-';
            }
            return;
        }
        put_name(s, n.chars, n.chars_length());
        if (n.tag) {
            s += '[';
            put_unsigned(s, n.tag);
            s += ']';
        }
        s += '{';
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", n.kind);
        s += hex;
        s += '}';
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
            if (op == ir::EXPR_LEAF) {
                s += "(leaf ";
                type_ref(s);
                s += ' ';
                name_ref(s);
                s += ' ';
                put_signed(s, word());
                storage_field(s, byte());
                field_unsigned(s, "lvalue", byte());
                s += ')';
            } else if (op == ir::EXPR_CALL || op == ir::EXPR_CALL_WITH_ARGS) {
                s += "(call ";
                type_ref(s);
                open.push_back({1, op == ir::EXPR_CALL_WITH_ARGS});
            } else if (ir::operator_info(op).spelling) {
                s += '(';
                s += ir::operator_info(op).spelling;
                s += ' ';
                type_ref(s);
                open.push_back({ir::operator_info(op).operands, false});
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

    // An attribute word: its hex value, then the names of its bits when
    // any is set: attr=0xb800(const,far,funcdecl).
    void attr_field(std::string &s, const char *name = "attr")
    {
        field(s, name);
        unsigned attr = half();
        put_hex(s, attr, 4);
        if (attr == 0)
            return;
        static const struct {
            unsigned mask, value;
            const char *name;
        } bits[] = {
            {0x8000, 0x8000, "const"},    {0x4000, 0x4000, "volatile"}, {0x3000, 0x1000, "tiny"},
            {0x3000, 0x2000, "near"},     {0x3000, 0x3000, "far"},      {0x0800, 0x0800, "funcdecl"},
            {0x0400, 0x0400, "nostack"},  {0x0200, 0x0200, "inline"},   {0x0100, 0x0100, "packed"},
        };
        char separator = '(';
        for (const auto &bit : bits) {
            if ((attr & bit.mask) == bit.value) {
                s += separator;
                s += bit.name;
                separator = ',';
            }
        }
        if (attr & 0xFF) {
            s += separator;
            s += "user=";
            put_hex(s, attr & 0xFF, 2);
        }
        s += ')';
    }

    // The storage byte of a leaf, with its meaning unless it is 0 (static,
    // external, or none): storage=32(frame).
    void storage_field(std::string &s, unsigned storage)
    {
        field_unsigned(s, "storage", storage);
        switch (storage) {
        case 0: break;
        case 32: s += "(frame)"; break;
        case 160: s += "(arg)"; break;
        case 1: s += "(result)"; break;
        case 2: s += "(switch)"; break;
        default: s += "(register)"; break;
        }
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

using ir::branch_condition;
using ir::record_name;

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
    case 137: {
        unsigned width = byte();
        field_unsigned(s, "size", width);
        field(s, "value");
        std::uint32_t v = word();
        put_signed(s, v);
        if (in_debug && width == 4) {
            field(s, "msb_first");
            put_hex(s, (v >> 24) | ((v >> 8) & 0xFF00) | ((v << 8) & 0xFF0000) | (v << 24), 8);
        }
        break;
    }
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

// The name of the record whose code byte stands at `at`: a file begins with
// one of the two unit records, which stand nowhere else (code 203 is
// REC_ASM_TEXT after the first record). Null for a code no record has.
static const char *name_at(std::size_t at, unsigned code)
{
    if (at == 0)
        return code == ir::REC_UNIT ? "REC_UNIT" : code == ir::REC_UNIT_ANALYSER ? "REC_UNIT_ANALYSER" : nullptr;
    return code == ir::REC_UNIT_ANALYSER ? nullptr : record_name(code);
}

bool dump_record(const unsigned char *data, std::size_t size, std::size_t at, bool analyser, std::string &out)
{
    if (at >= size)
        return false;
    Decoder d;
    d.data = data;
    d.size = size;
    d.pos = at + 1;
    d.analyser = analyser;
    unsigned code = data[at];
    const char *name = name_at(at, code);
    if (!name)
        return false;
    d.record = name;
    d.record_at = at;
    std::size_t mark = out.size();
    put_offset(out, at);
    out += ' ';
    out += name;
    bool ok = at == 0 && code == ir::REC_UNIT ? d.unit(out) : d.record_body(code, out);
    if (!ok)
        out.resize(mark);
    return ok;
}

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
        const char *name = name_at(at, code);
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
        if (first && code == ir::REC_UNIT) {
            ok = d.unit(out);
        } else {
            if (first)
                d.analyser = true;
            bool item = code == ir::REC_BYTES || code == ir::REC_INT || code == ir::REC_ADDR_1 ||
                        code == ir::REC_ADDR_2 || code == ir::REC_ADDR_4;
            if (!item)
                d.in_debug = code == ir::REC_DEBUG_LABEL || code == ir::REC_DEBUG_FILE ||
                             code == ir::REC_DEBUG_FUNC || code == ir::REC_NAME;
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
