// A growable text for messages that are assembled first and written in one
// piece (unbuffered writes to handle 2 must not interleave with other output).
#pragma once
#include <cstddef>
#include <cstring>

#include "runtime/alloc.h"

struct TextBuffer {
    char *data = nullptr;
    std::size_t length = 0;
    std::size_t capacity = 0;

    TextBuffer() = default;
    TextBuffer(const TextBuffer &) = delete;
    TextBuffer &operator=(const TextBuffer &) = delete;
    ~TextBuffer() { release(data); }

    void append(const char *text, std::size_t n)
    {
        if (!data || length + n + 1 > capacity) {
            std::size_t grown = capacity ? capacity * 2 : 128;
            while (grown < length + n + 1)
                grown *= 2;
            data = static_cast<char *>(reallocate(data, grown));
            capacity = grown;
        }
        std::memcpy(data + length, text, n);
        length += n;
        data[length] = 0;
    }
    void append(const char *text) { append(text, std::strlen(text)); }
    void append(char c) { append(&c, 1); }
};
