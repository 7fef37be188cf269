#include "runtime/options.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "host/host.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

namespace {

constexpr const char VENDOR[] = "Harrowgate Labs";
constexpr std::size_t PROGRAM_NAME_MAX = 256;

char program_name_buffer[PROGRAM_NAME_MAX];

// The wildcard-expanded operand vector, owned by the library.
char **expanded_vector = nullptr;

bool ends_letters(char c) { return c == 0 || c == ' ' || c == '\t'; }

[[noreturn]] void fail(TextBuffer &message)
{
    host_write_stderr(message.data, message.length);
    std::exit(1);
}

void append_banner(TextBuffer &out, const char *title)
{
    out.append(VENDOR);
    if (title) {
        if (title[0] != ' ')
            out.append(' ');
        out.append(title);
    }
    if (program_version) {
        out.append(' ');
        out.append(program_version);
    }
}

[[noreturn]] void print_usage(const char *title, const char *operand_text, const OptionDef *table)
{
    TextBuffer out;
    append_banner(out, title);
    out.append("\nusage: ");
    out.append(program_name);
    out.append(" [options] ");
    out.append(operand_text);
    out.append('\n');
    for (const OptionDef *d = table; d->descriptor; ++d) {
        if (d->descriptor[0] == '<')
            continue;
        out.append("    ");
        if (d->descriptor[0] != '+')
            out.append('-');
        out.append(d->descriptor);
        out.append('\n');
    }
    fail(out);
}

[[noreturn]] void print_version(const char *title)
{
    TextBuffer out;
    append_banner(out, title);
    if (program_build_date) {
        out.append(" - ");
        out.append(program_build_date);
    }
    out.append(" - Win32\n");
    fail(out);
}

// What one descriptor read from the argument.
struct OptionMatch {
    bool matched = false;
    bool have_number = false;  // '#' or '?' read a value
    bool force_number = false;  // '##'
    bool have_text = false;     // '*'
    bool repeatable = false;    // '>'
    std::int32_t number = 0;
    const char *text = nullptr;
    const char *rest = nullptr;  // what is left of the argument
    int next_argument = 0;       // index of the last argument used
};

// Tries one descriptor at `position` of argument `index`. Numbers and
// strings whose argument is empty take the next argument.
OptionMatch try_descriptor(const char *descriptor, const char *position, int index, int argc, char **argv)
{
    OptionMatch m;
    m.next_argument = index;
    const char *d = descriptor;
    if (*d == '<')
        ++d;
    const char *p = position;
    while (!ends_letters(*d)) {
        char c = *d;
        if (c == '#') {
            if (d[1] == '#') {
                m.force_number = true;
                ++d;
            }
            ++d;
            const char *start = p;
            if (!*start && m.next_argument + 1 < argc)
                start = argv[++m.next_argument];
            const char *end = parse_number(start, &m.number, 1);
            if (*end) {
                TextBuffer out;
                out.append("invalid number: ");
                out.append(start, static_cast<std::size_t>(end - start) + 1);
                out.append('\n');
                fail(out);
            }
            m.have_number = true;
            p = end;
        } else if (c == '*') {
            ++d;
            if (!*p && m.next_argument + 1 < argc)
                m.text = argv[++m.next_argument];
            else
                m.text = p;
            m.have_text = true;
            p += std::strlen(p);
        } else if (c == '?') {
            ++d;
            m.number = static_cast<unsigned char>(*p);
            if (*p)
                ++p;
            m.have_number = true;
        } else if (c == '>') {
            ++d;
            m.repeatable = true;
        } else {
            if (*p != c)
                return m;
            ++p;
            ++d;
        }
    }
    // A value taken from the next argument leaves nothing of this one.
    m.rest = m.next_argument != index ? "" : p;
    m.matched = true;
    return m;
}

void store_value(const OptionVar &var, const OptionMatch &m)
{
    bool as_number = m.have_number && (!m.have_text || m.force_number);
    if (m.repeatable) {
        PathList *list = static_cast<PathList *>(var.address);
        char *value = const_cast<char *>(m.text ? m.text : "");
        if (!path_list_add(list, value)) {
            host_write_stderr("argument list overflow\n");
            std::exit(1);
        }
        return;
    }
    switch (var.kind) {
    case OptionVar::OPTION_INT:
        *static_cast<std::int32_t *>(var.address) = as_number ? m.number : 1;
        break;
    case OptionVar::OPTION_TEXT:
        *static_cast<const char **>(var.address) = m.have_text ? m.text : nullptr;
        break;
    case OptionVar::OPTION_LIST:
        break;
    }
}

}  // namespace

const char *program_name = program_name_buffer;
const char *program_version = nullptr;
const char *program_build_date = nullptr;

void set_program_name(const char *path)
{
    const char *base = path;
    for (const char *p = path; *p; ++p)
        if (*p == '\\' || *p == '/')
            base = p + 1;
    std::size_t n = 0;
    while (base[n] && base[n] != '.' && n + 1 < PROGRAM_NAME_MAX) {
        program_name_buffer[n] = static_cast<char>(std::tolower(static_cast<unsigned char>(base[n])));
        ++n;
    }
    program_name_buffer[n] = 0;
}

void print_banner(const char *title)
{
    TextBuffer out;
    append_banner(out, title);
    host_write_stderr(out.data, out.length);
}

const char *parse_number(const char *text, std::int32_t *value, int base)
{
    const char *p = text;
    while (std::isspace(static_cast<unsigned char>(*p)))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    bool hex_prefix = p[0] == '0' && (p[1] == 'x' || p[1] == 'X');
    if (base == 1) {
        if (hex_prefix) {
            base = 16;
            p += 2;
        } else {
            base = *p == '0' ? 8 : 10;
        }
    } else if (base == 16 && hex_prefix) {
        p += 2;
    }
    std::uint32_t result = 0;
    for (;; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'A' && c <= 'Z')
            digit = c - 'A' + 10;
        else if (c >= 'a' && c <= 'z')
            digit = c - 'a' + 10;
        else
            break;
        if (digit >= base)
            break;
        result = result * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit);
    }
    *value = static_cast<std::int32_t>(negative ? 0u - result : result);
    return p;
}

void parse_options(int *argc, char ***argv, const char *title,
                   const char *operand_text, const OptionDef *table)
{
    int count = *argc;
    char **vector = *argv;
    if (!program_name[0])
        set_program_name(count > 0 && vector[0] ? vector[0] : "");
    bool any_option = false;
    int index = 1;
    for (; index < count; ++index) {
        const char *arg = vector[index];
        const char *letters;
        if (arg[0] == '-' && arg[1] == 0)
            break;
        if (arg[0] == '-' && arg[1] == '-' && arg[2] == 0) {
            ++index;
            break;
        }
        if (arg[0] == '-')
            letters = arg + 1;
        else if (arg[0] == '+')
            letters = arg;
        else
            break;
        if (operand_text) {
            if (!std::strncmp(letters, "help", 4))
                print_usage(title, operand_text, table);
            if (!std::strncmp(letters, "vers", 4))
                print_version(title);
        }
        any_option = true;
        const char *position = letters;
        int current = index;
        while (*position) {
            OptionMatch m;
            const OptionDef *d = table;
            for (; d->descriptor; ++d) {
                m = try_descriptor(d->descriptor, position, current, count, vector);
                if (m.matched)
                    break;
            }
            if (!d->descriptor) {
                if (!operand_text) {
                    *argc = count - index;
                    *argv = vector + index;
                    return;
                }
                TextBuffer out;
                out.append(program_name);
                out.append(": unknown option ");
                if (position[0] != '+')
                    out.append('-');
                out.append(position);
                out.append('\n');
                fail(out);
            }
            store_value(d->variable, m);
            position = m.rest;
            index = current = m.next_argument;
        }
    }
    *argc = count - index;
    *argv = vector + index;
    if (!operand_text)
        return;
    expand_wildcards(argc, argv);
    if (!any_option && *argc == 0)
        print_usage(title, operand_text, table);
}

namespace {

struct Expansion {
    char **vector;
    int count;
    int room;  // entries, not counting the terminator
    const char *prefix;
    std::size_t prefix_length;
};

void push_operand(Expansion &x, char *operand)
{
    if (x.count == x.room) {
        std::size_t bytes = (static_cast<std::size_t>(x.room) * 2 + 1) * sizeof(char *);
        void *grown = std::realloc(x.vector, bytes);
        if (!grown) {
            TextBuffer out;
            out.append(program_name);
            out.append(": too many expanded filenames\n");
            fail(out);
        }
        x.vector = static_cast<char **>(grown);
        x.room *= 2;
    }
    x.vector[x.count++] = operand;
    x.vector[x.count] = nullptr;
}

void push_match(const HostDirEntry &entry, void *context)
{
    Expansion &x = *static_cast<Expansion *>(context);
    std::size_t n = std::strlen(entry.name);
    // Names keep their case: this file system tells capitals apart, and a
    // lower-cased name would not open.
    char *name = keep_text(x.prefix, x.prefix_length + n);
    std::memcpy(name + x.prefix_length, entry.name, n);
    push_operand(x, name);
}

}  // namespace

void expand_wildcards(int *argc, char ***argv)
{
    Expansion x;
    x.room = 256;
    x.count = 0;
    x.vector = static_cast<char **>(std::malloc((static_cast<std::size_t>(x.room) + 1) * sizeof(char *)));
    if (!x.vector)
        fatal_no_memory();
    x.vector[0] = nullptr;
    bool any_wildcard = false;
    for (int i = 0; i < *argc; ++i) {
        char *operand = (*argv)[i];
        if (!std::strpbrk(operand, "*?")) {
            push_operand(x, operand);
            continue;
        }
        any_wildcard = true;
        const char *pattern = operand;
        for (const char *p = operand; *p; ++p)
            if (*p == '/' || *p == '\\')
                pattern = p + 1;
        x.prefix = operand;
        x.prefix_length = static_cast<std::size_t>(pattern - operand);
        char *dir = keep_text(operand, x.prefix_length);
        host_list_directory(dir, pattern, push_match, &x);
    }
    if (!any_wildcard) {
        std::free(x.vector);
        return;
    }
    std::free(expanded_vector);
    expanded_vector = x.vector;
    *argc = x.count;
    *argv = x.vector;
}

void options_library_reset()
{
    program_name_buffer[0] = 0;
    std::free(expanded_vector);
    expanded_vector = nullptr;
}
