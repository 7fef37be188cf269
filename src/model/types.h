// The records every stage after the lexer shares: types with their kind
// codes, the attribute word, symbols with their storage classes and flags,
// the name spaces and scopes, and the operations on them (creation and
// recycling, lookup, size and alignment on the 16-bit target,
// compatibility, merging of redeclarations, default attributes).
#pragma once
#include <cstddef>
#include <cstdint>

#include "model/names.h"

struct InitEntry;
struct Node;
struct RecordedToken;
struct SourceFile;
struct Symbol;
struct Stmt;

// Kind codes: bit 0 unsigned, bit 1 bitfield, the high nibble the class.
constexpr std::uint8_t KIND_CHAR = 0x10;  // signed char; plain char unless -u
constexpr std::uint8_t KIND_UCHAR = 0x11;
constexpr std::uint8_t KIND_BITS8 = 0x13;  // bitfield in a 1-byte unit
constexpr std::uint8_t KIND_SHORT = 0x20;
constexpr std::uint8_t KIND_USHORT = 0x21;
constexpr std::uint8_t KIND_BITS16 = 0x23;  // bitfield in a short unit
constexpr std::uint8_t KIND_INT = 0x30;
constexpr std::uint8_t KIND_UINT = 0x31;
constexpr std::uint8_t KIND_BITSINT = 0x33;  // bitfield in an int unit
constexpr std::uint8_t KIND_LONG = 0x40;
constexpr std::uint8_t KIND_ULONG = 0x41;
constexpr std::uint8_t KIND_BITS32 = 0x43;  // bitfield in a 4-byte unit
constexpr std::uint8_t KIND_FLOAT = 0x58;
constexpr std::uint8_t KIND_DOUBLE = 0x5C;  // also long double; float's kind under -f
constexpr std::uint8_t KIND_STRUCT = 0x60;
constexpr std::uint8_t KIND_UNION = 0x64;
constexpr std::uint8_t KIND_ENUM = 0x68;
constexpr std::uint8_t KIND_VOID = 0x70;
constexpr std::uint8_t KIND_POINTER = 0x80;
constexpr std::uint8_t KIND_ARRAY = 0x84;
constexpr std::uint8_t KIND_FUNCTION = 0x88;

constexpr std::uint8_t KIND_UNSIGNED_BIT = 0x01;
constexpr std::uint8_t KIND_BITFIELD_BIT = 0x02;
// Added to the kind given to new_type(): the record is never recycled.
constexpr unsigned KIND_PERMANENT = 0x100;

inline bool is_floating_kind(unsigned kind) { return (kind & 0xF0) == 0x50; }
inline bool is_integer_kind(unsigned kind) { return kind < 0x50; }
inline bool is_char_kind(unsigned kind) { return kind < 0x12; }
inline bool is_bitfield_kind(unsigned kind) { return is_integer_kind(kind) && (kind & KIND_BITFIELD_BIT); }
inline bool is_struct_or_union_kind(unsigned kind) { return kind == KIND_STRUCT || kind == KIND_UNION; }
// A scalar whose value can be copied as a whole (no bitfield).
inline bool is_copyable_scalar_kind(unsigned kind) { return kind < 0x5D && !(kind & KIND_BITFIELD_BIT); }

// The attribute word of a symbol, and of the object a pointer points to.
constexpr std::uint16_t ATTR_CONST = 0x8000;
constexpr std::uint16_t ATTR_VOLATILE = 0x4000;
constexpr std::uint16_t ATTR_SPACE = 0x3000;
constexpr std::uint16_t SPACE_TINY = 0x1000;  // 1-byte addresses
constexpr std::uint16_t SPACE_NEAR = 0x2000;  // 2-byte addresses; also what no space means
constexpr std::uint16_t SPACE_FAR = 0x3000;   // 4-byte addresses
constexpr std::uint16_t ATTR_FUNCDECL = 0x0800;
constexpr std::uint16_t ATTR_NOSTACK = 0x0400;
constexpr std::uint16_t ATTR_INLINE = 0x0200;
constexpr std::uint16_t ATTR_PACKED = 0x0100;
constexpr std::uint16_t ATTR_USER_SPACES = 0x00FF;

// A type node. A declared type is a chain through `of`, outermost
// derivation first; only the basic types below are shared, and struct,
// union and enum types are shared through their tag.
struct Type {
    Type *link;  // the pool's chain
    Type *of;    // pointed-to, element or return type; an enum's integer type;
                 // a struct's flexible array member; null for scalars
    std::uint8_t kind;
    std::uint16_t debug_label;
    union {
        std::uint16_t attr;  // pointer: the attribute word of the object pointed to
        std::uint32_t dim;   // array: element count, 0 = not known
        Symbol *params;      // function: null = declared without a prototype
        Symbol *tag;         // struct, union, enum: null when untagged
        struct {
            std::uint8_t bit_offset;  // bitfield
            std::uint8_t bit_width;
        };
    };
    union {
        Symbol *members;      // struct, union: null = incomplete
        Symbol *enumerators;  // enum: the first; null = declared without a body
        Symbol *proto_enums;  // function: enumerators declared in its parameter list
    };
    union {
        std::uint32_t size;  // struct, union: bytes; array: bytes of one
                             // element once type_size has found them, else 0
        Symbol *proto_tags;  // function: tags declared in its parameter list
    };
};

// Storage classes: the keyword's token code where there is one.
constexpr std::uint8_t SC_NONE = 0;  // file-scope declaration without class
constexpr std::uint8_t SC_AUTO = 128;
constexpr std::uint8_t SC_EXTERN = 139;
constexpr std::uint8_t SC_REGISTER = 146;
constexpr std::uint8_t SC_STATIC = 151;
constexpr std::uint8_t SC_TYPEDEF = 154;
constexpr std::uint8_t SC_INLINE = 93;  // as written; a declaration turns it into ATTR_INLINE
constexpr std::uint8_t SC_ENUMERATOR = 132;
constexpr std::uint8_t SC_MEMBER = 152;
constexpr std::uint8_t SC_LOCALIZED = 5;  // placed at an address or aliased with @
constexpr std::uint8_t SC_ARGUMENT = 25;
constexpr std::uint8_t SC_REGARG = 28;
constexpr std::uint8_t SC_CASE = 130;     // switch-table entry of a case label
constexpr std::uint8_t SC_DEFAULT = 134;  // switch-table entry of the default label
// A local bound by the flow analysis to another local (`bound_to`), whose
// storage it shares; body preparation gives it that local's place.
constexpr std::uint8_t SC_SHARED = 26;

// Symbol flags owned by the declaration stages; later stages add their own.
constexpr std::uint32_t SYM_USED = 0x2;         // referenced; typedef or tag used; inline called early
constexpr std::uint32_t SYM_DECLARED = 0x4;     // declared by a declaration (label: defined)
constexpr std::uint32_t SYM_LAST = 0x8;         // last enumerator; first argument
constexpr std::uint32_t SYM_DEFINED = 0x20;     // body parsed or storage written
constexpr std::uint32_t SYM_HIDDEN = 0x40;      // lookups pass over it
constexpr std::uint32_t SYM_WIDENED = 0x80;     // argument passed widened
constexpr std::uint32_t SYM_ADDRESSED = 0x400;  // address taken, reached indirectly
constexpr std::uint32_t SYM_FILE_SCOPE = 0x800;  // file-scope object or function
constexpr std::uint32_t SYM_ASSIGNED = 0x4000;
constexpr std::uint32_t SYM_ALIGN_ON = 0x8000;         // declared under #pragma align on
constexpr std::uint32_t SYM_INLINE_BUSY = 0x10000;     // inline body being read or expanded
// The counter of an unrolled loop while its copies are written: its leaves
// are written as the constant in `const_value`.
constexpr std::uint32_t SYM_SUBSTITUTED = 0x80000;
constexpr std::uint32_t SYM_UNION_COPY = 0x100000;     // copied from an anonymous union, not first
constexpr std::uint32_t SYM_LOCAL_AT = 0x200000;       // local object given an @ address
constexpr std::uint32_t SYM_STORAGE_SHARED = 0x400000;  // laid out in another local's place

struct Symbol {
    Symbol *next;        // the list (scope) holding the symbol
    Symbol *debug_next;  // the declaration list of its source file; null = not
                         // listed; a symbol linked to itself is never listed
    // The constant initializer of a const, non-volatile object: the value
    // of a scalar, the element list of an aggregate.
    union {
        Node *const_value;
        InitEntry *const_entries;
    };
    union {
        Type *type;
        Symbol *next_enumerator;  // an enumerator other than the last
        Stmt *statement;          // a label or case-table entry: the labelled statement
    };
    Name *name;          // null for unnamed parameters and the list's end marker
    Node *alias;         // the expression a localized symbol is aliased to
    Symbol *bound_to;    // SC_SHARED: the local whose storage it shares
                         // (kept apart from `value`, which is 32 bits wide)
    // An @inline function: the tokens of its body from `{` to `}`, replayed
    // at every call; null until a body is read.
    RecordedToken *inline_body;
    std::uint32_t value;  // enumerator value, member or argument offset,
                          // absolute address, label number, case value
    std::uint32_t decl_seq, set_seq, prev_set_seq, use_seq;
    SourceFile *file;  // the source file current when the symbol was made
    std::uint32_t line;  // parameters, locals and names entered by expressions
    std::uint16_t column;
    std::uint32_t flags;
    std::uint32_t flow_bit;
    // Value tracking: the newest known-value cell of an lvalue in this
    // symbol's object, valid while `known_epoch` is the list's epoch.
    Node *known_cell;
    std::uint32_t known_epoch;
    std::uint16_t debug_name_label;
    std::uint16_t debug_attr_label;
    std::uint16_t attr;
    std::uint16_t refs;
    std::uint8_t sclass;
    // In ident_list: the next older symbol of the same name there, and the
    // depth of the scope that holds it (0 at file scope).
    Symbol *shadowed;
    std::uint16_t scope_level;
    // Creation order over the whole run: ident_list holds its symbols
    // newest first, so this orders any set of them as the list does.
    std::uint32_t made_order;
};

// The eleven basic types, permanent from the start.
extern Type type_uchar, type_char, type_ushort, type_short, type_uint, type_int, type_ulong, type_long,
    type_float, type_double, type_void;
// What plain `char` names: the char record, or unsigned char under -u.
extern Type *plain_char_type;

// The name spaces: lists of symbols, newest first. A scope pointer marks
// the first symbol that belongs to an enclosing scope (null at file scope).
extern Symbol *ident_list, *ident_scope;
extern Symbol *tag_list, *tag_scope;
extern Symbol *label_list;
extern Symbol *attribute_list;  // declarations made by #pragma attribute
extern Symbol *space_names;     // the names accepted after @
// Inside a parameter list enumerators and tags go to side lists of their own.
extern int proto_depth;
extern Symbol *proto_enum_list, *proto_tag_list;

// The default attribute tables, entries by context: 0 no class, extern,
// typedef, members; 1 static; 2 arguments and locals; 3 the object a
// pointer points to. const_defaults is the code table until #pragma space
// gives const data a table of its own or the data table.
extern std::uint16_t data_defaults[4], code_defaults[4];
extern std::uint16_t *const_defaults;

// Applies -u, -m and -f to the model; once, after the option implications.
void types_init();
void types_reset();

// A type of `kind` whose `of` is set and whose other words are clear. With
// KIND_PERMANENT added it is never recycled; otherwise a type made inside
// a function definition comes back at the end of it.
Type *new_type(unsigned kind, Type *of);
void begin_function_types();
void end_function_types();

// A symbol at the head of *list, its name marked as declared.
Symbol *new_symbol(Symbol **list, Name *name, std::uint8_t sclass, Type *type);
// The first visible symbol named `name` from `from` up to, not including,
// `to` (null: the end of the list). Searches of ident_list from its head,
// to its end or to ident_scope, take the name's own chain and cost nothing
// like a walk over the list.
Symbol *find_symbol(const Name *name, Symbol *from, const Symbol *to);
// The symbols from `from` up to `to` back to the free list.
void release_symbols(Symbol *from, const Symbol *to);
// The type of an enumerator: the one its enum's last enumerator holds.
Type *enumerator_type(const Symbol *enumerator);

// A block's scope: open_scope() saves the boundaries and moves them to the
// list heads. close_scope() cuts the scope's identifiers off ident_list
// and returns them as a list of their own (the block keeps them), drops
// its tags to dropped_tags and restores the boundaries.
struct ScopeMark {
    Symbol *ident_scope;
    Symbol *tag_scope;
};
ScopeMark open_scope();
Symbol *close_scope(ScopeMark saved);
// A scope given up whole: its identifiers and tags go back to the free
// list and the boundaries are restored.
void discard_scope(ScopeMark saved);
// A symbol of ident_list loses its name: lookups no longer find it.
void unname_symbol(Symbol *s);
// Tags of closed blocks wait here until the function's records are
// recycled: types of the function may still name them until then.
extern Symbol *dropped_tags;
void release_dropped_tags();

// Where a new enumerator or tag goes: the side list inside a parameter
// list, else ident_list or tag_list.
Symbol **enumerator_list_for_declaration();
Symbol **tag_list_for_declaration();
// A parameter list begins: the side lists are saved and start empty. At
// its end they are stored in the function type and the saved ones restored.
struct PrototypeMark {
    Symbol *enums;
    Symbol *tags;
};
PrototypeMark begin_prototype_lists();
void end_prototype_lists(Type *function, PrototypeMark saved);

// The size of a scalar type (an integer, a bit-field unit, a floating type
// or a pointer); 0 for every other kind.
inline std::uint32_t scalar_size(const Type *type)
{
    switch (type->kind) {
    case KIND_CHAR:
    case KIND_UCHAR:
    case KIND_BITS8:
        return 1;
    case KIND_SHORT:
    case KIND_USHORT:
    case KIND_BITS16:
    case KIND_INT:
    case KIND_UINT:
    case KIND_BITSINT:
        return 2;
    case KIND_LONG:
    case KIND_ULONG:
    case KIND_BITS32:
    case KIND_FLOAT:
        return 4;
    case KIND_DOUBLE:
        return 8;
    case KIND_POINTER: {
        std::uint16_t space = type->attr & ATTR_SPACE;
        return space == SPACE_TINY ? 1 : space == SPACE_FAR ? 4 : 2;
    }
    default:
        return 0;
    }
}
// sizeof in bytes; reports unknown sizes and gives 0. The scalar sizes,
// asked for on almost every node, are answered inline; the others walk
// the type.
std::int32_t type_size_walk(const Type *type);
inline std::int32_t type_size(const Type *type)
{
    std::uint32_t bytes = scalar_size(type);
    return bytes ? static_cast<std::int32_t>(bytes) : type_size_walk(type);
}
bool needs_even_alignment(const Type *type);
bool types_compatible(const Type *a, const Type *b);
// May a value of type `from` be assigned to `to`?
bool assign_compatible(const Type *to, const Type *from);
// Completes an earlier declaration's type from a later compatible one.
void merge_declaration_types(Type *earlier, const Type *later);
void merge_attributes(Symbol *earlier, const Symbol *later);
// The attribute word with what the declaration did not say filled in from
// the default tables. context: a storage class, or CONTEXT_POINTED_TO for
// the object a pointer points to.
constexpr unsigned CONTEXT_POINTED_TO = 0x100;  // above every storage class
std::uint16_t apply_default_attributes(std::uint16_t attr, unsigned context, unsigned kind);
void set_memory_model(std::int32_t n);
// Integer rank order, with int ranking as short.
bool kind_ranks_higher(unsigned a, unsigned b);
