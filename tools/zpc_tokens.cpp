// zpc-tokens: runs zpc's token chain over one unit and prints every parser
// token as "LINE:COLUMN CODE TEXT". It takes zpc's options, reports exactly
// as zpc does and exits with zpc's status; the tokens go to standard output
// (or to the -o file).
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "decl/names.h"
#include "driver/run.h"
#include "lexer/constants.h"
#include "lexer/tokenizer.h"
#include "preproc/source.h"
#include "runtime/alloc.h"
#include "runtime/options.h"

namespace {

char out_buffer[1 << 16];

void put_quoted(std::FILE *out, const unsigned char *bytes, std::size_t length)
{
    std::putc('"', out);
    for (std::size_t i = 0; i < length; ++i) {
        unsigned char c = bytes[i];
        if (c == '\\' || c == '"') {
            std::putc('\\', out);
            std::putc(c, out);
        } else if (c < 0x20 || c > 0x7E) {
            std::fprintf(out, "\\%03o", c);
        } else {
            std::putc(c, out);
        }
    }
    std::putc('"', out);
}

void print_tokens()
{
    std::FILE *out = output_stream;
    std::setvbuf(out, out_buffer, _IOFBF, sizeof out_buffer);
    for (;;) {
        Token *t = next_token();
        std::fprintf(out, "%" PRIu32 ":%u %u ", t->line, static_cast<unsigned>(t->column),
                     static_cast<unsigned>(t->code));
        switch (t->code) {
        case TK_IDENT: {
            const Name *name = reinterpret_cast<const Name *>(t->value);
            std::fwrite(name->chars, 1, name->length, out);
            break;
        }
        case TK_INT_CONST:
        case TK_LONG_CONST:
            std::fprintf(out, "%" PRId32, static_cast<std::int32_t>(static_cast<std::uint32_t>(t->value)));
            break;
        case TK_UINT_CONST:
        case TK_ULONG_CONST:
            std::fprintf(out, "%" PRIu32, static_cast<std::uint32_t>(t->value));
            break;
        case TK_FLOAT_CONST:
        case TK_DOUBLE_CONST: {
            double value;
            std::memcpy(&value, token_pool_entry(t)->bytes, sizeof value);
            std::fprintf(out, "%.17g", value);
            break;
        }
        case TK_STRING: {
            const PoolEntry *e = token_pool_entry(t);
            put_quoted(out, e->bytes, e->length);
            break;
        }
        case TK_ASM:
            put_quoted(out, reinterpret_cast<const unsigned char *>(t->value), t->length);
            release(reinterpret_cast<void *>(t->value));
            break;
        case TK_END:
            std::fputs("EOF", out);
            break;
        default:
            if (const char *spelling = token_spelling(t->code))
                std::fputs(spelling, out);
            break;
        }
        std::putc('\n', out);
        if (t->code == TK_END)
            break;
    }
    std::fflush(out);
}

}  // namespace

int main(int argc, char **argv)
{
    // Messages and the include variable are zpc's own.
    set_program_name("zpc");
    RunHooks hooks{print_tokens, true};
    return zpc_run(argc, argv, &hooks);
}
