// Preprocessing tokens: one logical line scanned into a list, keeping the
// white space and comments before each token so that the text can be
// written out again. A punctuator's kind is also its parser token code.
#pragma once
#include <cstddef>
#include <cstdint>

enum TokenCode : std::uint16_t {
    TK_PARAM = 0,  // parameter reference in a stored macro body
    TK_COMMA = 1,
    TK_COLON = 2,
    TK_SEMICOLON = 3,
    TK_STRING = 4,
    TK_AT = 5,
    TK_DOT = 6,
    TK_ELLIPSIS = 7,
    TK_ARROW = 8,
    TK_QUESTION = 9,
    TK_LPAREN = 10,
    TK_RPAREN = 11,
    TK_LBRACKET = 12,
    TK_RBRACKET = 13,
    TK_INC = 14,
    TK_DEC = 15,
    TK_LBRACE = 16,
    TK_RBRACE = 17,
    TK_IDENT = 18,
    TK_PPNUMBER = 19,
    TK_HASH = 20,
    TK_HASHHASH = 21,
    TK_CHAR = 22,
    TK_EOL = 23,
    TK_OTHER = 24,
    TK_ASM = 31,
    TK_BACKSLASH_HASH = 52,
    TK_NOT = 61,
    TK_TILDE = 62,
    TK_DIV = 68,
    TK_MOD = 69,
    TK_SHL = 70,
    TK_SHR = 71,
    TK_XOR = 73,
    TK_OR = 74,
    TK_LT = 75,
    TK_GE = 76,
    TK_GT = 77,
    TK_LE = 78,
    TK_EQ = 79,
    TK_NE = 80,
    TK_ADD_ASSIGN = 81,
    TK_SUB_ASSIGN = 82,
    TK_MUL_ASSIGN = 83,
    TK_DIV_ASSIGN = 84,
    TK_MOD_ASSIGN = 85,
    TK_SHL_ASSIGN = 86,
    TK_SHR_ASSIGN = 87,
    TK_AND_ASSIGN = 88,
    TK_XOR_ASSIGN = 89,
    TK_OR_ASSIGN = 90,
    TK_ANDAND = 91,
    TK_OROR = 92,
    TK_INLINE = 93,
    TK_ASSIGN = 95,
    TK_PLUS = 97,
    TK_MINUS = 98,
    TK_STAR = 99,
    TK_AMP = 104,
    TK_KEYWORD_FIRST = 128,  // auto; 128 + index in the keyword table
    TK_KEYWORD_LAST = 159,   // while
    TK_INT_CONST = 160,
    TK_UINT_CONST = 161,
    TK_LONG_CONST = 162,
    TK_ULONG_CONST = 163,
    TK_FLOAT_CONST = 166,
    TK_DOUBLE_CONST = 167,
    TK_END = 255,
};

struct PpToken {
    PpToken *next;
    const char *ws;  // text between the previous token and this one
    char *text;      // the spelling; string literals are decoded in place
    std::uint16_t ws_len;
    std::uint16_t len;  // for a parameter reference: the parameter's index
    std::uint32_t line;
    std::uint16_t column;  // bit 15: first line of an #asm block
    std::uint16_t kind;
    std::uint16_t no_expand;
};

constexpr std::uint16_t COLUMN_ASM_FIRST = 0x8000;

// Token records come from a free list, refilled a block at a time.
extern PpToken *pp_free;
PpToken *more_pp_tokens();
inline PpToken *new_pp_token()
{
    PpToken *t = pp_free ? pp_free : more_pp_tokens();
    pp_free = t->next;
    t->next = nullptr;
    t->no_expand = 0;
    return t;
}
// Returns a whole list to the free list.
void free_pp_list(PpToken *list);
// The same for a list whose last token is known.
void free_pp_chain(PpToken *first, PpToken *last);

// Scans one logical line into tokens, ending with an end-of-line token
// whose white space holds the line's trailing blanks and newline. Null for
// an empty text.
PpToken *scan_line(char *text);
// Scans text made up outside the source (a pasted spelling, a _Pragma
// operand, a -d value) as a line of its own: the text is copied to scratch
// text with a newline, and an open comment of the source is set aside.
PpToken *scan_text(const char *text, std::size_t length);

// Set by the directive stage: the scanner treats ';' as the start of a
// comment inside #asm blocks, and is silent about unbalanced quotes there
// and in skipped regions.
extern bool scan_in_asm_block;
extern bool scan_in_skipped_region;

void pp_tokens_reset();
