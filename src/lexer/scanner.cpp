#include "lexer/pptoken.h"

#include <cstring>
#include <initializer_list>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/source.h"
#include "runtime/alloc.h"

bool scan_in_asm_block = false;
bool scan_in_skipped_region = false;

namespace {

// Token records come in blocks and are recycled through a free list.
struct PpBlock {
    PpBlock *next;
    PpToken tokens[511];
};
PpBlock *pp_blocks = nullptr;

// Character classes, one table lookup each. CLASS_SKIP marks the characters
// other than blank and tab that white-space skipping must look at.
enum : std::uint8_t {
    CLASS_IDENT_START = 1,
    CLASS_DIGIT = 2,
    CLASS_IDENT = CLASS_IDENT_START | CLASS_DIGIT,
    CLASS_SKIP = 4,
};
// What a token starting with the character is.
enum : std::uint8_t { START_PUNCTUATOR, START_END, START_IDENT, START_L, START_DIGIT, START_DOT, START_QUOTE };
struct CharClasses {
    std::uint8_t of[256] = {};
    std::uint8_t start[256] = {};
    constexpr CharClasses()
    {
        for (int c = 'a'; c <= 'z'; ++c) {
            of[c] = of[c - 'a' + 'A'] = CLASS_IDENT_START;
            start[c] = start[c - 'a' + 'A'] = START_IDENT;
        }
        of['_'] = CLASS_IDENT_START;
        start['_'] = START_IDENT;
        start['L'] = START_L;
        for (int c = '0'; c <= '9'; ++c) {
            of[c] = CLASS_DIGIT;
            start[c] = START_DIGIT;
        }
        for (unsigned char c : {'/', ';', '\n', '\v', '\f', '\r'})
            of[c] = CLASS_SKIP;
        start['.'] = START_DOT;
        start['"'] = start['\''] = START_QUOTE;
        start[0] = START_END;
    }
};
constexpr CharClasses char_classes;

bool is_digit(unsigned char c) { return char_classes.of[c] & CLASS_DIGIT; }
bool is_ident_char(unsigned char c) { return char_classes.of[c] & CLASS_IDENT; }
bool is_octal(unsigned char c) { return c >= '0' && c <= '7'; }
bool is_hex(unsigned char c) { return is_digit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }
bool is_blank(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool is_line_end(unsigned char c) { return c == 0 || c == '\n'; }

// The character after a backslash that makes a one-character escape.
bool is_simple_escape(unsigned char c) { return c && std::strchr("\"'?\\abfnrtv", c); }

// The longest punctuator at p: its kind and length.
std::uint16_t scan_punctuator(const char *p, int *length)
{
    *length = 1;
    auto two = [&](char second, std::uint16_t if_two, std::uint16_t if_one) -> std::uint16_t {
        if (p[1] == second) {
            *length = 2;
            return if_two;
        }
        return if_one;
    };
    switch (p[0]) {
    case ',': return TK_COMMA;
    case ':': return TK_COLON;
    case ';': return TK_SEMICOLON;
    case '@': return TK_AT;
    case '?': return TK_QUESTION;
    case '(': return TK_LPAREN;
    case ')': return TK_RPAREN;
    case '[': return TK_LBRACKET;
    case ']': return TK_RBRACKET;
    case '{': return TK_LBRACE;
    case '}': return TK_RBRACE;
    case '~': return TK_TILDE;
    case '.':
        if (p[1] == '.' && p[2] == '.') {
            *length = 3;
            return TK_ELLIPSIS;
        }
        return TK_DOT;
    case '#': return two('#', TK_HASHHASH, TK_HASH);
    case '\\': return two('#', TK_BACKSLASH_HASH, TK_OTHER);
    case '!': return two('=', TK_NE, TK_NOT);
    case '/': return two('=', TK_DIV_ASSIGN, TK_DIV);
    case '%': return two('=', TK_MOD_ASSIGN, TK_MOD);
    case '^': return two('=', TK_XOR_ASSIGN, TK_XOR);
    case '*': return two('=', TK_MUL_ASSIGN, TK_STAR);
    case '=': return two('=', TK_EQ, TK_ASSIGN);
    case '+':
        if (p[1] == '+') {
            *length = 2;
            return TK_INC;
        }
        return two('=', TK_ADD_ASSIGN, TK_PLUS);
    case '-':
        if (p[1] == '-') {
            *length = 2;
            return TK_DEC;
        }
        if (p[1] == '>') {
            *length = 2;
            return TK_ARROW;
        }
        return two('=', TK_SUB_ASSIGN, TK_MINUS);
    case '&':
        if (p[1] == '&') {
            *length = 2;
            return TK_ANDAND;
        }
        return two('=', TK_AND_ASSIGN, TK_AMP);
    case '|':
        if (p[1] == '|') {
            *length = 2;
            return TK_OROR;
        }
        return two('=', TK_OR_ASSIGN, TK_OR);
    case '<':
        if (p[1] == '<') {
            if (p[2] == '=') {
                *length = 3;
                return TK_SHL_ASSIGN;
            }
            *length = 2;
            return TK_SHL;
        }
        return two('=', TK_LE, TK_LT);
    case '>':
        if (p[1] == '>') {
            if (p[2] == '=') {
                *length = 3;
                return TK_SHR_ASSIGN;
            }
            *length = 2;
            return TK_SHR;
        }
        return two('=', TK_GE, TK_GT);
    default:
        return TK_OTHER;
    }
}

// Steps over the white space and comments at p; returns the position after.
char *skip_white(char *p, bool directive_line)
{
    for (;;) {
        if (comment_open) {
            char *close = std::strstr(p, "*/");
            if (!close)
                return p + std::strlen(p);
            comment_open = false;
            p = close + 2;
            continue;
        }
        unsigned char c = static_cast<unsigned char>(*p);
        if (c == ' ' || c == '\t') {
            ++p;
            continue;
        }
        if (c == '/' && p[1] == '*') {
            comment_open = true;
            p += 2;
        } else if (c == '/' && p[1] == '/' && !(strict_ansi && !c99_mode)) {
            while (!is_line_end(static_cast<unsigned char>(*p)))
                ++p;
        } else if (c == ';' && scan_in_asm_block && !directive_line) {
            while (!is_line_end(static_cast<unsigned char>(*p)))
                ++p;
        } else if (c && is_blank(c)) {
            ++p;
        } else {
            return p;
        }
    }
}

// The end of a preprocessing number starting at p.
char *scan_number(char *p)
{
    bool hex = p[0] == '0' && (p[1] == 'x' || p[1] == 'X');
    char *q = p;
    for (;;) {
        unsigned char c = static_cast<unsigned char>(*q);
        if (is_ident_char(c) || c == '.') {
            ++q;
            if ((c == 'e' || c == 'E') && (*q == '+' || *q == '-') && !(hex && !strict_ansi))
                ++q;
            else if ((c == 'p' || c == 'P') && (*q == '+' || *q == '-') && c99_mode)
                ++q;
            continue;
        }
        return q;
    }
}

// The end of a string literal or character constant whose quote is at p.
// Sets `closed` when the closing quote was found before the line's end.
char *scan_quoted(char *p, bool *closed)
{
    char quote = *p++;
    for (;;) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (is_line_end(c)) {
            *closed = false;
            return p;
        }
        if (c == static_cast<unsigned char>(quote)) {
            *closed = true;
            return p + 1;
        }
        if (c != '\\') {
            ++p;
            continue;
        }
        unsigned char e = static_cast<unsigned char>(p[1]);
        if (is_octal(e)) {
            p += 2;
            for (int i = 0; i < 2 && is_octal(static_cast<unsigned char>(*p)); ++i)
                ++p;
        } else if ((e == 'x' || e == 'X') && is_hex(static_cast<unsigned char>(p[2]))) {
            p += 3;
            while (is_hex(static_cast<unsigned char>(*p)))
                ++p;
        } else if (is_simple_escape(e)) {
            p += 2;
        } else {
            ++p;
        }
    }
}

}  // namespace

PpToken *pp_free = nullptr;

PpToken *more_pp_tokens()
{
    pp_blocks = static_cast<PpBlock *>(allocate(sizeof(PpBlock), pp_blocks));
    for (PpToken &t : pp_blocks->tokens) {
        t.next = pp_free;
        pp_free = &t;
    }
    return pp_free;
}

void free_pp_chain(PpToken *first, PpToken *last)
{
    last->next = pp_free;
    pp_free = first;
}

void free_pp_list(PpToken *list)
{
    if (!list)
        return;
    PpToken *last = list;
    while (last->next)
        last = last->next;
    last->next = pp_free;
    pp_free = list;
}

PpToken *scan_line(char *text)
{
    if (!text || !*text)
        return nullptr;
    // Positions come from the line start table when the text is the logical
    // line just read; text made up elsewhere counts from its own start.
    const LineStarts &starts = line_start_table();
    // A line of one physical line counts from its own start as well.
    bool mapped = starts.count > 1 && text == current_logical_line();
    std::int32_t last_line = current_line();
    int physical = 0;

    PpToken *head = nullptr;
    PpToken **tail = &head;
    bool directive_line = false;
    char *p = text;
    for (;;) {
        char *ws = p;
        while (*p == ' ' || *p == '\t')
            ++p;
        if (comment_open || (char_classes.of[static_cast<unsigned char>(*p)] & CLASS_SKIP))
            p = skip_white(p, directive_line);
        PpToken *t = new_pp_token();
        t->ws = ws;
        t->ws_len = static_cast<std::uint16_t>(p - ws);
        std::uint32_t offset = static_cast<std::uint32_t>(p - text);
        if (mapped) {
            while (physical + 1 < starts.count && starts.offset[physical + 1] <= offset)
                ++physical;
            t->line = static_cast<std::uint32_t>(last_line - (starts.count - 1 - physical));
            t->column = static_cast<std::uint16_t>(offset - starts.offset[physical]);
        } else {
            t->line = static_cast<std::uint32_t>(last_line);
            t->column = static_cast<std::uint16_t>(offset);
        }
        t->text = p;
        *tail = t;
        tail = &t->next;
        unsigned char c = static_cast<unsigned char>(*p);
        char *end;
        switch (char_classes.start[c]) {
        case START_END:
            t->kind = TK_EOL;
            t->len = 0;
            return head;
        case START_IDENT:
        identifier:
            end = p + 1;
            while (is_ident_char(static_cast<unsigned char>(*end)))
                ++end;
            t->kind = TK_IDENT;
            break;
        case START_L:
            if (p[1] != '"' && p[1] != '\'')
                goto identifier;
            [[fallthrough]];
        case START_QUOTE: {
            char *quote = c == 'L' ? p + 1 : p;
            bool closed = false;
            end = scan_quoted(quote, &closed);
            t->kind = *quote == '"' ? TK_STRING : TK_CHAR;
            if (!closed && !scan_in_asm_block && !scan_in_skipped_region)
                report("unbalanced %c", 0, static_cast<int>(*quote));
            break;
        }
        case START_DOT:
            if (!is_digit(static_cast<unsigned char>(p[1])))
                goto punctuator;
            [[fallthrough]];
        case START_DIGIT:
            end = scan_number(p);
            t->kind = TK_PPNUMBER;
            break;
        default:
        punctuator: {
            int length;
            t->kind = scan_punctuator(p, &length);
            end = p + length;
            if (head == t && t->kind == TK_HASH)
                directive_line = true;
            break;
        }
        }
        std::size_t length = static_cast<std::size_t>(end - p);
        t->len = static_cast<std::uint16_t>(length > 0xFFFF ? 0xFFFF : length);
        p = end;
    }
}

PpToken *scan_text(const char *text, std::size_t length)
{
    char *line = scratch_text(text, length + 1);
    line[length] = '\n';
    bool comment = comment_open;
    comment_open = false;
    PpToken *list = scan_line(line);
    comment_open = comment;
    return list;
}

void pp_tokens_reset()
{
    while (pp_blocks)
        pp_blocks = static_cast<PpBlock *>(release(pp_blocks, pp_blocks->next));
    pp_free = nullptr;
    scan_in_asm_block = false;
    scan_in_skipped_region = false;
}
