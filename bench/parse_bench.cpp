// The expression parser on its own: generates a long run of expression
// statements over a few variables, parses them in process through the
// tokenizer and the checks, and prints how many nodes were built per
// second. The node pool is given back after each statement, as a function
// body would give it back, so that memory stays flat.
//
// `parse_bench N known` times value tracking instead: N variables are
// each assigned a constant and then read, all in one straight-line run
// (nothing is forgotten in between), so every read looks among N known
// values. The run is made twice, with and without -cp: the symbol lookup
// of N names is in both, and the difference is the cost of tracking,
// which must not grow faster than N.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/parse.h"
#include "runtime/options.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

const char *const shapes[] = {
    "a = b * c + d / (e - 3) << 2;",
    "x = (a < b && c != d) || !e ? f(a, b + 1) : g[i + 1];",
    "i++, j -= (int)(k & 0xFF) ^ ~m;",
    "p[q] = sizeof(long) + sizeof a - -32768 + 2147483648;",
    "a = b = c = d = e = f(g(h(1), 2), 3);",
};

long long count_nodes(const Node *n)
{
    long long count = 0;
    for (; n; n = n->left) {
        ++count;
        if (n->op == OP_LEAF)
            break;
        if (n->op == OP_COND)
            count += count_nodes(n->value_node);
        if (n->op != OP_CAST && !is_unary_op(n->op))
            count += count_nodes(n->right);
    }
    return count;
}

}  // namespace

double known_values_run(long variables, bool tracking)
{
    std::string text;
    for (long v = 0; v < variables; ++v)
        text += "v" + std::to_string(v) + " = " + std::to_string(v % 1000) + ";\n";
    for (long v = 0; v < variables; ++v)
        text += "x = v" + std::to_string(v) + " + 1;\n";
    std::string path = "/tmp/zpc-known-bench.c";
    std::FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return -1;
    std::fwrite(text.data(), 1, text.size(), out);
    std::fclose(out);
    zpc_reset();
    options_reset();
    set_program_name("zpc");
    no_const_propagation = tracking ? 0 : 1;
    std::FILE *sink = std::fopen("/dev/null", "w");
    error_stream = sink;
    if (!open_source(path.c_str(), false))
        return -1;
    // Declarations are not parsed here: the variables are entered directly.
    for (long v = -1; v < variables; ++v) {
        std::string name = v < 0 ? "x" : "v" + std::to_string(v);
        Symbol *s = new_symbol(&ident_list, intern_name(name.c_str(), name.size()), SC_AUTO, &type_int);
        s->flags |= SYM_DECLARED;
    }
    long replaced = 0;
    auto start = std::chrono::steady_clock::now();
    for (long s = 0; s < 2 * variables; ++s) {
        Node *tree = parse_expression(1);
        if (s >= variables && tree && tree->right && is_int_constant(tree->right))
            ++replaced;
        if (next_token()->code != TK_SEMICOLON)
            break;
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%ld variables, tracking %s, %ld reads replaced: %.3f s\n", variables, tracking ? "on " : "off", replaced,
                seconds);
    std::fclose(sink);
    std::remove(path.c_str());
    return seconds;
}

int main(int argc, char **argv)
{
    if (argc > 2 && std::string(argv[2]) == "known") {
        long variables = std::atol(argv[1]);
        double off = known_values_run(variables, false), on = known_values_run(variables, true);
        if (off < 0 || on < 0)
            return 1;
        std::printf("tracking costs %.2f us per statement\n", (on - off) * 1e6 / static_cast<double>(2 * variables));
        return 0;
    }
    long statements = argc > 1 ? std::atol(argv[1]) : 200000;
    std::string text = "int a,b,c,d,e,f(),g[4],h(),i,j,k,m,p[4],q,x;\n";
    for (long s = 0; s < statements; ++s) {
        text += shapes[s % 5];
        text += '\n';
    }
    std::string path = "/tmp/zpc-parse-bench.c";
    std::FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return 1;
    std::fwrite(text.data(), 1, text.size(), out);
    std::fclose(out);

    zpc_reset();
    options_reset();
    set_program_name("zpc");
    std::FILE *sink = std::fopen("/dev/null", "w");
    error_stream = sink;
    if (!open_source(path.c_str(), false))
        return 1;
    // The declaration line is not parsed (declarations are not built):
    // the names are entered on first use instead.
    while (next_token()->code != TK_SEMICOLON) {
    }
    long long nodes = 0;
    auto start = std::chrono::steady_clock::now();
    for (long s = 0; s < statements; ++s) {
        Node *tree = parse_expression(1);
        nodes += count_nodes(tree);
        if (next_token()->code != TK_SEMICOLON)
            break;
        end_function_nodes();
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%ld statements, %lld nodes in %.3f s: %.0f nodes/s\n", statements, nodes, seconds,
                seconds > 0 ? static_cast<double>(nodes) / seconds : 0.0);
    std::fclose(sink);
    std::remove(path.c_str());
    return 0;
}
