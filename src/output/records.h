// The intermediate file: its primitives (all numbers little-endian), the
// name and type references, expressions in prefix form, one writer per
// record, and the unit's label counter. Everything goes to output_stream,
// strictly in order.
#pragma once
#include <cstddef>
#include <cstdint>

#include "lexer/source.h"

struct Node;
struct Symbol;
struct Type;

// Record codes.
enum : std::uint8_t {
    REC_UNIT = 203,
    REC_UNIT_ANALYSER = 202,
    REC_ASM_TEXT = 203,  // every 203 after the first record
    REC_FILE = 19,
    REC_LINE = 20,
    REC_JUMP = 139,
    REC_LABEL = 140,
    REC_CASE_LABEL = 130,
    REC_EVAL = 150,
    REC_RETURN = 146,
    REC_NEGATE_IN_PLACE = 114,
    REC_COMPLEMENT_IN_PLACE = 115,
    REC_ASM = 113,
    REC_ASM_ARGS = 180,
    REC_SWITCH_1 = 190,
    REC_SWITCH_2 = 149,
    REC_SWITCH_4 = 189,
    REC_CASES = 185,
    REC_CASE_RANGE = 205,
    REC_CASE_LIST = 206,
    REC_CASES_END = 151,
    REC_LOOP = 194,
    REC_FUNCTION = 251,
    REC_FIRST_ARG = 217,
    REC_ARG_SIZE = 218,
    REC_FRAME = 129,
    REC_FUNCTION_END = 211,
    REC_FUNC_DEF = 134,
    REC_OBJ_DEF = 132,
    REC_EXTERN = 144,
    REC_DATA = 131,
    REC_DATA_ATTR = 199,
    REC_DATA_AT = 201,
    REC_DATA_LABEL = 184,
    REC_BYTES = 148,
    REC_INT = 137,
    REC_FLOAT = 133,
    REC_ADDR_1 = 197,
    REC_ADDR_2 = 192,
    REC_ADDR_4 = 200,
    REC_SPACE = 147,
    REC_DATA_END = 210,
    REC_SECTION = 204,
    REC_SPACE_NAME = 186,
    REC_NAME = 187,
    REC_SOURCE_RANGE = 188,
    REC_DEBUG_LABEL = 213,
    REC_DEBUG_FUNC = 214,
    REC_DEBUG_FILE = 215,
};

// Storage bytes of a leaf that are not a symbol's.
constexpr std::uint8_t STORAGE_RESULT = 1;  // the function result
constexpr std::uint8_t STORAGE_SWITCH = 2;  // the switch value

// Primitives: little-endian halves and words, into the output buffer.
inline void put_byte(unsigned value)
{
    if (output_buffered == OUTPUT_BUFFER_SIZE)
        flush_output();
    output_buffer[output_buffered++] = static_cast<unsigned char>(value);
}
inline void put_half(unsigned value)
{
    if (output_buffered + 2 > OUTPUT_BUFFER_SIZE)
        flush_output();
    output_buffer[output_buffered] = static_cast<unsigned char>(value);
    output_buffer[output_buffered + 1] = static_cast<unsigned char>(value >> 8);
    output_buffered += 2;
}
inline void put_word(std::uint32_t value)
{
    if (output_buffered + 4 > OUTPUT_BUFFER_SIZE)
        flush_output();
    unsigned char *p = output_buffer + output_buffered;
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
    p[2] = static_cast<unsigned char>(value >> 16);
    p[3] = static_cast<unsigned char>(value >> 24);
    output_buffered += 4;
}
void put_double(double value);
void put_zeros(std::size_t n);
void put_bytes(const void *bytes, std::size_t n);
// A length byte and the text without its double quotes (at most 255
// characters are kept); null writes the single byte 0.
void put_header_string(const char *text);

// Labels: 3, 5, 7, ... for the whole unit.
std::uint16_t new_label();
// Locals with an @ address are named with the instance number of their
// function: 2 for the first definition written, then 4, 6, ...
extern std::uint16_t local_instance;

// A reference to a named object or function (with its kind byte), to a
// label (no name), or to nothing (label 0).
void put_name_ref(const Symbol *symbol);
void put_label_ref(unsigned label);
// The address of a symbol leaf: the symbol whose name reference is written
// (the aliased object for an alias), or null when the object is reached by
// a number (a frame offset, an absolute far address), which is then added
// to *offset.
const Symbol *symbol_address(const Node *leaf, std::uint32_t *offset);
// The kind byte of a symbol's name reference.
std::uint8_t name_kind(const Symbol *symbol);
// A value type; the attribute word follows only when it is not 0.
void put_type_ref(const Type *type, std::uint16_t attribute);
// The code of a type in the file (an enum as its integer type, arrays and
// functions as int); reports an unknown kind and gives 1.
std::uint8_t type_code(const Type *type);
// The byte of an operator node; 0 for an operator the file has no byte for.
std::uint8_t operator_byte(unsigned op);
// An expression in prefix form. `for_effect`: its value is not used (a
// comparison, or && and || with a right operand without effect, is then
// written as the comma of its operands; a cast to void as its operand).
void put_expression(const Node *node, bool for_effect);
// The function a call calls: the indirection of its designator.
void put_called_function(const Node *designator);

// The first record: the unit with its options header, or the analyser's.
void write_unit_record();
void write_asm_text(const char *text, std::size_t n);
// `directory` (with its final separator) is written only when not null.
void write_file_record(const char *name, const char *directory);
void write_line(std::uint32_t line);
void write_jump(unsigned label);
// REC_LABEL, or REC_CASE_LABEL when `reached_by_table`; the loop-head byte
// follows a non-zero line.
void write_label(unsigned label, std::uint32_t line, bool loop_head, bool reached_by_table = false);
// A conditional jump for a comparison operator (OP_LT ... OP_NE).
void write_branch(unsigned comparison, unsigned label, const Node *left, const Node *right);
void write_eval(const Node *node);
void write_return();
void write_negate_in_place(const Type *type, const Node *object);
void write_complement_in_place(const Type *type, const Node *object);
// Inline assembly: `call` is a call of _asm; `text` its string argument;
// with `more_arguments` the rest of the argument chain follows.
void write_asm(const Node *call, const char *text, std::size_t n, const Node *more_arguments);
void write_switch(unsigned value_size, unsigned table_label);
void write_cases(unsigned table_label, unsigned default_label, unsigned count, unsigned value_size);
void write_case_range(std::int32_t first, unsigned span, const std::uint16_t *labels);
void write_case_list(unsigned count, const std::int32_t *values, const std::uint16_t *labels);
void write_cases_end();
void write_loop_start(unsigned label, const Node *count);
void write_loop_end(unsigned label);
void write_function(std::uint32_t declaration_line, std::uint32_t brace_line);
void write_first_arg(const Type *type);
void write_arg_size(std::uint32_t bytes);
void write_frame(std::int32_t lowest_offset);
void write_function_end();
// REC_FUNC_DEF, REC_OBJ_DEF or REC_EXTERN with the symbol's reference.
void write_declaration(std::uint8_t code, const Symbol *symbol, std::uint16_t attribute, std::uint32_t size);
void write_data(unsigned alignment, const Symbol *symbol);
void write_data_attr(unsigned alignment, std::uint16_t attribute, std::uint32_t size, const Symbol *symbol);
void write_data_at(const Symbol *symbol, std::uint32_t address);
void write_data_label(unsigned alignment, unsigned label);
// A run of bytes in pieces of at most 255; a run whose last piece is full
// ends with an empty piece.
void write_bytes(const void *bytes, std::size_t n);
void write_int(unsigned size, std::uint32_t value);
void write_float(unsigned size, double value);
// An address item of 1, 2 or 4 bytes: the address part is the symbol's
// reference, else the label's (label 0: a plain number); `pointed_attr`
// goes with 4-byte items outside analyser mode.
void write_addr(unsigned size, const Symbol *symbol, unsigned label, std::uint16_t pointed_attr,
                std::uint32_t offset);
void write_space(std::uint32_t n);
void write_data_end();
void write_section(unsigned value, const char *name);
void write_space_name(const char *name);
void write_name(const char *name, std::size_t n);
void write_source_range(std::uint32_t first_line, unsigned first_column, std::uint32_t last_line,
                        unsigned last_column);
void write_debug_label(unsigned label);
void write_debug_func(const char *file_name, const char *function_name);
void write_debug_file(const char *file_name);

void records_reset();
