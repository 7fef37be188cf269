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

namespace {
// Each kept text sits in a block whose first word links to the previous one.
void *kept_texts = nullptr;
}

char *keep_text(const char *text, std::size_t length)
{
    void *block = allocate(sizeof(void *) + length + 1, kept_texts);
    kept_texts = block;
    char *copy = static_cast<char *>(block) + sizeof(void *);
    std::memcpy(copy, text, length);
    copy[length] = 0;
    return copy;
}

char *keep_text(const char *text) { return keep_text(text, std::strlen(text)); }

void run_texts_reset()
{
    while (kept_texts) {
        void *next;
        std::memcpy(&next, kept_texts, sizeof next);
        kept_texts = release(kept_texts, next);
    }
}
