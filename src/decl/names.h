// Interned identifiers. A name is interned once per run and afterwards
// handled by pointer: two names are equal exactly when the pointers are.
#pragma once
#include <cstddef>
#include <cstdint>

struct Name {
    std::uint8_t length;  // at most 255 characters
    char chars[1];        // `length` characters, then the `declared` byte
};

inline std::uint8_t &name_declared(Name *name) { return reinterpret_cast<std::uint8_t &>(name->chars[name->length]); }

// The interned name for chars[0..length); length is cut to 255.
Name *intern_name(const char *chars, std::size_t length);

void names_reset();
