// The tokenizer: serves the parser one Token at a time from the scanned,
// directive-processed lines, with push-back, redirection to a private token
// list, recording and replay, and the expected-token check.
#pragma once
#include <cstdint>

#include "base/token.h"
#include "lexer/pptoken.h"

// The directive stage, which stands above the tokenizer, hands it its
// lines: the next logical line scanned (null at the end of input), and
// that line once directives, conditionals and macros have been carried
// out (null when the line was consumed). The driver installs both at
// start-up.
struct LineStage {
    PpToken *(*scan_next_line)();
    PpToken *(*process_line)(PpToken *list);
};
extern LineStage line_stage;

// Keyword i has code 128 + i.
extern const char *const keyword_table[32];

// The spelling of a keyword or punctuator code; null for other codes.
const char *token_spelling(std::uint16_t code);

// The last tokens delivered, kept for push-back. The parser looks ahead
// all the time, so taking and giving back a token are inline.
#ifndef ZPC_TOKEN_RING_SIZE
#define ZPC_TOKEN_RING_SIZE 3
#endif
struct TokenRing {
    // The ring's size can be raised at build time to check that no parser
    // routine reads a token record after its slot was reused; the push-back
    // limit stays at three whatever the size.
    static constexpr int SIZE = ZPC_TOKEN_RING_SIZE;
    static constexpr int PUSH_LIMIT = 3;
    Token slot[SIZE];
    int pos;     // the slot of the current token
    int pushed;  // tokens pushed back, 0..SIZE
};
extern TokenRing token_ring;
// A new token into slot t (from replay or the source), made current.
Token *fetch_token(Token *t);
// "token overflow": more push-backs than the ring holds.
[[noreturn]] void token_overflow();

inline Token *next_token()
{
    // A wrap rather than a remainder: the ring is not a power of two.
    int pos = token_ring.pos + 1;
    if (pos == TokenRing::SIZE)
        pos = 0;
    token_ring.pos = pos;
    Token *t = &token_ring.slot[pos];
    if (token_ring.pushed > 0) {
        --token_ring.pushed;
        current_token = t;
        return t;
    }
    return fetch_token(t);
}

// The last token delivered is delivered again; at most three may be pending.
inline void push_back_token()
{
    if (token_ring.pushed >= TokenRing::PUSH_LIMIT)
        token_overflow();
    ++token_ring.pushed;
    int pos = token_ring.pos == 0 ? TokenRing::SIZE - 1 : token_ring.pos - 1;
    token_ring.pos = pos;
    current_token = &token_ring.slot[pos];
}

// The next token when it has `code` (true); otherwise nothing is consumed.
bool accept(std::uint16_t code);

// Set before expect() in some contexts: after a mismatch, tokens are
// dropped up to this code (TK_SEMICOLON, TK_RBRACE or TK_END); 0 = none.
extern std::uint8_t resync_code;
// The next token if it has `code`; otherwise reports, recovers and returns
// the offending token.
Token *expect(std::uint16_t code);

// With a list: saves the tokenizer's state and reads from the list alone.
// With null: restores the state and returns the code of the token that
// would have come next from the list.
std::uint16_t redirect_tokens(PpToken *list);

struct RecordedToken {
    RecordedToken *link;
    const char *file_name;
    Token token;
};
// Recording begins; `first`, when given, is the list's first entry (the
// token already delivered that opens what is recorded).
void start_recording(const Token *first = nullptr);
RecordedToken *stop_recording();
// Tokens come from `list` until stop_replay(); its end gives TK_END.
void start_replay(RecordedToken *list);
void stop_replay();
void free_recording(RecordedToken *list);
bool is_recording();

// A replay begun in the middle of a statement, possibly inside another
// replay: the ring (with the tokens the parser gave back), the current
// token, the replay in progress and its position are kept in the mark and
// put back by end_nested_replay(), so that the parser goes on where it was.
struct ReplayMark {
    TokenRing ring;
    Token *current;
    Token *state_current;
    RecordedToken *cursor;
    const char *file_name;
    std::int32_t line;
    std::uint8_t resync;
    bool replaying;
};
void begin_nested_replay(RecordedToken *list, ReplayMark *mark);
void end_nested_replay(const ReplayMark *mark);

// Frees what a token owns (the text of assembly text).
void release_token_value(Token *t);
void tokenizer_reset();
