// Initializers: the levels of aggregates open while a braced initializer is
// read, and the readers and writers of static and automatic objects.
//
// A const, non-volatile file-scope object whose initializer is all
// constants keeps its value record (Symbol::const_value) or its element
// list (Symbol::const_entries), and reads of the object at a constant
// offset are replaced by the values found there.
#pragma once
#include <cstdint>

#include "tree/init_entry.h"

struct Node;
struct Symbol;
struct Type;

// Level flags.
constexpr std::uint8_t LEVEL_BRACED = 0x01;       // opened by a `{`
constexpr std::uint8_t LEVEL_DESIGNATION = 0x02;  // a designation may start here
constexpr std::uint8_t LEVEL_DESIGNATED = 0x04;   // opened by a designator

// One aggregate open while a braced initializer is read; the innermost
// level is the top of the stack.
struct InitLevel {
    InitLevel *parent;
    Type **type_slot;         // where the aggregate's type is stored
    std::uint32_t base;       // offset of the aggregate in the outermost object
    std::uint32_t elem_size;  // arrays: size of one element
    std::uint32_t index;      // arrays: current element
    std::uint32_t max_index;  // arrays: highest element initialized
    Symbol *member;           // structures and unions: current member
    std::uint8_t flags;
};

// A static object's initializer read and written as data, between the
// object's data start and end records. With `keep_record` (a const,
// non-volatile file-scope object) the value record or the element list is
// kept in `sym` when every item could be written as a constant.
void init_object(Type **type_slot, bool keep_record, std::uint16_t attr, Symbol *sym);
// A braced (or string) initializer of the array, structure or union in
// *type_slot; an array of unknown size is completed in the slot. `local`:
// elements that are not constants may be computed at run time. The
// element list, sorted by offset (null when empty).
InitEntry *init_aggregate(Type **type_slot, std::uint16_t attr, bool local);
// One scalar initializer for an element of type `type`: its value record,
// or null after an error. When *local_ok is set, a value that is not a
// constant is returned as its expression tree (converted to `type`) and
// *local_ok stays set; otherwise it is cleared.
Node *init_scalar(Type *type, std::uint16_t attr, bool *local_ok);
// One scalar item of type `type`; false when the value cannot serve as
// the object's recorded constant (`record_wanted`).
bool emit_scalar(Node *record, Type *type, bool record_wanted, std::uint16_t attr);
// The image of an aggregate of `size` bytes: the elements in offset order,
// gaps and run-time elements as zeros. False when some item cannot serve
// as a recorded constant.
bool emit_entries(InitEntry *list, std::uint32_t size, bool record_wanted, std::uint16_t attr);

// The records kept for const objects are freed.
void initializer_reset();
