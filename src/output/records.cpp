// The writers of the intermediate file: primitives, references, expressions
// and records, in the byte layouts the code generator reads.
#include "output/records.h"

#include <cstdio>
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/names.h"
#include "model/types.h"
#include "runtime/options.h"
#include "runtime/textbuf.h"
#include "tree/tree.h"

std::uint16_t local_instance = 2;

namespace {

std::uint32_t label_counter = 1;

// Records the analyser reads differ in a few fields.
bool analyser() { return analyser_output != 0; }

void put_leaf(const Node *n);
void put_call(const Node *n);

// An operand whose value is not used that computes nothing but a truth
// value is written as the comma of its operands.
bool written_as_comma(const Node *n)
{
    if (is_comparison_op(n->op))
        return true;
    return (n->op == OP_ANDAND || n->op == OP_OROR) && same_tree(n->right, n->right, true);
}

// The storage byte of a symbol leaf.
std::uint8_t storage_byte(const Symbol *s)
{
    switch (s->sclass) {
    case SC_AUTO: return 32;
    case SC_ARGUMENT:
    case SC_REGARG: return 160;
    case SC_REGISTER: {
        unsigned a = s->attr;
        return static_cast<std::uint8_t>((a & 56) ? ((a >> 1) | 128) : a * 4);
    }
    default: return 0;
    }
}

// Whether a symbol is reached by its name (as opposed to a frame offset or
// an absolute address).
bool named_storage(const Symbol *s)
{
    switch (s->sclass) {
    case SC_NONE:
    case SC_STATIC:
    case SC_EXTERN: return true;
    case SC_LOCALIZED: return (s->attr & ATTR_SPACE) != SPACE_FAR;
    default: return false;
    }
}

}  // namespace

const Symbol *symbol_address(const Node *leaf, std::uint32_t *offset)
{
    const Symbol *s = leaf->symbol;
    if (s->sclass == SC_LOCALIZED && (s->flags & SYM_DEFINED) && s->alias) {
        // An alias names the object it stands for, at the alias's offset.
        const Node *target = s->alias;
        *offset += target->value;
        return (target->leaf & LEAF_SYMBOL) ? target->symbol : nullptr;
    }
    if (named_storage(s))
        return s;
    *offset += s->value;
    return nullptr;
}

namespace {

std::uint16_t literal_attribute() { return strict_ansi ? 0 : ATTR_CONST; }

// A leaf of a substituted counter: the part of its known value that the
// leaf reads (all of it, or the low bytes of a narrowed read), as a
// constant of the leaf's type.
std::uint32_t substituted_value(const Node *n)
{
    const Symbol *s = n->symbol;
    std::int32_t whole = type_size(s->type), part = type_size(n->type);
    std::uint32_t v = s->const_value->value;
    std::int32_t below = whole - part - static_cast<std::int32_t>(n->value);  // bytes after the part, big-endian
    if (below > 0 && below < 4 && part >= 1 && part < 4)
        v >>= 8 * below;
    // Written as constants of the type are: sign-extended when signed.
    if (part == 1 || part == 2) {
        unsigned bits = 8u * static_cast<unsigned>(part);
        v &= (1u << bits) - 1;
        if (!(n->type->kind & KIND_UNSIGNED_BIT) && (v >> (bits - 1)))
            v |= ~((1u << bits) - 1);
    }
    return v;
}

void put_leaf(const Node *n)
{
    put_byte(0);
    if ((n->leaf & LEAF_SYMBOL) && (n->symbol->flags & SYM_SUBSTITUTED)) {
        put_type_ref(n->type, 0);
        put_zeros(3);
        put_word(substituted_value(n));
        put_byte(0);
        put_byte(0);
        return;
    }
    if (n->leaf & LEAF_SYMBOL) {
        const Symbol *s = n->symbol;
        bool reg = s->sclass == SC_REGISTER;
        put_type_ref(n->type, reg ? 0 : s->attr);
        std::uint32_t offset = n->value;
        if (const Symbol *named = symbol_address(n, &offset))
            put_name_ref(named);
        else
            put_zeros(3);
        put_word(offset);
        put_byte(storage_byte(s));
        put_byte(!reg && (n->leaf & LEAF_LVALUE) ? 1 : 0);
        return;
    }
    if (n->leaf & LEAF_LITERAL) {
        PoolEntry *e = n->literal;
        if (is_float_constant(n)) {
            // A floating constant takes four labels on first use; as a
            // float it is the third, as a double the fourth.
            if (!e->label) {
                e->label = new_label();
                new_label();
                new_label();
                new_label();
            }
            bool single = n->type->kind == KIND_FLOAT;
            e->written[0] |= single ? 4 : 8;
            put_type_ref(n->type, literal_attribute());
            put_byte(0);
            put_half(e->label + (single ? 4 : 6));
            put_zeros(5);
            put_byte(1);
            return;
        }
        if (!e->label)
            e->label = new_label();
        put_type_ref(n->type, literal_attribute());
        put_byte(0);
        put_half(e->label);
        put_word(n->value);
        put_byte(0);
        put_byte(n->leaf & LEAF_LVALUE ? 1 : 0);
        return;
    }
    bool tiny = (n->leaf & LEAF_LVALUE) && n->value <= 255;
    put_type_ref(n->type, tiny ? SPACE_TINY : 0);
    put_zeros(3);
    put_word(n->value);
    put_byte(0);
    put_byte(n->leaf & LEAF_LVALUE ? 1 : 0);
}

void put_call(const Node *n)
{
    put_byte(n->right ? 169 : 105);
    put_type_ref(n->type, 0);
    put_called_function(n->left);
    const Node *arg = n->right;
    while (arg && arg->op == OP_ARG) {
        put_byte(165);
        put_type_ref(&type_int, 0);
        put_expression(arg->left, false);
        arg = arg->right;
    }
    if (arg)
        put_expression(arg, false);
}

}  // namespace

void put_double(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    put_word(static_cast<std::uint32_t>(bits));
    put_word(static_cast<std::uint32_t>(bits >> 32));
}

void put_zeros(std::size_t n)
{
    while (n--)
        put_byte(0);
}

void put_bytes(const void *bytes, std::size_t n)
{
    if (output_buffered + n > OUTPUT_BUFFER_SIZE)
        flush_output();
    if (n > OUTPUT_BUFFER_SIZE) {
        if (output_stream)
            std::fwrite(bytes, 1, n, output_stream);
        return;
    }
    std::memcpy(output_buffer + output_buffered, bytes, n);
    output_buffered += n;
}

void put_header_string(const char *text)
{
    if (!text) {
        put_byte(0);
        return;
    }
    char kept[255];
    std::size_t n = 0;
    for (const char *p = text; *p && n < sizeof kept; ++p)
        if (*p != '"')
            kept[n++] = *p;
    put_byte(static_cast<unsigned>(n));
    put_bytes(kept, n);
}

std::uint16_t new_label()
{
    label_counter += 2;
    if (label_counter > 0xFFFF)
        report("file too large for label information");
    return static_cast<std::uint16_t>(label_counter);
}

std::uint8_t name_kind(const Symbol *s)
{
    std::uint8_t kind = 0x81;
    if (s->type && s->type->kind == KIND_FUNCTION) {
        const Type *r = s->type->of;
        kind = 0x84;
        if (r && r->kind == KIND_DOUBLE)
            kind = 0x85;
        else if (r && is_struct_or_union_kind(r->kind))
            kind = 0x86;
    }
    if ((s->attr & ATTR_SPACE) == SPACE_FAR)
        kind |= 0x08;
    if (s->sclass == SC_LOCALIZED)
        kind |= 0x10;
    return kind;
}

void put_name_ref(const Symbol *s)
{
    if (!s || !s->name) {
        put_label_ref(0);
        return;
    }
    // The length byte counts the characters plus one.
    unsigned length = s->name->length > 254 ? 254 : s->name->length;
    put_byte(length + 1);
    unsigned tag = 0;
    if (s->sclass == SC_STATIC)
        tag = s->value & 0xFFFF;
    else if (s->flags & SYM_LOCAL_AT)
        tag = local_instance;
    put_half(tag);
    put_byte(name_kind(s));
    put_bytes(s->name->chars, length);
}

void put_label_ref(unsigned label)
{
    put_byte(0);
    put_half(label);
}

std::uint8_t type_code(const Type *type)
{
    unsigned kind = type->kind;
    if (kind == KIND_ENUM && type->of)
        kind = type->of->kind;
    switch (kind) {
    case KIND_CHAR: return 1;
    case KIND_UCHAR:
    case KIND_VOID: return 2;
    case KIND_SHORT:
    case KIND_INT:
    case KIND_ARRAY:
    case KIND_FUNCTION: return 3;
    case KIND_BITS16:
    case KIND_BITSINT: return 4;
    case KIND_USHORT:
    case KIND_UINT: return 5;
    case KIND_LONG: return 6;
    case KIND_BITS32: return 7;
    case KIND_ULONG: return 8;
    case KIND_FLOAT: return 9;
    case KIND_DOUBLE: return 10;
    case KIND_POINTER: return 11;
    case 0x50:
    case 0x54: return 12;
    case KIND_BITS8:
    case 0x01: return 13;
    case KIND_STRUCT:
    case KIND_UNION: return 14;
    default:
        report("PANIC! bad type code: %x", static_cast<int>(kind));
        return 1;
    }
}

void put_type_ref(const Type *type, std::uint16_t attribute)
{
    std::uint8_t code = type_code(type);
    if (type->kind == KIND_ENUM && type->of)
        type = type->of;
    put_byte(attribute ? code | 0x80u : code);
    if (attribute)
        put_half(attribute);
    switch (code) {
    case 11: put_half(type->attr); break;
    case 4:
    case 7:
    case 13:
        put_byte(type->bit_offset);
        put_byte(type->bit_width);
        break;
    case 14: put_word(type->size); break;
    default: break;
    }
}

std::uint8_t operator_byte(unsigned op)
{
    switch (op) {
    case OP_ADD: return 222;
    case OP_SUB: return 216;
    case OP_MUL: return 226;
    case OP_DIV: return 133;
    case OP_MOD: return 153;
    case OP_SHL: return 151;
    case OP_SHR: return 160;
    case OP_AND: return 193;
    case OP_XOR: return 163;
    case OP_OR: return 156;
    case OP_NEG: return 108;
    case OP_DEREF: return 107;
    case OP_ADDR: return 100;
    case OP_LT: return 149;
    case OP_GE: return 144;
    case OP_GT: return 143;
    case OP_LE: return 150;
    case OP_EQ: return 148;
    case OP_NE: return 155;
    case OP_ANDAND: return 130;
    case OP_OROR: return 157;
    case OP_NOT: return 90;
    case OP_COMPL: return 67;
    case OP_ASSIGN: return 136;
    case OP_COND: return 159;
    case OP_CAST: return 102;
    case OP_ADDASG: return 142;
    case OP_SUBASG: return 139;
    case OP_MULASG: return 145;
    case OP_DIVASG: return 135;
    case OP_MODASG: return 140;
    case OP_SHLASG: return 137;
    case OP_SHRASG: return 138;
    case OP_ANDASG: return 134;
    case OP_XORASG: return 146;
    case OP_ORASG: return 141;
    case OP_COMMA: return 168;
    case OP_POSTINC: return 170;
    case OP_POSTDEC: return 167;
    default: return 0;
    }
}

void put_called_function(const Node *designator)
{
    // The function is written as the indirection of its designator: the
    // address of a named function becomes the function itself, anything
    // else (a pointer) an OP_DEREF with the designator's type.
    if (designator->op == OP_LEAF && (designator->leaf & LEAF_SYMBOL) && !(designator->leaf & LEAF_LVALUE)) {
        Node function = *designator;
        function.leaf |= LEAF_LVALUE;
        put_leaf(&function);
        return;
    }
    put_byte(operator_byte(OP_DEREF));
    put_type_ref(designator->type, 0);
    put_expression(designator, false);
}

void put_expression(const Node *node, bool for_effect)
{
    // Right-hand operands are written in a loop so that long chains of
    // binary operators take no stack.
    while (node) {
        if (node->op == OP_LEAF) {
            put_leaf(node);
            return;
        }
        if (node->op == OP_CALL) {
            put_call(node);
            return;
        }
        if (node->op == OP_CAST && node->type->kind == KIND_VOID) {
            node = node->left;
            continue;
        }
        if (for_effect && written_as_comma(node)) {
            put_byte(operator_byte(OP_COMMA));
            put_type_ref(node->type, 0);
            put_expression(node->left, true);
            node = node->right;
            continue;
        }
        std::uint8_t byte = operator_byte(node->op);
        if (!byte) {
            report("PANIC! unknown op %x", static_cast<int>(node->op));
            return;
        }
        put_byte(byte);
        put_type_ref(node->type, 0);
        if (node->op == OP_CAST || is_unary_op(node->op)) {
            node = node->left;
            continue;
        }
        unsigned op = node->op;
        bool left_for_effect = op == OP_COMMA ? true
                               : (op == OP_COND || op == OP_ANDAND || op == OP_OROR) ? false
                                                                                    : for_effect;
        put_expression(node->left, left_for_effect);
        if (op == OP_COND)
            put_expression(node->value_node, for_effect);
        if (op == OP_ASSIGN || is_compound_assign_op(op) || op == OP_POSTINC || op == OP_POSTDEC)
            for_effect = false;
        node = node->right;
    }
}

void write_unit_record()
{
    if (analyser()) {
        put_byte(REC_UNIT_ANALYSER);
        put_byte(no_widen_arguments ? 0x1F : 0x17);
        return;
    }
    put_byte(REC_UNIT);
    put_byte(even_align_data ? 4 : 0);
    put_byte((single_float ? 0x01 : 0) | (no_widen_arguments ? 0x02 : 0) | (debug_info ? 0x04 : 0) |
             (debug_data ? 0x08 : 0));
    put_byte(255);
    put_byte(0);
    put_header_string(program_name);
    put_header_string(ZPC_VERSION);
    put_header_string(ZPC_BUILD_DATE);
    const struct {
        std::int32_t *option;
        const char *text;
    } first[] = {{&expand_asm_defines, "ad"}, {&even_align_constants, "bc"}, {&even_align_data, "b"},
                 {&c99_mode, "c99"},          {&no_const_cast, "cc"},         {&no_const_propagation, "cp"}};
    for (const auto &f : first)
        if (*f.option)
            put_header_string(f.text);
    TextBuffer text;
    for (std::int32_t i = path_list_count(&define_list); i-- > 0;) {
        const char *d = path_list_entry(&define_list, i);
        if (std::strncmp(d, "__VERS__", 8) == 0)
            continue;
        text.length = 0;
        text.append("d ");
        text.append(d);
        put_header_string(text.data);
    }
    if (single_float)
        put_header_string("f");
    for (std::int32_t i = path_list_count(&header_list); i-- > 0;) {
        text.length = 0;
        text.append("h ");
        text.append(path_list_entry(&header_list, i));
        put_header_string(text.data);
    }
    if (model_config) {
        char m[16];
        std::snprintf(m, sizeof m, "m 0x%04x", static_cast<unsigned>(model_config) & 0xFFFF);
        put_header_string(m);
    }
    const struct {
        std::int32_t *option;
        const char *text;
    } second[] = {{&no_bitfield_packing, "nb"}, {&no_const_replacement, "nc"}, {&no_enum_optimization, "ne"},
                  {&allow_pointer_narrowing, "np"}, {&no_share_locals, "ns"},    {&no_widen_arguments, "nw"},
                  {&need_prototypes, "p"},      {&reverse_bitfields, "rb"},   {&strict_ansi, "sa"},
                  {&no_reorder_locals, "s"},    {&plain_char_unsigned, "u"}};
    for (const auto &s : second)
        if (*s.option)
            put_header_string(s.text);
    if (debug_extended)
        put_header_string("xx");
    else if (debug_info)
        put_header_string("x");
    put_byte(0);
}

void write_asm_text(const char *text, std::size_t n)
{
    do {
        std::size_t piece = n > 255 ? 255 : n;
        if (piece == 0)
            return;
        put_byte(REC_ASM_TEXT);
        put_byte(static_cast<unsigned>(piece));
        put_bytes(text, piece);
        text += piece;
        n -= piece;
    } while (n);
}

void write_file_record(const char *name, const char *directory)
{
    std::size_t n = std::strlen(name);
    std::size_t d = directory ? std::strlen(directory) : 0;
    std::size_t after = n + (directory ? 1 + d : 0);
    if (after > 254) {
        // The length is one byte: a longer name keeps its end.
        if (directory) {
            d = 0;
            directory = nullptr;
        }
        if (n > 254) {
            name += n - 254;
            n = 254;
        }
        after = n;
    }
    put_byte(REC_FILE);
    put_byte(static_cast<unsigned>(1 + after));
    put_zeros(3);
    put_bytes(name, n);
    if (directory) {
        put_byte(0);
        put_bytes(directory, d);
    }
}

void write_line(std::uint32_t line)
{
    put_byte(REC_LINE);
    put_word(line);
}

void write_jump(unsigned label)
{
    put_byte(REC_JUMP);
    put_half(label);
}

void write_label(unsigned label, std::uint32_t line, bool loop_head, bool reached_by_table)
{
    put_byte(reached_by_table ? REC_CASE_LABEL : REC_LABEL);
    put_half(label);
    put_word(line);
    if (line)
        put_byte(loop_head ? 1 : 0);
}

void write_branch(unsigned comparison, unsigned label, const Node *left, const Node *right)
{
    static const std::uint8_t codes[] = {141, 135, 136, 142, 138, 143};  // < >= > <= == !=
    put_byte(is_comparison_op(comparison) ? codes[comparison - OP_LT] : 143);
    put_half(label);
    put_expression(left, false);
    put_expression(right, false);
}

void write_eval(const Node *node)
{
    put_byte(REC_EVAL);
    put_expression(node, true);
}

void write_return() { put_byte(REC_RETURN); }

void write_negate_in_place(const Type *type, const Node *object)
{
    put_byte(REC_NEGATE_IN_PLACE);
    put_type_ref(type, 0);
    put_expression(object, false);
}

void write_complement_in_place(const Type *type, const Node *object)
{
    put_byte(REC_COMPLEMENT_IN_PLACE);
    put_type_ref(type, 0);
    put_expression(object, false);
}

void write_asm(const Node *call, const char *text, std::size_t n, const Node *more_arguments)
{
    put_byte(more_arguments ? REC_ASM_ARGS : REC_ASM);
    put_type_ref(call->type, 0);
    put_called_function(call->left);
    if (n > 254)
        n = 254;
    put_byte(static_cast<unsigned>(n + 1));
    put_bytes(text, n);
    put_byte(0);
    if (more_arguments) {
        const Node *arg = more_arguments;
        while (arg->op == OP_ARG) {
            put_byte(165);
            put_type_ref(&type_int, 0);
            put_expression(arg->left, false);
            arg = arg->right;
        }
        put_expression(arg, false);
    }
}

void write_switch(unsigned value_size, unsigned table_label)
{
    put_byte(value_size == 1 ? REC_SWITCH_1 : value_size == 2 ? REC_SWITCH_2 : REC_SWITCH_4);
    put_half(table_label);
}

void write_cases(unsigned table_label, unsigned default_label, unsigned count, unsigned value_size)
{
    put_byte(REC_CASES);
    put_byte(0);
    put_half(table_label);
    put_half(default_label);
    put_half(count);
    put_half(value_size);
}

void write_case_range(std::int32_t first, unsigned span, const std::uint16_t *labels)
{
    put_byte(REC_CASE_RANGE);
    put_half(span);
    put_word(static_cast<std::uint32_t>(first));
    for (unsigned i = 0; i < span; ++i)
        put_half(labels[i]);
}

void write_case_list(unsigned count, const std::int32_t *values, const std::uint16_t *labels)
{
    put_byte(REC_CASE_LIST);
    put_half(count);
    for (unsigned i = 0; i < count; ++i) {
        put_word(static_cast<std::uint32_t>(values[i]));
        put_half(labels[i]);
    }
}

void write_cases_end() { put_byte(REC_CASES_END); }

void write_loop_start(unsigned label, const Node *count)
{
    put_byte(REC_LOOP);
    put_half(label);
    put_byte(1);
    put_expression(count, false);
}

void write_loop_end(unsigned label)
{
    put_byte(REC_LOOP);
    put_half(label);
    put_byte(0);
}

void write_function(std::uint32_t declaration_line, std::uint32_t brace_line)
{
    put_byte(REC_FUNCTION);
    put_word(declaration_line);
    put_word(brace_line);
}

void write_first_arg(const Type *type)
{
    put_byte(REC_FIRST_ARG);
    put_type_ref(type, 0);
}

void write_arg_size(std::uint32_t bytes)
{
    put_byte(REC_ARG_SIZE);
    put_word(bytes);
}

void write_frame(std::int32_t lowest_offset)
{
    put_byte(REC_FRAME);
    put_word(static_cast<std::uint32_t>(lowest_offset));
}

void write_function_end() { put_byte(REC_FUNCTION_END); }

void write_declaration(std::uint8_t code, const Symbol *symbol, std::uint16_t attribute, std::uint32_t size)
{
    put_byte(code);
    put_name_ref(symbol);
    put_half(attribute);
    put_word(size);
}

void write_data(unsigned alignment, const Symbol *symbol)
{
    put_byte(REC_DATA);
    put_byte(alignment);
    put_name_ref(symbol);
}

void write_data_attr(unsigned alignment, std::uint16_t attribute, std::uint32_t size, const Symbol *symbol)
{
    put_byte(REC_DATA_ATTR);
    put_byte(alignment);
    put_half(attribute);
    if (!analyser())
        put_word(size);
    put_name_ref(symbol);
}

void write_data_at(const Symbol *symbol, std::uint32_t address)
{
    put_byte(REC_DATA_AT);
    put_byte(0);
    put_name_ref(symbol);
    put_word(address);
}

void write_data_label(unsigned alignment, unsigned label)
{
    put_byte(REC_DATA_LABEL);
    put_byte(alignment);
    put_zeros(3);
    put_half(label);
}

void write_bytes(const void *bytes, std::size_t n)
{
    const unsigned char *p = static_cast<const unsigned char *>(bytes);
    for (;;) {
        std::size_t piece = n > 255 ? 255 : n;
        put_byte(REC_BYTES);
        put_byte(static_cast<unsigned>(piece));
        put_bytes(p, piece);
        p += piece;
        n -= piece;
        if (piece < 255)
            return;
    }
}

void write_int(unsigned size, std::uint32_t value)
{
    put_byte(REC_INT);
    put_byte(size);
    put_word(value);
}

void write_float(unsigned size, double value)
{
    put_byte(REC_FLOAT);
    put_byte(size);
    put_double(value);
}

void write_addr(unsigned size, const Symbol *symbol, unsigned label, std::uint16_t pointed_attr,
                std::uint32_t offset)
{
    put_byte(size == 1 ? REC_ADDR_1 : size == 2 ? REC_ADDR_2 : REC_ADDR_4);
    if (symbol)
        put_name_ref(symbol);
    else
        put_label_ref(label);
    if (size == 4 && !analyser())
        put_half(pointed_attr);
    put_word(offset);
}

void write_space(std::uint32_t n)
{
    put_byte(REC_SPACE);
    put_word(n);
}

void write_data_end() { put_byte(REC_DATA_END); }

void write_section(unsigned value, const char *name)
{
    put_byte(REC_SECTION);
    put_half(value);
    put_header_string(name);
}

void write_space_name(const char *name)
{
    std::size_t n = std::strlen(name);
    if (n > 254)
        n = 254;
    put_byte(REC_SPACE_NAME);
    put_byte(static_cast<unsigned>(n + 1));
    put_zeros(3);
    put_bytes(name, n);
}

void write_name(const char *name, std::size_t n)
{
    if (n > 255)
        n = 255;
    put_byte(REC_NAME);
    put_byte(static_cast<unsigned>(n));
    put_bytes(name, n);
}

void write_source_range(std::uint32_t first_line, unsigned first_column, std::uint32_t last_line,
                        unsigned last_column)
{
    put_byte(REC_SOURCE_RANGE);
    put_word(first_line);
    put_half(first_column);
    put_word(last_line);
    put_half(last_column);
}

void write_debug_label(unsigned label)
{
    put_byte(REC_DEBUG_LABEL);
    put_zeros(2);
    put_half(label);
}

void write_debug_func(const char *file_name, const char *function_name)
{
    TextBuffer text;
    text.append(file_name);
    text.append('~');
    text.append(function_name);
    std::size_t n = text.length > 254 ? 254 : text.length;
    put_byte(REC_DEBUG_FUNC);
    put_byte(0);
    put_byte(static_cast<unsigned>(n + 1));
    put_zeros(3);
    put_bytes(text.data, n);
}

void write_debug_file(const char *file_name)
{
    std::size_t n = std::strlen(file_name);
    if (n > 254)
        n = 254;
    put_byte(REC_DEBUG_FILE);
    put_byte(0);
    put_byte(static_cast<unsigned>(n + 1));
    put_zeros(3);
    put_bytes(file_name, n);
}

void records_reset()
{
    label_counter = 1;
    local_instance = 2;
}
