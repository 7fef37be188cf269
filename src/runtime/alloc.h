// Checked allocation. Running out of memory is fatal everywhere in zpc:
// "no memory" on standard error and exit status 1.
#pragma once
#include <cstddef>

[[noreturn]] void fatal_no_memory();

// A block of at least `size` bytes (never less than a pointer) whose first
// word holds `first_word`, so that callers can link it into a list in one step.
void *allocate(std::size_t size, void *first_word = nullptr);
// Frees `block` and returns `value`, so a list head can be replaced by the
// freed block's successor in one statement.
void *release(void *block, void *value = nullptr);
// Grows or shrinks a block from allocate(); fatal when memory runs out.
[[gnu::returns_nonnull, gnu::alloc_size(2)]] void *reallocate(void *block, std::size_t size);

// A copy of text[0..length) with a NUL, in a block chained on *chain; the
// whole chain is freed at once by free_text_chain().
char *chain_text(void **chain, const char *text, std::size_t length);
void free_text_chain(void **chain);

// Texts that live until the run ends (copied operands, path entries, names
// made up from directories). Freed together by run_texts_reset().
char *keep_text(const char *text, std::size_t length);
char *keep_text(const char *text);
void run_texts_reset();
