// Initializers of declared objects.
#include "decl/declare.h"
#include "decl/types.h"
#include "driver/diagnostics.h"
#include "lexer/tokenizer.h"

bool read_initializer(Symbol *sym)
{
    Token *t = next_token();
    if (t->code != TK_ASSIGN) {
        push_back_token();
        return sym->sclass != SC_EXTERN;
    }
    // Initializers are not read yet: the initializer is reported and
    // passed over up to the `,` or `;` that ends it.
    report("initializers not supported yet");
    push_back_token();
    skip_initializer();
    return true;
}

Node *init_local(Symbol *sym)
{
    // Local initializers are not read yet: reported and passed over.
    (void)sym;
    if (next_token()->code == TK_ASSIGN) {
        report("initializers not supported yet");
        push_back_token();
        skip_initializer();
    } else {
        push_back_token();
    }
    return nullptr;
}

void skip_initializer()
{
    if (next_token()->code != TK_ASSIGN) {
        push_back_token();
        return;
    }
    for (std::int32_t depth = 0;;) {
        Token *t = next_token();
        if (t->code == TK_END || (depth == 0 && (t->code == TK_COMMA || t->code == TK_SEMICOLON))) {
            push_back_token();
            break;
        }
        if (t->code == TK_LBRACE || t->code == TK_LPAREN || t->code == TK_LBRACKET)
            ++depth;
        else if ((t->code == TK_RBRACE || t->code == TK_RPAREN || t->code == TK_RBRACKET) && depth > 0)
            --depth;
        release_token_value(t);
    }
}
