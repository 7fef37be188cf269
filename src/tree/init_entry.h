// The record an initializer leaves for each scalar element it sets. The
// initializer reader builds the lists; a const object keeps its list
// (Symbol::const_entries) for the constant replacement to read.
#pragma once
#include <cstdint>

struct Node;
struct Type;

struct InitEntry {
    InitEntry *next;    // higher offset, or the same offset for another bit-field
    Node *value;        // a copy of the value's leaf, kept outside the node pool;
                        // for a string that initializes a character array a
                        // leaf of the array type whose `literal` holds the
                        // bytes and whose `value` is their length; for an
                        // element computed at run time its expression tree
    Type *type;         // the element's type (a bit-field element: its field type)
    std::uint32_t offset;  // bytes from the start of the object
    std::uint32_t mask;    // a bit-field's bits within its unit, else 0
    std::uint8_t runtime;  // computed at run time (local aggregates only)
};
