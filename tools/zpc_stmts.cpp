// zpc-stmts: runs zpc over one unit and prints the statement tree of every
// function body as the statement reader leaves it (before the later passes
// run), each headed by "function NAME". It takes zpc's options, reports
// exactly as zpc does and exits with zpc's status. The intermediate file
// goes to the -o file when one is named and is dropped otherwise.
#include <cstdio>

#include "driver/run.h"
#include "lexer/source.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/statement.h"
#include "runtime/options.h"
#include "runtime/textbuf.h"
#include "tree/stmt.h"

namespace {

void print_body(Symbol *function, Stmt *body)
{
    TextBuffer out;
    out.append("function ");
    if (function->name)
        out.append(function->name->chars, function->name->length);
    out.append('\n');
    dump_statement(out, body, 1);
    std::fwrite(out.data, 1, out.length, stdout);
}

void print_statements()
{
    if (output_stream == stdout)
        output_stream = std::tmpfile();
    function_body_hook = print_body;
    translate_unit();
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv)
{
    set_program_name("zpc");
    RunHooks hooks{print_statements, true};
    return zpc_run(argc, argv, &hooks);
}
