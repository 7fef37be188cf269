#include "driver/run.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "host/host.h"
#include "lexer/constants.h"
#include "lexer/pptoken.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/debug.h"
#include "output/emit.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/parse.h"
#include "parse/statement.h"
#include "preproc/directives.h"
#include "preproc/macros.h"
#include "preproc/output.h"
#include "preproc/pragma.h"
#include "runtime/alloc.h"
#include "runtime/options.h"
#include "runtime/textbuf.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

void on_interrupt(int)
{
    abandon_output();
    host_exit_now(2);
}

// The input's own directory is searched after every other path; the
// separator that delimits it is written back as '/' in the input name, so
// that every name shown is one this system's tools read.
void add_input_directory()
{
    char *separator = nullptr;
    for (char *p = input_name; *p; ++p)
        if (*p == '\\' || *p == '/')
            separator = p;
    if (!separator || include_list.free_slots <= 0)
        return;
    path_list_add(&include_list, keep_text(input_name, static_cast<std::size_t>(separator - input_name)));
    *separator = '/';
}

// The main source first, then the -h headers from the last given to the
// first: each one opened is read before the file below it, so reading
// starts with the first header and reaches the source last.
bool open_sources()
{
    if (!open_source(input_name, false))
        return false;
    for (std::int32_t i = header_list.free_slots; i < header_list.capacity; ++i)
        if (!open_source(header_list.slots[i], true))
            return false;
    return true;
}

}  // namespace

// The unit as top-level items: assembly text is copied where it stands,
// everything else is one external declaration. Then the end-of-unit work.
void translate_unit()
{
    write_unit_record();
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_END)
            break;
        if (t->code == TK_ASM) {
            emit_file(current_file_name());
            emit_line(t->line);
            emit_asm_text(reinterpret_cast<const char *>(t->value), t->length);
            release_token_value(t);
            continue;
        }
        push_back_token();
        external_declaration();
    }
    if (analyser_output)
        return;
    check_open_conditionals();
    emit_space_names();
    finish_unit(true);
    if (strict_ansi && !object_declared)
        report("missing object declaration");
    if (error_count == 0)
        emit_literal_pool();
}

int finish_run(int status)
{
    const char *input = input_name ? input_name : "";
    if (!settle_output(input))
        status = 1;
    if (error_file_name && !settle_error_file(input, status != 0))
        status = 1;
    if (status != 0) {
        if (error_file_name) {
            TextBuffer out;
            out.append("errors reported in ");
            out.append(error_file_name);
            out.append('\n');
            host_write_stderr(out.data, out.length);
        }
        return 1;
    }
    return 0;
}

namespace {

// The end of a run after a fatal error, installed as the run's abort hook:
// the output file is closed and kept, the error file handled as after any
// error; the status is 1.
int end_after_fatal_error()
{
    close_output();
    std::fflush(stdout);
    return finish_run(1);
}

}  // namespace

int zpc_run(int argc, char **argv, const RunHooks *hooks)
{
    install_stage_hooks();
    host_install_interrupt(on_interrupt);
    options_reset();
    program_version = ZPC_VERSION;
    program_build_date = ZPC_BUILD_DATE;
    parse_options(&argc, &argv, ZPC_TITLE, "file", option_table);
    if (argc == 0)
        return 0;

    char variable[128];
    include_variable_name(variable, sizeof variable);
    read_path_variable(&include_list, variable);

    apply_early_implications();
    input_name = argv[0];
    if (!open_outputs(input_name, !(hooks && hooks->output_to_stdout)))
        return 1;
    apply_late_implications();
    types_init();

    add_input_directory();
    include_search_list = build_search_list(&include_list, &include_search_capacity);

    // The -d macros, from the last given to the first, while the current
    // line reads -1.
    line_override_active = true;
    line_override = -1;
    for (std::int32_t i = define_list.free_slots; i < define_list.capacity; ++i)
        define_from_option(define_list.slots[i]);
    line_override_active = false;
    line_override = 0;

    bool opened = open_sources();
    if (outputs_refused(input_name) || !opened)
        return finish_run(1);

    init_space_names();
    if (hooks && hooks->unit) {
        hooks->unit();
    } else if (preprocess_only) {
        write_preprocessed();
    } else {
        translate_unit();
    }

    if (make_dependencies)
        std::fputs("\n", output_stream);
    else if (output_file_name)
        close_output();
    std::fflush(stdout);
    return finish_run(error_count);
}

namespace {

// The end of a source file, under -x when compiling: its file-level
// declarations are described.
void describe_ended_file(SourceFile *file)
{
    if (debug_info && !preprocess_only)
        debug_file_end(file, debug_declarations(file));
}

}  // namespace

void install_stage_hooks()
{
    file_end_hook = describe_ended_file;
    abort_hook = end_after_fatal_error;
    line_stage = {scan_next_line, process_line};
    condition_reader = parse_constant;
    declaration_pragma_reader = declaration_pragma;
}

void zpc_reset()
{
    install_stage_hooks();
    source_reset();
    diagnostics_reset();
    options_reset();
    options_library_reset();
    run_texts_reset();
    tokenizer_reset();
    directives_reset();
    pragma_reset();
    expansion_reset();
    macros_reset();
    pp_tokens_reset();
    constants_reset();
    parse_reset();
    statements_reset();
    forget_known_values();  // a list of nodes: it goes with them
    tree_reset();
    check_reset();
    types_reset();
    names_reset();
    declare_reset();
    records_reset();
    emit_reset();
    debug_reset();
}
