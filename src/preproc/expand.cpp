// Macro expansion of token lists: argument collection (joining further
// lines when a call runs on), '#' and '##', argument expansion and
// substitution, rescanning, completing a call at the end of an expansion,
// and the built-in names.
#include <cstring>
#include <ctime>

#include "driver/diagnostics.h"
#include "driver/options.h"
#include "host/host.h"
#include "lexer/constants.h"
#include "preproc/macros.h"
#include "preproc/pragma.h"
#include "preproc/source.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

bool in_directive = false;

namespace {

// Nesting deeper than this is refused with a message: every level of a
// chain of macros naming each other is one level of rescanning, and costs
// some hundreds of bytes of stack (a few kilobytes in a sanitizer build).
// Past the limit the rest of the line is left as it stands.
constexpr int EXPANSION_DEPTH_MAX = 1500;

Macro *marked_macros = nullptr;
int expansion_depth = 0;
bool too_deep = false;

// The date and time of the run, read at the first use of either.
char date_text[32];
char time_text[32];

void clear_marks()
{
    while (Macro *m = marked_macros) {
        marked_macros = m->marked_link;
        m->marked_link = nullptr;
        m->marked = 0;
        m->state = 0;
    }
}

void mark(Macro *m)
{
    if (!m->marked) {
        m->marked = 1;
        m->marked_link = marked_macros;
        marked_macros = m;
    }
}

void free_token(PpToken *t)
{
    t->next = nullptr;
    free_pp_list(t);
}

PpToken *copy_token(const PpToken *t)
{
    PpToken *c = new_pp_token();
    *c = *t;
    c->next = nullptr;
    return c;
}

// Copies the chain starting at `first`; returns the copy's head and sets
// *last to its last token (null when empty).
PpToken *copy_chain(const PpToken *first, PpToken **last)
{
    PpToken *head = nullptr;
    PpToken **tail = &head;
    *last = nullptr;
    for (const PpToken *t = first; t; t = t->next) {
        PpToken *c = copy_token(t);
        *tail = c;
        tail = &c->next;
        *last = c;
    }
    return head;
}

bool is_end(const PpToken *t) { return !t || t->kind == TK_EOL; }

void report_macro(const char *message, const Macro *m)
{
    report(message, static_cast<int>(m->name_len), m->name);
}

PpToken *make_token(const PpToken *place, std::uint16_t kind, const char *text, std::size_t length)
{
    PpToken *t = new_pp_token();
    *t = *place;
    t->next = nullptr;
    t->kind = kind;
    t->text = scratch_text(text, length);
    t->len = static_cast<std::uint16_t>(length > 0xFFFF ? 0xFFFF : length);
    t->no_expand = 0;
    return t;
}

bool is_pasted_comment(const PpToken *t) { return t->kind == TK_EOL && t->len == 2 && t->text[0] == '/'; }

// Mode 0: a function-like call that runs on past the end of the line pulls
// in the following lines, each scanned in place of the end-of-line token,
// until the call's parentheses close (or input ends).
__attribute__((noinline)) void join_lines(PpToken *name)
{
    PpToken *before = name;
    int depth = 0;
    for (;;) {
        PpToken *q = before->next;
        if (!q)
            return;
        if (q->kind == TK_EOL) {
            if (in_directive || q->next || is_pasted_comment(q))
                return;
            char *text = read_logical_line(true);
            if (!text)
                return;
            PpToken *more = scan_line(text);
            // The newline that parted the lines is gone; a blank keeps their
            // tokens apart when the line is written out.
            if (more && more->ws_len == 0) {
                more->ws = " ";
                more->ws_len = 1;
            }
            before->next = more;
            free_token(q);
            continue;
        }
        if (before == name && q->kind != TK_LPAREN)
            return;
        if (q->kind == TK_LPAREN)
            ++depth;
        else if (q->kind == TK_RPAREN && --depth == 0)
            return;
        before = q;
    }
}

struct Call {
    PpToken **args;     // one chain per parameter, as collected
    int nargs;
    PpToken *after;     // the first token after the call in the line
    PpToken *lparen;    // the tokens from '(' up to `after` belong to the call
};

enum CollectResult { COLLECT_OK, COLLECT_NOT_A_CALL, COLLECT_STOP };

// Collects the arguments after t's '('. On success the call's tokens are
// unlinked from the line: the arguments become chains of their own and the
// punctuation is freed.
__attribute__((noinline)) CollectResult collect_arguments(Macro *m, PpToken *t, Call *call)
{
    PpToken *lparen = t->next;
    int n = m->nparams > 0 ? m->nparams : 0;
    PpToken *p = lparen->next;
    // First and last token of each argument; null for an empty one.
    PpToken **first = static_cast<PpToken **>(allocate(sizeof(PpToken *) * static_cast<std::size_t>(2 * n + 2)));
    PpToken **last = first + n + 1;
    for (int i = 0; i < n; ++i)
        first[i] = last[i] = nullptr;
    int count = 0;
    bool closed = false, too_many = false, incomplete = false;
    PpToken *after = nullptr;

    if (p && p->kind == TK_RPAREN) {
        closed = true;
        after = p->next;
        if (m->variadic && m->nparams == 1) {
            count = 1;
        } else if (m->nparams == -1) {
        } else if (c99_mode) {
            count = n;
        } else {
            report_macro("missing argument for macro %.*s", m);
            release(first);
            return COLLECT_STOP;
        }
    } else if (m->nparams == -1) {
        release(first);
        return COLLECT_NOT_A_CALL;
    } else {
        for (;;) {
            if (is_end(p)) {
                incomplete = true;
                break;
            }
            if (count == n) {
                too_many = true;
                after = p;
                break;
            }
            if (p->kind == TK_COMMA) {
                if (!c99_mode)
                    break;
                ++count;  // an empty argument
                p = p->next;
                continue;
            }
            bool rest = m->variadic && count == n - 1;
            int level = 0;
            PpToken *start = p, *end = nullptr;
            while (!is_end(p)) {
                if (level == 0 && (p->kind == TK_RPAREN || (p->kind == TK_COMMA && !rest)))
                    break;
                if (p->kind == TK_LPAREN)
                    ++level;
                else if (p->kind == TK_RPAREN)
                    --level;
                end = p;
                p = p->next;
            }
            if (is_end(p)) {
                incomplete = true;
                break;
            }
            if (end) {
                first[count] = start;
                last[count] = end;
            }
            ++count;
            if (p->kind == TK_RPAREN) {
                closed = true;
                after = p->next;
                break;
            }
            p = p->next;  // past the ','
            if (count == n && !is_end(p)) {
                too_many = true;
                after = p;
                break;
            }
        }
    }
    if (incomplete) {
        report_macro("bad invocation of macro %.*s", m);
        release(first);
        return COLLECT_STOP;
    }
    if (m->variadic && closed && count == n - 1)
        count = n;
    if (too_many) {
        report_macro("too many arguments for macro %.*s", m);
    } else if (count < n) {
        if (!c99_mode) {
            report_macro("missing argument for macro %.*s", m);
            release(first);
            return COLLECT_STOP;
        }
        count = n;
    }

    // Unlink: the arguments become chains, the punctuation goes.
    PpToken **args = static_cast<PpToken **>(allocate(sizeof(PpToken *) * static_cast<std::size_t>(n + 1)));
    for (int i = 0; i < n; ++i)
        args[i] = nullptr;
    int k = 0;
    while (k < n && !first[k])
        ++k;
    PpToken *q = lparen;
    while (q != after) {
        if (k < n && q == first[k]) {
            args[k] = q;
            q = last[k]->next;
            last[k]->next = nullptr;
            for (++k; k < n && !first[k]; ++k) {
            }
            continue;
        }
        PpToken *next = q->next;
        free_token(q);
        q = next;
    }
    release(first);
    call->args = args;
    call->nargs = n;
    call->after = after;
    call->lparen = lparen;
    return COLLECT_OK;
}

// The string literal that "#" makes of an argument as collected.
__attribute__((noinline)) PpToken *stringize(const PpToken *place, const PpToken *arg)
{
    TextBuffer text;
    text.append('"');
    for (const PpToken *t = arg; t; t = t->next) {
        if (t != arg)
            text.append(t->ws, t->ws_len);
        if (t->kind == TK_STRING || t->kind == TK_CHAR) {
            for (std::size_t i = 0; i < t->len; ++i) {
                if (t->text[i] == '\\' || t->text[i] == '"')
                    text.append('\\');
                text.append(t->text[i]);
            }
        } else {
            text.append(t->text, t->len);
        }
    }
    text.append('"');
    // Checked like a literal: the closing quote must not be escaped.
    bool closed = false;
    for (std::size_t i = 1; i < text.length; ++i) {
        if (text.data[i] == '\\') {
            ++i;
        } else if (text.data[i] == '"') {
            closed = i == text.length - 1;
            break;
        }
    }
    if (!closed)
        report("unbalanced \" in string constant");
    return make_token(place, TK_STRING, text.data, text.length);
}

// The tokens that pasting left and right together makes, in a chain; null
// when the joined spelling is no token at all.
PpToken *paste_pair(const PpToken *left, const PpToken *right)
{
    if (left->kind == TK_DIV && right->kind == TK_DIV) {
        // Two slashes pasted make a comment that ends the line.
        return make_token(left, TK_EOL, "//", 2);
    }
    TextBuffer text;
    text.append(left->ws, left->ws_len);
    text.append(left->text, left->len);
    text.append(right->text, right->len);
    PpToken *result = scan_text(text.data, text.length);
    if (!result || result->kind == TK_EOL) {
        free_pp_list(result);
        return nullptr;
    }
    // The scanned line's end-of-line token is not part of the result.
    PpToken *q = result;
    while (q->next && q->next->kind != TK_EOL)
        q = q->next;
    free_pp_list(q->next);
    q->next = nullptr;
    for (PpToken *r = result; r; r = r->next) {
        r->line = left->line;
        r->column = left->column;
    }
    return result;
}

// Working arrays of apply_hash_operators(), kept from call to call (it
// never runs inside itself).
struct TokenArray {
    PpToken **items = nullptr;
    std::size_t count = 0, capacity = 0;
    void push(PpToken *t)
    {
        if (count == capacity) {
            capacity = capacity ? capacity * 2 : 64;
            items = static_cast<PpToken **>(reallocate(items, capacity * sizeof(PpToken *)));
        }
        items[count++] = t;
    }
    void push_chain(PpToken *t)
    {
        for (; t; t = t->next)
            push(t);
    }
    ~TokenArray() { release(items); }
};

// The raw tokens of a parameter's argument, copied into `out`; the first
// takes the parameter's place and white space.
void push_argument(TokenArray &out, const Call *call, const PpToken *param)
{
    PpToken *last;
    PpToken *copy = copy_chain(call->args[param->len], &last);
    if (copy) {
        copy->ws = param->ws;
        copy->ws_len = param->ws_len;
    }
    out.push_chain(copy);
}

// "#" and "##" in a copied body, left to right. The body's tokens are laid
// out in an array, and the result goes back into the chain after `head`.
__attribute__((noinline)) void apply_hash_operators(Macro *m, PpToken *head, const Call *call)
{
    static TokenArray body, out, right;
    body.count = out.count = 0;
    body.push_chain(head->next);
    bool after_string = false;  // out's last token came from "#"
    bool last_absent = false;   // the last operand was an empty argument
    for (std::size_t i = 0; i < body.count; ++i) {
        PpToken *t = body.items[i];
        PpToken *next = i + 1 < body.count ? body.items[i + 1] : nullptr;
        if (t->kind == TK_HASH && m->nparams != 0) {
            after_string = last_absent = false;
            if (!next || next->kind != TK_PARAM || !call) {
                report_macro("bad # argument in macro %.*s", m);
                out.push(t);
                continue;
            }
            out.push(stringize(t, call->args[next->len]));
            free_token(t);
            free_token(next);
            ++i;
            after_string = true;
            continue;
        }
        if (t->kind != TK_HASHHASH) {
            out.push(t);
            after_string = last_absent = false;
            continue;
        }
        if ((out.count == 0 && !last_absent) || after_string || !next) {
            report_macro("missing ## argument in macro %.*s", m);
            out.push(t);
            after_string = last_absent = false;
            continue;
        }
        // Parameter operands stand for their arguments as collected; an
        // empty argument leaves its side absent, and the other side stands
        // alone.
        PpToken *left = nullptr;
        const char *left_ws = t->ws;  // where an absent left side stood
        std::uint16_t left_ws_len = 0;
        if (!last_absent) {
            left = out.items[out.count - 1];
            left_ws = left->ws;
            left_ws_len = left->ws_len;
            if (left->kind == TK_PARAM && call) {
                --out.count;
                std::size_t before = out.count;
                push_argument(out, call, left);
                free_token(left);
                left = out.count > before ? out.items[out.count - 1] : nullptr;
            }
        }
        right.count = 0;
        if (next->kind == TK_PARAM && call) {
            push_argument(right, call, next);
            free_token(next);
        } else {
            right.push(next);
        }
        ++i;
        PpToken *pasted = left && right.count ? paste_pair(left, right.items[0]) : nullptr;
        if (left && right.count && !pasted) {
            report_macro("bad ## arguments in macro %.*s", m);
            out.push(t);
            for (std::size_t k = 0; k < right.count; ++k)
                out.push(right.items[k]);
            last_absent = false;
            continue;
        }
        free_token(t);
        std::size_t first_right = 0;
        if (pasted) {
            pasted->ws = left->ws;
            pasted->ws_len = left->ws_len;
            --out.count;
            free_token(left);
            free_token(right.items[0]);
            out.push_chain(pasted);
            first_right = 1;
        }
        if (!left && right.count) {
            right.items[0]->ws = left_ws;
            right.items[0]->ws_len = left_ws_len;
        }
        for (std::size_t k = first_right; k < right.count; ++k)
            out.push(right.items[k]);
        last_absent = !left && right.count == 0;
    }
    PpToken **tail = &head->next;
    for (std::size_t k = 0; k < out.count; ++k) {
        *tail = out.items[k];
        tail = &out.items[k]->next;
    }
    *tail = nullptr;
}

bool contains_parameters(const PpToken *list)
{
    for (; list; list = list->next)
        if (list->kind == TK_PARAM)
            return true;
    return false;
}

// Step j: an identifier of the expansion that opens a call which the
// expansion does not close takes the rest of its arguments from the line.
__attribute__((noinline)) void complete_call(PpToken *head, PpToken **line_next)
{
    PpToken *candidate = nullptr;
    int count = 0;
    PpToken *last = nullptr;
    for (PpToken *t = head->next; t; t = t->next) {
        last = t;
        if (t->kind == TK_IDENT) {
            const PpToken *lp = t->next ? t->next : *line_next;
            if (lp && lp->kind == TK_LPAREN) {
                bool defined = t->len == 7 && !std::memcmp(t->text, "defined", 7);
                Macro *m = defined ? nullptr : lookup_macro(t);
                if ((lp->ws_len == 0 && m && !(m->state & 1)) || (lp->ws_len != 0 && defined)) {
                    candidate = t;
                    count = 0;
                    continue;
                }
            }
        }
        if (!candidate)
            continue;
        if (t->kind == TK_LPAREN)
            ++count;
        else if (t->kind == TK_RPAREN && --count == 0)
            candidate = nullptr;
    }
    if (candidate) {
        // Move the line's tokens up to the ')' that closes the candidate.
        PpToken *q = *line_next;
        PpToken *end = nullptr;
        int c = count;
        for (PpToken *r = q; r && r->kind != TK_EOL; r = r->next) {
            if (r->kind == TK_LPAREN)
                ++c;
            else if (r->kind == TK_RPAREN && --c == 0) {
                end = r;
                break;
            }
        }
        if (!end)
            return;
        *line_next = end->next;
        end->next = nullptr;
        last->next = q;
        return;
    }
    PpToken *q = *line_next;
    if (last && last->kind == TK_IDENT && last->len == 7 && !std::memcmp(last->text, "defined", 7) && q &&
        q->kind == TK_IDENT) {
        *line_next = q->next;
        q->next = nullptr;
        last->next = q;
    }
}

// Expands the macro call at t (prev->next == t). Returns the token after
// which scanning goes on; sets *replaced when the call was replaced and
// *stop when the rest of the list is to be left alone.
// Kept out of expand_list, as its helpers are kept out of it, so that only
// the frames the recursion needs sit on the stack at every level of nesting.
__attribute__((noinline)) PpToken *expand_macro(PpToken *prev, PpToken *t, Macro *m, int mode, bool *replaced,
                                                bool *stop)
{
    if (mode == 0 && (m->nparams != 0 || (t->next && t->next->kind == TK_LPAREN)))
        join_lines(t);
    Call call{};
    PpToken *after = t->next;
    if (m->nparams != 0) {
        PpToken *lparen = t->next;
        if (!lparen || lparen->kind != TK_LPAREN)
            return t;
        if (is_end(lparen->next)) {
            report_macro("bad invocation of macro %.*s", m);
            *stop = true;
            return t;
        }
        switch (collect_arguments(m, t, &call)) {
        case COLLECT_NOT_A_CALL:
            return t;
        case COLLECT_STOP:
            *stop = true;
            return t;
        case COLLECT_OK:
            break;
        }
        after = call.after;
    }

    // The body without its end-of-line token.
    PpToken head{};
    PpToken **tail = &head.next;
    for (const PpToken *b = m->body; b && b->kind != TK_EOL; b = b->next) {
        *tail = copy_token(b);
        tail = &(*tail)->next;
    }
    apply_hash_operators(m, &head, call.args ? &call : nullptr);

    if (call.args && m->nparams > 0 && contains_parameters(head.next)) {
        // Each argument is expanded on its own; a call of this same macro
        // inside an argument collects into slots of its own.
        PpToken **expanded = static_cast<PpToken **>(allocate(sizeof(PpToken *) * static_cast<std::size_t>(call.nargs + 1)));
        for (int i = 0; i < call.nargs; ++i) {
            PpToken arg_head{};
            PpToken *last;
            arg_head.next = copy_chain(call.args[i], &last);
            expand_list(&arg_head, 1);
            expanded[i] = arg_head.next;
        }
        PpToken *p = &head;
        while (PpToken *r = p->next) {
            if (r->kind != TK_PARAM) {
                p = r;
                continue;
            }
            PpToken *last;
            PpToken *copy = copy_chain(expanded[r->len], &last);
            if (copy) {
                copy->ws = r->ws;
                copy->ws_len = r->ws_len;
                last->next = r->next;
                p->next = copy;
                p = last;
            } else {
                p->next = r->next;
            }
            free_token(r);
        }
        for (int i = 0; i < call.nargs; ++i)
            free_pp_list(expanded[i]);
        release(expanded);
    }
    if (call.args) {
        for (int i = 0; i < call.nargs; ++i)
            free_pp_list(call.args[i]);
        release(call.args);
    }
    for (PpToken *r = head.next; r; r = r->next) {
        r->line = t->line;
        r->column = t->column;
    }
    if (head.next) {
        head.next->ws = t->ws;
        head.next->ws_len = t->ws_len;
    }
    m->state |= 1;

    complete_call(&head, &after);

    mark(m);
    if (expand_list(&head, 1))
        while (expand_list(&head, 3)) {
        }
    m->state = 2;

    PpToken *last = nullptr;
    for (PpToken *r = head.next; r; r = r->next) {
        if (mode == 0 && r->next)
            r->no_expand = 0;
        last = r;
    }
    *replaced = true;
    if (!last) {
        prev->next = after;
        free_token(t);
        return prev;
    }
    head.next->ws = t->ws;
    head.next->ws_len = t->ws_len;
    prev->next = head.next;
    last->next = after;
    free_token(t);
    return last;
}

void read_clock()
{
    if (date_text[0])
        return;
    static const char months[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm now;
    host_local_time(&now);
    std::snprintf(date_text, sizeof date_text, "\"%s %2d %04d\"", months[now.tm_mon % 12], now.tm_mday,
                  now.tm_year + 1900);
    std::snprintf(time_text, sizeof time_text, "\"%02d:%02d:%02d\"", now.tm_hour, now.tm_min, now.tm_sec);
}

// Replaces the tokens from link->next through `last` by one token.
PpToken *replace_span(PpToken *link, PpToken *last, std::uint16_t kind, const char *text, std::size_t length)
{
    PpToken *first = link->next;
    PpToken *t = make_token(first, kind, text, length);
    t->next = last->next;
    last->next = nullptr;
    free_pp_list(first);
    link->next = t;
    return t;
}

// _Pragma("...") under -c99: the literal's text is scanned and carried out
// as a #pragma line.
PpToken *expand_pragma(PpToken *link)
{
    PpToken *t = link->next;
    PpToken *lparen = t->next;
    PpToken *literal = lparen && lparen->kind == TK_LPAREN ? lparen->next : nullptr;
    if (!literal || literal->kind != TK_STRING) {
        report("bad _Pragma syntax");
        t->no_expand = 1;
        return t;
    }
    TextBuffer text;
    decode_literal(literal, text);
    pragma_directive(scan_text(text.data ? text.data : "", text.length));
    PpToken *rparen = literal->next;
    if (!rparen || rparen->kind != TK_RPAREN) {
        report("bad _Pragma syntax");
        t->no_expand = 1;
        return t;
    }
    link->next = rparen->next;
    rparen->next = nullptr;
    free_pp_list(t);
    return link;
}

PpToken *expand_defined(PpToken *link, int mode)
{
    PpToken *t = link->next;
    PpToken *p = t->next;
    PpToken *last = t;
    if (p && p->kind == TK_LPAREN) {
        last = p;
        p = p->next;
    }
    if (is_end(p)) {
        if (mode == 1)
            return nullptr;  // the call may still be completed from the line
        report("bad defined syntax");
        return replace_span(link, last, TK_PPNUMBER, "0", 1);
    }
    bool value = false;
    if (p->kind != TK_IDENT)
        report("bad defined syntax");
    else
        value = builtin_code(p) != BUILTIN_NONE || lookup_macro(p) != nullptr;
    PpToken *end = p;
    if (last != t) {
        if (p->next && p->next->kind == TK_RPAREN)
            end = p->next;
        else
            report("missing ) in defined expansion");
    }
    return replace_span(link, end, TK_PPNUMBER, value ? "1" : "0", 1);
}

}  // namespace

__attribute__((noinline)) PpToken *expand_builtin(PpToken *link, int code, int mode)
{
    PpToken *t = link->next;
    char number[24];
    switch (code) {
    case BUILTIN_DEFINED: {
        PpToken *r = expand_defined(link, mode);
        return r ? r : t;
    }
    case BUILTIN_PRAGMA:
        return expand_pragma(link);
    case BUILTIN_DATE:
    case BUILTIN_TIME:
        read_clock();
        return replace_span(link, t, TK_STRING, code == BUILTIN_DATE ? date_text : time_text,
                            std::strlen(code == BUILTIN_DATE ? date_text : time_text));
    case BUILTIN_FILE: {
        TextBuffer text;
        text.append('"');
        for (const char *p = current_file_name(); *p; ++p) {
            if (*p == '\\')
                text.append('\\');
            text.append(*p);
        }
        text.append('"');
        return replace_span(link, t, TK_STRING, text.data, text.length);
    }
    case BUILTIN_TRGT:
        return replace_span(link, t, TK_STRING, "\"S12X\"", 6);
    case BUILTIN_LINE:
        std::snprintf(number, sizeof number, "%ld", static_cast<long>(current_line()));
        break;
    case BUILTIN_ZPKW:
        std::snprintf(number, sizeof number, "%d", static_cast<int>(option_mask()));
        break;
    case BUILTIN_STDC:
        std::strcpy(number, "1");
        break;
    case BUILTIN_CC99:
        std::strcpy(number, c99_mode ? "1" : "0");
        break;
    case BUILTIN_STDC_HOSTED:
        std::strcpy(number, "0");
        break;
    case BUILTIN_STDC_VERSION:
        std::strcpy(number, "199901L");
        break;
    default:
        return t;
    }
    return replace_span(link, t, TK_PPNUMBER, number, std::strlen(number));
}

int expand_list(PpToken *link, int mode)
{
    if (mode == 0) {
        clear_marks();
        too_deep = false;
    }
    if (too_deep)
        return 0;
    if (expansion_depth >= EXPANSION_DEPTH_MAX) {
        report("macro expansion nested too deeply");
        too_deep = true;
        return 0;
    }
    ++expansion_depth;
    int replaced = 0;
    PpToken *prev = link;
    while (PpToken *t = prev->next) {
        if (t->kind != TK_IDENT || t->no_expand) {
            prev = t;
            continue;
        }
        if (int code = builtin_code(t)) {
            PpToken *next = expand_builtin(prev, code, mode);
            if (next != t)
                replaced = 1;
            prev = next;
            continue;
        }
        Macro *m = lookup_macro(t);
        if (!m) {
            prev = t;
            continue;
        }
        if (m->state & mode) {
            t->no_expand = 1;
            prev = t;
            continue;
        }
        m->used = 1;
        bool did = false, stop = false;
        prev = expand_macro(prev, t, m, mode, &did, &stop);
        if (stop || too_deep)
            break;
        if (did) {
            replaced = 1;
            if (mode == 0)
                clear_marks();
        }
    }
    --expansion_depth;
    return replaced;
}

void expansion_reset()
{
    clear_marks();
    expansion_depth = 0;
    too_deep = false;
    date_text[0] = time_text[0] = 0;
    in_directive = false;
}
