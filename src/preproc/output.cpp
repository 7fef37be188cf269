#include "preproc/output.h"

#include <cstdio>
#include <cstring>

#include "base/options.h"
#include "lexer/pptoken.h"
#include "lexer/source.h"
#include "preproc/directives.h"

namespace {

// Output lines outside #asm blocks are broken at token boundaries once
// they are this long.
constexpr int OUTPUT_LINE_BREAK = 2049;

// By one-character punctuator: the characters that, written right after
// it, would make a longer token with it, a comment ('/' before '/' or
// '*'), or a number ('.' before a digit). A dot before a dot counts, as
// the scanner takes three of them as one token.
struct JoinTable {
    const char *after[128] = {};
    constexpr JoinTable()
    {
        after['+'] = "+=";
        after['-'] = "-=>";
        after['<'] = "<=";
        after['>'] = ">=";
        after['&'] = "&=";
        after['|'] = "|=";
        after['='] = "=";
        after['!'] = "=";
        after['*'] = "=";
        after['/'] = "=/*";
        after['%'] = "=";
        after['^'] = "=";
        after['#'] = "#";
        after['\\'] = "#";
        after['.'] = ".0123456789";
    }
};
constexpr JoinTable join_table;

bool is_word_char(unsigned char c)
{
    return c == '_' || (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
}

// Whether `left` written directly before `right` would be read again as
// other tokens: one token, a different pair, or a comment.
bool would_join(const PpToken *left, const PpToken *right)
{
    if (left->len == 0)
        return false;
    unsigned char first = static_cast<unsigned char>(right->text[0]);
    unsigned char last = static_cast<unsigned char>(left->text[left->len - 1]);
    switch (left->kind) {
    case TK_IDENT:
        // Names run on through letters and digits; L directly before a
        // quote makes a wide literal.
        return is_word_char(first) || (left->len == 1 && last == 'L' && (first == '"' || first == '\''));
    case TK_PPNUMBER:
        // A number goes on through letters, digits, dots and an exponent's sign.
        return is_word_char(first) || first == '.' ||
               ((first == '+' || first == '-') && ((last | 0x20) == 'e' || (last | 0x20) == 'p'));
    case TK_SHL:
    case TK_SHR:
        return first == '=';
    default:
        if (left->len != 1 || last >= 128 || !join_table.after[last])
            return false;
        return std::strchr(join_table.after[last], first) != nullptr;
    }
}

struct Writer {
    std::FILE *out;
    bool compact;        // -cr: line markers, comments as one blank
    bool line_sync;      // the next token is checked against out_line
    long out_line = 0;   // the source line the output line stands for
    const char *out_file = nullptr;
    int out_col = 0;     // characters on the current output line
    bool in_asm = false;  // an #asm marker is open

    void put(const char *text, std::size_t length)
    {
        std::fwrite(text, 1, length, out);
        out_col += static_cast<int>(length);
    }
    void newline()
    {
        std::fputc('\n', out);
        out_col = 0;
    }

    void marker(const PpToken *t, const char *file)
    {
        out_line = t->line;
        out_file = file;
        if (out_col != 0)
            newline();
        std::fprintf(out, "#line %ld \"", out_line);
        for (const char *p = file; *p; ++p) {
            if (*p == '\\')
                std::fputc('\\', out);
            std::fputc(*p, out);
        }
        std::fputs("\"\n", out);
        out_col = 0;
        line_sync = false;
    }

    void white_space(const PpToken *t)
    {
        if (!compact) {
            put(t->ws, t->ws_len);
            return;
        }
        std::size_t n = 0;
        while (n < t->ws_len && (t->ws[n] == ' ' || t->ws[n] == '\t'))
            ++n;
        if (n > 0)
            put(t->ws, n);
        else if (t->ws_len > 0)
            put(" ", 1);
    }

    void line(const PpToken *list)
    {
        // The last token written on the current output line; null at its start.
        const PpToken *before = nullptr;
        bool asm_block = asm_mode != 0;
        if (asm_block && !in_asm) {
            std::fputs("#asm\n", out);
            in_asm = true;
            out_col = 0;
        } else if (!asm_block && in_asm) {
            std::fputs("#endasm\n", out);
            in_asm = false;
            out_col = 0;
        }
        for (const PpToken *t = list; t; t = t->next) {
            const char *file = current_file_name();
            if (line_sync && (static_cast<long>(t->line) != out_line || !out_file || std::strcmp(file, out_file))) {
                marker(t, file);
                before = nullptr;
            }
            // The end of a line is the last token of its list, also when
            // it has become assembly text.
            bool end = !t->next;
            if (!end && !in_asm && out_col >= OUTPUT_LINE_BREAK) {
                newline();
                before = nullptr;
            }
            if (end) {
                if (compact) {
                    put(t->text, t->len);
                    newline();
                    ++out_line;
                    line_sync = true;
                    continue;
                }
                out_col = 0;
            }
            // Tokens that follow each other in the text they were scanned
            // from read again as they were. Where expansion put together
            // tokens from different places with nothing between them, a
            // blank keeps them apart if they would run into each other.
            if (before && t->ws_len == 0 && t->len != 0 && before->text + before->len != t->text &&
                !in_asm && would_join(before, t))
                put(" ", 1);
            white_space(t);
            put(t->text, t->len);
            before = t->kind == TK_EOL ? nullptr : t;
        }
    }
};

}  // namespace

void write_preprocessed()
{
    Writer w{output_stream ? output_stream : stdout, comment_removal != 0, comment_removal != 0};
    while (PpToken *scanned = scan_next_line()) {
        PpToken *list = process_line(scanned);
        if (!list)
            continue;
        if (!make_dependencies)
            w.line(list);
        free_pp_list(list);
    }
    if (w.in_asm)
        std::fputs("#endasm\n", w.out);
}
