#include "runtime/alloc.h"

#include <cstdlib>
#include <cstring>

#include "host/host.h"

void fatal_no_memory()
{
    host_write_stderr("no memory\n");
    std::exit(1);
}

void *allocate(std::size_t size, void *first_word)
{
    if (size < sizeof(void *))
        size = sizeof(void *);
    void *block = std::malloc(size);
    if (!block)
        fatal_no_memory();
    std::memcpy(block, &first_word, sizeof first_word);
    return block;
}

void *release(void *block, void *value)
{
    std::free(block);
    return value;
}

void *reallocate(void *block, std::size_t size)
{
    void *grown = std::realloc(block, size ? size : 1);
    if (!grown)
        fatal_no_memory();
    return grown;
}

char *chain_text(void **chain, const char *text, std::size_t length)
{
    void *block = allocate(sizeof(void *) + length + 1, *chain);
    *chain = block;
    char *copy = static_cast<char *>(block) + sizeof(void *);
    std::memcpy(copy, text, length);
    copy[length] = 0;
    return copy;
}

void free_text_chain(void **chain)
{
    while (*chain) {
        void *next;
        std::memcpy(&next, *chain, sizeof next);
        *chain = release(*chain, next);
    }
}

namespace {
void *kept_texts = nullptr;
}

char *keep_text(const char *text, std::size_t length) { return chain_text(&kept_texts, text, length); }

char *keep_text(const char *text) { return keep_text(text, std::strlen(text)); }

void run_texts_reset() { free_text_chain(&kept_texts); }
