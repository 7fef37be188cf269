// Function definitions: the body after a function's declarator.
#include "decl/declare.h"
#include "driver/options.h"
#include "decl/types.h"
#include "driver/diagnostics.h"
#include "lexer/tokenizer.h"

namespace {

// Old-style parameter declarations before the body, read and checked for
// their form; the parameters themselves are entered once bodies are built.
bool read_parameter_declarations()
{
    bool any = false;
    Symbol decl{};
    while (parse_specifiers(&decl, PARAMETER_CLASSES)) {
        any = true;
        for (;;) {
            Symbol d = decl;
            parse_declarator(&d);
            if (next_token()->code != TK_COMMA) {
                push_back_token();
                break;
            }
        }
        if (next_token()->code != TK_SEMICOLON) {
            push_back_token();
            report("missing ; in argument declaration");
            break;
        }
    }
    return any;
}

}  // namespace

bool function_definition(Symbol *sym, std::uint32_t start_line)
{
    (void)start_line;
    bool declarations = false;
    if (has_identifier_list(sym->type)) {
        if (need_prototypes)
            report("old style argument declaration");
        declarations = read_parameter_declarations();
    }
    Token *t = next_token();
    if (t->code != TK_LBRACE) {
        // A declaration only: a function without class that has no body
        // yet refers to one defined elsewhere.
        push_back_token();
        if (declarations)
            report("bad function declaration");
        if (sym->sclass == SC_NONE && !(sym->flags & SYM_DEFINED))
            sym->sclass = SC_EXTERN;
        if (sym->attr & ATTR_INLINE)
            sym->value = 0;
        return false;
    }
    // Function bodies are not compiled yet: the definition is reported and
    // its body passed over.
    report("function definitions not supported yet");
    for (std::int32_t depth = 1; depth > 0;) {
        t = next_token();
        if (t->code == TK_END) {
            push_back_token();
            break;
        }
        if (t->code == TK_LBRACE)
            ++depth;
        else if (t->code == TK_RBRACE)
            --depth;
    }
    return true;
}
