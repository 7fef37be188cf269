// Type names: declaration specifiers without a storage class followed by an
// abstract declarator, as written in casts and sizeof. The declaration
// parser reads the same specifier words and declarator forms; the pieces
// here are the ones it grows from.
#pragma once
#include <cstdint>

struct Node;
struct Type;

// One bit per type keyword of a declaration.
constexpr std::uint16_t SPEC_CHAR = 0x001;
constexpr std::uint16_t SPEC_SHORT = 0x002;
constexpr std::uint16_t SPEC_INT = 0x004;
constexpr std::uint16_t SPEC_LONG = 0x008;
constexpr std::uint16_t SPEC_FLOAT = 0x010;
constexpr std::uint16_t SPEC_DOUBLE = 0x020;
constexpr std::uint16_t SPEC_SIGNED = 0x040;
constexpr std::uint16_t SPEC_UNSIGNED = 0x080;
constexpr std::uint16_t SPEC_CONST = 0x100;
constexpr std::uint16_t SPEC_VOLATILE = 0x200;
constexpr std::uint16_t SPEC_VOID = 0x400;
constexpr std::uint16_t SPEC_AGGREGATE = 0x800;  // struct, union, enum
constexpr std::uint16_t SPEC_TYPEDEF = 0x1000;   // a typedef name was used

// The keyword bit of a token code; 0 for other tokens.
std::uint16_t specifier_bit(unsigned code);
// The type a set of keyword bits (const and volatile removed) names; null
// for a combination that names none.
Type *combined_type(std::uint16_t bits);

// After the `(` of a cast or sizeof: when a type name starts here, reads
// it and the `)` and returns a new OP_CAST node of that type (operand not
// set). Otherwise returns null with the tokens as they were.
Node *parse_type_name();
// The attribute word (const, volatile, spaces) of the last type name read.
extern std::uint16_t type_name_attr;
