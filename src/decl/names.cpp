#include "decl/names.h"

#include <cstring>

#include "runtime/alloc.h"

namespace {

// A character trie: the siblings of one level are sorted by the character
// taken as a signed byte; a word ends in a node with character 0 whose
// child slot holds the Name.
struct TrieNode {
    TrieNode *sibling;
    void *child;  // TrieNode, or the Name in a terminal node
    signed char c;
};

TrieNode *root = nullptr;

// Nodes come from blocks, never freed one by one.
struct NodeBlock {
    NodeBlock *next;
    TrieNode nodes[1022];
};
NodeBlock *blocks = nullptr;
std::size_t used_in_block = sizeof(NodeBlock::nodes) / sizeof(TrieNode);

// Names live in larger blocks for the same reason.
struct NameBlock {
    NameBlock *next;
    std::size_t used;
    char bytes[16384 - 2 * sizeof(void *)];
};
NameBlock *name_blocks = nullptr;

TrieNode *new_node(signed char c, TrieNode *sibling)
{
    if (used_in_block == sizeof(NodeBlock::nodes) / sizeof(TrieNode)) {
        blocks = static_cast<NodeBlock *>(allocate(sizeof(NodeBlock), blocks));
        used_in_block = 0;
    }
    TrieNode *node = &blocks->nodes[used_in_block++];
    node->sibling = sibling;
    node->child = nullptr;
    node->c = c;
    return node;
}

Name *new_name(const char *chars, std::size_t length)
{
    std::size_t size = length + 2;
    if (!name_blocks || name_blocks->used + size > sizeof(NameBlock::bytes)) {
        name_blocks = static_cast<NameBlock *>(allocate(sizeof(NameBlock), name_blocks));
        name_blocks->used = 0;
    }
    Name *name = reinterpret_cast<Name *>(name_blocks->bytes + name_blocks->used);
    name_blocks->used += size;
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

}  // namespace

Name *intern_name(const char *chars, std::size_t length)
{
    if (length > 255)
        length = 255;
    TrieNode **level = &root;
    for (std::size_t i = 0; i < length; ++i) {
        // A NUL inside a name would end it early in the trie; names never hold one.
        TrieNode *node = find_or_insert(level, static_cast<signed char>(chars[i] ? chars[i] : 1));
        level = reinterpret_cast<TrieNode **>(&node->child);
    }
    TrieNode *end = find_or_insert(level, 0);
    if (!end->child)
        end->child = new_name(chars, length);
    return static_cast<Name *>(end->child);
}

void names_reset()
{
    while (blocks)
        blocks = static_cast<NodeBlock *>(release(blocks, blocks->next));
    while (name_blocks)
        name_blocks = static_cast<NameBlock *>(release(name_blocks, name_blocks->next));
    root = nullptr;
    used_in_block = sizeof(NodeBlock::nodes) / sizeof(TrieNode);
}
