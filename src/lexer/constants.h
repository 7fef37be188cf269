// Numeric, character and string constants, and the constant pool that
// holds string literals and floating constants.
#pragma once
#include <cstddef>
#include <cstdint>

#include "base/token.h"
#include "lexer/pptoken.h"

struct PoolEntry {
    PoolEntry *link;
    const void *section;  // the constant section in force when it was made
    std::uint16_t refs;   // further users; 0 = one user
    std::uint16_t label;  // owned by the emitter
    std::uint16_t length;
    std::uint8_t written[2];  // owned by the emitter
    PoolEntry *hash_next;
    std::uint32_t hash;
    unsigned char bytes[1];
};

constexpr std::size_t POOL_ENTRY_MAX = 0xFFFF;

extern PoolEntry *constant_pool;      // newest first
extern const void *constant_section;  // set by #pragma section; null = default

// The entry holding these bytes in the current section: an existing one
// gets one more user.
PoolEntry *pool_intern(const void *bytes, std::size_t length);
// One user less; the entry leaves the pool when it had only one.
void pool_release(PoolEntry *entry);

// The declaration side names the same pool by what it holds for it: string
// literals (the bytes of floating constants share it).
using StringLiteral = PoolEntry;
inline StringLiteral *pool_string(const void *bytes, std::size_t length) { return pool_intern(bytes, length); }

inline PoolEntry *token_pool_entry(const Token *t) { return reinterpret_cast<PoolEntry *>(t->value); }

void convert_number(Token *token, const PpToken *pp);
void convert_char(Token *token, const PpToken *pp);
void decode_string(Token *token, const PpToken *pp);
// The bytes between the quotes of a string literal or character constant,
// escapes decoded, into `out` (emptied first).
struct TextBuffer;
void decode_literal(const PpToken *pp, TextBuffer &out);
// The same bytes added at the end of `out`.
void append_literal(const PpToken *pp, TextBuffer &out);
// Adjacent string literals are joined in one growing buffer and interned
// once: each piece is decoded and added, reporting "string literal too
// long" when the bytes pass what one pool entry holds; then the whole is
// interned (cut to that length) as the token's value.
void append_string_piece(TextBuffer &joined, const PpToken *pp);
void intern_joined_string(Token *token, const TextBuffer &joined);
// Reads the escape sequence at the backslash *p (not beyond `end`) and
// moves *p past it.
std::uint32_t decode_escape(const char **p, const char *end);

void constants_reset();
