// The executor of zpc-run: walks the compact form of each function with the
// target's arithmetic. Integer values travel as 64-bit numbers already
// reduced to the width and signedness of their type; a floating value
// travels as the bits of a host double (rounded to single precision when its
// type is float); a struct value is the address of its bytes. Memory is big-endian; every access is checked
// against the objects and the stack, and a fault ends the run with status 2.
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "dump/intermediate_dump.h"
#include "ir/reader.h"
#include "run/machine.h"

namespace run {

namespace {

// Thrown once, to end the run: a fault, or exit() of the program.
struct Stop {
    int status;
};

// How much of the host's stack nested calls may take before the run stops
// with a fault instead of crashing.
constexpr std::uintptr_t HOST_STACK_BUDGET = 3u << 20;

struct Frame {
    const Function *function;
    std::uint32_t fp, ap, rp, sw;
    const Instr *instr;
};

inline bool is_floating(std::uint8_t type) { return type == ir::TYPE_FLOAT || type == ir::TYPE_DOUBLE; }
inline double as_double(std::int64_t v) { return std::bit_cast<double>(v); }
inline std::int64_t from_double(double d) { return std::bit_cast<std::int64_t>(d); }
// Rounds to single precision; a finite value beyond float's range becomes
// an infinity of its sign, as the target's rounding gives.
inline float to_single(double d)
{
    constexpr double max = static_cast<double>(std::numeric_limits<float>::max());
    if (d > max || d < -max)
        return std::isinf(d) || std::fabs(d) >= 0x1.ffffffp127 ? (d > 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity())
                                                                 : static_cast<float>(d > 0 ? max : -max);
    return static_cast<float>(d);
}
inline std::int64_t round_to_float(double d) { return from_double(static_cast<double>(to_single(d))); }

std::int64_t normalize(std::uint8_t type, std::uint8_t size, std::int64_t v)
{
    switch (type) {
    case ir::TYPE_FLOAT: return round_to_float(as_double(v));
    case ir::TYPE_DOUBLE: return v;
    case ir::TYPE_CHAR: return static_cast<std::int8_t>(v);
    case ir::TYPE_INT: return static_cast<std::int16_t>(v);
    case ir::TYPE_LONG: return static_cast<std::int32_t>(v);
    case ir::TYPE_STRUCT: return v;
    }
    switch (size) {
    case 1: return static_cast<std::uint8_t>(v);
    case 2: return static_cast<std::uint16_t>(v);
    default: return static_cast<std::uint32_t>(v);
    }
}

inline std::int64_t norm(const Node &n, std::int64_t v) { return normalize(n.type, n.size, v); }
inline std::int64_t norm(const Node &n, std::uint64_t v) { return normalize(n.type, n.size, static_cast<std::int64_t>(v)); }

// The value v of a node of type `from` as a host double.
inline double to_double(const Node &from, std::int64_t v) { return is_floating(from.type) ? as_double(v) : static_cast<double>(v); }

// Converts v, a value of type `from`, to the type of `to`. A floating value
// becomes an integer by truncation toward zero; one outside the target's
// range (where C leaves the result undefined) is clamped to it, and a NaN
// becomes 0.
std::int64_t convert(const Node &to, const Node &from, std::int64_t v)
{
    if (is_floating(to.type))
        return norm(to, from_double(to_double(from, v)));
    if (!is_floating(from.type) || to.type == ir::TYPE_STRUCT)
        return norm(to, v);
    double d = std::trunc(as_double(v));
    unsigned bits = to.size ? 8u * to.size : 32u;
    bool is_signed = to.type == ir::TYPE_CHAR || to.type == ir::TYPE_INT || to.type == ir::TYPE_LONG;
    double low = is_signed ? -std::ldexp(1.0, static_cast<int>(bits) - 1) : 0.0;
    double high = is_signed ? std::ldexp(1.0, static_cast<int>(bits) - 1) - 1 : std::ldexp(1.0, static_cast<int>(bits)) - 1;
    if (std::isnan(d))
        d = 0;
    d = d < low ? low : d > high ? high : d;
    return norm(to, static_cast<std::int64_t>(d));
}

inline bool truth(const Node &n, std::int64_t v) { return is_floating(n.type) ? as_double(v) != 0 : v != 0; }

// The common type of floating arithmetic: double when either side is
// double, else float.
inline bool float_result_is_single(const Node &a, const Node &b)
{
    return a.type != ir::TYPE_DOUBLE && b.type != ir::TYPE_DOUBLE;
}

struct Machine {
    Program &p;
    const RunOptions &options;
    std::uint8_t *mem;
    const std::uint8_t *valid;
    std::uint32_t sp = 0;
    std::uint64_t steps = 0;
    Frame *frame = nullptr;
    std::uintptr_t host_base = 0;
    std::string output;  // buffered standard output of the program
    std::vector<std::uint64_t> loop_counts;  // trips left in the counted loops of every activation
    bool double_args_are_single = false;  // a library call's floating arguments are 4 bytes (-f, -nw)

    Machine(Program &program, const RunOptions &o) : p(program), options(o), mem(program.memory.data()), valid(program.valid.data()) {}
    ~Machine() { if (options.steps_counted) *options.steps_counted = steps; }

    void flush_output()
    {
        std::fwrite(output.data(), 1, output.size(), stdout);
        std::fflush(stdout);
        output.clear();
    }

    [[noreturn]] void fault(const std::string &what)
    {
        flush_output();
        std::string where;
        if (frame) {
            const Function &f = *frame->function;
            where = " in " + f.name;
            if (frame->instr) {
                const Unit &u = p.units[static_cast<std::size_t>(f.unit)];
                std::uint32_t at = frame->instr->offset;
                const char *name = at < u.data.size() ? ir::record_name(u.data[at]) : nullptr;
                where += " at ";
                where += name ? name : "record";
                where += " offset ";
                ir::put_offset(where, at);
                where += " of " + u.file;
            }
        }
        std::fprintf(stderr, "zpc-run: %s%s\n", what.c_str(), where.c_str());
        throw Stop{2};
    }

    void count_step()
    {
        if (++steps > options.step_limit)
            fault("more than " + std::to_string(options.step_limit) + " operations (option -x)");
    }

    void check(std::uint32_t addr, std::uint32_t size, bool write)
    {
        if (addr < MEMORY_SIZE && size <= MEMORY_SIZE - addr && size && valid[addr] && valid[addr + size - 1])
            return;
        char text[160];
        if (addr < 2)
            std::snprintf(text, sizeof text, "%s through a null pointer", write ? "write" : "read");
        else
            std::snprintf(text, sizeof text, "%s of %u bytes at address 0x%05x outside every object",
                          write ? "write" : "read", size, addr);
        fault(text);
    }

    std::uint64_t read_unsigned(std::uint32_t addr, unsigned size)
    {
        check(addr, size, false);
        std::uint64_t v = 0;
        for (unsigned k = 0; k < size; ++k)
            v = v << 8 | mem[addr + k];
        return v;
    }

    void write_unsigned(std::uint32_t addr, unsigned size, std::uint64_t v)
    {
        check(addr, size, true);
        for (unsigned k = size; k-- > 0; v >>= 8)
            mem[addr + k] = static_cast<std::uint8_t>(v);
    }

    std::int64_t load(const Node &n, std::uint32_t addr)
    {
        if (n.type == ir::TYPE_STRUCT) {
            check(addr, n.struct_size, false);
            return addr;
        }
        std::uint64_t v = read_unsigned(addr, n.size);
        if (n.type == ir::TYPE_FLOAT)
            return from_double(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(v))));
        if (n.type == ir::TYPE_DOUBLE)
            return static_cast<std::int64_t>(v);
        if (n.bit_width)
            return static_cast<std::int64_t>((v >> n.bit_offset) & ((std::uint64_t{1} << n.bit_width) - 1));
        return normalize(n.type, n.size, static_cast<std::int64_t>(v));
    }

    // Stores v into the object; returns the value the object then holds.
    std::int64_t store(const Node &n, std::uint32_t addr, std::int64_t v)
    {
        if (n.type == ir::TYPE_STRUCT) {
            auto from = static_cast<std::uint32_t>(v);
            check(from, n.struct_size, false);
            check(addr, n.struct_size, true);
            std::memmove(mem + addr, mem + from, n.struct_size);
            return addr;
        }
        if (n.bit_width) {
            std::uint64_t mask = ((std::uint64_t{1} << n.bit_width) - 1);
            std::uint64_t unit = read_unsigned(addr, n.size);
            std::uint64_t field = static_cast<std::uint64_t>(v) & mask;
            unit = (unit & ~(mask << n.bit_offset)) | field << n.bit_offset;
            write_unsigned(addr, n.size, unit);
            return static_cast<std::int64_t>(field);
        }
        if (n.type == ir::TYPE_FLOAT) {
            float single = to_single(as_double(v));
            write_unsigned(addr, 4, std::bit_cast<std::uint32_t>(single));
            return from_double(static_cast<double>(single));
        }
        write_unsigned(addr, n.size, static_cast<std::uint64_t>(v));
        return norm(n, v);
    }

    // A floating operation of C on host doubles; a float result is rounded
    // to single precision by the caller.
    double floating(unsigned op, double a, double b)
    {
        switch (op) {
        case ir::OP_ADD: case ir::OP_ADDASG: case ir::OP_POSTINC: return a + b;
        case ir::OP_SUB: case ir::OP_SUBASG: case ir::OP_POSTDEC: return a - b;
        case ir::OP_MUL: case ir::OP_MULASG: return a * b;
        case ir::OP_DIV: case ir::OP_DIVASG: return a / b;
        }
        fault("operator " + std::to_string(op) + " on a floating value");
    }

    // Evaluates node i and converts its value to the type of `to`.
    std::int64_t eval_as(const Function &f, std::int32_t i, const Node &to)
    {
        return convert(to, f.nodes[static_cast<std::size_t>(i)], eval(f, i));
    }

    bool eval_truth(const Function &f, std::int32_t i) { return truth(f.nodes[static_cast<std::size_t>(i)], eval(f, i)); }

    std::uint32_t base(const Node &n)
    {
        switch (n.base) {
        case BASE_FRAME: return frame->fp;
        case BASE_ARGS: return frame->ap;
        case BASE_RESULT: return frame->rp;
        case BASE_SWITCH: return frame->sw;
        }
        return 0;
    }

    std::uint32_t address_of(const Function &f, std::int32_t i)
    {
        const Node &n = f.nodes[static_cast<std::size_t>(i)];
        switch (n.op) {
        case N_OBJECT: return static_cast<std::uint32_t>(base(n) + n.value);
        case ir::OP_DEREF: return static_cast<std::uint32_t>(eval(f, n.a));
        case ir::OP_COMMA: eval(f, n.a); return address_of(f, n.b);
        case ir::OP_COND: return eval_truth(f, n.a) ? address_of(f, n.b) : address_of(f, n.c);
        case N_REFUSED: fault(std::string("not supported: ") + refusal_text(n.refusal));
        }
        if (n.type == ir::TYPE_STRUCT)
            return static_cast<std::uint32_t>(eval(f, i));
        fault("no object to designate");
    }

    std::int64_t arithmetic(unsigned op, const Node &n, std::int64_t a, std::int64_t b)
    {
        auto ua = static_cast<std::uint64_t>(a), ub = static_cast<std::uint64_t>(b);
        switch (op) {
        case ir::OP_ADD: case ir::OP_ADDASG: case ir::OP_POSTINC: return norm(n, ua + ub);
        case ir::OP_SUB: case ir::OP_SUBASG: case ir::OP_POSTDEC: return norm(n, ua - ub);
        case ir::OP_MUL: case ir::OP_MULASG: return norm(n, ua * ub);
        case ir::OP_AND: case ir::OP_ANDASG: return norm(n, ua & ub);
        case ir::OP_OR: case ir::OP_ORASG: return norm(n, ua | ub);
        case ir::OP_XOR: case ir::OP_XORASG: return norm(n, ua ^ ub);
        case ir::OP_DIV: case ir::OP_DIVASG:
            if (b == 0)
                fault("division by zero");
            return norm(n, a / b);
        case ir::OP_MOD: case ir::OP_MODASG:
            if (b == 0)
                fault("remainder by zero");
            return norm(n, a % b);
        case ir::OP_SHL: case ir::OP_SHLASG:
            return b < 0 || b >= 64 ? 0 : norm(n, ua << b);
        case ir::OP_SHR: case ir::OP_SHRASG:
            if (b < 0 || b >= 64)
                return a < 0 ? norm(n, std::int64_t{-1}) : 0;
            return norm(n, a >> b);
        }
        fault("operator " + std::to_string(op) + " is not arithmetic");
    }

    template <typename T> static bool relation(unsigned op, T a, T b)
    {
        switch (op) {
        case ir::OP_LT: return a < b;
        case ir::OP_GE: return a >= b;
        case ir::OP_GT: return a > b;
        case ir::OP_LE: return a <= b;
        case ir::OP_EQ: return a == b;
        default: return a != b;
        }
    }

    bool compare(const Node &n, std::int64_t a, std::int64_t b)
    {
        if (n.compare & COMPARE_UNSIGNED) {
            std::uint64_t mask = n.compare_size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * n.compare_size)) - 1;
            return relation(n.op, static_cast<std::uint64_t>(a) & mask, static_cast<std::uint64_t>(b) & mask);
        }
        return relation(n.op, a, b);
    }

    std::int64_t eval(const Function &f, std::int32_t i)
    {
        const Node &n = f.nodes[static_cast<std::size_t>(i)];
        count_step();
        switch (n.op) {
        case N_VALUE:
            return n.base == BASE_NONE ? n.value : norm(n, static_cast<std::int64_t>(base(n)) + n.value);
        case N_OBJECT:
            return load(n, static_cast<std::uint32_t>(base(n) + n.value));
        case N_CALL:
            return call(f, n);
        case N_REFUSED:
            fault(std::string("not supported: ") + refusal_text(n.refusal));
        case ir::OP_ADD: case ir::OP_SUB: case ir::OP_MUL: case ir::OP_DIV: case ir::OP_MOD:
        case ir::OP_AND: case ir::OP_OR: case ir::OP_XOR: {
            if (is_floating(n.type)) {
                double a = as_double(eval_as(f, n.a, n));
                double b = as_double(eval_as(f, n.b, n));
                return norm(n, from_double(floating(n.op, a, b)));
            }
            std::int64_t a = norm(n, eval(f, n.a));
            std::int64_t b = norm(n, eval(f, n.b));
            return arithmetic(n.op, n, a, b);
        }
        case ir::OP_SHL: case ir::OP_SHR: {
            std::int64_t a = norm(n, eval(f, n.a));
            std::int64_t b = eval(f, n.b);
            return arithmetic(n.op, n, a, b);
        }
        case ir::OP_LT: case ir::OP_GE: case ir::OP_GT: case ir::OP_LE: case ir::OP_EQ: case ir::OP_NE: {
            if (n.compare & COMPARE_FLOAT) {
                double a = to_double(f.nodes[static_cast<std::size_t>(n.a)], eval(f, n.a));
                double b = to_double(f.nodes[static_cast<std::size_t>(n.b)], eval(f, n.b));
                return relation(n.op, a, b);
            }
            std::int64_t a = eval(f, n.a);
            std::int64_t b = eval(f, n.b);
            return compare(n, a, b);
        }
        case ir::OP_ANDAND: return eval_truth(f, n.a) && eval_truth(f, n.b);
        case ir::OP_OROR: return eval_truth(f, n.a) || eval_truth(f, n.b);
        case ir::OP_NOT: return !eval_truth(f, n.a);
        case ir::OP_NEG:
            if (is_floating(n.type))
                return norm(n, from_double(-as_double(eval_as(f, n.a, n))));
            return norm(n, std::uint64_t{0} - static_cast<std::uint64_t>(norm(n, eval(f, n.a))));
        case ir::OP_COMPL: return norm(n, ~static_cast<std::uint64_t>(norm(n, eval(f, n.a))));
        case ir::OP_CAST: return eval_as(f, n.a, n);
        case ir::OP_COND: return eval_truth(f, n.a) ? eval_as(f, n.b, n) : eval_as(f, n.c, n);
        case ir::OP_COMMA: eval(f, n.a); return eval(f, n.b);
        case ir::OP_DEREF: return load(n, static_cast<std::uint32_t>(eval(f, n.a)));
        case ir::OP_ADDR: return norm(n, static_cast<std::int64_t>(address_of(f, n.a)));
        case ir::OP_ASSIGN: {
            std::uint32_t addr = address_of(f, n.a);
            const Node &left = f.nodes[static_cast<std::size_t>(n.a)];
            return store(left, addr, eval_as(f, n.b, left));
        }
        case ir::OP_ADDASG: case ir::OP_SUBASG: case ir::OP_MULASG: case ir::OP_DIVASG: case ir::OP_MODASG:
        case ir::OP_SHLASG: case ir::OP_SHRASG: case ir::OP_ANDASG: case ir::OP_XORASG: case ir::OP_ORASG: {
            std::uint32_t addr = address_of(f, n.a);
            const Node &left = f.nodes[static_cast<std::size_t>(n.a)];
            const Node &right = f.nodes[static_cast<std::size_t>(n.b)];
            if (is_floating(left.type) || is_floating(right.type) || is_floating(n.type)) {
                // Computed in the common floating type, then converted back
                // to the object's type.
                double old = to_double(left, load(left, addr));
                double b = to_double(right, eval(f, n.b));
                double r = floating(n.op, old, b);
                Node common{};
                common.type = float_result_is_single(left, right) && n.type != ir::TYPE_DOUBLE ? ir::TYPE_FLOAT : ir::TYPE_DOUBLE;
                common.size = common.type == ir::TYPE_FLOAT ? 4 : 8;
                return store(left, addr, convert(left, common, norm(common, from_double(r))));
            }
            std::int64_t old = norm(n, load(left, addr));
            std::int64_t b = eval(f, n.b);
            if (n.op != ir::OP_SHLASG && n.op != ir::OP_SHRASG)
                b = norm(n, b);
            return store(left, addr, arithmetic(n.op, n, old, b));
        }
        case ir::OP_POSTINC: case ir::OP_POSTDEC: {
            std::uint32_t addr = address_of(f, n.a);
            const Node &left = f.nodes[static_cast<std::size_t>(n.a)];
            std::int64_t old = load(left, addr);
            if (is_floating(left.type)) {
                double b = to_double(f.nodes[static_cast<std::size_t>(n.b)], eval(f, n.b));
                store(left, addr, from_double(floating(n.op, as_double(old), b)));
                return old;
            }
            std::int64_t b = norm(n, eval(f, n.b));
            store(left, addr, arithmetic(n.op, n, norm(n, old), b));
            return old;
        }
        }
        fault("operator " + std::to_string(n.op) + " is not executed");
    }

    std::int64_t call(const Function &f, const Node &n)
    {
        std::uint32_t target = address_of(f, n.a);
        std::int32_t code = 0;
        if (target >= CODE_BASE && !(target & 1) && (target - CODE_BASE) / 2 < p.code.size())
            code = p.code[(target - CODE_BASE) / 2];
        if (code == 0) {
            char text[64];
            std::snprintf(text, sizeof text, "call of address 0x%05x, which holds no function", target);
            fault(text);
        }
        const Unit &unit = p.units[static_cast<std::size_t>(f.unit)];
        // Arguments are evaluated first, then laid out from offset 0 in
        // their passing sizes: char widened to int unless -nw, even offsets
        // under -b for those that need them.
        constexpr int MAX_ARGS = 64;
        if (n.c > MAX_ARGS)
            fault("call with more than 64 arguments");
        std::int64_t values[MAX_ARGS];
        std::uint32_t sizes[MAX_ARGS], offsets[MAX_ARGS];
        std::uint32_t arg_bytes = 0;
        for (std::int32_t k = 0; k < n.c; ++k) {
            std::int32_t a = f.args[static_cast<std::size_t>(n.b + k)];
            const Node &arg = f.nodes[static_cast<std::size_t>(a)];
            values[k] = eval(f, a);
            std::uint32_t size = arg.type == ir::TYPE_STRUCT ? arg.struct_size : arg.size;
            if (size == 1 && unit.widen && arg.type != ir::TYPE_STRUCT)
                size = 2;
            if (arg.type == ir::TYPE_FLOAT && unit.widen_float)
                size = 8;
            if (unit.even_arguments && (arg_bytes & 1) && size >= 2)
                ++arg_bytes;
            sizes[k] = size;
            offsets[k] = arg_bytes;
            arg_bytes += size;
        }
        std::uint32_t saved_sp = sp;
        const Function *callee = code > 0 ? &p.functions[static_cast<std::size_t>(code - 1)] : nullptr;
        std::uint32_t result_size = callee ? callee->result_size : 8;
        if (sp < p.stack_low + result_size + arg_bytes + 2)
            fault("stack overflow (option -s " + std::to_string(options.stack_size) + ")");
        sp = (sp - result_size) & ~1u;
        std::uint32_t rp = sp;
        sp = (sp - arg_bytes) & ~1u;
        std::uint32_t ap = sp;
        for (std::int32_t k = 0; k < n.c; ++k) {
            const Node &arg = f.nodes[static_cast<std::size_t>(f.args[static_cast<std::size_t>(n.b + k)])];
            if (arg.type == ir::TYPE_STRUCT) {
                auto from = static_cast<std::uint32_t>(values[k]);
                check(from, sizes[k], false);
                std::memmove(mem + ap + offsets[k], mem + from, sizes[k]);
            } else if (is_floating(arg.type)) {
                double d = as_double(values[k]);
                if (sizes[k] == 8)
                    write_unsigned(ap + offsets[k], 8, std::bit_cast<std::uint64_t>(d));
                else
                    write_unsigned(ap + offsets[k], 4, std::bit_cast<std::uint32_t>(to_single(d)));
            } else {
                write_unsigned(ap + offsets[k], sizes[k], static_cast<std::uint64_t>(values[k]));
            }
        }
        if (!callee) {
            double_args_are_single = !unit.widen_float;
            std::int64_t r = native(static_cast<Native>(-code), ap);
            sp = saved_sp;
            return norm(n, r);
        }
        run_function(*callee, ap, rp);
        if (n.type == ir::TYPE_STRUCT) {
            // The result stays on the stack until the statement ends.
            sp = rp;
            return rp;
        }
        sp = saved_sp;
        return load(n, rp);
    }

    void trace(const Function &f, const Instr &in)
    {
        const Unit &u = p.units[static_cast<std::size_t>(f.unit)];
        std::string line = f.name + ": ";
        if (!dump_record(u.data.data(), u.data.size(), in.offset, u.analyser, line))
            line += "(undecodable record)";
        line += '\n';
        flush_output();
        std::fputs(line.c_str(), stderr);
    }

    void run_function(const Function &fn, std::uint32_t ap, std::uint32_t rp)
    {
        char probe;
        auto here = reinterpret_cast<std::uintptr_t>(&probe);
        if (host_base > here && host_base - here > HOST_STACK_BUDGET)
            fault("calls nested too deeply for the runner");
        Frame fr{&fn, ap, ap, rp, 0, nullptr};
        std::int64_t low = static_cast<std::int64_t>(ap) + fn.frame - 4;
        if (low < static_cast<std::int64_t>(p.stack_low) + 2) {
            frame = &fr;
            fault("stack overflow (option -s " + std::to_string(options.stack_size) + ")");
        }
        fr.sw = static_cast<std::uint32_t>(low) & ~1u;
        Frame *saved_frame = frame;
        std::uint32_t saved_sp = sp;
        frame = &fr;
        std::size_t pc = 0;
        // The counts of this activation's counted loops.
        std::size_t loop_base = loop_counts.size();
        loop_counts.resize(loop_base + static_cast<std::size_t>(fn.loops));
        for (;;) {
            const Instr &in = fn.instrs[pc];
            fr.instr = &in;
            sp = fr.sw;
            count_step();
            if (options.trace)
                trace(fn, in);
            switch (in.kind) {
            case I_EVAL:
                eval(fn, in.expr);
                ++pc;
                break;
            case I_JUMP:
                pc = static_cast<std::size_t>(in.target);
                break;
            case I_BRANCH:
                pc = eval(fn, in.expr) != 0 ? static_cast<std::size_t>(in.target) : pc + 1;
                break;
            case I_RETURN:
                frame = saved_frame;
                sp = saved_sp;
                loop_counts.resize(loop_base);
                return;
            case I_NEGATE:
            case I_COMPLEMENT: {
                const Node &n = fn.nodes[static_cast<std::size_t>(in.expr)];
                const Node &object = fn.nodes[static_cast<std::size_t>(n.a)];
                std::uint32_t addr = address_of(fn, n.a);
                if (is_floating(object.type)) {
                    if (in.kind != I_NEGATE)
                        fault("complement of a floating value");
                    store(object, addr, from_double(-as_double(load(object, addr))));
                    ++pc;
                    break;
                }
                auto v = static_cast<std::uint64_t>(norm(n, load(object, addr)));
                store(object, addr, norm(n, in.kind == I_NEGATE ? std::uint64_t{0} - v : ~v));
                ++pc;
                break;
            }
            case I_LOOP_START: {
                // The count is read once, in its own type: a count of 0, or
                // a signed count below 0, runs the body no time at all.
                const Node &n = fn.nodes[static_cast<std::size_t>(in.expr)];
                std::int64_t count = is_floating(n.type) ? 0 : norm(n, eval(fn, in.expr));
                if (count <= 0) {
                    pc = static_cast<std::size_t>(in.target);
                    break;
                }
                loop_counts[loop_base + static_cast<std::size_t>(in.expr2)] = static_cast<std::uint64_t>(count);
                ++pc;
                break;
            }
            case I_LOOP_END: {
                std::uint64_t &left = loop_counts[loop_base + static_cast<std::size_t>(in.expr2)];
                pc = --left != 0 ? static_cast<std::size_t>(in.target) : pc + 1;
                break;
            }
            case I_SWITCH: {
                const SwitchTable &t = fn.tables[static_cast<std::size_t>(in.target)];
                unsigned size = in.cond;
                std::uint64_t mask = size == 4 ? 0xFFFFFFFFu : (std::uint64_t{1} << (8 * size)) - 1;
                std::uint64_t v = read_unsigned(fr.sw, size);
                std::int32_t next = t.default_target;
                for (const auto &range : t.ranges) {
                    std::uint64_t d = (v - range.first) & mask;
                    if (d < range.targets.size()) {
                        next = range.targets[d];
                        goto found;
                    }
                }
                for (std::size_t k = 0; k < t.values.size(); ++k)
                    if ((t.values[k] & mask) == v) {
                        next = t.list_targets[k];
                        break;
                    }
            found:
                pc = static_cast<std::size_t>(next);
                break;
            }
            default: {
                const Unit &u = p.units[static_cast<std::size_t>(fn.unit)];
                std::string m = "not supported: ";
                const char *name = ir::record_name(u.data[in.offset]);
                m += name ? name : "record";
                m += " at offset ";
                ir::put_offset(m, in.offset);
                frame->instr = nullptr;
                fault(m + " in " + fn.name + " of " + u.file);
            }
            }
        }
    }

    // Library functions. Their arguments lie at `ap` as the caller laid
    // them out; pointers are near (2 bytes) and size_t is unsigned int.
    std::uint32_t pointer_arg(std::uint32_t ap, unsigned offset) { return static_cast<std::uint32_t>(read_unsigned(ap + offset, 2)); }
    std::int64_t int_arg(std::uint32_t ap, unsigned offset) { return static_cast<std::int16_t>(read_unsigned(ap + offset, 2)); }

    std::uint32_t string_length(std::uint32_t addr)
    {
        std::uint32_t n = 0;
        while (read_unsigned(addr + n, 1) != 0)
            ++n;
        return n;
    }

    std::int64_t printf_native(std::uint32_t ap);
    std::int64_t native(Native which, std::uint32_t ap);
};

std::int64_t Machine::printf_native(std::uint32_t ap)
{
    std::uint32_t format = pointer_arg(ap, 0);
    unsigned offset = 2;
    std::size_t start = output.size();
    for (std::uint32_t at = format;; ++at) {
        auto c = static_cast<char>(read_unsigned(at, 1));
        if (c == 0)
            break;
        if (c != '%') {
            output += c;
            continue;
        }
        std::string conversion = "%";
        for (;;) {
            c = static_cast<char>(read_unsigned(++at, 1));
            if (c == '-' || c == '0' || c == '+' || c == ' ' || c == '#')
                conversion += c;
            else
                break;
        }
        int width = -1, precision = -1;
        auto number = [&](int &out) {
            if (c == '*') {
                out = static_cast<int>(int_arg(ap, offset));
                offset += 2;
                c = static_cast<char>(read_unsigned(++at, 1));
                return;
            }
            if (c < '0' || c > '9')
                return;
            out = 0;
            while (c >= '0' && c <= '9') {
                if (out < 10000)
                    out = out * 10 + (c - '0');
                c = static_cast<char>(read_unsigned(++at, 1));
            }
        };
        number(width);
        if (c == '.') {
            c = static_cast<char>(read_unsigned(++at, 1));
            precision = 0;
            number(precision);
        }
        bool is_long = false;
        if (c == 'l') {
            is_long = true;
            c = static_cast<char>(read_unsigned(++at, 1));
        } else if (c == 'h') {
            c = static_cast<char>(read_unsigned(++at, 1));
        }
        if (width >= 0)
            conversion += std::to_string(width);
        if (precision >= 0)
            conversion += "." + std::to_string(precision);
        char text[16400];
        switch (c) {
        case 'd': case 'i': {
            long long v = is_long ? static_cast<std::int32_t>(read_unsigned(ap + offset, 4)) : int_arg(ap, offset);
            offset += is_long ? 4 : 2;
            std::snprintf(text, sizeof text, (conversion + "ll" + c).c_str(), v);
            output += text;
            break;
        }
        case 'u': case 'x': case 'X': case 'o': {
            unsigned long long v = read_unsigned(ap + offset, is_long ? 4 : 2);
            offset += is_long ? 4 : 2;
            std::snprintf(text, sizeof text, (conversion + "ll" + c).c_str(), v);
            output += text;
            break;
        }
        case 'c': {
            auto v = static_cast<int>(static_cast<unsigned char>(read_unsigned(ap + offset, 2)));
            offset += 2;
            std::snprintf(text, sizeof text, (conversion + "c").c_str(), v);
            output += text;
            break;
        }
        case 's': {
            std::uint32_t s = pointer_arg(ap, offset);
            offset += 2;
            std::string chars;
            while ((precision < 0 || chars.size() < static_cast<std::size_t>(precision)) && chars.size() < 16000) {
                auto b = static_cast<char>(read_unsigned(s + static_cast<std::uint32_t>(chars.size()), 1));
                if (b == 0)
                    break;
                chars += b;
            }
            std::snprintf(text, sizeof text, (conversion + "s").c_str(), chars.c_str());
            output += text;
            break;
        }
        case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': {
            double v;
            if (double_args_are_single) {
                v = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(read_unsigned(ap + offset, 4))));
                offset += 4;
            } else {
                v = std::bit_cast<double>(read_unsigned(ap + offset, 8));
                offset += 8;
            }
            std::snprintf(text, sizeof text, (conversion + c).c_str(), v);
            output += text;
            break;
        }
        case 'p': {
            std::uint32_t v = pointer_arg(ap, offset);
            offset += 2;
            std::snprintf(text, sizeof text, "0x%04x", v);
            output += text;
            break;
        }
        case '%':
            output += '%';
            break;
        case 0:
            --at;
            break;
        default:
            output += conversion;
            output += c;
            break;
        }
    }
    auto written = static_cast<std::int64_t>(output.size() - start);
    if (output.size() > 1 << 16)
        flush_output();
    return written;
}

std::int64_t Machine::native(Native which, std::uint32_t ap)
{
    switch (which) {
    case NAT_PUTCHAR: {
        std::int64_t c = int_arg(ap, 0);
        output += static_cast<char>(c);
        if (output.size() > 1 << 16)
            flush_output();
        return c & 0xFF;
    }
    case NAT_PUTS: {
        std::uint32_t s = pointer_arg(ap, 0);
        std::uint32_t n = string_length(s);
        output.append(reinterpret_cast<const char *>(mem + s), n);
        output += '\n';
        if (output.size() > 1 << 16)
            flush_output();
        return 0;
    }
    case NAT_PRINTF: return printf_native(ap);
    case NAT_MEMCPY:
    case NAT_MEMMOVE: {
        std::uint32_t d = pointer_arg(ap, 0), s = pointer_arg(ap, 2), n = pointer_arg(ap, 4);
        if (n) {
            check(s, n, false);
            check(d, n, true);
            std::memmove(mem + d, mem + s, n);
        }
        return d;
    }
    case NAT_MEMSET: {
        std::uint32_t d = pointer_arg(ap, 0), n = pointer_arg(ap, 4);
        if (n) {
            check(d, n, true);
            std::memset(mem + d, static_cast<int>(int_arg(ap, 2) & 0xFF), n);
        }
        return d;
    }
    case NAT_MEMCMP: {
        std::uint32_t a = pointer_arg(ap, 0), b = pointer_arg(ap, 2), n = pointer_arg(ap, 4);
        if (!n)
            return 0;
        check(a, n, false);
        check(b, n, false);
        int r = std::memcmp(mem + a, mem + b, n);
        return r < 0 ? -1 : r > 0;
    }
    case NAT_STRLEN: return string_length(pointer_arg(ap, 0));
    case NAT_STRCMP:
    case NAT_STRNCMP: {
        std::uint32_t a = pointer_arg(ap, 0), b = pointer_arg(ap, 2);
        std::uint32_t limit = which == NAT_STRNCMP ? pointer_arg(ap, 4) : 0xFFFFFFFFu;
        for (std::uint32_t k = 0; k < limit; ++k) {
            auto ca = static_cast<unsigned>(read_unsigned(a + k, 1)), cb = static_cast<unsigned>(read_unsigned(b + k, 1));
            if (ca != cb)
                return ca < cb ? -1 : 1;
            if (ca == 0)
                break;
        }
        return 0;
    }
    case NAT_STRCPY: {
        std::uint32_t d = pointer_arg(ap, 0), s = pointer_arg(ap, 2);
        std::uint32_t n = string_length(s) + 1;
        check(d, n, true);
        std::memmove(mem + d, mem + s, n);
        return d;
    }
    case NAT_ABORT:
        fault("abort() called");
    case NAT_EXIT:
        flush_output();
        throw Stop{static_cast<int>(int_arg(ap, 0) & 0xFF)};
    case NAT_NONE: break;
    }
    fault("unknown library function");
}

}  // namespace

const char *refusal_text(unsigned refusal)
{
    switch (refusal) {
    case REFUSED_BITFIELD: return "bitfield outside its unit";
    case REFUSED_REAL12: return "floating-point value of type code 12";
    case REFUSED_CALL_REAL12: return "call returning a floating-point value of type code 12";
    case REFUSED_ABSOLUTE: return "object at an absolute address";
    case REFUSED_REGISTER: return "register variable";
    case REFUSED_FLOAT_LEAF: return "floating leaf that is not an object";
    }
    return "unknown node";
}

Native native_by_name(const std::string &name)
{
    static const struct {
        const char *name;
        Native native;
    } table[] = {
        {"putchar", NAT_PUTCHAR}, {"puts", NAT_PUTS},     {"printf", NAT_PRINTF}, {"memcpy", NAT_MEMCPY},
        {"memmove", NAT_MEMMOVE}, {"memset", NAT_MEMSET}, {"memcmp", NAT_MEMCMP}, {"strlen", NAT_STRLEN},
        {"strcmp", NAT_STRCMP},   {"strncmp", NAT_STRNCMP}, {"strcpy", NAT_STRCPY}, {"abort", NAT_ABORT},
        {"exit", NAT_EXIT},
    };
    for (const auto &entry : table)
        if (name == entry.name)
            return entry.native;
    return NAT_NONE;
}

int run_program(Program &program, const RunOptions &options)
{
    Machine m(program, options);
    char probe;
    m.host_base = reinterpret_cast<std::uintptr_t>(&probe);
    m.sp = program.stack_high - 2;
    const Function &main_function = program.functions[static_cast<std::size_t>(program.main_function)];
    try {
        std::uint32_t rp = (m.sp - main_function.result_size) & ~1u;
        m.sp = rp;
        m.run_function(main_function, rp, rp);
        m.flush_output();
        return static_cast<int>(m.read_unsigned(rp, 2) & 0xFF);
    } catch (const Stop &stop) {
        return stop.status;
    }
}

}  // namespace run
