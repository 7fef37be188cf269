// The macro table: #define, #undef, -d, the built-in names, and macro
// expansion of token lists.
#pragma once
#include <cstddef>
#include <cstdint>

#include "lexer/pptoken.h"

struct Macro {
    Macro *link;         // the list of defined macros, newest first
    Macro *marked_link;  // the macros marked during the current expansion
    PpToken *body;       // ends with the definition's end-of-line token
    char *text;          // the body's white space and spellings
    std::int32_t nparams;  // 0 object-like, -1 "()", else the parameter count
    std::uint8_t state;    // bit 0: being rescanned; bit 1: expanded earlier
    std::uint8_t used;     // set at each expansion; cleared by debug output
    std::uint8_t variadic;
    std::uint8_t marked;   // on the marked list
    std::uint8_t name_len;
    char name[1];
};

enum BuiltinCode {
    BUILTIN_NONE,
    BUILTIN_DEFINED,
    BUILTIN_DATE,
    BUILTIN_TIME,
    BUILTIN_FILE,
    BUILTIN_LINE,
    BUILTIN_STDC,
    BUILTIN_ZPKW,
    BUILTIN_TRGT,
    BUILTIN_CC99,
    BUILTIN_PRAGMA,
    BUILTIN_STDC_HOSTED,
    BUILTIN_STDC_VERSION,
};

extern Macro *macro_list;

Macro *lookup_macro(const PpToken *name);
// A filter in front of the table: one bit per hash of a name's first and
// last characters and length, set for every name ever defined and for the
// built-in names. A clear bit means the name is certainly not a macro, so
// most identifiers never walk the table. Bits stay set after #undef.
constexpr unsigned MACRO_FILTER_BITS = 4096;
extern std::uint64_t macro_name_filter[MACRO_FILTER_BITS / 64];

inline unsigned macro_filter_bit(const char *text, std::size_t length)
{
    auto first = static_cast<unsigned char>(text[0]);
    auto last = static_cast<unsigned char>(text[length - 1]);
    return (first * 31u + last * 7u + static_cast<unsigned>(length)) % MACRO_FILTER_BITS;
}

// False when `name` is certainly neither a macro nor a built-in name; true
// when it may be one (ask lookup_macro and builtin_code).
inline bool may_be_macro(const PpToken *name)
{
    if (name->len == 0)
        return false;
    unsigned bit = macro_filter_bit(name->text, name->len);
    return (macro_name_filter[bit / 64] >> (bit % 64)) & 1;
}
int builtin_code(const PpToken *name);
// Parses the rest of a #define line after the name and stores the macro.
Macro *define_macro(PpToken *name_token);
void delete_macro(const PpToken *name);
bool same_definition(const Macro *a, const Macro *b);

// The directive handlers, given the tokens after the directive's name.
void define_directive(PpToken *list);
void undef_directive(PpToken *list);
// One -d value: NAME, NAME=, NAME=VALUE.
void define_from_option(const char *text);

// The option mask that __ZPKW__ stands for.
std::int32_t option_mask();

// Set by the directive stage while a directive's handler runs: a call
// that runs on past the line's end does not read further lines then.
extern bool in_directive;
// A directive line met while a call's '(' was looked for on the lines
// after its name: the line loop takes it before reading another line.
// Null when there is none.
extern PpToken *held_line;

// Expands the tokens after `link`; 1 when anything was replaced. Mode 0:
// a whole line; 1: the first rescan of an expansion, or an argument;
// 3: further rescans.
int expand_list(PpToken *link, int mode);
// Replaces the built-in name after `link`; returns the token after which
// scanning goes on.
PpToken *expand_builtin(PpToken *link, int code, int mode);

// Expansion keeps its nesting on a stack of its own in memory, one or two
// frames a level: a chain of macros naming each other, or calls nested in
// arguments. Past this many levels "macro expansion nested too deeply" is
// reported and the rest of the line is left as it stands, so that memory
// cannot run out. Tests lower it to reach the limit cheaply.
constexpr std::int32_t EXPANSION_NESTING_DEFAULT = 1000000;
extern std::int32_t expansion_nesting_limit;

void macros_reset();
void expansion_reset();
