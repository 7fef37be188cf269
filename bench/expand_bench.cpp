// Macro expansion on its own, for bench/expand_depth.py: reads a C file
// whose lines are #define lines or lines to expand, runs each through the
// same definition handler and expansion zpc uses, and prints how many
// tokens the expanded lines hold. Lines are read whole, whatever their
// length, so that nesting is limited by the expander and not by the
// line reader.
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <string>

#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/pptoken.h"
#include "preproc/directives.h"
#include "preproc/macros.h"
#include "runtime/options.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s file.c\n", argv[0]);
        return 2;
    }
    std::ifstream in(argv[1]);
    if (!in) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    zpc_reset();
    options_reset();
    set_program_name("zpc");
    error_stream = stderr;
    // Macros point into their lines: every line lives to the end.
    std::deque<std::string> lines;
    unsigned long tokens = 0;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line + "\n");
        char *text = lines.back().data();
        if (!std::strncmp(text, "#define ", 8)) {
            PpToken *list = scan_line(text + 8);
            define_directive(list);
            free_pp_list(list);
            continue;
        }
        PpToken *list = process_line(scan_line(text));
        for (const PpToken *t = list; t; t = t->next)
            if (t->kind != TK_EOL)
                ++tokens;
        free_pp_list(list);
    }
    std::printf("%lu tokens\n", tokens);
    return error_count ? 1 : 0;
}
