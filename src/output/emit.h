// The emitter: turns declarations, data and assembly text into records of
// the intermediate file. Function bodies, data with initial values and the
// literal pool join it as the statement and initializer readers arrive.
#pragma once
#include <cstddef>
#include <cstdint>

struct Symbol;

// REC_FILE when `name` is not the name written last (compared by
// identity); -xp splits off the directory, -xf writes the full path.
void emit_file(const char *name);
void emit_line(std::uint32_t line);
// The name a file goes by in the debug tables: its last component under
// -xp, its full path under -xf, else as given.
void debug_file_name(const char *name, struct TextBuffer &out);
// Assembly text copied where it stands, with the file and line it came from.
void emit_asm_text(const char *text, std::size_t n);
// The start of an object's storage: REC_DATA_AT for an object at an
// absolute address, else REC_DATA or REC_DATA_ATTR. The items follow, then
// emit_data_end().
// `even`: aligned as an int object would be (a local aggregate's image,
// copied by words), whatever its own type needs.
void emit_data_start(const Symbol *symbol, bool even = false);
void emit_space(std::uint32_t n);
void emit_data_end();
// Data items between emit_data_start() and emit_data_end(): an integer
// of 1, 2 or 4 bytes, a floating value of 2, 4 or 8, a run of bytes (it
// stands for its bytes and a zero byte), and an address of 1, 2 or 4
// bytes taken from an address-valued leaf (an object, a literal or a
// plain number) with its offset.
void emit_int_item(std::uint32_t value, unsigned size);
void emit_float_item(double value, unsigned size);
void emit_bytes(const void *bytes, std::size_t n);
void emit_address_item(const struct Node *node, unsigned size);
// mode 0: REC_EXTERN; 0x800: REC_FUNC_DEF; other: REC_OBJ_DEF.
void emit_declaration(const Symbol *symbol, unsigned mode);
// #pragma section: the file and line of the pragma, then REC_SECTION with
// the section's attribute word and its name (null: the default section).
void emit_section(std::uint32_t line, std::uint16_t value, const char *name);
// REC_SPACE_NAME for each user-defined space name not yet written.
void emit_space_names();

// The string and floating literals that expressions referred to, written
// at the end of a unit without errors. Not built yet: nothing writes an
// expression yet, so no literal has a label to be written under.
void emit_literal_pool();

struct Node;
struct Stmt;
struct Type;
// Branches to `label_no` when the condition holds (or, with
// `jump_if_false`, when it does not): && and || become chains of branches.
void emit_condition(const Node *node, unsigned label_no, bool jump_if_false);
// An expression evaluated for its effect: REC_EVAL, or the in-place
// negation and complement records, or inline assembly for _asm("...").
void emit_expression_statement(const Node *node);
// The value of a return (target STORAGE_RESULT) or a switch
// (STORAGE_SWITCH) stored into its place, of the given type.
void emit_value(const Node *node, unsigned target, const Type *type);
// A counted loop (made by body preparation).
void emit_counted_loop(const Stmt *s);
// A function definition: its records, its body lowered to labels, jumps
// and branches. Nothing is written after an error or in analyser mode.
// `frame_offset`: the lowest offset a local took (0 or negative).
void emit_function(Symbol *symbol, Stmt *body, std::uint32_t declaration_line, std::uint32_t brace_line,
                   std::uint32_t argument_bytes, std::int32_t frame_offset);

void emit_reset();
