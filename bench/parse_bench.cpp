// The expression parser on its own: generates a long run of expression
// statements over a few variables, parses them in process through the
// tokenizer and the checks, and prints how many nodes were built per
// second. The node pool is given back after each statement, as a function
// body would give it back, so that memory stays flat.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "decl/types.h"
#include "driver/diagnostics.h"
#include "driver/run.h"
#include "expr/parse.h"
#include "expr/tree.h"
#include "lexer/tokenizer.h"
#include "preproc/source.h"
#include "driver/options.h"
#include "runtime/options.h"

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

int main(int argc, char **argv)
{
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
