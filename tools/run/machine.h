// zpc-run's model of the target: the program linked from intermediate files
// (functions decoded into a compact form, data laid out in a byte-addressed
// big-endian memory) and the machine that executes it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace run {

// Node operators of the compact form. Expression operators keep their byte
// from the file; leaves, calls and refused nodes get codes no operator uses.
enum : std::uint8_t {
    N_VALUE = 1,     // a leaf that is a number or an address
    N_OBJECT = 2,    // a leaf that designates an object in memory
    N_CALL = 3,
    N_REFUSED = 4,   // something the runner does not execute
};

// Where a leaf's offset is counted from.
enum : std::uint8_t {
    BASE_NONE, BASE_FRAME, BASE_ARGS, BASE_RESULT, BASE_SWITCH,
};

// Why a node is not executed; the executor reports the text when it meets one.
enum Refusal : std::uint8_t {
    REFUSED_BITFIELD, REFUSED_REAL12, REFUSED_CALL_REAL12, REFUSED_ABSOLUTE, REFUSED_REGISTER, REFUSED_FLOAT_LEAF,
};
const char *refusal_text(unsigned refusal);

// Compact, 24 bytes: a leaf uses `value`, an operator its operands.
struct Node {
    std::uint8_t op;
    std::uint8_t type;       // type code of the file
    std::uint8_t size;       // bytes of a scalar value
    std::uint8_t base;       // leaves
    std::uint8_t bit_offset, bit_width;
    std::uint8_t compare;    // comparisons: COMPARE_UNSIGNED, COMPARE_FLOAT
    union {
        std::uint8_t compare_size;  // comparisons: bytes of the common type
        std::uint8_t refusal;       // N_REFUSED: a Refusal
    };
    std::uint32_t struct_size;
    // Operands; a call: a the function, b the first of its arguments in
    // Function::args, c the count.
    std::int32_t a;
    union {
        struct {
            std::int32_t b, c;
        };
        std::int64_t value;  // leaf offset (plus the resolved address)
    };
};
// compare: the operands meet as unsigned; an operand is floating, so they
// meet as double.
enum : std::uint8_t { COMPARE_UNSIGNED = 1, COMPARE_FLOAT = 2 };

enum : std::uint8_t {
    I_EVAL, I_JUMP, I_BRANCH, I_RETURN, I_NEGATE, I_COMPLEMENT, I_SWITCH, I_REFUSED,
    // A counted loop: the start takes the count (expr) into the slot expr2
    // and goes to target (past the end) when it gives no trip; the end
    // counts one trip down and goes to target (behind the start) while
    // trips remain.
    I_LOOP_START, I_LOOP_END,
};

struct Instr {
    std::uint8_t kind;
    std::uint8_t cond;       // I_BRANCH: the record code; I_SWITCH: the value size
    std::int32_t target;     // I_JUMP, I_BRANCH: instruction index; I_SWITCH: table index
    std::int32_t expr, expr2;
    std::uint32_t label;     // before resolution
    std::uint32_t offset;    // of the record in its file
};

struct SwitchTable {
    std::uint32_t label;
    std::int32_t default_target;
    std::uint32_t default_label;
    struct Range {
        std::uint32_t first;
        std::vector<std::uint32_t> labels;
        std::vector<std::int32_t> targets;
    };
    std::vector<Range> ranges;
    std::vector<std::uint32_t> values;
    std::vector<std::uint32_t> list_labels;
    std::vector<std::int32_t> list_targets;
};

struct Function {
    std::string name;
    int unit;
    std::uint32_t address;
    std::int32_t frame;           // lowest local offset (negative or 0)
    std::uint32_t result_size;    // room for the result
    std::vector<Node> nodes;
    std::vector<std::int32_t> args;
    std::vector<Instr> instrs;
    std::vector<SwitchTable> tables;
    std::uint32_t def_offset;
    std::int32_t loops = 0;       // count slots of its counted loops
};

// A library function the runner provides itself.
enum Native : std::uint8_t {
    NAT_NONE, NAT_PUTCHAR, NAT_PUTS, NAT_PRINTF, NAT_MEMCPY, NAT_MEMMOVE, NAT_MEMSET, NAT_MEMCMP,
    NAT_STRLEN, NAT_STRCMP, NAT_STRNCMP, NAT_STRCPY, NAT_ABORT, NAT_EXIT,
};
Native native_by_name(const std::string &name);

struct Unit {
    std::string file;
    std::vector<unsigned char> data;
    bool analyser;
    bool widen;          // arguments are passed widened (no -nw)
    bool even_arguments; // -b: arguments that need it sit at even offsets
    bool widen_float;    // float arguments are passed as double (no -nw, no -f)
};

// The model's address space: 64 KiB reached by tiny and near pointers (the
// first 256 bytes are the tiny space; the top holds the stack), and a far
// region above it that only far pointers reach.
constexpr std::uint32_t NEAR_SIZE = 0x10000;
constexpr std::uint32_t FAR_BASE = 0x10000;
constexpr std::uint32_t FAR_SIZE = 0x40000;
constexpr std::uint32_t MEMORY_SIZE = FAR_BASE + FAR_SIZE;
constexpr std::uint32_t CODE_BASE = 0x0100;  // functions' addresses, 2 bytes each

struct Program {
    std::vector<Unit> units;
    std::vector<Function> functions;
    std::vector<std::uint8_t> memory;
    std::vector<std::uint8_t> valid;   // 1 where a byte belongs to an object or the stack
    // Code addresses: function index + 1, or -(native) for library functions.
    std::vector<std::int32_t> code;
    std::vector<std::string> native_names;  // by code slot, for messages
    std::uint32_t stack_low, stack_high;
    int main_function = -1;
};

struct RunOptions {
    std::uint64_t step_limit = 1000000000ull;
    std::uint32_t stack_size = 0x4000;
    bool trace = false;
    std::uint64_t *steps_counted = nullptr;  // if set, receives the operations run_program counted
};

// Loads and links the files; on failure prints the message and returns false.
bool load_program(Program &program, const std::vector<std::string> &files, const RunOptions &options);
// Runs main; returns the exit status (2 after a fault).
int run_program(Program &program, const RunOptions &options);

}  // namespace run
