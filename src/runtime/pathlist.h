// Path lists and the include search list.
//
// A PathList is filled from the top: a new value takes slot free_slots - 1
// and free_slots goes down by one, so the first value given sits in the
// highest slot. Reading in the order the values were added therefore walks
// the slots from the top down.
#pragma once
#include <cstdint>

struct PathList {
    std::int32_t free_slots;
    std::int32_t capacity;
    char **slots;
};

void path_list_init(PathList *list, std::int32_t capacity);
void path_list_free(PathList *list);
// False when the list has no free slot.
bool path_list_add(PathList *list, char *value);
inline std::int32_t path_list_count(const PathList *list) { return list->capacity - list->free_slots; }
// The i-th value in the order of addition (0 = first added).
inline char *path_list_entry(const PathList *list, std::int32_t i) { return list->slots[list->capacity - 1 - i]; }

// Appends the ';'-separated entries of an environment variable; fatal
// ("too many pathnames") when the list runs out of slots.
void read_path_variable(PathList *list, const char *variable_name);

// Makes the search list from `list`: directories with their subdirectories,
// depth first, and the directories named by path files. `capacity` is the
// initial capacity and receives the final one.
PathList *build_search_list(PathList *list, std::int32_t *capacity);
void add_directory_tree(PathList *search_list, std::int32_t *capacity, const char *path);
void free_search_list(PathList *search_list);

// Reads a file of white-space separated words ('#' starts a comment, quotes
// group). Returns null on success, else the error text. Each word is a block
// of its own: the text, its NUL, then the line number in two bytes, high first.
const char *read_word_file(const char *name, int *count, char ***words);
void free_words(int count, char **words);
