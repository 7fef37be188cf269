#include "preproc/pragma.h"

#include <cstdio>
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "preproc/directives.h"
#include "preproc/macros.h"
#include "runtime/textbuf.h"

std::int32_t align_mode = 0;
std::uint32_t unroll_count = 0;

std::uint16_t (*declaration_pragma_reader)(DeclarationPragma, PpToken *, std::uint32_t) = nullptr;
bool in_function_body = false;

namespace {

void pragma_align(const PpToken *t)
{
    if (!t || t->kind != TK_IDENT || even_align_data)
        return;
    if (spelled(t, "on"))
        align_mode = 1;
    else if (spelled(t, "off"))
        align_mode = 0;
}

void pragma_unroll(const PpToken *t)
{
    if (!t || t->kind != TK_PPNUMBER) {
        unroll_count = 0;
        return;
    }
    Token number{};
    convert_number(&number, t);
    if (number.code >= TK_INT_CONST && number.code <= TK_ULONG_CONST)
        unroll_count = number.value;
    else
        report("bad #pragma unroll directive");
}

void pragma_message(PpToken **rest)
{
    PpToken head{};
    head.next = *rest;
    expand_list(&head, 0);
    *rest = head.next;
    TextBuffer text;
    directive_text(head.next, text);
    std::FILE *stream = error_stream ? error_stream : stderr;
    std::fprintf(stream, "#message %.*s\n", static_cast<int>(text.length), text.data ? text.data : "");
}

// The pragmas whose operands are declarations go to the declaration
// parsers, which read the rest of the line as tokens of their own.
void declaration(DeclarationPragma which, PpToken *rest, const char *bad)
{
    auto line = static_cast<std::uint32_t>(current_line());
    if (declaration_pragma_reader(which, rest, line) != TK_SEMICOLON)
        report(bad);
    else if (which == PRAGMA_SECTION && in_function_body)
        report("misplaced #pragma section directive");
}

}  // namespace

void pragma_directive(PpToken *list)
{
    PpToken *word = list;
    if (!word || word->kind != TK_IDENT) {
        free_pp_list(list);
        return;
    }
    // The word goes; its handler owns the rest of the line.
    PpToken *rest = word->next;
    word->next = nullptr;
    if (spelled(word, "asm") || spelled(word, "endasm")) {
        (spelled(word, "asm") ? asm_directive : endasm_directive)(rest);
        rest = nullptr;
    } else if (spelled(word, "space")) {
        declaration(PRAGMA_SPACE, rest, "bad #pragma space directive");
        rest = nullptr;
    } else if (spelled(word, "align")) {
        pragma_align(rest);
    } else if (spelled(word, "unroll")) {
        pragma_unroll(rest);
    } else if (spelled(word, "section")) {
        declaration(PRAGMA_SECTION, rest, "bad #pragma section directive");
        rest = nullptr;
    } else if (spelled(word, "message")) {
        pragma_message(&rest);
    } else if (spelled(word, "warning")) {
        TextBuffer text;
        directive_text(rest, text);
        report("WW%s", text.data ? text.data : "");
    } else if (spelled(word, "attribute")) {
        declaration(PRAGMA_ATTRIBUTE, rest, "bad #pragma attribute directive");
        rest = nullptr;
    } else if (warn_unknown_pragmas) {
        report("WWunknown #pragma directive");
    }
    free_pp_list(word);
    free_pp_list(rest);
}

void pragma_reset()
{
    align_mode = 0;
    unroll_count = 0;
}
