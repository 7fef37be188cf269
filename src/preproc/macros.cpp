#include "preproc/macros.h"

#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/source.h"
#include "model/names.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

Macro *macro_list = nullptr;
std::uint64_t macro_name_filter[MACRO_FILTER_BITS / 64];

namespace {

Trie macro_table;

// The macros found lately, by a hash of their names: a name in its slot is
// found without walking the table. A deleted macro leaves its slot.
constexpr std::size_t RECENT_MACRO_SLOTS = 1024;
Macro *recent_macros[RECENT_MACRO_SLOTS];

Macro **recent_macro_slot(const char *text, std::size_t length)
{
    return &recent_macros[word_hash(text, length) % RECENT_MACRO_SLOTS];
}

void add_to_filter(const char *text, std::size_t length)
{
    unsigned bit = macro_filter_bit(text, length);
    macro_name_filter[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

const char *const builtin_names[] = {"defined",  "__DATE__", "__TIME__", "__FILE__", "__LINE__",        "__STDC__",
                                     "__ZPKW__", "__TRGT__", "__CC99__", "_Pragma",  "__STDC_HOSTED__", "__STDC_VERSION__"};

void reset_filter()
{
    for (std::uint64_t &word : macro_name_filter)
        word = 0;
    for (const char *name : builtin_names)
        add_to_filter(name, std::strlen(name));
}

struct FilterStart {
    FilterStart() { reset_filter(); }
} filter_start;

bool spelled(const PpToken *t, const char *word)
{
    std::size_t n = std::strlen(word);
    return t->len == n && !std::memcmp(t->text, word, n);
}

bool same_spelling(const PpToken *a, const PpToken *b)
{
    return a->len == b->len && !std::memcmp(a->text, b->text, a->len);
}

bool is_end(const PpToken *t) { return !t || t->kind == TK_EOL; }

void report_name(const char *message, const PpToken *name)
{
    report(message, static_cast<int>(name->len), name->text);
}

void free_macro(Macro *m)
{
    free_pp_list(m->body);
    release(m->text);
    release(m);
}

// The body with parameter names turned into references, its text copied
// into a block of the macro's own: the first token's white space dropped,
// the end-of-line token keeping neither white space nor text.
void store_body(Macro *m, PpToken *first, PpToken **params, int nparams)
{
    std::size_t size = 0;
    for (PpToken *t = first; t; t = t->next)
        if (t->kind != TK_EOL)
            size += (t == first ? 0 : t->ws_len) + t->len;
    char *text = static_cast<char *>(allocate(size + 1));
    char *w = text;
    PpToken *head = nullptr;
    PpToken **tail = &head;
    for (PpToken *t = first; t; t = t->next) {
        PpToken *c = new_pp_token();
        *c = *t;
        c->next = nullptr;
        c->no_expand = 0;
        if (t->kind == TK_EOL) {
            c->ws = c->text = w;
            c->ws_len = c->len = 0;
        } else {
            std::size_t ws = t == first ? 0 : t->ws_len;
            std::memcpy(w, t->ws, ws);
            c->ws = w;
            c->ws_len = static_cast<std::uint16_t>(ws);
            w += ws;
            std::memcpy(w, t->text, t->len);
            c->text = w;
            w += t->len;
            if (t->kind == TK_IDENT) {
                for (int i = 0; i < nparams; ++i) {
                    if (same_spelling(params[i], t)) {
                        c->kind = TK_PARAM;
                        c->len = static_cast<std::uint16_t>(i);
                        break;
                    }
                }
            }
        }
        *tail = c;
        tail = &c->next;
    }
    *w = 0;
    m->body = head;
    m->text = text;
}

// Parses a definition after its name. Null after a syntax error.
Macro *parse_definition(PpToken *name)
{
    static PpToken va_args_name = [] {
        PpToken t{};
        t.text = const_cast<char *>("__VA_ARGS__");
        t.len = 11;
        t.kind = TK_IDENT;
        return t;
    }();
    PpToken *p = name->next;
    std::int32_t nparams = 0;
    bool variadic = false;
    PpToken **params = nullptr;
    int capacity = 0;
    if (p && p->kind == TK_LPAREN && p->ws_len == 0) {
        p = p->next;
        bool complete = false;
        int count = 0;
        bool after_ellipsis = false;
        if (p && p->kind == TK_RPAREN) {
            nparams = -1;
            p = p->next;
            complete = true;
        }
        while (!complete && p) {
            PpToken *param = nullptr;
            if (c99_mode && p->kind == TK_ELLIPSIS) {
                param = &va_args_name;
                after_ellipsis = true;
                variadic = true;
            } else if (p->kind == TK_IDENT) {
                if (c99_mode && spelled(p, "void")) {
                    if (count == 0 && p->next && p->next->kind == TK_RPAREN) {
                        nparams = -1;
                        p = p->next->next;
                        complete = true;
                        break;
                    }
                    report("bad macro void usage");
                    break;
                }
                if (after_ellipsis)
                    report("bad macro ... usage");
                for (int i = 0; i < count; ++i)
                    if (same_spelling(params[i], p)) {
                        report("redeclared parameter");
                        break;
                    }
                param = p;
                variadic = false;
            } else {
                report("bad macro argument");
                break;
            }
            if (count == capacity) {
                capacity = capacity ? capacity * 2 : 8;
                params = static_cast<PpToken **>(reallocate(params, sizeof(PpToken *) * static_cast<std::size_t>(capacity)));
            }
            params[count++] = param;
            p = p->next;
            if (p && p->kind == TK_RPAREN) {
                p = p->next;
                complete = true;
                nparams = count;
            } else if (p && p->kind == TK_COMMA) {
                p = p->next;
            } else {
                report("bad macro argument syntax");
                break;
            }
        }
        if (!complete) {
            release(params);
            return nullptr;
        }
    }
    std::size_t name_len = name->len > 255 ? 255 : name->len;
    Macro *m = static_cast<Macro *>(allocate(sizeof(Macro) + name_len));
    std::memset(m, 0, sizeof(Macro));
    m->nparams = nparams;
    m->variadic = variadic;
    m->name_len = static_cast<std::uint8_t>(name_len);
    std::memcpy(m->name, name->text, name_len);
    m->name[name_len] = 0;
    store_body(m, p, params, nparams > 0 ? nparams : 0);
    release(params);
    return m;
}

bool has_white(const PpToken *t) { return t->ws_len != 0; }

}  // namespace

Macro *lookup_macro(const PpToken *name)
{
    Macro **recent = recent_macro_slot(name->text, name->len);
    if (Macro *m = *recent; m && m->name_len == name->len && !std::memcmp(m->name, name->text, name->len))
        return m;
    void **slot = trie_find(&macro_table, name->text, name->len);
    Macro *m = slot ? static_cast<Macro *>(*slot) : nullptr;
    if (m)
        *recent = m;
    return m;
}

int builtin_code(const PpToken *t)
{
    if (t->len < 7 || (t->text[0] != '_' && t->text[0] != 'd'))
        return BUILTIN_NONE;
    static const struct {
        const char *name;
        int code;
        bool c99_only;
    } builtins[] = {
        {"defined", BUILTIN_DEFINED, false},   {"__DATE__", BUILTIN_DATE, false},
        {"__TIME__", BUILTIN_TIME, false},     {"__FILE__", BUILTIN_FILE, false},
        {"__LINE__", BUILTIN_LINE, false},     {"__STDC__", BUILTIN_STDC, false},
        {"__ZPKW__", BUILTIN_ZPKW, false},     {"__TRGT__", BUILTIN_TRGT, false},
        {"__CC99__", BUILTIN_CC99, false},     {"_Pragma", BUILTIN_PRAGMA, true},
        {"__STDC_HOSTED__", BUILTIN_STDC_HOSTED, true}, {"__STDC_VERSION__", BUILTIN_STDC_VERSION, true},
    };
    for (const auto &b : builtins)
        if ((!b.c99_only || c99_mode) && spelled(t, b.name))
            return b.code;
    return BUILTIN_NONE;
}

Macro *define_macro(PpToken *name_token)
{
    Macro *m = parse_definition(name_token);
    if (!m)
        return nullptr;
    *trie_insert(&macro_table, name_token->text, name_token->len) = m;
    add_to_filter(name_token->text, name_token->len);
    m->link = macro_list;
    macro_list = m;
    return m;
}

void delete_macro(const PpToken *name)
{
    void **slot = trie_find(&macro_table, name->text, name->len);
    if (!slot || !*slot)
        return;
    Macro *m = static_cast<Macro *>(*slot);
    *slot = nullptr;
    if (Macro **recent = recent_macro_slot(name->text, name->len); *recent == m)
        *recent = nullptr;
    for (Macro **p = &macro_list; *p; p = &(*p)->link)
        if (*p == m) {
            *p = m->link;
            break;
        }
    // A macro still marked by an expansion in progress stays on that list
    // until it is cleared; undefining happens only between expansions.
    free_macro(m);
}

bool same_definition(const Macro *a, const Macro *b)
{
    if (a->nparams != b->nparams)
        return false;
    const PpToken *x = a->body, *y = b->body;
    for (; x && y; x = x->next, y = y->next) {
        if (x->kind != y->kind || x->len != y->len || has_white(x) != has_white(y))
            return false;
        switch (x->kind) {
        case TK_IDENT:
        case TK_PPNUMBER:
        case TK_CHAR:
        case TK_STRING:
            if (std::memcmp(x->text, y->text, x->len))
                return false;
            break;
        default:
            break;
        }
    }
    return !x && !y;
}

void define_directive(PpToken *list)
{
    PpToken *name = list;
    if (!name || name->kind != TK_IDENT) {
        report("bad #define syntax");
        return;
    }
    if (builtin_code(name)) {
        report_name("can't redefine macro %.*s", name);
        return;
    }
    Macro *old = lookup_macro(name);
    if (!old) {
        define_macro(name);
        return;
    }
    Macro *fresh = parse_definition(name);
    if (!fresh || !same_definition(old, fresh))
        report_name("can't redefine macro %.*s", name);
    if (fresh)
        free_macro(fresh);
}

void undef_directive(PpToken *list)
{
    PpToken *name = list;
    if (!name || name->kind != TK_IDENT) {
        report("bad #undef syntax");
        return;
    }
    if (builtin_code(name)) {
        report_name("can't undef macro %.*s", name);
        return;
    }
    delete_macro(name);
    if (strict_ansi && !is_end(name->next))
        report("unexpected token");
}

void define_from_option(const char *text)
{
    std::size_t n = 0;
    while (text[n] == '_' || (text[n] >= '0' && text[n] <= '9') || ((text[n] | 0x20) >= 'a' && (text[n] | 0x20) <= 'z'))
        ++n;
    TextBuffer line;
    if (!text[n]) {
        line.append(text);
        line.append(" 1");
    } else if (text[n] == '=') {
        line.append(text, n);
        line.append(' ');
        line.append(text + n + 1);
    } else {
        report("bad symbol definition");
        return;
    }
    PpToken *list = scan_text(line.data, line.length);
    define_directive(list);
    free_pp_list(list);
}

std::int32_t option_mask()
{
    std::int32_t mask = 0;
    if (no_widen_arguments) mask |= 1;
    if (single_float) mask |= 2;
    if (plain_char_unsigned) mask |= 4;
    if (even_align_data) mask |= 8;
    if (reverse_bitfields) mask |= 16;
    if (no_enum_optimization) mask |= 32;
    if (!no_bitfield_packing) mask |= 64;
    if (no_const_replacement) mask |= 128;
    if (no_const_propagation) mask |= 256;
    if (need_prototypes) mask |= 512;
    return mask;
}

void macros_reset()
{
    while (macro_list) {
        Macro *next = macro_list->link;
        free_macro(macro_list);
        macro_list = next;
    }
    trie_reset(&macro_table);
    reset_filter();
    for (Macro *&m : recent_macros)
        m = nullptr;
}
