#include "model/names.h"

#include <cstring>

#include "runtime/alloc.h"

struct TrieNode {
    TrieNode *sibling;
    void *child;  // the next level, or the word's pointer in a terminal node
    signed char c;
};

namespace {

Trie names;

// Nodes of every trie come from blocks, never freed one by one.
struct NodeBlock {
    NodeBlock *next;
    TrieNode nodes[1022];
};
constexpr std::size_t NODES_PER_BLOCK = sizeof(NodeBlock::nodes) / sizeof(TrieNode);
NodeBlock *blocks = nullptr;
std::size_t used_in_block = NODES_PER_BLOCK;

// Names live in larger blocks for the same reason.
struct NameBlock {
    NameBlock *next;
    std::size_t used;
    alignas(Name) char bytes[16384 - 2 * sizeof(void *)];
};
NameBlock *name_blocks = nullptr;

TrieNode *new_node(signed char c, TrieNode *sibling)
{
    if (used_in_block == NODES_PER_BLOCK) {
        blocks = static_cast<NodeBlock *>(allocate(sizeof(NodeBlock), blocks));
        used_in_block = 0;
    }
    TrieNode *node = &blocks->nodes[used_in_block++];
    node->sibling = sibling;
    node->child = nullptr;
    node->c = c;
    return node;
}

// A name's bytes in its block: the record with its characters and the
// `declared` byte, rounded up so that the next one is aligned.
std::size_t name_size(std::size_t length)
{
    return (offsetof(Name, chars) + length + 1 + alignof(Name) - 1) & ~(alignof(Name) - 1);
}

Name *new_name(const char *chars, std::size_t length)
{
    std::size_t size = name_size(length);
    if (!name_blocks || name_blocks->used + size > sizeof(NameBlock::bytes)) {
        name_blocks = static_cast<NameBlock *>(allocate(sizeof(NameBlock), name_blocks));
        name_blocks->used = 0;
    }
    Name *name = reinterpret_cast<Name *>(name_blocks->bytes + name_blocks->used);
    name_blocks->used += size;
    name->newest = nullptr;
    name->length = static_cast<std::uint8_t>(length);
    std::memcpy(name->chars, chars, length);
    name->chars[length] = 0;
    return name;
}

// The node for character c among the siblings at *level, inserted in
// sorted position when missing.
TrieNode *find_or_insert(TrieNode **level, signed char c)
{
    TrieNode **p = level;
    while (*p && (*p)->c < c)
        p = &(*p)->sibling;
    if (*p && (*p)->c == c)
        return *p;
    *p = new_node(c, *p);
    return *p;
}

signed char trie_char(char c)
{
    // A NUL inside a word would look like its end; words never hold one.
    return static_cast<signed char>(c ? c : 1);
}

}  // namespace

void **trie_insert(Trie *trie, const char *chars, std::size_t length)
{
    TrieNode **level = &trie->root;
    for (std::size_t i = 0; i < length; ++i) {
        TrieNode *node = find_or_insert(level, trie_char(chars[i]));
        level = reinterpret_cast<TrieNode **>(&node->child);
    }
    return &find_or_insert(level, 0)->child;
}

void **trie_find(const Trie *trie, const char *chars, std::size_t length)
{
    TrieNode *node = trie->root;
    for (std::size_t i = 0;; ++i) {
        signed char c = i < length ? trie_char(chars[i]) : 0;
        while (node && node->c < c)
            node = node->sibling;
        if (!node || node->c != c)
            return nullptr;
        if (i == length)
            return &node->child;
        node = static_cast<TrieNode *>(node->child);
    }
}

void trie_reset(Trie *trie) { trie->root = nullptr; }

namespace {

// The names met lately, by a hash of their characters: a name that is in
// its slot is found without walking the trie.
constexpr std::size_t RECENT_SLOTS = 4096;
Name *recent_names[RECENT_SLOTS];

std::size_t recent_slot(const char *chars, std::size_t length) { return word_hash(chars, length) % RECENT_SLOTS; }

}  // namespace

Name *intern_name(const char *chars, std::size_t length)
{
    if (length > 255)
        length = 255;
    Name **recent = &recent_names[recent_slot(chars, length)];
    if (Name *name = *recent; name && name->length == length && !std::memcmp(name->chars, chars, length))
        return name;
    void **slot = trie_insert(&names, chars, length);
    if (!*slot)
        *slot = new_name(chars, length);
    *recent = static_cast<Name *>(*slot);
    return *recent;
}

void forget_name_symbols()
{
    for (NameBlock *b = name_blocks; b; b = b->next)
        for (std::size_t at = 0; at < b->used;) {
            Name *name = reinterpret_cast<Name *>(b->bytes + at);
            name->newest = nullptr;
            at += name_size(name->length);
        }
}

// The nodes of every trie go at once: only the end of a run ends them.
void names_reset()
{
    while (blocks)
        blocks = static_cast<NodeBlock *>(release(blocks, blocks->next));
    while (name_blocks)
        name_blocks = static_cast<NameBlock *>(release(name_blocks, name_blocks->next));
    trie_reset(&names);
    used_in_block = NODES_PER_BLOCK;
    for (Name *&name : recent_names)
        name = nullptr;
}
