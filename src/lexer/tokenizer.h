// The tokenizer: serves the parser one Token at a time from the scanned,
// directive-processed lines, with push-back, redirection to a private token
// list, recording and replay, and the expected-token check.
#pragma once
#include <cstdint>

#include "lexer/pptoken.h"
#include "lexer/token.h"

// Keyword i has code 128 + i.
extern const char *const keyword_table[32];

// The spelling of a keyword or punctuator code; null for other codes.
const char *token_spelling(std::uint16_t code);

Token *next_token();
// The last token delivered is delivered again; at most three may be pending.
void push_back_token();

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
void start_recording();
RecordedToken *stop_recording();
// Tokens come from `list` until stop_replay(); its end gives TK_END.
void start_replay(RecordedToken *list);
void stop_replay();
void free_recording(RecordedToken *list);

// Frees what a token owns (the text of assembly text).
void release_token_value(Token *t);
void tokenizer_reset();
