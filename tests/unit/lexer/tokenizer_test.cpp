// The tokenizer's services to the parser: push-back, the expected-token
// check with its recovery, redirection to a private list, recording and
// replay, and string joining across lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "../support.h"
#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"

namespace {

struct Seen {
    unsigned code, line, column;
    bool operator==(const Seen &) const = default;
};

class TokenizerTest : public CompilerTest {
protected:
    static Seen seen(const Token *t) { return {t->code, t->line, t->column}; }
};

TEST_F(TokenizerTest, PushBackRedeliversUpToThreeTokens)
{
    open_text("a b c d\n");
    std::vector<Seen> first;
    for (int i = 0; i < 3; ++i)
        first.push_back(seen(next_token()));
    push_back_token();
    EXPECT_EQ(current_token->column, 2u) << "after pushing back, the current token is the one before";
    push_back_token();
    push_back_token();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(seen(next_token()), first[static_cast<std::size_t>(i)]);
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 1, 6}));
    EXPECT_EQ(next_token()->code, TK_END);
}

TEST_F(TokenizerTest, FourthPushBackEndsTheRun)
{
    open_text("a b c d\n");
    for (int i = 0; i < 4; ++i)
        next_token();
    EXPECT_EXIT(
        {
            error_stream = stderr;
            for (int i = 0; i < 4; ++i)
                push_back_token();
        },
        ::testing::ExitedWithCode(1), "token overflow");
}

TEST_F(TokenizerTest, ExpectReportsAndResynchronises)
{
    open_text("x y z ; w\nq ( r } s\nu v } t\n{\n");
    next_token();  // x
    resync_code = TK_SEMICOLON;
    Token *bad = expect(TK_SEMICOLON);
    EXPECT_EQ(bad->code, TK_IDENT);
    EXPECT_EQ(resync_code, 0);
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 1, 8})) << "tokens through the ';' are dropped";

    // Without a resynchronisation code nothing is dropped.
    EXPECT_EQ(expect(TK_IDENT)->code, TK_IDENT);  // q
    EXPECT_EQ(expect(TK_RPAREN)->code, TK_LPAREN);
    EXPECT_EQ(next_token()->code, TK_LPAREN);

    // 255 stops at '}' (or '{') and leaves it to be read again.
    next_token();  // r
    resync_code = TK_END;
    expect(TK_COLON);
    EXPECT_EQ(seen(next_token()), (Seen{TK_RBRACE, 2, 6}));
    resync_code = TK_RBRACE;
    expect(TK_SEMICOLON);  // drops s u v }
    EXPECT_EQ(next_token()->code, TK_IDENT);  // t
    resync_code = TK_RBRACE;
    expect(TK_KEYWORD_LAST);  // the '{' stops it too, and is dropped
    EXPECT_EQ(next_token()->code, TK_END);

    EXPECT_EQ(messages(), "#error zpc " + path + ":1(0) missing ;\n#error zpc " + path +
                              ":2(0) missing )\n#error zpc " + path + ":2(4) missing :\n#error zpc " + path +
                              ":2(6) missing ;\n#error zpc " + path + ":3(6) missing while\n");
}

TEST_F(TokenizerTest, RedirectionReadsAPrivateListAndRestores)
{
    open_text("main one two\n");
    next_token();
    next_token();  // one
    char text[] = "1 + x\n";
    PpToken *list = scan_line(text);
    EXPECT_EQ(redirect_tokens(list), 0);
    EXPECT_EQ(next_token()->code, TK_INT_CONST);
    EXPECT_EQ(next_token()->code, TK_PLUS);
    Token *x = next_token();
    EXPECT_EQ(x->code, TK_IDENT);
    push_back_token();
    EXPECT_EQ(redirect_tokens(nullptr), TK_IDENT) << "the pushed-back token would come next";
    EXPECT_EQ(current_token->column, 5u) << "the current token is restored";
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 1, 9}));

    // A list read to its end gives end of input; its next kind is the line end.
    char text2[] = "7\n";
    PpToken *list2 = scan_line(text2);
    redirect_tokens(list2);
    EXPECT_EQ(next_token()->code, TK_INT_CONST);
    EXPECT_EQ(next_token()->code, TK_END);
    EXPECT_EQ(redirect_tokens(nullptr), TK_END);
    EXPECT_EQ(next_token()->code, TK_END);
    free_pp_list(list);
    free_pp_list(list2);
}

TEST_F(TokenizerTest, ReplayGivesBackTheRecordedTokensAndPositions)
{
    open_text("int f\n  (\"s\"\n) { return 1; }\n");
    std::vector<Seen> recorded;
    start_recording();
    for (Token *t = next_token(); t->code != TK_END; t = next_token()) {
        recorded.push_back(seen(t));
        if (t->code == TK_LPAREN) {  // a pushed-back token is recorded once
            push_back_token();
            next_token();
        }
    }
    RecordedToken *list = stop_recording();
    start_replay(list);
    std::vector<Seen> replayed;
    std::string strings;
    for (Token *t = next_token(); t->code != TK_END; t = next_token()) {
        replayed.push_back(seen(t));
        EXPECT_EQ(current_line(), static_cast<std::int32_t>(t->line));
        EXPECT_STREQ(current_file_name(), path.c_str());
        if (t->code == TK_STRING)
            strings.assign(reinterpret_cast<const char *>(token_pool_entry(t)->bytes), token_pool_entry(t)->length);
    }
    stop_replay();
    EXPECT_EQ(replayed, recorded);
    EXPECT_EQ(recorded.size(), 10u);
    EXPECT_EQ(strings, "s");
    EXPECT_EQ(current_line(), 3) << "after replay the reader's own line counts again";
    free_recording(list);
}

TEST_F(TokenizerTest, NestedReplaysResumeWhereTheyWereBegun)
{
    // Two recorded bodies: the outer one is replayed, and in its middle,
    // with a token given back, the inner one; each resumes afterwards.
    open_text("{ a b }\n{ x }\nrest ;\n");
    start_recording();
    for (Token *t = next_token(); t->code != TK_RBRACE; t = next_token()) {
    }
    RecordedToken *outer = stop_recording();
    start_recording();
    for (Token *t = next_token(); t->code != TK_RBRACE; t = next_token()) {
    }
    RecordedToken *inner = stop_recording();

    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 3, 0}));
    push_back_token();
    ReplayMark source_mark;
    begin_nested_replay(outer, &source_mark);
    EXPECT_EQ(seen(next_token()), (Seen{TK_LBRACE, 1, 0})) << "the given-back token waits for the source";
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 1, 2}));
    Token *b = next_token();
    EXPECT_EQ(seen(b), (Seen{TK_IDENT, 1, 4}));
    push_back_token();
    ReplayMark outer_mark;
    begin_nested_replay(inner, &outer_mark);
    EXPECT_EQ(seen(next_token()), (Seen{TK_LBRACE, 2, 0}));
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 2, 2}));
    EXPECT_EQ(current_line(), 2);
    EXPECT_EQ(seen(next_token()), (Seen{TK_RBRACE, 2, 4}));
    EXPECT_EQ(next_token()->code, TK_END) << "the end of a recording ends the replay's input";
    end_nested_replay(&outer_mark);
    EXPECT_EQ(current_token->column, 2u) << "the current token is the outer replay's again";
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 1, 4})) << "the token given back comes again";
    EXPECT_EQ(seen(next_token()), (Seen{TK_RBRACE, 1, 6}));
    EXPECT_EQ(current_line(), 1);
    end_nested_replay(&source_mark);
    EXPECT_EQ(seen(next_token()), (Seen{TK_IDENT, 3, 0}));
    EXPECT_EQ(seen(next_token()), (Seen{TK_SEMICOLON, 3, 5}));
    EXPECT_EQ(current_line(), 3);
    free_recording(outer);
    free_recording(inner);
}

TEST_F(TokenizerTest, AdjacentStringsJoinAcrossLinesIntoOneSharedEntry)
{
    open_text("\"ab\" L\"c\"\n  \"d\\0e\" x \"abcd\\0e\"\n");
    Token *s = next_token();
    EXPECT_EQ(seen(s), (Seen{TK_STRING, 1, 0}));
    EXPECT_EQ(s->length, 4u) << "the length is the first piece's spelling";
    PoolEntry *joined = token_pool_entry(s);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(joined->bytes), joined->length), std::string("abcd\0e", 6));
    EXPECT_EQ(next_token()->code, TK_IDENT);
    Token *again = next_token();
    EXPECT_EQ(token_pool_entry(again), joined);
    EXPECT_EQ(joined->refs, 1u);
    int entries = 0;
    for (PoolEntry *e = constant_pool; e; e = e->link)
        ++entries;
    EXPECT_EQ(entries, 1) << "the pieces never enter the pool";
}

// The joined bytes are cut at the longest entry the pool holds, with one
// message, swept across that length; pieces past it cost only themselves,
// so a long run of empty pieces is read in linear time.
TEST_F(TokenizerTest, JoinedStringsStopAtThePoolEntryLimit)
{
    for (std::size_t total : {65534u, 65535u, 65536u, 65537u}) {
        TearDown();
        SetUp();
        std::string text;
        std::size_t left = total;
        while (left > 0) {
            std::size_t n = left > 16000 ? 16000 : left;
            text += "\"" + std::string(n, 'x') + "\"\n";
            left -= n;
        }
        for (int i = 0; i < 100; ++i)
            text += std::string(4000, ' ') + "\"\" \"q\"\n";
        text += "y\n";
        open_text(text);
        Token *s = next_token();
        ASSERT_EQ(s->code, TK_STRING);
        PoolEntry *e = token_pool_entry(s);
        std::size_t expected = total + 100 > POOL_ENTRY_MAX ? POOL_ENTRY_MAX : total + 100;
        EXPECT_EQ(e->length, expected) << total;
        EXPECT_EQ(e->bytes[expected - 1], total >= POOL_ENTRY_MAX ? 'x' : 'q');
        EXPECT_EQ(next_token()->code, TK_IDENT);
        std::string all = messages();
        std::size_t too_long = 0;
        for (std::size_t at = 0; (at = all.find("string literal too long", at)) != std::string::npos; ++at)
            ++too_long;
        EXPECT_EQ(too_long, total + 100 > POOL_ENTRY_MAX ? 1u : 0u) << total;
    }
}

}  // namespace

namespace {

// Inside #asm blocks a ';' starts a comment, except on a directive line, and
// an unbalanced quote is no error; the lines of a block reach the parser as
// one assembly-text token.
TEST_F(TokenizerTest, AssemblyBlocks)
{
    scan_in_asm_block = true;
    char code[] = " ldaa #1 ; it's loaded\n";
    PpToken *list = scan_line(code);
    std::string kinds;
    for (PpToken *t = list; t; t = t->next)
        kinds += std::to_string(t->kind) + " ";
    EXPECT_EQ(kinds, "18 20 19 23 ");
    char unbalanced[] = "fcc 'abc\n";
    free_pp_list(scan_line(unbalanced));
    char directive[] = "# pragma a;b\n";
    PpToken *kept = scan_line(directive);
    EXPECT_EQ(kept->next->next->next->kind, TK_SEMICOLON);
    scan_in_asm_block = false;
    EXPECT_EQ(messages(), "");

    // The directive stage turns every token of a block's line into text.
    for (PpToken *t = list; t; t = t->next)
        t->kind = TK_ASM;
    redirect_tokens(list);
    Token *t = next_token();
    EXPECT_EQ(t->code, TK_ASM);
    std::string text(reinterpret_cast<const char *>(t->value), t->length);
    EXPECT_EQ(text, "ldaa #1 ; it's loaded\n") << "the white space between, comments included, is kept";
    std::free(reinterpret_cast<void *>(t->value));
    EXPECT_EQ(next_token()->code, TK_END);
    redirect_tokens(nullptr);
    free_pp_list(list);
    free_pp_list(kept);
}

}  // namespace
