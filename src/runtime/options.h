// The table-driven option parser with its usage and version texts, the
// number reader and the wildcard expansion of operands.
//
// A descriptor is one text: an optional '<' (accepted but not listed in the
// usage), the option's letters with their kind marks, a space or tab, and the
// help text. Marks: '#' number, '##' number even after '*', '*' string,
// '?' character, '>' repeatable (the value goes into a PathList).
#pragma once
#include <cstdint>

#include "runtime/pathlist.h"

struct OptionVar {
    enum Kind : std::uint8_t { OPTION_INT, OPTION_TEXT, OPTION_LIST };
    Kind kind;
    void *address;
    constexpr OptionVar(std::int32_t *p) : kind(OPTION_INT), address(p) {}
    constexpr OptionVar(const char **p) : kind(OPTION_TEXT), address(p) {}
    constexpr OptionVar(PathList *p) : kind(OPTION_LIST), address(p) {}
};

struct OptionDef {
    const char *descriptor;  // null closes the table
    OptionVar variable;
};

// Base name of the program, lower case, without extension.
extern const char *program_name;
// Shown by the banner and the version line when set.
extern const char *program_version;
extern const char *program_build_date;

void set_program_name(const char *path);

// Parses the options. Afterwards *argc and *argv describe the operands only
// (argv[0] is the first operand). Usage, version and every error end the
// process with status 1. With a null operand_text there is no usage, no
// wildcard expansion, and an unknown option ends parsing quietly.
void parse_options(int *argc, char ***argv, const char *title,
                   const char *operand_text, const OptionDef *table);

void print_banner(const char *title);

// Reads a signed number; base 1 chooses the base by prefix (0x: 16, 0: 8).
// Returns the position of the first character not read.
const char *parse_number(const char *text, std::int32_t *value, int base);

// Replaces operands holding '*' or '?' by the names they match.
void expand_wildcards(int *argc, char ***argv);

// Returns the library to its state before the first parse.
void options_library_reset();
