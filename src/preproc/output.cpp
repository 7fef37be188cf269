#include "preproc/output.h"

#include <cstdio>
#include <cstring>

#include "driver/options.h"
#include "lexer/pptoken.h"
#include "preproc/directives.h"
#include "preproc/source.h"

namespace {

// Output lines outside #asm blocks are broken at token boundaries once
// they are this long.
constexpr int OUTPUT_LINE_BREAK = 2049;

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
            if (line_sync && (static_cast<long>(t->line) != out_line || !out_file || std::strcmp(file, out_file)))
                marker(t, file);
            // The end of a line is the last token of its list, also when
            // it has become assembly text.
            bool end = !t->next;
            if (!end && !in_asm && out_col >= OUTPUT_LINE_BREAK)
                newline();
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
            white_space(t);
            put(t->text, t->len);
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
