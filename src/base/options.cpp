#include "base/options.h"

#include <cctype>
#include <cstdio>
#include <cstring>

const char *const ZPC_TITLE = "C parser for the S12X";
const char *const ZPC_VERSION = "V0.1.0";
const char *const ZPC_BUILD_DATE = "22 Nov 2026";

std::int32_t expand_asm_defines;
std::int32_t analyser_output;
std::int32_t analyser_stack_info;
std::int32_t even_align_constants;
std::int32_t even_align_data;
std::int32_t c99_mode;
std::int32_t no_const_cast;
std::int32_t check_level;
std::int32_t no_const_propagation;
std::int32_t comment_removal_alt;
std::int32_t comment_removal;
std::int32_t check_signed_bitfields;
PathList define_list;
std::int32_t preprocess_only;
const char *error_file_name;
std::int32_t single_float;
std::int32_t eclipse_messages;
PathList header_list;
PathList include_list;
std::int32_t keep_space_on_init_cast;
std::int32_t keep_unused_statics;
std::int32_t line_info;
std::int32_t make_dependencies;
std::int32_t model_config;
std::int32_t no_bitfield_packing;
std::int32_t no_const_replacement;
std::int32_t no_enum_optimization;
std::int32_t allow_pointer_narrowing;
std::int32_t no_share_locals;
std::int32_t no_widen_arguments;
const char *output_file_name;
std::int32_t need_prototypes;
std::int32_t reverse_bitfields;
std::int32_t strict_ansi;
std::int32_t no_reorder_locals;
std::int32_t plain_char_unsigned;
std::int32_t warn_unknown_pragmas;
std::int32_t warning_option;
std::int32_t debug_data;
std::int32_t debug_full_path;
std::int32_t debug_no_path;
std::int32_t debug_skip_unused;
std::int32_t debug_extended;
std::int32_t debug_info;

char *input_name;
PathList *include_search_list;
std::int32_t include_search_capacity = SEARCH_LIST_INITIAL;

// A descriptor must stand before any shorter descriptor that is a prefix
// of it: the first match wins.
const OptionDef option_table[] = {
    {"ad   expand defines in assembly", &expand_asm_defines},
    {"<an   enable analyser output", &analyser_output},
    {"<asp  enable analyser with stack info", &analyser_stack_info},
    {"bc   even align constants", &even_align_constants},
    {"b    even align all data", &even_align_data},
    {"c99  c99 type behaviour", &c99_mode},
    {"cc   do not cast const exp", &no_const_cast},
    {"ck   extra type checkings", &check_level},
    {"cp   no constant propagation", &no_const_propagation},
    {"<cq   comment removal for -e", &comment_removal_alt},
    {"<cr   comment removal for -e", &comment_removal},
    {"csb  check signed bitfields", &check_signed_bitfields},
    {"d*>  define symbol=value", &define_list},
    {"e    run preprocessor only", &preprocess_only},
    {"+e*   error file name", &error_file_name},
    {"f    single precision floats", &single_float},
    {"ge   eclipse error messages", &eclipse_messages},
    {"h*>  include header", &header_list},
    {"i*>  include path", &include_list},
    {"kc   keep space on init cast", &keep_space_on_init_cast},
    {"ku   keep unused statics", &keep_unused_statics},
    {"l    output line information", &line_info},
    {"md   make dependencies", &make_dependencies},
    {"m#   model configuration", &model_config},
    {"nb   no bitfield packing", &no_bitfield_packing},
    {"nc   no const replacement", &no_const_replacement},
    {"ne   no enum optimization", &no_enum_optimization},
    {"np   allow pointer narrowing", &allow_pointer_narrowing},
    {"ns   do not share locals", &no_share_locals},
    {"nw   do not widen arguments", &no_widen_arguments},
    {"o*   output file name", &output_file_name},
    {"p    need prototypes", &need_prototypes},
    {"rb   reverse bitfield order", &reverse_bitfields},
    {"sa   strict ansi conformance", &strict_ansi},
    {"s    do not reorder locals", &no_reorder_locals},
    {"u    plain char is unsigned", &plain_char_unsigned},
    {"wp   warn unknown pragmas", &warn_unknown_pragmas},
    {"w#   enable warnings", &warning_option},
    {"xd   debug info for data", &debug_data},
    {"xf   full path in debug info", &debug_full_path},
    {"xp   no path in debug info", &debug_no_path},
    {"xu   no debug info if unused", &debug_skip_unused},
    {"xx   extended debug info", &debug_extended},
    {"x    output debug info", &debug_info},
    {nullptr, static_cast<std::int32_t *>(nullptr)},
};

void options_reset()
{
    for (const OptionDef *d = option_table; d->descriptor; ++d) {
        switch (d->variable.kind) {
        case OptionVar::OPTION_INT:
            *static_cast<std::int32_t *>(d->variable.address) = 0;
            break;
        case OptionVar::OPTION_TEXT:
            *static_cast<const char **>(d->variable.address) = nullptr;
            break;
        case OptionVar::OPTION_LIST: {
            PathList *list = static_cast<PathList *>(d->variable.address);
            if (list->slots)
                list->free_slots = list->capacity;
            else
                path_list_init(list, OPTION_LIST_SLOTS);
            break;
        }
        }
    }
    input_name = nullptr;
    free_search_list(include_search_list);
    include_search_list = nullptr;
    include_search_capacity = SEARCH_LIST_INITIAL;
}

void apply_early_implications()
{
    if (analyser_stack_info)
        analyser_output = 1;
    if (analyser_output) {
        make_dependencies = 0;
        preprocess_only = 0;
        debug_info = 1;
        debug_data = 0;
        no_share_locals = 1;
    } else if (make_dependencies) {
        preprocess_only = 1;
    }
}

void apply_late_implications()
{
    // -u (plain char as unsigned char) and -m (set_memory_model) take
    // effect in the type model, which reads these variables when it is set up.
    if (strict_ansi) {
        no_enum_optimization = 1;
        no_const_replacement = 1;
    }
    if (check_level) {
        need_prototypes = 1;
        check_level = -1;
    } else if (warning_option) {
        check_level = warning_option & 7;
    }
    if (debug_extended || debug_data)
        debug_info = 1;
    if (debug_info)
        line_info = 1;
    if (debug_full_path)
        debug_no_path = 0;
    if (no_const_replacement)
        no_const_propagation = 1;
    if (even_align_data)
        even_align_constants = 0;
}

void include_variable_name(char *out, int size)
{
    if (size < 3) {
        if (size > 0)
            out[0] = 0;
        return;
    }
    std::snprintf(out, static_cast<std::size_t>(size), "ZP");
    std::size_t n = std::strlen(program_name);
    int at = 2;
    for (std::size_t i = 2; i < n && at + 1 < size; ++i)
        out[at++] = static_cast<char>(std::toupper(static_cast<unsigned char>(program_name[i])));
    out[at] = 0;
}
