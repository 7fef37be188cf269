#include "runtime/pathlist.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host.h"
#include "runtime/alloc.h"

void path_list_init(PathList *list, std::int32_t capacity)
{
    list->capacity = capacity;
    list->free_slots = capacity;
    list->slots = static_cast<char **>(allocate(sizeof(char *) * static_cast<std::size_t>(capacity)));
}

void path_list_free(PathList *list)
{
    release(list->slots);
    list->slots = nullptr;
    list->capacity = list->free_slots = 0;
}

bool path_list_add(PathList *list, char *value)
{
    if (list->free_slots <= 0)
        return false;
    list->slots[--list->free_slots] = value;
    return true;
}

void read_path_variable(PathList *list, const char *variable_name)
{
    const char *value = host_getenv(variable_name);
    if (!value || !*value)
        return;
    const char *start = value;
    for (;;) {
        if (list->free_slots <= 0) {
            host_write_stderr("too many pathnames\n");
            std::exit(1);
        }
        const char *end = std::strchr(start, ';');
        if (!end)
            end = start + std::strlen(start);
        std::size_t n = static_cast<std::size_t>(end - start);
        if (n > 0 && start[n - 1] == '\\')
            --n;
        path_list_add(list, keep_text(start, n));
        if (!*end || !end[1])
            break;
        start = end + 1;
    }
}

namespace {

// Removes one trailing separator, in place.
void strip_separator(char *path)
{
    std::size_t n = std::strlen(path);
    if (n > 0 && (path[n - 1] == '/' || path[n - 1] == '\\'))
        path[n - 1] = 0;
}

// Two spellings of one path: '/' and '\' separate alike.
bool same_path(const char *a, const char *b)
{
    for (;; ++a, ++b) {
        bool sa = *a == '/' || *a == '\\', sb = *b == '/' || *b == '\\';
        if (sa != sb || (!sa && *a != *b))
            return false;
        if (!*a)
            return true;
    }
}

bool already_listed(const PathList *list, const char *path)
{
    for (std::int32_t i = list->free_slots; i < list->capacity; ++i)
        if (same_path(list->slots[i], path))
            return true;
    return false;
}

void grow(PathList *list, std::int32_t *capacity)
{
    std::int32_t old = list->capacity;
    std::int32_t doubled = old > 0 ? old * 2 : 8;
    char **slots = static_cast<char **>(allocate(sizeof(char *) * static_cast<std::size_t>(doubled)));
    // The entries keep their order: they move to the upper half.
    for (std::int32_t i = 0; i < old; ++i)
        slots[doubled - old + i] = list->slots[i];
    release(list->slots);
    list->slots = slots;
    list->free_slots += doubled - old;
    list->capacity = doubled;
    *capacity = doubled;
}

// The directories being walked, so that a symbolic link back to one of them
// does not walk the same tree forever.
struct TreeWalk {
    PathList *list;
    std::int32_t *capacity;
    const char *path;
    HostDirId ancestors[256];
    int depth;
};

void walk_tree(TreeWalk &walk, const char *path);

void visit_entry(const HostDirEntry &entry, void *context)
{
    TreeWalk &walk = *static_cast<TreeWalk *>(context);
    if (!entry.is_directory || entry.is_hidden)
        return;
    std::size_t base = std::strlen(walk.path);
    std::size_t n = std::strlen(entry.name);
    char *child = static_cast<char *>(allocate(base + n + 2));
    std::memcpy(child, walk.path, base);
    child[base] = '/';
    std::memcpy(child + base + 1, entry.name, n + 1);
    const char *saved = walk.path;
    walk_tree(walk, child);
    walk.path = saved;
    release(child);
}

void walk_tree(TreeWalk &walk, const char *path)
{
    if (already_listed(walk.list, path))
        return;
    HostDirId id;
    bool have_id = host_directory_id(path, &id);
    if (have_id) {
        for (int i = 0; i < walk.depth; ++i)
            if (walk.ancestors[i].device == id.device && walk.ancestors[i].inode == id.inode)
                return;
    }
    if (walk.list->free_slots <= 0)
        grow(walk.list, walk.capacity);
    path_list_add(walk.list, keep_text(path));
    if (!have_id || walk.depth == static_cast<int>(sizeof walk.ancestors / sizeof walk.ancestors[0]))
        return;
    walk.ancestors[walk.depth++] = id;
    walk.path = path;
    host_list_directory(path, nullptr, visit_entry, &walk);
    --walk.depth;
}

void read_path_file(PathList *search, std::int32_t *capacity, const char *name)
{
    int count = 0;
    char **words = nullptr;
    const char *error = read_word_file(name, &count, &words);
    if (error) {
        // "can't open" and "no command" mean the file simply adds nothing.
        if (error[0] != 'c' && error[0] != 'n') {
            std::size_t n = std::strlen(error);
            host_write_stdout(error, n);
            host_write_stdout("\n", 1);
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        strip_separator(words[i]);
        if (host_kind(words[i]) == HOST_DIRECTORY)
            add_directory_tree(search, capacity, words[i]);
    }
    free_words(count, words);
}

}  // namespace

void add_directory_tree(PathList *search_list, std::int32_t *capacity, const char *path)
{
    TreeWalk walk;
    walk.list = search_list;
    walk.capacity = capacity;
    walk.path = path;
    walk.depth = 0;
    walk_tree(walk, path);
}

PathList *build_search_list(PathList *list, std::int32_t *capacity)
{
    PathList *search = static_cast<PathList *>(allocate(sizeof(PathList)));
    path_list_init(search, *capacity);
    std::int32_t count = path_list_count(list);
    for (std::int32_t i = 0; i < count; ++i) {
        char *entry = path_list_entry(list, i);
        strip_separator(entry);
        switch (host_kind(entry)) {
        case HOST_DIRECTORY:
            add_directory_tree(search, capacity, entry);
            break;
        case HOST_FILE:
            read_path_file(search, capacity, entry);
            break;
        default:
            break;
        }
    }
    return search;
}

void free_search_list(PathList *search_list)
{
    if (!search_list)
        return;
    path_list_free(search_list);
    release(search_list);
}

namespace {

constexpr int WORD_LINE_SIZE = 10240;
constexpr int WORD_LINE_MAX = 10238;

// Error texts of read_word_file are formatted here and returned.
char word_file_message[WORD_LINE_SIZE + 600];

struct KeptLine {
    KeptLine *next;
    int number;
    char text[1];
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// Walks the words of one line: calls `each` with each word's start and
// length (quotes included). Returns false when a quote is not closed.
template <typename Each>
bool scan_words(const char *line, Each each)
{
    const char *p = line;
    for (;;) {
        while (is_blank(*p))
            ++p;
        if (!*p || *p == '#')
            return true;
        const char *start = p;
        if (*p == '"' || *p == '\'') {
            char quote = *p++;
            while (*p && *p != quote)
                ++p;
            if (!*p) {
                each(start, static_cast<std::size_t>(p - start), false);
                return false;
            }
            ++p;
            each(start, static_cast<std::size_t>(p - start), true);
        } else {
            while (*p && !is_blank(*p))
                ++p;
            each(start, static_cast<std::size_t>(p - start), true);
        }
    }
}

void free_kept(KeptLine *lines)
{
    while (lines) {
        KeptLine *next = lines->next;
        release(lines);
        lines = next;
    }
}

}  // namespace

const char *read_word_file(const char *name, int *count, char ***words)
{
    std::FILE *file = host_open(name, "r");
    if (!file) {
        std::snprintf(word_file_message, sizeof word_file_message, "can't open file %s", name);
        return word_file_message;
    }
    static char line[WORD_LINE_SIZE];
    KeptLine *first = nullptr;
    KeptLine **last = &first;
    int total = 0;
    int number = 0;
    for (;;) {
        int length = 0;
        long characters = 0;
        bool newline = false;
        int c = 0;
        while ((c = std::getc(file)) != EOF) {
            if (c == '\n') {
                newline = true;
                break;
            }
            ++characters;
            if (length < WORD_LINE_SIZE - 2)
                line[length++] = static_cast<char>(c);
        }
        if (characters == 0 && !newline)
            break;
        ++number;
        if (characters > WORD_LINE_MAX) {
            std::fclose(file);
            free_kept(first);
            std::snprintf(word_file_message, sizeof word_file_message, "line %d too long in file %s", number, name);
            return word_file_message;
        }
        if (newline)
            line[length++] = '\n';
        line[length] = 0;
        int here = 0;
        scan_words(line, [&](const char *, std::size_t, bool) { ++here; });
        if (here) {
            total += here;
            KeptLine *kept = static_cast<KeptLine *>(allocate(sizeof(KeptLine) + static_cast<std::size_t>(length)));
            kept->next = nullptr;
            kept->number = number;
            std::memcpy(kept->text, line, static_cast<std::size_t>(length) + 1);
            *last = kept;
            last = &kept->next;
        }
        if (!newline)
            break;
    }
    std::fclose(file);
    if (total == 0) {
        std::snprintf(word_file_message, sizeof word_file_message, "no command found in %s", name);
        return word_file_message;
    }
    char **vector = static_cast<char **>(allocate(sizeof(char *) * static_cast<std::size_t>(total)));
    int stored = 0;
    for (KeptLine *kept = first; kept; kept = kept->next) {
        bool closed = scan_words(kept->text, [&](const char *start, std::size_t n, bool complete) {
            if (!complete)
                return;
            if (*start == '"' || *start == '\'') {
                ++start;
                n -= 2;
            }
            char *word = static_cast<char *>(allocate(n + 3));
            std::memcpy(word, start, n);
            word[n] = 0;
            word[n + 1] = static_cast<char>((kept->number >> 8) & 0xFF);
            word[n + 2] = static_cast<char>(kept->number & 0xFF);
            vector[stored++] = word;
        });
        if (!closed) {
            const char *p = kept->text;
            char quote = 0;
            scan_words(p, [&](const char *start, std::size_t, bool complete) {
                if (!complete)
                    quote = *start;
            });
            std::snprintf(word_file_message, sizeof word_file_message, "unmatched %c in: %s", quote, kept->text);
            free_words(stored, vector);
            free_kept(first);
            return word_file_message;
        }
    }
    free_kept(first);
    *count = stored;
    *words = vector;
    return nullptr;
}

void free_words(int count, char **words)
{
    for (int i = 0; i < count; ++i)
        release(words[i]);
    release(words);
}
