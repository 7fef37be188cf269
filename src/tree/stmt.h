// Statements and function bodies: the Stmt record with its kinds and
// flags, the statement and block readers, the function-wide lists the
// later passes walk, and the statement printer.
#pragma once
#include <cstdint>

struct Node;
struct SourceFile;
struct Symbol;
struct TextBuffer;
struct Type;

// One statement. Which pointer fields are used depends on the kind.
struct Stmt {
    Stmt *link;  // the pool's chain
    Stmt *next;  // the next statement of the same block
    // The test of if, while, do, for and switch; the expression of an
    // expression statement and of return; an assembly line's text (a
    // PoolEntry-free heap copy, see `asm_text`).
    Node *expr;
    // if, loops, switch: the sub-statement (if: the then-branch); block:
    // its first statement; break and continue: their target; goto: the
    // label symbol (`label`); assembly: the first assembly line.
    union {
        Stmt *body;
        Symbol *label;
    };
    // if: the else-branch; for: the initialization; switch: the case
    // table (`cases`); block: the next block of the function.
    union {
        Stmt *other;
        Node *init;
        Symbol *cases;
    };
    // for: the increment; block: its locals (`locals`); switch: the next
    // switch of the function.
    union {
        Node *step;
        Symbol *locals;
        Stmt *next_switch;
    };
    SourceFile *source;
    const char *file_name;  // the name the statement's file goes by (#line may change it)
    // An assembly line's text and its length.
    char *asm_text;
    std::uint32_t asm_length;
    std::uint32_t line, end_line;
    std::uint32_t line2, line3;  // do: the `(` after while; for: the two `;`
    std::uint16_t column, end_column, column2, column3;
    std::uint16_t flags;
    std::uint16_t label_no;
    std::uint8_t kind;
};

// Statement kinds: the keyword's token code where there is one.
constexpr std::uint8_t STMT_EXPR = 0;  // also the empty statement
constexpr std::uint8_t STMT_PASS = 1;  // made by body preparation
constexpr std::uint8_t STMT_BLOCK = 16;
constexpr std::uint8_t STMT_ASM = 31;
constexpr std::uint8_t STMT_BREAK = 129;
constexpr std::uint8_t STMT_CONTINUE = 133;
constexpr std::uint8_t STMT_DO = 135;
constexpr std::uint8_t STMT_FOR = 141;
constexpr std::uint8_t STMT_GOTO = 142;
constexpr std::uint8_t STMT_IF = 143;
constexpr std::uint8_t STMT_RETURN = 147;
constexpr std::uint8_t STMT_SWITCH = 153;
constexpr std::uint8_t STMT_WHILE = 159;
constexpr std::uint8_t STMT_COUNTED = 176;
constexpr std::uint8_t STMT_PENDING_INIT = 253;  // a local initialization with inline calls pending

// Statement flags.
constexpr std::uint16_t STMT_BROKEN = 0x001;       // loop or switch: a break leaves it
constexpr std::uint16_t STMT_CONTINUED = 0x002;    // loop: a continue goes to it
constexpr std::uint16_t STMT_GOTO_INSIDE = 0x004;  // loop: a goto in its own body
constexpr std::uint16_t STMT_NO_FALL = 0x008;      // control never reaches the next statement
constexpr std::uint16_t STMT_UNREACHABLE = 0x010;
constexpr std::uint16_t STMT_CASE_LABEL = 0x020;
constexpr std::uint16_t STMT_LABELLED = 0x040;     // a named label on it or inside it
constexpr std::uint16_t STMT_HAS_CALLS = 0x080;    // function body: it makes calls
constexpr std::uint16_t STMT_COUNTER_USED = 0x100;
constexpr std::uint16_t STMT_COUNTER_SET = 0x200;
constexpr std::uint16_t STMT_UNROLL = 0x400;
constexpr std::uint16_t STMT_EMPTY_RETURN = 0x800;  // inline expansion: a return without value
constexpr std::uint16_t STMT_TEST_CONSTANT = 0x1000;  // for: read by body preparation
// Block: it declares a local the flow analysis follows (only while the
// analysis runs).
constexpr std::uint16_t STMT_DECLARES_TRACKED = 0x8000;

// A statement from the pool (recycled when the function ends), its kind
// set and its flags, label number, links and source position cleared.
Stmt *new_stmt(std::uint8_t kind);

// The function being defined: its blocks chained through `other` (the
// body first), its switches chained through `next_switch`, the type its
// result has, and the number of calls returned as its value.
struct FunctionState {
    bool active;
    Symbol *symbol;
    Stmt *blocks;
    Stmt **blocks_tail;
    Stmt *switches;
    // The case-table entries of switches that body preparation simplified
    // into other statements (or entries it dropped), kept until the
    // function's records are recycled.
    Symbol *retired_cases;
    Type *result;
    // The labels of the inline expansions read into the function, each
    // expansion's own list joined in front of the earlier ones.
    Symbol *expansion_labels;
    std::uint16_t attr;
    std::int32_t tail_calls;
};
extern FunctionState function;

// Whether a statement holds a label that a jump may reach from outside
// it: a named label, or a case or default label of a switch around it
// (those of a switch inside the statement belong to that switch). A
// statement that does holds may not be dropped as dead.
bool holds_reachable_label(const Stmt *stmt);

// The statement printer: one statement per line, indented two blanks per
// level of nesting (format at the top of src/tree/stmt_dump.cpp).
void dump_statement(TextBuffer &out, const Stmt *stmt, int depth = 0);
