// The option variables of zpc, the one option table, and the driver state
// that the rest of the compiler reads. Options are written while the command
// line is parsed and the implications applied, and read-only afterwards
// (except make_dependencies, which the dependency writer reuses as the
// width of its current line).
#pragma once
#include <cstdint>

#include "runtime/options.h"
#include "runtime/pathlist.h"

constexpr std::int32_t OPTION_LIST_SLOTS = 128;
constexpr std::int32_t SEARCH_LIST_INITIAL = 128;

extern const char *const ZPC_TITLE;
extern const char *const ZPC_VERSION;
extern const char *const ZPC_BUILD_DATE;

extern std::int32_t expand_asm_defines;       // -ad
extern std::int32_t analyser_output;          // -an
extern std::int32_t analyser_stack_info;      // -asp
extern std::int32_t even_align_constants;     // -bc
extern std::int32_t even_align_data;          // -b
extern std::int32_t c99_mode;                 // -c99
extern std::int32_t no_const_cast;            // -cc
extern std::int32_t check_level;              // -ck, then the warning level
extern std::int32_t no_const_propagation;     // -cp
extern std::int32_t comment_removal_alt;      // -cq
extern std::int32_t comment_removal;          // -cr
extern std::int32_t check_signed_bitfields;   // -csb
extern PathList define_list;                  // -d
extern std::int32_t preprocess_only;          // -e
extern const char *error_file_name;           // +e
extern std::int32_t single_float;             // -f
extern std::int32_t eclipse_messages;         // -ge
extern PathList header_list;                  // -h
extern PathList include_list;                 // -i
extern std::int32_t keep_space_on_init_cast;  // -kc
extern std::int32_t keep_unused_statics;      // -ku
extern std::int32_t line_info;                // -l
extern std::int32_t make_dependencies;        // -md
extern std::int32_t model_config;             // -m
extern std::int32_t no_bitfield_packing;      // -nb
extern std::int32_t no_const_replacement;     // -nc
extern std::int32_t no_enum_optimization;     // -ne
extern std::int32_t allow_pointer_narrowing;  // -np
extern std::int32_t no_share_locals;          // -ns
extern std::int32_t no_widen_arguments;       // -nw
extern const char *output_file_name;          // -o
extern std::int32_t need_prototypes;          // -p
extern std::int32_t reverse_bitfields;        // -rb
extern std::int32_t strict_ansi;              // -sa
extern std::int32_t no_reorder_locals;        // -s
extern std::int32_t plain_char_unsigned;      // -u
extern std::int32_t warn_unknown_pragmas;     // -wp
extern std::int32_t warning_option;           // -w
extern std::int32_t debug_data;               // -xd
extern std::int32_t debug_full_path;          // -xf
extern std::int32_t debug_no_path;            // -xp
extern std::int32_t debug_skip_unused;        // -xu
extern std::int32_t debug_extended;           // -xx
extern std::int32_t debug_info;               // -x

// The table in the order the parser tries it and the usage lists it.
extern const OptionDef option_table[];

// Driver state shared with the rest of the compiler.
extern char *input_name;
extern PathList *include_search_list;
extern std::int32_t include_search_capacity;

// Every option variable back to zero, the lists emptied with their 128
// free slots; the search list dropped.
void options_reset();

// The implications applied before the outputs are opened (-asp, -an, -md)
// and those applied after (-u, -sa, -ck, -w, -xx, -xd, -x, -xf, -nc, -m, -b).
void apply_early_implications();
void apply_late_implications();

// The name of the include-path variable: program_name with its first two
// characters replaced by "ZP" and the rest in upper case.
void include_variable_name(char *out, int size);
