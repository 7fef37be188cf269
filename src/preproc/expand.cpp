// Macro expansion of token lists: argument collection (joining further
// lines when a call runs on), '#' and '##', argument expansion and
// substitution, rescanning, completing a call at the end of an expansion,
// and the built-in names.
#include <cstring>
#include <ctime>

#include "base/diagnostics.h"
#include "base/options.h"
#include "host/host.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "preproc/macros.h"
#include "preproc/pragma.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

bool in_directive = false;
PpToken *held_line = nullptr;
std::int32_t expansion_nesting_limit = EXPANSION_NESTING_DEFAULT;

namespace {

Macro *marked_macros = nullptr;
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
// until the call's parentheses close (or input ends). A directive line
// ends the look-ahead: it is held back, whole, and the line loop carries
// it out once this line has been delivered, so that it acts where it
// stands and is never read as macro arguments or as text.
void join_lines(PpToken *name)
{
    PpToken *before = name;
    int depth = 0;
    for (;;) {
        PpToken *q = before->next;
        if (!q)
            return;
        if (q->kind == TK_EOL) {
            if (in_directive || held_line || q->next || is_pasted_comment(q))
                return;
            char *text = read_logical_line(true);
            if (!text)
                return;
            PpToken *more = scan_line(text);
            if (more && more->kind == TK_HASH) {
                held_line = more;
                return;
            }
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
    PpToken *args;      // one head per parameter: args[i].next is the
                        // argument's chain, as collected
    int nargs;
    PpToken *after;     // the first token after the call in the line
    PpToken *lparen;    // the tokens from '(' up to `after` belong to the call
};

enum CollectResult { COLLECT_OK, COLLECT_NOT_A_CALL, COLLECT_STOP };

// Room for a few items on the stack, or a block when more are needed.
template <typename T, std::size_t N> struct SmallArray {
    T local[N];
    T *items;
    explicit SmallArray(std::size_t n) : items(n <= N ? local : static_cast<T *>(allocate(sizeof(T) * n))) {}
    SmallArray(const SmallArray &) = delete;
    SmallArray &operator=(const SmallArray &) = delete;
    ~SmallArray()
    {
        if (items != local)
            release(items);
    }
};

// Collects the arguments after t's '('. On success the call's tokens are
// unlinked from the line: the arguments become chains of their own and the
// punctuation is freed.
CollectResult collect_arguments(Macro *m, PpToken *t, Call *call)
{
    PpToken *lparen = t->next;
    int n = m->nparams > 0 ? m->nparams : 0;
    PpToken *p = lparen->next;
    // First and last token of each argument; null for an empty one.
    SmallArray<PpToken *, 34> ends(static_cast<std::size_t>(2 * n + 2));
    PpToken **first = ends.items;
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
            return COLLECT_STOP;
        }
    } else if (m->nparams == -1) {
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
            // The variable part takes everything up to the closing ')',
            // commas included, even a comma it begins with.
            bool rest = m->variadic && count == n - 1;
            if (p->kind == TK_COMMA && !rest) {
                if (!c99_mode)
                    break;
                ++count;  // an empty argument
                p = p->next;
                continue;
            }
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
        return COLLECT_STOP;
    }
    if (m->variadic && closed && count == n - 1)
        count = n;
    if (too_many) {
        report_macro("too many arguments for macro %.*s", m);
    } else if (count < n) {
        if (!c99_mode) {
            report_macro("missing argument for macro %.*s", m);
            return COLLECT_STOP;
        }
        count = n;
    }

    // Unlink: the arguments become chains, the punctuation goes. Each chain
    // hangs from a head of its own, where it is later expanded in place.
    PpToken *args = static_cast<PpToken *>(allocate(sizeof(PpToken) * static_cast<std::size_t>(n + 1)));
    std::memset(args, 0, sizeof(PpToken) * static_cast<std::size_t>(n + 1));
    int k = 0;
    while (k < n && !first[k])
        ++k;
    PpToken *q = lparen;
    while (q != after) {
        if (k < n && q == first[k]) {
            args[k].next = q;
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
    call->args = args;
    call->nargs = n;
    call->after = after;
    call->lparen = lparen;
    return COLLECT_OK;
}

// The string literal that "#" makes of an argument as collected.
PpToken *stringize(const PpToken *place, const PpToken *arg)
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
    PpToken *copy = copy_chain(call->args[param->len].next, &last);
    if (copy) {
        copy->ws = param->ws;
        copy->ws_len = param->ws_len;
    }
    out.push_chain(copy);
}

// "#" and "##" in a copied body, left to right. The body's tokens are laid
// out in an array, and the result goes back into the chain after `head`.
void apply_hash_operators(Macro *m, PpToken *head, const Call *call)
{
    static TokenArray body, out, right;
    body.count = out.count = 0;
    body.push_chain(head->next);
    bool after_string = false;  // out's last token came from "#"
    bool last_absent = false;   // the last operand was an empty argument
    for (std::size_t i = 0; i < body.count; ++i) {
        PpToken *t = body.items[i];
        PpToken *next = i + 1 < body.count ? body.items[i + 1] : nullptr;
        if (t->kind == TK_HASH) {
            after_string = last_absent = false;
            if (!next || next->kind != TK_PARAM || !call) {
                report_macro("bad # argument in macro %.*s", m);
                out.push(t);
                continue;
            }
            out.push(stringize(t, call->args[next->len].next));
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
void complete_call(PpToken *head, PpToken **line_next)
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

// Expansion runs on a stack of frames of its own instead of the machine
// stack, so that neither long chains of macros naming each other nor
// deeply nested calls can exhaust it. A list frame walks a token list
// looking for macro names; a call frame carries one macro call through
// its steps: the arguments expanded one by one (each by a list frame
// above it), substitution, and the rescans (again list frames). A frame
// that needs another one pushes it and returns; when that one is done,
// the frame below resumes, finding the other's result in `last_result`
// and, when the list was walked to its end, its last token in `last_tail`.
// Expansion edits lists in place and rescans them, so deep nesting costs
// time with the square of the depth; the frames take care not to walk an
// expansion more often than the rescans themselves do.
enum FrameKind : std::uint8_t { FRAME_LIST, FRAME_CALL };
enum CallPhase : std::uint8_t { CALL_ARGUMENTS, CALL_RESCAN };

struct Frame {
    PpToken *prev;   // list: the token before the one looked at next;
                     // call: the token before the macro name
    PpToken *t;      // call: the macro name, still linked after `prev`;
                     // list: the token the list hangs from
    PpToken *after;  // call: the first token after the call in the line
    PpToken *head;   // call: a token heading the expansion
    PpToken *args;   // call: the argument heads (null for object-like)
    PpToken **tails; // call: the last token of each expanded argument
    Macro *m;
    std::int32_t nargs;
    std::int32_t next_arg;  // the next argument to expand; -1 = none
    FrameKind kind;
    std::int8_t mode;
    CallPhase phase;
    bool replaced;   // list: whether anything was replaced
};

Frame *frames = nullptr;
std::size_t frame_count = 0, frame_capacity = 0;
int last_result = 0;
PpToken *last_tail = nullptr;  // null when the list was left before its end

// A new, cleared frame on top of the stack.
Frame &push_frame(FrameKind kind)
{
    if (frame_count == frame_capacity) {
        frame_capacity = frame_capacity ? frame_capacity * 2 : 64;
        frames = static_cast<Frame *>(reallocate(frames, frame_capacity * sizeof(Frame)));
    }
    Frame &f = frames[frame_count++];
    f = Frame{};
    f.kind = kind;
    return f;
}

void push_list(PpToken *link, int mode)
{
    if (!too_deep && frame_count >= static_cast<std::size_t>(expansion_nesting_limit) * 2) {
        report("macro expansion nested too deeply");
        too_deep = true;
    }
    if (too_deep) {
        last_result = 0;
        last_tail = nullptr;
        return;
    }
    Frame &f = push_frame(FRAME_LIST);
    f.prev = link;
    f.t = link;
    f.mode = static_cast<std::int8_t>(mode);
}

enum StartResult { START_NOT_A_CALL, START_STOP, START_PUSHED };

// Steps e to g for the macro name t (prev->next == t): joining lines,
// collecting the arguments and copying the body with "#" and "##" done.
// Pushes the call's frame unless t is no call or the list must stop.
StartResult start_call(PpToken *prev, PpToken *t, Macro *m, int mode)
{
    if (mode == 0 && (m->nparams != 0 || (t->next && t->next->kind == TK_LPAREN)))
        join_lines(t);
    Call call{};
    PpToken *after = t->next;
    if (m->nparams != 0) {
        PpToken *lparen = t->next;
        if (!lparen || lparen->kind != TK_LPAREN)
            return START_NOT_A_CALL;
        if (is_end(lparen->next)) {
            report_macro("bad invocation of macro %.*s", m);
            return START_STOP;
        }
        switch (collect_arguments(m, t, &call)) {
        case COLLECT_NOT_A_CALL:
            return START_NOT_A_CALL;
        case COLLECT_STOP:
            return START_STOP;
        case COLLECT_OK:
            break;
        }
        after = call.after;
        // The call's tokens are gone from the line; the name stands for it.
        t->next = after;
    }

    // The body without its end-of-line token. Its tokens stand where the
    // name stands, not on the #define line: a name met while an expansion
    // is rescanned already carries the position of the name in the line.
    PpToken *head = new_pp_token();
    PpToken **tail = &head->next;
    bool hashes = false;
    for (const PpToken *b = m->body; b && b->kind != TK_EOL; b = b->next) {
        hashes |= b->kind == TK_HASH || b->kind == TK_HASHHASH;
        PpToken *c = copy_token(b);
        c->line = t->line;
        c->column = t->column;
        *tail = c;
        tail = &c->next;
    }
    if (hashes)
        apply_hash_operators(m, head, call.args ? &call : nullptr);

    Frame &f = push_frame(FRAME_CALL);
    f.prev = prev;
    f.t = t;
    f.after = after;
    f.head = head;
    f.args = call.args;
    f.m = m;
    f.nargs = call.nargs;
    f.mode = static_cast<std::int8_t>(mode);
    f.phase = CALL_ARGUMENTS;
    f.next_arg = call.args && m->nparams > 0 && contains_parameters(head->next) ? 0 : -1;
    if (f.next_arg == 0) {
        f.tails = static_cast<PpToken **>(allocate(sizeof(PpToken *) * static_cast<std::size_t>(f.nargs + 1)));
        for (std::int32_t i = 0; i < f.nargs; ++i)
            f.tails[i] = nullptr;
    }
    return START_PUSHED;
}

// Step h's replacement: each parameter reference takes the expanded
// argument. The last reference of a parameter takes the argument's own
// tokens; only the ones before it take copies.
void substitute_arguments(Frame &f)
{
    SmallArray<std::int32_t, 16> counts(static_cast<std::size_t>(f.nargs + 1));
    std::int32_t *uses = counts.items;
    for (std::int32_t i = 0; i < f.nargs; ++i)
        uses[i] = 0;
    for (const PpToken *r = f.head->next; r; r = r->next)
        if (r->kind == TK_PARAM)
            ++uses[r->len];
    PpToken *p = f.head;
    while (PpToken *r = p->next) {
        if (r->kind != TK_PARAM) {
            p = r;
            continue;
        }
        PpToken *arg = f.args[r->len].next;
        PpToken *first = nullptr, *last = nullptr;
        if (--uses[r->len] == 0) {
            first = arg;
            last = f.tails[r->len];
            if (arg && !last)
                for (last = arg; last->next; last = last->next) {
                }
            f.args[r->len].next = nullptr;
        } else {
            first = copy_chain(arg, &last);
        }
        if (first) {
            first->ws = r->ws;
            first->ws_len = r->ws_len;
            last->next = r->next;
            p->next = first;
            p = last;
        } else {
            p->next = r->next;
        }
        free_token(r);
    }
}

// Step l: the expansion takes the name's place in the line below.
// `last` is the expansion's last token when the rescan found it.
void finish_call(std::size_t index, PpToken *last)
{
    Frame &f = frames[index];
    Frame &list = frames[index - 1];
    if (f.mode == 0 || (f.head->next && !last)) {
        for (PpToken *r = f.head->next; r; r = r->next) {
            if (f.mode == 0 && r->next)
                r->no_expand = 0;
            last = r;
        }
    }
    if (!last) {
        f.prev->next = f.after;
        list.prev = f.prev;
    } else {
        f.head->next->ws = f.t->ws;
        f.head->next->ws_len = f.t->ws_len;
        f.prev->next = f.head->next;
        last->next = f.after;
        list.prev = last;
    }
    free_token(f.t);
    free_token(f.head);
    release(f.tails);
    list.replaced = true;
    --frame_count;
    if (list.mode == 0)
        clear_marks();
}

void step_call(std::size_t index)
{
    Frame &f = frames[index];
    if (f.phase == CALL_ARGUMENTS) {
        // Each argument is expanded on its own, in place; a call of this
        // same macro inside an argument collects into heads of its own.
        if (f.next_arg > 0)
            f.tails[f.next_arg - 1] = last_tail;
        if (f.next_arg >= 0 && f.next_arg < f.nargs) {
            PpToken *arg = &f.args[f.next_arg++];
            push_list(arg, 1);
            return;
        }
        if (f.next_arg >= 0)
            substitute_arguments(f);
        if (f.args) {
            for (std::int32_t i = 0; i < f.nargs; ++i)
                free_pp_list(f.args[i].next);
            release(f.args);
            f.args = nullptr;
        }
        // Every token takes the name's place in the source. The body's
        // tokens have it already; a call in the line itself also gives it
        // to the tokens its arguments brought in.
        if (f.mode == 0)
            for (PpToken *r = f.head->next; r; r = r->next) {
                r->line = f.t->line;
                r->column = f.t->column;
            }
        if (f.head->next) {
            f.head->next->ws = f.t->ws;
            f.head->next->ws_len = f.t->ws_len;
        }
        f.m->state |= 1;
        complete_call(f.head, &f.after);
        mark(f.m);
        // The first rescan; its result decides whether more follow.
        f.phase = CALL_RESCAN;
        push_list(f.head, 1);
        return;
    }
    if (last_result) {
        push_list(f.head, 3);
        return;
    }
    f.m->state = 2;
    finish_call(index, last_tail);
}

void step_list(std::size_t index)
{
    Frame *f = &frames[index];
    bool whole = !too_deep;
    auto passed_over = [](const PpToken *t) { return t->kind != TK_IDENT || t->no_expand || !may_be_macro(t); };
    while (PpToken *t = f->prev->next) {
        if (too_deep) {
            whole = false;
            break;
        }
        if (passed_over(t)) {
            // The whole run of tokens that start no expansion at once.
            PpToken *prev = t;
            while ((t = prev->next) && passed_over(t))
                prev = t;
            f->prev = prev;
            continue;
        }
        if (int code = builtin_code(t)) {
            PpToken *next = expand_builtin(f->prev, code, f->mode);
            f = &frames[index];  // a _Pragma may have expanded lines of its own
            if (next != t)
                f->replaced = true;
            f->prev = next;
            continue;
        }
        Macro *m = lookup_macro(t);
        if (!m) {
            f->prev = t;
            continue;
        }
        if (m->state & f->mode) {
            t->no_expand = 1;
            f->prev = t;
            continue;
        }
        m->used = 1;
        StartResult r = start_call(f->prev, t, m, f->mode);
        if (r == START_PUSHED)
            return;  // this frame resumes when the call is done
        f = &frames[index];
        if (r == START_STOP) {
            whole = false;
            break;
        }
        f->prev = t;
    }
    last_result = f->replaced;
    last_tail = whole && f->prev != f->t ? f->prev : nullptr;
    --frame_count;
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

PpToken *expand_builtin(PpToken *link, int code, int mode)
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
    // A call from inside an expansion (a _Pragma's operand) runs on the
    // same stack, above the frames of the expansion that is under way.
    std::size_t base = frame_count;
    push_list(link, mode);
    while (frame_count > base) {
        std::size_t top = frame_count - 1;
        if (frames[top].kind == FRAME_LIST)
            step_list(top);
        else
            step_call(top);
    }
    return last_result;
}

void expansion_reset()
{
    clear_marks();
    release(frames);
    frames = nullptr;
    frame_count = frame_capacity = 0;
    last_result = 0;
    expansion_nesting_limit = EXPANSION_NESTING_DEFAULT;
    too_deep = false;
    date_text[0] = time_text[0] = 0;
    in_directive = false;
    held_line = nullptr;
}
