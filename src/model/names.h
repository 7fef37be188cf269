// Interned identifiers. A name is interned once per run and afterwards
// handled by pointer: two names are equal exactly when the pointers are.
#pragma once
#include <cstddef>
#include <cstdint>
#include <unordered_set>

struct Symbol;
struct Name {
    // The newest symbol of this name among the identifiers in scope; older
    // ones follow through Symbol::shadowed (kept by the symbol table).
    Symbol *newest;
    std::uint8_t length;  // at most 255 characters
    char chars[1];        // `length` characters, then the `declared` byte
};

inline std::uint8_t &name_declared(Name *name) { return reinterpret_cast<std::uint8_t &>(name->chars[name->length]); }

// A character trie mapping words to pointers. The siblings of one level are
// sorted by the character taken as a signed byte; a word ends in a node
// with character 0 whose child slot holds the word's pointer. The name
// table is one; the macro table another.
struct TrieNode;
struct Trie {
    TrieNode *root = nullptr;
};
// The slot of the word, made when missing.
void **trie_insert(Trie *trie, const char *chars, std::size_t length);
// The slot of the word, or null when the word was never inserted.
void **trie_find(const Trie *trie, const char *chars, std::size_t length);
void trie_reset(Trie *trie);

// A hash of a word's characters (for the caches in front of the tries).
inline std::uint32_t word_hash(const char *chars, std::size_t length)
{
    std::uint32_t h = 2166136261u;
    for (std::size_t i = 0; i < length; ++i)
        h = (h ^ static_cast<unsigned char>(chars[i])) * 16777619u;
    return h ^ (h >> 15);
}

// The interned name for chars[0..length); length is cut to 255.
Name *intern_name(const char *chars, std::size_t length);

void names_reset();
// Clears every name's `newest` symbol (the symbol table starts over).
void forget_name_symbols();

// A set of names for duplicate checks (parameters, members): a short list is
// searched in place, a long one is hashed.
class NameSet {
public:
    // True when `name` was not in the set (it is now).
    bool insert(const Name *name)
    {
        if (count_ < SHORT) {
            for (std::size_t i = 0; i < count_; ++i)
                if (short_[i] == name)
                    return false;
            short_[count_++] = name;
            return true;
        }
        if (long_.empty())
            long_.insert(short_, short_ + SHORT);
        return long_.insert(name).second;
    }

    bool contains(const Name *name) const
    {
        if (count_ < SHORT) {
            for (std::size_t i = 0; i < count_; ++i)
                if (short_[i] == name)
                    return true;
            return false;
        }
        return long_.count(name) != 0;
    }

private:
    static constexpr std::size_t SHORT = 16;
    const Name *short_[SHORT];
    std::size_t count_ = 0;
    std::unordered_set<const Name *> long_;
};
