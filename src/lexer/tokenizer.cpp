#include "lexer/tokenizer.h"

#include <cstring>
#include <string>
#include <unordered_set>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/names.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

const char *const keyword_table[32] = {
    "auto",   "break",  "case",   "char",   "const",    "continue", "default",  "do",
    "double", "else",   "enum",   "extern", "float",    "for",      "goto",     "if",
    "int",    "long",   "register", "return", "short",  "signed",   "sizeof",   "static",
    "struct", "switch", "typedef", "union", "unsigned", "void",     "volatile", "while",
};

std::uint8_t resync_code = 0;

LineStage line_stage = {nullptr, nullptr};

namespace {

constexpr int RING_SIZE = TokenRing::SIZE;

struct TokenizerState {
    Token *current;
    PpToken *line_list;  // the list being served, recycled when done
    PpToken *cursor;     // its next token
    std::uint8_t resync;
    bool recording;
    bool replaying;
    RecordedToken *replay_cursor;
};

TokenizerState state;
TokenizerState saved;
TokenRing saved_ring;
// A current token without a code: messages take the reader's line.
Token line_position{};
bool redirected = false;

RecordedToken *recording_head = nullptr;
RecordedToken **recording_tail = &recording_head;

bool is_pasted_comment(const PpToken *t) { return t->len == 2 && t->text[0] == '/' && t->text[1] == '/'; }

// The next token to serve when the current list has none left: end-of-line
// tokens are passed over, and new lines are read, scanned and handed to the
// directive stage as the current one runs out. Null at the end of input.
[[gnu::noinline]] PpToken *peek_next_line()
{
    PpToken *last = nullptr;  // the list's last token, when the cursor went past it
    for (;;) {
        if (PpToken *t = state.cursor) {
            if (t->kind != TK_EOL)
                return t;
            // A '/' pasted to a '/' became a comment: the rest of its line goes.
            state.cursor = is_pasted_comment(t) ? nullptr : t->next;
            if (!t->next)
                last = t;
            continue;
        }
        if (redirected)
            return nullptr;
        if (last)
            free_pp_chain(state.line_list, last);
        else
            free_pp_list(state.line_list);
        last = nullptr;
        state.line_list = nullptr;
        // While a line is read and passes the directive stage, messages
        // stand at its line, not at the last token served.
        Token *served = current_token;
        current_token = served ? &line_position : nullptr;
        PpToken *scanned = line_stage.scan_next_line();
        if (scanned)
            state.line_list = state.cursor = line_stage.process_line(scanned);
        current_token = served;
        if (!scanned)
            return nullptr;
    }
}

// The next token to serve without taking it.
PpToken *peek_pp()
{
    PpToken *t = state.cursor;
    return t && t->kind != TK_EOL ? t : peek_next_line();
}

// Keywords by first letter: the indexes of the keywords that begin with it.
struct KeywordIndex {
    std::int8_t first[26][8];
    std::uint8_t length[32];
    KeywordIndex()
    {
        for (auto &row : first)
            for (auto &k : row)
                k = -1;
        for (int i = 0; i < 32; ++i) {
            const char *k = keyword_table[i];
            length[i] = static_cast<std::uint8_t>(std::strlen(k));
            std::int8_t *row = first[k[0] - 'a'];
            while (*row >= 0)
                ++row;
            *row = static_cast<std::int8_t>(i);
        }
    }
};
const KeywordIndex keyword_index_table;

int keyword_index(const char *text, std::size_t length)
{
    if (length < 2 || length > 8 || text[0] < 'a' || text[0] > 'z')
        return -1;
    for (const std::int8_t *k = keyword_index_table.first[text[0] - 'a']; *k >= 0; ++k)
        if (keyword_index_table.length[*k] == length && !std::memcmp(keyword_table[*k], text, length))
            return *k;
    return -1;
}

void free_token_value(Token *t)
{
    if (t->code == TK_ASM)
        release(reinterpret_cast<void *>(t->value));
}

// Copies the value of a token for a second holder: a string gets one more
// user of its pool entry, assembly text a copy of its own.
void share_value(Token *t)
{
    if (t->code == TK_STRING) {
        ++token_pool_entry(t)->refs;
    } else if (t->code == TK_ASM) {
        char *copy = static_cast<char *>(allocate(t->length + 1u));
        std::memcpy(copy, reinterpret_cast<const char *>(t->value), t->length);
        copy[t->length] = 0;
        t->value = reinterpret_cast<std::uintptr_t>(copy);
    }
}

void make_asm_text(Token *t, PpToken *first)
{
    std::size_t total = first->len;
    for (PpToken *q = first->next; q && q->kind == TK_ASM; q = q->next)
        total += q->ws_len + q->len;
    if (total > 0xFFFF)
        total = 0xFFFF;
    char *text = static_cast<char *>(allocate(total + 1));
    std::size_t n = 0;
    auto put = [&](const char *s, std::size_t len) {
        if (len > total - n)
            len = total - n;
        std::memcpy(text + n, s, len);
        n += len;
    };
    put(first->text, first->len);
    PpToken *q = first->next;
    for (; q && q->kind == TK_ASM; q = q->next) {
        put(q->ws, q->ws_len);
        put(q->text, q->len);
    }
    text[n] = 0;
    state.cursor = q;
    t->code = TK_ASM;
    t->length = static_cast<std::uint16_t>(n);
    t->value = reinterpret_cast<std::uintptr_t>(text);
}

// The intermediate file holds a name of at most 254 characters. A longer
// identifier is an error where it first appears, rather than a silent cut
// that would make two names one.
constexpr std::size_t NAME_LENGTH_MAX = 254;
std::unordered_set<std::string> long_names;  // each reported once

[[gnu::noinline]] Name *long_name(const PpToken *pp)
{
    if (long_names.emplace(pp->text, pp->len).second)
        report("identifier too long");
    return intern_name(pp->text, NAME_LENGTH_MAX);
}

// An identifier's token: a keyword's code, or the interned name.
[[gnu::noinline]] Token *identifier_token(Token *t, const PpToken *pp)
{
    int k = keyword_index(pp->text, pp->len);
    if (k >= 0) {
        t->code = static_cast<std::uint16_t>(TK_KEYWORD_FIRST + k);
    } else if (c99_mode && pp->len == 6 && !std::memcmp(pp->text, "inline", 6)) {
        t->code = TK_INLINE;
    } else {
        t->code = TK_IDENT;
        Name *name = pp->len <= NAME_LENGTH_MAX ? intern_name(pp->text, pp->len) : long_name(pp);
        t->value = reinterpret_cast<std::uintptr_t>(name);
    }
    return t;
}

[[gnu::noinline]] Token *number_token(Token *t, const PpToken *pp)
{
    convert_number(t, pp);
    return t;
}

// Fills *t from the token chain; false when a token was passed over.
bool fill_token(Token *t)
{
    PpToken *pp = peek_pp();
    if (!pp) {
        t->code = TK_END;
        t->line = static_cast<std::uint32_t>(current_line());
        t->column = 0;
        t->length = 0;
        t->value = 0;
        return true;
    }
    state.cursor = pp->next;
    t->line = pp->line;
    t->column = pp->column;
    t->length = pp->len;
    t->value = 0;
    // Messages about the token itself (bad constants) stand at its position.
    t->code = pp->kind;
    state.current = current_token = t;
    switch (pp->kind) {
    case TK_IDENT:
        identifier_token(t, pp);
        return true;
    case TK_PPNUMBER:
        number_token(t, pp);
        return true;
    case TK_CHAR:
        convert_char(t, pp);
        return true;
    case TK_STRING: {
        static TextBuffer joined;
        joined.length = 0;
        append_string_piece(joined, pp);
        for (PpToken *next = peek_pp(); next && next->kind == TK_STRING; next = peek_pp()) {
            state.cursor = next->next;
            append_string_piece(joined, next);
        }
        intern_joined_string(t, joined);
        return true;
    }
    case TK_OTHER:
        report("bad character %c", 0, static_cast<int>(static_cast<unsigned char>(pp->text[0])));
        return false;
    case TK_ASM:
        make_asm_text(t, pp);
        return true;
    default:
        return true;
    }
}

void replay_next(Token *t)
{
    RecordedToken *r = state.replay_cursor;
    if (!r) {
        t->code = TK_END;
        t->length = 0;
        t->value = 0;
        return;
    }
    state.replay_cursor = r->link;
    *t = r->token;
    share_value(t);
    replay_file_name = r->file_name;
    replay_line = static_cast<std::int32_t>(r->token.line);
}

void record(const Token *t)
{
    RecordedToken *r = static_cast<RecordedToken *>(allocate(sizeof(RecordedToken)));
    r->link = nullptr;
    r->file_name = current_file_name();
    r->token = *t;
    share_value(&r->token);
    *recording_tail = r;
    recording_tail = &r->link;
}

}  // namespace

// Null until the first token is delivered: messages before it have a line
// but no column, and no repeat of them is dropped for want of a token.
Token *current_token = nullptr;

void release_token_value(Token *t)
{
    free_token_value(t);
    if (t->code == TK_ASM)
        t->value = 0;
}

const char *token_spelling(std::uint16_t code)
{
    static const char *const punctuators[105] = {
        nullptr, ",",  ":",  ";",  nullptr, "@",  ".",  "...", "->", "?", "(", ")", "[", "]", "++", "--",
        "{",     "}",  nullptr, nullptr, "#", "##", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, "\\#", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
        "!",     "~",  nullptr, nullptr, nullptr, nullptr, nullptr, "/", "%", "<<", ">>", nullptr, "^",
        "|",     "<",  ">=", ">",  "<=", "==", "!=", "+=", "-=", "*=", "/=", "%=", "<<=", ">>=", "&=",
        "^=",    "|=", "&&", "||", "inline", nullptr, "=", nullptr, "+", "-", "*", nullptr, nullptr,
        nullptr, nullptr, "&",
    };
    if (code >= TK_KEYWORD_FIRST && code <= TK_KEYWORD_LAST)
        return keyword_table[code - TK_KEYWORD_FIRST];
    if (code < sizeof punctuators / sizeof punctuators[0])
        return punctuators[code];
    return nullptr;
}

TokenRing token_ring;

namespace {

// fetch_token for everything but a plain token of the current line:
// replay and recording, a new line, strings and the other rare kinds.
[[gnu::noinline]] Token *fetch_token_slowly(Token *t)
{
    if (state.replaying) {
        replay_next(t);
    } else {
        while (!fill_token(t)) {
        }
    }
    state.current = current_token = t;
    if (state.recording && !state.replaying)
        record(t);
    return t;
}

}  // namespace

// The slow half of next_token: a fresh token from replay or the token chain.
// A punctuator, identifier or number of the current line takes the short
// way, whose calls are all tail calls.
Token *fetch_token(Token *t)
{
    PpToken *pp = state.cursor;
    if (state.replaying || state.recording || !pp)
        return fetch_token_slowly(t);
    std::uint16_t kind = pp->kind;
    if (kind == TK_EOL || kind == TK_STRING || kind == TK_CHAR || kind == TK_OTHER || kind == TK_ASM)
        return fetch_token_slowly(t);
    state.cursor = pp->next;
    t->line = pp->line;
    t->column = pp->column;
    t->length = pp->len;
    t->value = 0;
    t->code = kind;
    // Messages about the token itself (bad constants) stand at its position.
    state.current = current_token = t;
    if (kind == TK_IDENT)
        return identifier_token(t, pp);
    if (kind == TK_PPNUMBER)
        return number_token(t, pp);
    return t;
}

void token_overflow()
{
    report("token overflow");
    abort_run();
}

bool accept(std::uint16_t code)
{
    if (next_token()->code == code)
        return true;
    push_back_token();
    return false;
}

Token *expect(std::uint16_t code)
{
    Token *t = next_token();
    if (t->code == code)
        return t;
    push_back_token();
    const char *name = nullptr;
    switch (code) {
    case TK_LPAREN: name = "("; break;
    case TK_RPAREN: name = ")"; break;
    case TK_RBRACE: name = "}"; break;
    case TK_RBRACKET: name = "]"; break;
    case TK_KEYWORD_LAST: name = "while"; break;
    case TK_SEMICOLON: name = ";"; break;
    case TK_COLON: name = ":"; break;
    default: break;
    }
    if (name)
        report("missing %s", 0, name);
    else
        report("syntax error");
    if (resync_code) {
        std::uint16_t stop = resync_code;
        bool push_stop = stop == TK_END;
        if (push_stop)
            stop = TK_RBRACE;
        for (;;) {
            Token *d = next_token();
            if (d->code == TK_END || d->code == TK_SEMICOLON || d->code == stop ||
                (stop == TK_RBRACE && d->code == TK_LBRACE)) {
                if (push_stop && d->code != TK_SEMICOLON)
                    push_back_token();
                break;
            }
            free_token_value(d);
        }
        resync_code = 0;
    }
    return t;
}

std::uint16_t redirect_tokens(PpToken *list)
{
    if (list) {
        saved = state;
        saved.resync = resync_code;
        saved.current = current_token;
        saved_ring = token_ring;
        state = TokenizerState{};
        token_ring = TokenRing{};
        state.cursor = list;
        // Until the list's first token, messages stand at the token before,
        // whose entry is kept in the saved ring meanwhile.
        auto at = reinterpret_cast<std::uintptr_t>(current_token);
        auto base = reinterpret_cast<std::uintptr_t>(token_ring.slot);
        if (at >= base && at < base + sizeof token_ring.slot)
            current_token = &saved_ring.slot[(at - base) / sizeof(Token)];
        state.current = current_token;
        redirected = true;
        resync_code = 0;
        return 0;
    }
    std::uint16_t next;
    if (token_ring.pushed > 0)
        next = token_ring.slot[(token_ring.pos + 1) % RING_SIZE].code;
    else
        next = state.cursor ? state.cursor->kind : static_cast<std::uint16_t>(TK_END);
    state = saved;
    token_ring = saved_ring;
    resync_code = state.resync;
    current_token = saved.current;
    redirected = false;
    return next;
}

void start_recording(const Token *first)
{
    recording_head = nullptr;
    recording_tail = &recording_head;
    state.recording = true;
    if (first)
        record(first);
}

RecordedToken *stop_recording()
{
    state.recording = false;
    RecordedToken *list = recording_head;
    recording_head = nullptr;
    recording_tail = &recording_head;
    return list;
}

void start_replay(RecordedToken *list)
{
    state.replaying = true;
    state.replay_cursor = list;
}

void stop_replay()
{
    state.replaying = false;
    state.replay_cursor = nullptr;
    replay_file_name = nullptr;
    replay_line = 0;
}

bool is_recording() { return state.recording; }

void begin_nested_replay(RecordedToken *list, ReplayMark *mark)
{
    mark->ring = token_ring;
    mark->current = current_token;
    mark->state_current = state.current;
    mark->cursor = state.replay_cursor;
    mark->file_name = replay_file_name;
    mark->line = replay_line;
    mark->resync = resync_code;
    mark->replaying = state.replaying;
    // Tokens given back belong to the text after the call: the replay
    // starts with none pending.
    token_ring.pushed = 0;
    resync_code = 0;
    state.replaying = true;
    state.replay_cursor = list;
}

void end_nested_replay(const ReplayMark *mark)
{
    token_ring = mark->ring;
    current_token = mark->current;
    state.current = mark->state_current;
    state.replay_cursor = mark->cursor;
    state.replaying = mark->replaying;
    replay_file_name = mark->file_name;
    replay_line = mark->line;
    resync_code = mark->resync;
}

void free_recording(RecordedToken *list)
{
    while (list) {
        if (list->token.code == TK_STRING)
            pool_release(token_pool_entry(&list->token));
        free_token_value(&list->token);
        list = static_cast<RecordedToken *>(release(list, list->link));
    }
}

void tokenizer_reset()
{
    free_recording(stop_recording());
    state = TokenizerState{};
    saved = TokenizerState{};
    token_ring = saved_ring = TokenRing{};
    redirected = false;
    resync_code = 0;
    state.current = current_token = nullptr;
    long_names.clear();
}
