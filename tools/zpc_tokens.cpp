// zpc-tokens: runs zpc's token chain over one unit and prints every parser
// token as "LINE:COLUMN CODE TEXT", and "file NAME" before the first token
// of each stretch that comes from another file than the one before (the
// main source counts as the file before the first token). It takes zpc's options, reports exactly
// as zpc does and exits with zpc's status; the tokens go to standard output
// (or to the -o file).
#include <cstdio>
#include <cstring>

#include "base/options.h"
#include "driver/run.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "preproc/directives.h"
#include "runtime/alloc.h"
#include "runtime/options.h"

namespace {

// The dump is assembled in a buffer of its own: formatted output per token
// would cost more than the whole token chain.
struct Dump {
    std::FILE *out;
    char buffer[1 << 16];
    std::size_t used = 0;

    void flush()
    {
        std::fwrite(buffer, 1, used, out);
        used = 0;
    }
    void room(std::size_t n)
    {
        if (used + n > sizeof buffer)
            flush();
    }
    void put(char c)
    {
        room(1);
        buffer[used++] = c;
    }
    void put(const char *text, std::size_t n)
    {
        if (n > sizeof buffer / 2) {
            flush();
            std::fwrite(text, 1, n, out);
            return;
        }
        room(n);
        std::memcpy(buffer + used, text, n);
        used += n;
    }
    void put(const char *text) { put(text, std::strlen(text)); }
    void put_unsigned(std::uint64_t v)
    {
        char digits[24];
        int n = 0;
        do {
            digits[n++] = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v);
        room(static_cast<std::size_t>(n));
        while (n)
            buffer[used++] = digits[--n];
    }
    void put_signed(std::int64_t v)
    {
        if (v < 0) {
            put('-');
            put_unsigned(0 - static_cast<std::uint64_t>(v));
        } else {
            put_unsigned(static_cast<std::uint64_t>(v));
        }
    }
    void put_quoted(const unsigned char *bytes, std::size_t length)
    {
        put('"');
        for (std::size_t i = 0; i < length; ++i) {
            unsigned char c = bytes[i];
            if (c == '\\' || c == '"') {
                put('\\');
                put(static_cast<char>(c));
            } else if (c < 0x20 || c > 0x7E) {
                char octal[4] = {'\\', static_cast<char>('0' + (c >> 6)), static_cast<char>('0' + ((c >> 3) & 7)),
                                 static_cast<char>('0' + (c & 7))};
                put(octal, 4);
            } else {
                put(static_cast<char>(c));
            }
        }
        put('"');
    }
};

Dump dump;

void print_tokens()
{
    dump.out = output_stream;
    dump.used = 0;
    // The main source is the first file opened.
    const char *last_file = file_list ? file_list->name : "";
    for (;;) {
        Token *t = next_token();
        const char *file = current_file_name();
        if (t->code != TK_END && std::strcmp(file, last_file) != 0) {
            dump.put("file ");
            dump.put(file);
            dump.put('\n');
            last_file = file;
        }
        dump.put_unsigned(t->line);
        dump.put(':');
        dump.put_unsigned(t->column);
        dump.put(' ');
        dump.put_unsigned(t->code);
        dump.put(' ');
        switch (t->code) {
        case TK_IDENT: {
            const Name *name = reinterpret_cast<const Name *>(t->value);
            dump.put(name->chars, name->length);
            break;
        }
        case TK_INT_CONST:
        case TK_LONG_CONST:
            dump.put_signed(static_cast<std::int32_t>(static_cast<std::uint32_t>(t->value)));
            break;
        case TK_UINT_CONST:
        case TK_ULONG_CONST:
            dump.put_unsigned(static_cast<std::uint32_t>(t->value));
            break;
        case TK_FLOAT_CONST:
        case TK_DOUBLE_CONST: {
            double value;
            std::memcpy(&value, token_pool_entry(t)->bytes, sizeof value);
            char text[40];
            int n = std::snprintf(text, sizeof text, "%.17g", value);
            dump.put(text, static_cast<std::size_t>(n));
            break;
        }
        case TK_STRING: {
            const PoolEntry *e = token_pool_entry(t);
            dump.put_quoted(e->bytes, e->length);
            break;
        }
        case TK_ASM:
            dump.put_quoted(reinterpret_cast<const unsigned char *>(t->value), t->length);
            release(reinterpret_cast<void *>(t->value));
            break;
        case TK_END:
            dump.put("EOF");
            break;
        default:
            if (const char *spelling = token_spelling(t->code))
                dump.put(spelling);
            break;
        }
        dump.put('\n');
        if (t->code == TK_END)
            break;
    }
    dump.flush();
    std::fflush(dump.out);
    if (!analyser_output)
        check_open_conditionals();
}

}  // namespace

int main(int argc, char **argv)
{
    // Messages and the include variable are zpc's own.
    set_program_name("zpc");
    RunHooks hooks{print_tokens, true};
    return zpc_run(argc, argv, &hooks);
}
