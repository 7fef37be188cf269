#include "preproc/directives.h"

#include <cstdio>
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "preproc/macros.h"
#include "preproc/pragma.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

std::int32_t asm_mode = 0;

bool (*condition_reader)(std::int32_t *value, int mode) = nullptr;

namespace {

// One open conditional: where its current group began, its state ('I'
// active level, 'E' the same after #else, 'i' a group that can no longer
// be taken, 'e' the same after #else) and whether its lines are taken.
struct CondFrame {
    CondFrame *link;
    const char *file;
    std::uint16_t line;
    char state;
    std::uint8_t taking;
};

CondFrame *cond_stack = nullptr;

// The names #line gave, each once, for the whole run.
struct LineName {
    LineName *link;
    char name[1];
};
LineName *line_names = nullptr;

bool is_end(const PpToken *t) { return !t || t->kind == TK_EOL; }

// The line macro-expanded in place; its new first token.
PpToken *expanded(PpToken **list)
{
    PpToken head{};
    head.next = *list;
    expand_list(&head, 0);
    *list = head.next;
    return head.next;
}

void unexpected_after(const PpToken *t)
{
    if (strict_ansi && !is_end(t))
        report("unexpected token");
}

// The scanner treats the next line by the state this one left.
void set_scanner_state()
{
    scan_in_asm_block = asm_mode != 0;
    scan_in_skipped_region = !is_active();
}

void push_frame(char state, bool taking)
{
    auto *f = static_cast<CondFrame *>(allocate(sizeof(CondFrame), cond_stack));
    f->file = current_file_name();
    f->line = static_cast<std::uint16_t>(current_line());
    f->state = state;
    f->taking = taking ? 1 : 0;
    cond_stack = f;
}

// ---- #if and #elif ----

PpToken *make_token(PpToken *like, std::uint16_t kind, const char *text)
{
    std::size_t n = std::strlen(text);
    PpToken *t = new_pp_token();
    t->ws = like->ws;
    t->ws_len = like->ws_len;
    t->text = scratch_text(text, n);
    t->len = static_cast<std::uint16_t>(n);
    t->line = like->line;
    t->column = like->column;
    t->kind = kind;
    return t;
}

// An enumeration constant visible here, or null.
const Symbol *enumerator(const PpToken *t)
{
    const Symbol *s = find_symbol(intern_name(t->text, t->len), ident_list, nullptr);
    return s && s->sclass == SC_ENUMERATOR ? s : nullptr;
}

// The operand of #if made ready for the expression parser: sizeof(...)
// kept, enumeration constants as their values, every other identifier 0,
// and the end of the line a ';'. `link` is the token before the operand.
void prepare_condition(PpToken *link)
{
    for (PpToken *prev = link, *t = prev->next; t; prev = t, t = t->next) {
        if (t->kind == TK_EOL) {
            t->kind = TK_SEMICOLON;
            t->text = scratch_text(";", 1);
            t->len = 1;
            break;
        }
        if (t->kind != TK_IDENT)
            continue;
        if (!strict_ansi && spelled(t, "sizeof") && t->next && t->next->kind == TK_LPAREN) {
            int depth = 0;
            while (t->next && t->next->kind != TK_EOL) {
                t = t->next;
                if (t->kind == TK_LPAREN)
                    ++depth;
                else if (t->kind == TK_RPAREN && --depth == 0)
                    break;
            }
            continue;
        }
        PpToken *replacement = nullptr;
        if (const Symbol *s = strict_ansi ? nullptr : enumerator(t)) {
            bool is_unsigned = (enumerator_type(s)->kind & KIND_UNSIGNED_BIT) != 0;
            auto value = static_cast<std::int32_t>(s->value);
            char digits[16];
            if (is_unsigned || value >= 0) {
                std::snprintf(digits, sizeof digits, "%lu", static_cast<unsigned long>(is_unsigned ? s->value : value));
                replacement = make_token(t, TK_PPNUMBER, digits);
            } else {
                // A negative value: (-N), as tokens of their own.
                std::snprintf(digits, sizeof digits, "%lu", static_cast<unsigned long>(0u - s->value));
                replacement = make_token(t, TK_LPAREN, "(");
                PpToken *minus = make_token(t, TK_MINUS, "-");
                PpToken *number = make_token(t, TK_PPNUMBER, digits);
                PpToken *close = make_token(t, TK_RPAREN, ")");
                minus->ws_len = number->ws_len = close->ws_len = 0;
                replacement->next = minus;
                minus->next = number;
                number->next = close;
            }
        } else {
            replacement = make_token(t, TK_PPNUMBER, "0");
        }
        PpToken *last = replacement;
        while (last->next)
            last = last->next;
        last->next = t->next;
        prev->next = replacement;
        t->next = nullptr;
        free_pp_list(t);
        t = last;
    }
}

// The value of the operand of #if or #elif; `elif` picks the messages.
std::int32_t evaluate_condition(PpToken *operand, bool elif)
{
    PpToken head{};
    head.next = operand;
    expand_list(&head, 0);
    prepare_condition(&head);
    std::int32_t value = 0;
    redirect_tokens(head.next);
    if (!condition_reader(&value, 2)) {
        report(elif ? "bad #elif expression" : "bad #if expression");
        value = 0;
    }
    if (redirect_tokens(nullptr) != TK_SEMICOLON)
        report(elif ? "incomplete #elif expression" : "incomplete #if expression");
    free_pp_list(head.next);
    return value;
}

// ---- The handlers: each gets the tokens after the directive's name,
// and owns them. ----

void if_directive(PpToken *list)
{
    if (!is_active()) {
        push_frame('i', false);
        free_pp_list(list);
        return;
    }
    push_frame('I', evaluate_condition(list, false) != 0);
}

void ifdef_common(PpToken *list, bool negated)
{
    if (!is_active()) {
        push_frame('i', false);
    } else if (!list || list->kind != TK_IDENT) {
        report(negated ? "bad #ifndef syntax" : "bad #ifdef syntax");
        push_frame('I', false);
    } else {
        bool known = builtin_code(list) != 0 || lookup_macro(list) != nullptr;
        push_frame('I', known != negated);
        unexpected_after(list->next);
    }
    free_pp_list(list);
}

void ifdef_directive(PpToken *list) { ifdef_common(list, false); }
void ifndef_directive(PpToken *list) { ifdef_common(list, true); }

void else_directive(PpToken *list)
{
    CondFrame *f = cond_stack;
    if (!f || f->state == 'E' || f->state == 'e') {
        report("bad #else");
    } else {
        if (f->state == 'I') {
            f->state = 'E';
            f->taking = !f->taking;
        } else {
            f->state = 'e';
        }
        f->file = current_file_name();
        f->line = static_cast<std::uint16_t>(current_line());
    }
    unexpected_after(list);
    free_pp_list(list);
}

void elif_directive(PpToken *list)
{
    CondFrame *f = cond_stack;
    if (!f || f->state == 'E' || f->state == 'e') {
        report("bad #else");
        free_pp_list(list);
        return;
    }
    f->file = current_file_name();
    f->line = static_cast<std::uint16_t>(current_line());
    if (f->state == 'I' && f->taking) {
        f->taking = 0;
        f->state = 'i';
    } else if (f->state == 'I') {
        f->taking = evaluate_condition(list, true) != 0;
        return;
    }
    free_pp_list(list);
}

void endif_directive(PpToken *list)
{
    if (CondFrame *f = cond_stack)
        cond_stack = static_cast<CondFrame *>(release(f, f->link));
    else
        report("bad #endif");
    unexpected_after(list);
    free_pp_list(list);
}

void include_directive(PpToken *list)
{
    PpToken *t = list;
    if (t && t->kind != TK_STRING && t->kind != TK_LT)
        t = expanded(&list);
    TextBuffer name;
    if (t && t->kind == TK_STRING) {
        // The characters between the quotes as written: no escapes.
        const char *open = static_cast<const char *>(std::memchr(t->text, '"', t->len));
        if (open) {
            std::size_t rest = t->len - static_cast<std::size_t>(open + 1 - t->text);
            if (rest > 0 && open[rest] == '"')
                --rest;
            name.append(open + 1, rest);
        }
    } else if (t && t->kind == TK_LT) {
        for (t = t->next; t && t->kind != TK_GT; t = t->next) {
            if (t->kind == TK_EOL) {
                report("missing '>' in #include");
                free_pp_list(list);
                return;
            }
            name.append(t->text, t->len);
        }
    } else {
        report("bad #include syntax");
        free_pp_list(list);
        return;
    }
    free_pp_list(list);
    if (name.length == 0) {
        report("missing file name in #include");
        return;
    }
    open_source(name.data, true);
}

// A name #line gave, kept once for the run.
const char *line_name(const char *text, std::size_t length)
{
    for (LineName *n = line_names; n; n = n->link)
        if (!std::strncmp(n->name, text, length) && n->name[length] == 0)
            return n->name;
    auto *n = static_cast<LineName *>(allocate(sizeof(LineName) + length, line_names));
    std::memcpy(n->name, text, length);
    n->name[length] = 0;
    line_names = n;
    return n->name;
}

void line_directive(PpToken *list)
{
    PpToken *t = expanded(&list);
    if (is_end(t)) {
        report("missing line number");
        free_pp_list(list);
        return;
    }
    Token number{};
    if (t->kind == TK_PPNUMBER)
        convert_number(&number, t);
    if (t->kind != TK_PPNUMBER || number.code < TK_INT_CONST || number.code > TK_ULONG_CONST) {
        report("invalid line number");
        free_pp_list(list);
        return;
    }
    // The next line read counts as the number given.
    line_override_active = true;
    line_override = static_cast<std::int32_t>(number.value) - 1;
    PpToken *file = t->next;
    if (!is_end(file)) {
        if (file->kind == TK_STRING) {
            TextBuffer text;
            decode_literal(file, text);
            file_name_override = line_name(text.data ? text.data : "", text.length);
        } else {
            report("string constant expected");
        }
    }
    free_pp_list(list);
}

void error_directive(PpToken *list)
{
    TextBuffer text;
    directive_text(list, text);
    report("%s", text.data ? text.data : "");
    free_pp_list(list);
}

void warning_directive(PpToken *list)
{
    TextBuffer text;
    directive_text(list, text);
    report("WW%s", text.data ? text.data : "");
    free_pp_list(list);
}

void define_handler(PpToken *list)
{
    define_directive(list);
    free_pp_list(list);
}

void undef_handler(PpToken *list)
{
    undef_directive(list);
    free_pp_list(list);
}

struct Directive {
    const char *name;
    void (*handler)(PpToken *list);
    bool conditional;  // also runs in skipped regions
};

const Directive directive_table[] = {
    {"if", if_directive, true},           {"asm", asm_directive, false},
    {"else", else_directive, true},       {"elif", elif_directive, true},
    {"line", line_directive, false},      {"endif", endif_directive, true},
    {"error", error_directive, false},    {"undef", undef_handler, false},
    {"ifdef", ifdef_directive, true},     {"define", define_handler, false},
    {"endasm", endasm_directive, false},  {"ifndef", ifndef_directive, true},
    {"pragma", pragma_directive, false},  {"include", include_directive, false},
    {"warning", warning_directive, false},
};

const Directive *find_directive(const PpToken *name)
{
    for (const Directive &d : directive_table)
        if (std::strlen(d.name) == name->len && !std::memcmp(d.name, name->text, name->len))
            return &d;
    return nullptr;
}

// Reads the lines a comment on a directive line runs on over, and puts
// the tokens after the comment in place of the line's end; the comment's
// text stays in front of them, as if the lines were one. False at the end
// of input.
bool join_continuation(PpToken *list)
{
    PpToken *before = list;
    while (before->next->kind != TK_EOL)
        before = before->next;
    PpToken *eol = before->next;
    TextBuffer ws;
    ws.append(eol->ws, eol->ws_len);
    for (;;) {
        char *text = read_logical_line(true);
        if (!text)
            return false;
        PpToken *more = scan_line(text);
        if (!more)
            continue;
        ws.append(more->ws, more->ws_len);
        if (more->kind == TK_EOL && !more->next && comment_open) {
            free_pp_list(more);  // a line inside the comment
            continue;
        }
        std::size_t length = ws.length > 0xFFFF ? 0xFFFF : ws.length;
        more->ws = scratch_text(ws.data ? ws.data : "", length);
        more->ws_len = static_cast<std::uint16_t>(length);
        before->next = more;
        free_pp_list(eol);
        return true;
    }
}

// A directive line; the line itself when it is to be written out as text
// (an active #pragma under -e), else null.
PpToken *directive(PpToken *list)
{
    PpToken *name = list->next;
    if (is_end(name)) {
        free_pp_list(list);
        return nullptr;
    }
    if (name->kind != TK_IDENT) {
        if (is_active())
            report("bad # syntax");
        free_pp_list(list);
        return nullptr;
    }
    // A comment still open at the end of the line: the directive goes on
    // behind it, on the lines that follow.
    while (comment_open && join_continuation(list)) {
    }
    const Directive *d = find_directive(name);
    if (!d) {
        if (is_active())
            report("bad # directive: %.*s", static_cast<int>(name->len), name->text);
        free_pp_list(list);
        return nullptr;
    }
    if (!d->conditional && !is_active()) {
        free_pp_list(list);
        return nullptr;
    }
    if (preprocess_only && d->handler == pragma_directive && !spelled(name->next, "asm") &&
        !spelled(name->next, "endasm"))
        return list;
    PpToken *rest = name->next;
    name->next = nullptr;
    free_pp_list(list);
    in_directive = true;
    d->handler(rest);
    in_directive = false;
    return nullptr;
}

}  // namespace

bool spelled(const PpToken *t, const char *word)
{
    std::size_t n = std::strlen(word);
    return t && t->kind == TK_IDENT && t->len == n && !std::memcmp(t->text, word, n);
}

void directive_text(const PpToken *t, TextBuffer &out)
{
    for (bool first = true; t && t->kind != TK_EOL; t = t->next, first = false) {
        if (!first)
            out.append(t->ws, t->ws_len);
        out.append(t->text, t->len);
    }
}

bool is_active() { return !cond_stack || cond_stack->taking; }

void asm_directive(PpToken *list)
{
    if (asm_mode != 0)
        report("bad #asm directive");
    asm_mode = 1;
    free_pp_list(list);
}

void endasm_directive(PpToken *list)
{
    if (asm_mode == 0)
        report("bad #endasm directive");
    asm_mode = 0;
    free_pp_list(list);
}

PpToken *process_line(PpToken *list)
{
    PpToken *result = nullptr;
    while (list) {
        if (list->kind == TK_HASH) {
            result = directive(list);
            break;
        }
        if (!is_active()) {
            free_pp_list(list);
            break;
        }
        if (asm_mode == 0 || expand_asm_defines) {
            if (!expanded(&list) || list->kind == TK_EOL) {
                free_pp_list(list);
                break;
            }
            // A macro may give a line that begins with \# : a directive.
            if (list->kind == TK_BACKSLASH_HASH) {
                list->kind = TK_HASH;
                ++list->text;
                --list->len;
                continue;
            }
        }
        if (asm_mode != 0) {
            // Assembly text, the end of the line included.
            for (PpToken *t = list; t; t = t->next)
                t->kind = TK_ASM;
            if (asm_mode == 1) {
                list->column |= COLUMN_ASM_FIRST;
                asm_mode = 2;
            }
        }
        result = list;
        break;
    }
    set_scanner_state();
    return result;
}

PpToken *scan_next_line()
{
    if (PpToken *list = held_line) {
        held_line = nullptr;
        return list;
    }
    char *text = read_logical_line(false);
    return text ? scan_line(text) : nullptr;
}

void check_open_conditionals()
{
    if (!cond_stack)
        return;
    bool active = line_override_active;
    std::int32_t line = line_override;
    const char *file = file_name_override;
    // The message stands at the line of the conditional, without a column.
    Token *served = current_token;
    Token line_position{};
    current_token = &line_position;
    line_override_active = true;
    line_override = cond_stack->line;
    file_name_override = cond_stack->file;
    report("missing #endif directive");
    current_token = served;
    line_override_active = active;
    line_override = line;
    file_name_override = file;
}

void directives_reset()
{
    while (cond_stack)
        cond_stack = static_cast<CondFrame *>(release(cond_stack, cond_stack->link));
    while (line_names)
        line_names = static_cast<LineName *>(release(line_names, line_names->link));
    asm_mode = 0;
}
