// The loader of zpc-run: reads intermediate files record by record, decodes
// each function once into the compact form of machine.h, collects data
// objects with their initial bytes and address items, and links them as a
// linker would: names across units, statics and literal labels within
// their unit, memory laid out by space.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "ir/reader.h"
#include "run/machine.h"

namespace run {

namespace {

// Expressions nested deeper than this are refused: the executor walks them
// recursively on the host's stack.
constexpr std::size_t MAX_EXPRESSION_DEPTH = 2000;

struct Reloc {
    std::uint32_t at;
    std::uint8_t size;
    int symbol;
    std::int32_t addend;
};

struct Symbol {
    std::string name;  // as messages show it
    bool is_function = false;
    int function = -1;
    Native native = NAT_NONE;
    bool has_data = false;
    bool zero_data = true;   // the data holds nothing but zero fill
    bool declared_function_object = false;  // REC_OBJ_DEF of a function
    int unit = -1;
    std::uint32_t size = 0;
    unsigned attr = 0;
    bool far = false;
    bool even = false;
    std::vector<std::uint8_t> init;
    std::vector<Reloc> relocs;
    std::uint32_t address = 0;
    bool placed = false;
    // The first use, for the message when the name stays unresolved.
    bool used = false;
    int use_unit = -1;
    std::size_t use_at = 0;
    const char *use_record = "";
    std::size_t def_at = 0;
    // A label defined inside another object's data (a floating constant
    // that the literal pool shares with a const object): that object and
    // the offset in it.
    int inside = -1;
    std::uint32_t inside_at = 0;
};

struct LeafRef {
    int function;
    std::int32_t node;
    int symbol;
};

struct Loader {
    Program &program;
    std::vector<Symbol> symbols;
    std::unordered_map<std::string, int> by_key;
    std::vector<LeafRef> leaf_refs;
    int current_function = -1;  // index of the function being decoded
    std::string error;

    // The expressions' nodes still waiting for operands, and the finished
    // arguments of the calls among them; kept to be reused.
    struct Open {
        std::int32_t node;
        unsigned operands;   // for a call: 0
        unsigned filled;
        bool call;
        bool more_args;      // a call: arguments still to come
        bool last_arg_next;  // a call: the next argument is the last
        std::size_t first_arg;  // a call: its first argument in arg_stack
    };
    std::vector<Open> open_nodes;
    std::vector<std::int32_t> arg_stack;
    std::string key;  // symbol_of's lookup key
    // Room for the body being decoded, and the case tables of a function by label.
    std::vector<Node> node_buffer;
    std::vector<Instr> instr_buffer;
    std::vector<std::pair<std::uint32_t, std::int32_t>> table_order;

    explicit Loader(Program &p) : program(p) {}

    int symbol(const std::string &k, const std::string &shown)
    {
        auto it = by_key.find(k);
        if (it != by_key.end())
            return it->second;
        symbols.push_back({});
        symbols.back().name = shown;
        by_key.emplace(k, static_cast<int>(symbols.size() - 1));
        return static_cast<int>(symbols.size() - 1);
    }

    // The symbol a name reference designates: a name without tag is shared by
    // all units; a static's name (tagged with its label) and a literal's
    // label belong to their unit. -1 for no name.
    int symbol_of(int unit, const ir::NameRef &n)
    {
        // Built in a buffer that is reused, so that a name met again costs
        // no allocation.
        char tag[32];
        if (n.length == 0) {
            if (n.tag == 0)
                return -1;
            std::snprintf(tag, sizeof tag, "u%d:L%u", unit, n.tag);
            key.assign(tag);
            auto it = by_key.find(key);
            return it != by_key.end() ? it->second : symbol(key, key.substr(key.find(':') + 1));
        }
        auto chars = reinterpret_cast<const char *>(n.chars);
        if (n.tag) {
            std::snprintf(tag, sizeof tag, "u%d:", unit);
            key.assign(tag);
            key.append(chars, n.chars_length());
            std::snprintf(tag, sizeof tag, "[%u]", n.tag);
            key.append(tag);
        } else {
            key.assign(chars, n.chars_length());
        }
        auto it = by_key.find(key);
        return it != by_key.end() ? it->second : symbol(key, std::string(chars, n.chars_length()));
    }

    void use(int s, int unit, const ir::Reader &r)
    {
        Symbol &sym = symbols[static_cast<std::size_t>(s)];
        if (sym.used)
            return;
        sym.used = true;
        sym.use_unit = unit;
        sym.use_at = r.record_at;
        sym.use_record = r.record;
    }

    bool load_unit(int unit);
    std::int32_t expression(ir::Reader &r, Function &f, int unit);
    bool link(const RunOptions &options);
};

void set_type(Node &n, const ir::TypeRef &t)
{
    n.type = static_cast<std::uint8_t>(t.code);
    switch (t.code) {
    case ir::TYPE_CHAR: case ir::TYPE_UCHAR: case ir::TYPE_BITS8: n.size = 1; break;
    case ir::TYPE_INT: case ir::TYPE_UINT: case ir::TYPE_BITS16: n.size = 2; break;
    case ir::TYPE_LONG: case ir::TYPE_ULONG: case ir::TYPE_BITS32: case ir::TYPE_FLOAT: n.size = 4; break;
    case ir::TYPE_DOUBLE: n.size = 8; break;
    case ir::TYPE_PTR: {
        unsigned space = t.target_attr & 0x3000;
        n.size = space == 0x1000 ? 1 : space == 0x3000 ? 4 : 2;
        break;
    }
    case ir::TYPE_STRUCT: n.size = 0; n.struct_size = t.struct_size; break;
    default: n.size = 0; break;
    }
    if (ir::is_bitfield_type(t.code)) {
        n.bit_offset = static_cast<std::uint8_t>(t.bit_offset);
        n.bit_width = static_cast<std::uint8_t>(t.bit_width);
        if (t.bit_width == 0 || t.bit_offset + t.bit_width > n.size * 8u) {
            n.op = N_REFUSED;
            n.refusal = REFUSED_BITFIELD;
        }
    }
    if (t.code == ir::TYPE_REAL12) {
        n.op = N_REFUSED;
        n.refusal = REFUSED_REAL12;
    }
}

bool is_unsigned_type(unsigned code)
{
    return code == ir::TYPE_UCHAR || code == ir::TYPE_UINT || code == ir::TYPE_ULONG || code == ir::TYPE_PTR ||
           ir::is_bitfield_type(code);
}

bool is_comparison(unsigned op)
{
    return op == ir::OP_LT || op == ir::OP_GE || op == ir::OP_GT || op == ir::OP_LE || op == ir::OP_EQ || op == ir::OP_NE;
}

// The type two compared operands meet in: the wider one's, unsigned when
// they have one width and either is unsigned (C's usual conversions).
void set_comparison(Node &n, const Node &l, const Node &r)
{
    bool floating = l.type == ir::TYPE_FLOAT || l.type == ir::TYPE_DOUBLE || r.type == ir::TYPE_FLOAT ||
                    r.type == ir::TYPE_DOUBLE;
    bool is_unsigned;
    unsigned lsize = l.size ? l.size : 2, rsize = r.size ? r.size : 2;
    bool lu = is_unsigned_type(l.type), ru = is_unsigned_type(r.type);
    if (lsize == rsize) {
        n.compare_size = static_cast<std::uint8_t>(lsize);
        is_unsigned = lu || ru;
    } else if (lsize > rsize) {
        n.compare_size = static_cast<std::uint8_t>(lsize);
        is_unsigned = lu;
    } else {
        n.compare_size = static_cast<std::uint8_t>(rsize);
        is_unsigned = ru;
    }
    n.compare = static_cast<std::uint8_t>((is_unsigned ? COMPARE_UNSIGNED : 0) | (floating ? COMPARE_FLOAT : 0));
}

std::int64_t normalize_constant(const Node &n, std::int64_t v)
{
    switch (n.type) {
    case ir::TYPE_CHAR: return static_cast<std::int8_t>(v);
    case ir::TYPE_INT: return static_cast<std::int16_t>(v);
    case ir::TYPE_LONG: return static_cast<std::int32_t>(v);
    }
    if (n.size == 1)
        return static_cast<std::uint8_t>(v);
    if (n.size == 2)
        return static_cast<std::uint16_t>(v);
    if (n.size == 4)
        return static_cast<std::uint32_t>(v);
    return v;
}

std::int32_t Loader::expression(ir::Reader &r, Function &f, int unit)
{
    std::vector<Open> &open = open_nodes;
    open.clear();
    arg_stack.clear();
    for (;;) {
        std::size_t at = r.pos;
        unsigned op = r.byte();
        if (r.failed())
            return -1;
        auto index = static_cast<std::int32_t>(f.nodes.size());
        f.nodes.push_back({});
        Node n{};
        n.a = n.b = n.c = -1;
        bool complete = false;
        if (op == ir::EXPR_LEAF) {
            ir::TypeRef t = r.type_ref();
            ir::NameRef name = r.name_ref();
            auto offset = static_cast<std::int32_t>(r.word());
            unsigned storage = r.byte();
            unsigned lvalue = r.byte();
            if (r.failed())
                return -1;
            n.op = lvalue ? N_OBJECT : N_VALUE;
            set_type(n, t);
            n.value = offset;
            int s = -1;
            switch (storage) {
            case 0:
                n.base = BASE_NONE;
                if (name.length && (name.kind & 0x10)) {
                    n.op = N_REFUSED;
                    n.refusal = REFUSED_ABSOLUTE;
                } else {
                    s = symbol_of(unit, name);
                }
                break;
            case 32: n.base = BASE_FRAME; break;
            case 160: n.base = BASE_ARGS; break;
            case 1: n.base = BASE_RESULT; n.op = n.op == N_REFUSED ? N_REFUSED : N_OBJECT; break;
            case 2: n.base = BASE_SWITCH; n.op = n.op == N_REFUSED ? N_REFUSED : N_OBJECT; break;
            default:
                n.op = N_REFUSED;
                n.refusal = REFUSED_REGISTER;
                break;
            }
            if (s >= 0) {
                use(s, unit, r);
                leaf_refs.push_back({current_function, index, s});
            } else if (n.op == N_VALUE && n.base == BASE_NONE) {
                n.value = normalize_constant(n, n.value);
            }
            // Floating constants live in the literal pool and are read from
            // memory; a floating leaf that is a bare number or an address
            // has no meaning the executor knows.
            if (n.op == N_VALUE && (n.type == ir::TYPE_FLOAT || n.type == ir::TYPE_DOUBLE)) {
                n.op = N_REFUSED;
                n.refusal = REFUSED_FLOAT_LEAF;
            }
            complete = true;
        } else if (op == ir::EXPR_CALL || op == ir::EXPR_CALL_WITH_ARGS) {
            ir::TypeRef t = r.type_ref();
            n.op = N_CALL;
            set_type(n, t);
            if (n.op == N_REFUSED)
                n.refusal = REFUSED_CALL_REAL12;
            open.push_back({index, 0, 0, true, op == ir::EXPR_CALL_WITH_ARGS, false, arg_stack.size()});
        } else if (ir::operator_info(op).operands) {
            ir::TypeRef t = r.type_ref();
            n.op = static_cast<std::uint8_t>(op);
            set_type(n, t);
            open.push_back({index, ir::operator_info(op).operands, 0, false, false, false, 0});
        } else {
            r.fail("bad operator " + std::to_string(op), at);
            return -1;
        }
        if (r.failed())
            return -1;
        f.nodes[static_cast<std::size_t>(index)] = n;
        if (open.size() > MAX_EXPRESSION_DEPTH) {
            r.fail("expression nested more than " + std::to_string(MAX_EXPRESSION_DEPTH) + " deep", at);
            return -1;
        }
        if (!complete)
            continue;
        // Attach the finished node to its parent, closing every node it
        // completes, up to the next operand.
        std::int32_t child = index;
        for (;;) {
            if (open.empty())
                return child;
            Open &o = open.back();
            Node &p = f.nodes[static_cast<std::size_t>(o.node)];
            bool done;
            if (o.call) {
                if (o.filled++ == 0)
                    p.a = child;
                else
                    arg_stack.push_back(child);
                if (!o.more_args || o.last_arg_next) {
                    done = o.filled > 1 || !o.more_args;
                } else {
                    bool last = false;
                    if (!r.argument_prefix(last))
                        return -1;
                    o.last_arg_next = last;
                    done = false;
                }
            } else {
                std::int32_t *slot = o.filled == 0 ? &p.a : o.filled == 1 ? &p.b : &p.c;
                *slot = child;
                done = ++o.filled == o.operands;
            }
            if (!done)
                break;
            if (o.call) {
                auto first = arg_stack.begin() + static_cast<std::ptrdiff_t>(o.first_arg);
                p.b = static_cast<std::int32_t>(f.args.size());
                p.c = static_cast<std::int32_t>(arg_stack.end() - first);
                f.args.insert(f.args.end(), first, arg_stack.end());
                arg_stack.erase(first, arg_stack.end());
            } else if (is_comparison(p.op)) {
                set_comparison(p, f.nodes[static_cast<std::size_t>(p.a)], f.nodes[static_cast<std::size_t>(p.b)]);
            }
            child = o.node;
            open.pop_back();
        }
    }
}

std::string unit_name(const Program &p, int unit) { return p.units[static_cast<std::size_t>(unit)].file; }

bool Loader::load_unit(int unit)
{
    Unit &u = program.units[static_cast<std::size_t>(unit)];
    ir::Reader r;
    r.data = u.data.data();
    r.size = u.data.size();
    auto fail = [&](const std::string &message) {
        error = u.file + ": " + message;
        return false;
    };
    auto fail_here = [&](const std::string &what) {
        std::string m = what + " in " + r.record + " at offset ";
        ir::put_offset(m, r.record_at);
        return fail(m);
    };
    if (r.size == 0)
        return fail("empty file: no REC_UNIT");
    if (r.data[0] == ir::REC_UNIT_ANALYSER)
        return fail("an analyser file (REC_UNIT_ANALYSER) holds no code to run");
    if (r.data[0] != ir::REC_UNIT)
        return fail("bad record code " + std::to_string(r.data[0]) + " at offset 000000 (a file begins with REC_UNIT)");
    r.record = "REC_UNIT";
    r.pos = 1;
    unsigned alignment = r.byte();
    unsigned flags = r.byte();
    r.fixed(255);
    r.fixed(0);
    while (!r.failed()) {
        unsigned n = r.byte();
        if (n == 0)
            break;
        r.bytes(n);
    }
    if (r.failed())
        return fail(r.error);
    u.widen = !(flags & 0x02);
    u.even_arguments = alignment != 0 && u.widen;
    u.widen_float = u.widen && !(flags & 0x01);
    u.analyser = false;

    int def_pending = -1;    // the symbol of a REC_FUNC_DEF awaiting its body
    Function *f = nullptr;   // the function being decoded
    bool has_statement = false;
    int data = -1;           // the symbol whose data is being read
    bool in_run = false;     // a REC_BYTES run continues
    bool in_debug = false;   // after a debug marker: data items belong to the debug tables
    SwitchTable *table = nullptr;
    std::vector<std::pair<std::uint32_t, std::int32_t>> labels;  // label, instruction
    std::vector<std::pair<std::uint32_t, std::int32_t>> loop_ends;  // label, instruction

    auto add_instr = [&](std::uint8_t kind) -> Instr & {
        f->instrs.push_back({});
        Instr &i = f->instrs.back();
        i.kind = kind;
        i.expr = i.expr2 = -1;
        i.offset = static_cast<std::uint32_t>(r.record_at);
        has_statement = true;
        return i;
    };
    auto refuse = [&](const char *name) {
        Instr &i = add_instr(I_REFUSED);
        i.label = 0;
        (void)name;
    };

    while (r.pos < r.size) {
        std::size_t at = r.pos;
        unsigned code = r.data[r.pos++];
        const char *name = code == ir::REC_UNIT_ANALYSER ? nullptr : ir::record_name(code);
        if (!name) {
            std::string m = "bad record code " + std::to_string(code) + " at offset ";
            ir::put_offset(m, at);
            return fail(m);
        }
        r.record = name;
        r.record_at = at;
        bool in_data_item = code == ir::REC_BYTES || code == ir::REC_INT || code == ir::REC_FLOAT ||
                            code == ir::REC_ADDR_1 || code == ir::REC_ADDR_2 || code == ir::REC_ADDR_4 ||
                            code == ir::REC_SPACE || code == ir::REC_DATA_END;
        // The debug tables: entries of names, numbers and pointers after a
        // debug marker or a name of a name list, outside any object. They
        // are read (so a damaged one is caught) and dropped.
        if (in_debug && data < 0 &&
            (code == ir::REC_BYTES || code == ir::REC_INT || code == ir::REC_ADDR_1 || code == ir::REC_ADDR_2 ||
             code == ir::REC_ADDR_4)) {
            if (code == ir::REC_BYTES) {
                r.bytes(r.byte());
            } else if (code == ir::REC_INT) {
                r.byte();
                r.word();
            } else {
                r.name_ref();
                if (code == ir::REC_ADDR_4)
                    r.half();
                r.word();
            }
            if (r.failed())
                return fail(r.error);
            continue;
        }
        in_debug = code == ir::REC_DEBUG_LABEL || code == ir::REC_DEBUG_FILE || code == ir::REC_DEBUG_FUNC ||
                   code == ir::REC_NAME;
        if (in_data_item && data < 0)
            return fail_here("data item outside an object's data");
        if (in_run && code != ir::REC_BYTES)
            return fail_here("REC_BYTES run not ended");
        bool statement = f != nullptr;
        switch (code) {
        case ir::REC_FILE: {
            std::size_t n = r.length_plus_one();
            r.fixed(0, 3);
            r.bytes(n);
            break;
        }
        case ir::REC_LINE: r.word(); break;
        case ir::REC_SOURCE_RANGE: r.word(); r.half(); r.word(); r.half(); break;
        case ir::REC_DEBUG_LABEL: r.fixed(0, 2); r.half(); break;
        case ir::REC_DEBUG_FUNC:
        case ir::REC_DEBUG_FILE: {
            r.fixed(0);
            std::size_t n = r.length_plus_one();
            r.fixed(0, 3);
            r.bytes(n);
            break;
        }
        case ir::REC_NAME: r.bytes(r.byte()); break;
        case ir::REC_SPACE_NAME: {
            std::size_t n = r.length_plus_one();
            r.fixed(0, 3);
            r.bytes(n);
            break;
        }
        case ir::REC_SECTION: r.half(); r.bytes(r.byte()); break;
        case ir::REC_FUNC_DEF: {
            ir::NameRef n = r.name_ref();
            r.half();
            std::uint32_t result_size = r.word();
            if (r.failed())
                break;
            if (f || def_pending >= 0)
                return fail_here("function definition inside another");
            if (n.length == 0)
                return fail_here("function without a name");
            int s = symbol_of(unit, n);
            Symbol &sym = symbols[static_cast<std::size_t>(s)];
            if (sym.function >= 0 || sym.has_data)
                return fail_here("second definition of " + sym.name);
            sym.is_function = true;
            sym.unit = unit;
            sym.def_at = at;
            sym.function = static_cast<int>(program.functions.size());
            program.functions.push_back({});
            Function &fn = program.functions.back();
            fn.name = sym.name;
            fn.unit = unit;
            fn.result_size = result_size > 8 ? result_size : 8;
            fn.def_offset = static_cast<std::uint32_t>(at);
            def_pending = s;
            break;
        }
        case ir::REC_FUNCTION:
            r.word();
            r.word();
            if (def_pending < 0 || f)
                return fail_here("function body without REC_FUNC_DEF");
            current_function = symbols[static_cast<std::size_t>(def_pending)].function;
            f = &program.functions[static_cast<std::size_t>(current_function)];
            def_pending = -1;
            has_statement = false;
            labels.clear();
            // The body is decoded into buffers that keep their room from
            // one function to the next; the function gets a copy of the
            // exact size at its end.
            f->nodes.swap(node_buffer);
            f->instrs.swap(instr_buffer);
            f->nodes.clear();
            f->instrs.clear();
            break;
        case ir::REC_FIRST_ARG:
            if (!f) return fail_here("outside a function");
            r.type_ref();
            break;
        case ir::REC_ARG_SIZE:
            if (!f) return fail_here("outside a function");
            r.word();
            break;
        case ir::REC_FRAME:
            if (!f) return fail_here("outside a function");
            f->frame = static_cast<std::int32_t>(r.word());
            if (f->frame > 0 || f->frame < -0x8000)
                return fail_here("frame offset " + std::to_string(f->frame) + " out of range");
            break;
        case ir::REC_FUNCTION_END: {
            if (!f)
                return fail_here("outside a function");
            if (!has_statement)
                return fail_here("function " + f->name + " has no statements: the unit was written after errors");
            Instr &ret = add_instr(I_RETURN);
            (void)ret;
            // Labels to instruction indices: the last definition of a label
            // counts.
            std::stable_sort(labels.begin(), labels.end(),
                             [](const auto &x, const auto &y) { return x.first < y.first; });
            auto target = [&](std::uint32_t label, std::uint32_t offset, std::int32_t &out) {
                auto it = std::upper_bound(labels.begin(), labels.end(), label,
                                           [](std::uint32_t l, const auto &x) { return l < x.first; });
                if (it == labels.begin() || (it - 1)->first != label) {
                    std::string m = "label " + std::to_string(label) + " of the record at offset ";
                    ir::put_offset(m, offset);
                    m += " is not defined in function " + f->name;
                    error = u.file + ": " + m;
                    return false;
                }
                out = (it - 1)->second;
                return true;
            };
            // Case tables by their label; the last of two with one label counts.
            table_order.clear();
            for (std::size_t t = 0; t < f->tables.size(); ++t)
                table_order.push_back({f->tables[t].label, static_cast<std::int32_t>(t)});
            std::stable_sort(table_order.begin(), table_order.end(),
                             [](const auto &x, const auto &y) { return x.first < y.first; });
            for (Instr &i : f->instrs) {
                if (i.kind == I_JUMP || i.kind == I_BRANCH) {
                    if (!target(i.label, i.offset, i.target))
                        return false;
                } else if (i.kind == I_SWITCH) {
                    auto it = std::upper_bound(table_order.begin(), table_order.end(), i.label,
                                               [](std::uint32_t l, const auto &x) { return l < x.first; });
                    if (it == table_order.begin() || (it - 1)->first != i.label) {
                        std::string m = "switch at offset ";
                        ir::put_offset(m, i.offset);
                        return fail(m + " has no case table in function " + f->name);
                    }
                    i.target = (it - 1)->second;
                }
            }
            // Each loop start is paired with the end of the same label after
            // it: the start skips past the end when the count gives no trip,
            // the end goes back behind the start while trips remain. Each
            // pair has a slot of its own for the count.
            f->loops = 0;
            loop_ends.clear();
            for (std::size_t k = 0; k < f->instrs.size(); ++k)
                if (f->instrs[k].kind == I_LOOP_END)
                    loop_ends.push_back({f->instrs[k].label, static_cast<std::int32_t>(k)});
            std::stable_sort(loop_ends.begin(), loop_ends.end(),
                             [](const auto &x, const auto &y) { return x.first < y.first; });
            for (std::size_t k = 0; k < f->instrs.size(); ++k) {
                Instr &i = f->instrs[k];
                if (i.kind != I_LOOP_START)
                    continue;
                auto it = std::lower_bound(loop_ends.begin(), loop_ends.end(), i.label,
                                           [](const auto &x, std::uint32_t l) { return x.first < l; });
                while (it != loop_ends.end() && it->first == i.label && it->second < static_cast<std::int32_t>(k))
                    ++it;
                if (it == loop_ends.end() || it->first != i.label || f->instrs[static_cast<std::size_t>(it->second)].expr2 >= 0) {
                    std::string m = "loop start at offset ";
                    ir::put_offset(m, i.offset);
                    return fail(m + " has no loop end in function " + f->name);
                }
                Instr &end = f->instrs[static_cast<std::size_t>(it->second)];
                i.expr2 = end.expr2 = f->loops++;
                i.target = it->second + 1;
                end.target = static_cast<std::int32_t>(k) + 1;
            }
            for (const Instr &i : f->instrs)
                if (i.kind == I_LOOP_END && i.expr2 < 0) {
                    std::string m = "loop end at offset ";
                    ir::put_offset(m, i.offset);
                    return fail(m + " has no loop start in function " + f->name);
                }
            for (SwitchTable &t : f->tables) {
                if (!target(t.default_label, f->def_offset, t.default_target))
                    return false;
                for (auto &range : t.ranges)
                    for (std::uint32_t l : range.labels) {
                        range.targets.push_back(0);
                        if (!target(l, f->def_offset, range.targets.back()))
                            return false;
                    }
                for (std::uint32_t l : t.list_labels) {
                    t.list_targets.push_back(0);
                    if (!target(l, f->def_offset, t.list_targets.back()))
                        return false;
                }
            }
            node_buffer.assign(f->nodes.begin(), f->nodes.end());
            instr_buffer.assign(f->instrs.begin(), f->instrs.end());
            f->nodes.swap(node_buffer);
            f->instrs.swap(instr_buffer);
            f = nullptr;
            break;
        }
        case ir::REC_LABEL:
        case ir::REC_CASE_LABEL: {
            if (!statement) return fail_here("outside a function");
            unsigned label = r.half();
            std::uint32_t line = r.word();
            if (line)
                r.byte();
            labels.push_back({label, static_cast<std::int32_t>(f->instrs.size())});
            // Labels are odd; an even one (-xx) is a named label written
            // under the number below the one jumps and tables use.
            if (!(label & 1))
                labels.push_back({label + 1, static_cast<std::int32_t>(f->instrs.size())});
            has_statement = true;
            break;
        }
        case ir::REC_JUMP: {
            if (!statement) return fail_here("outside a function");
            unsigned label = r.half();
            add_instr(I_JUMP).label = label;
            break;
        }
        case ir::REC_BRANCH_LT: case ir::REC_BRANCH_GE: case ir::REC_BRANCH_GT:
        case ir::REC_BRANCH_LE: case ir::REC_BRANCH_EQ: case ir::REC_BRANCH_NE: {
            if (!statement) return fail_here("outside a function");
            unsigned label = r.half();
            std::int32_t left = expression(r, *f, unit);
            std::int32_t right = left >= 0 ? expression(r, *f, unit) : -1;
            if (r.failed())
                break;
            Instr &i = add_instr(I_BRANCH);
            i.cond = static_cast<std::uint8_t>(code);
            i.label = label;
            i.expr = left;
            i.expr2 = right;
            // The two sides meet as a comparison node would.
            Node c{};
            c.op = static_cast<std::uint8_t>(code == ir::REC_BRANCH_LT ? ir::OP_LT : code == ir::REC_BRANCH_GE ? ir::OP_GE
                                            : code == ir::REC_BRANCH_GT ? ir::OP_GT : code == ir::REC_BRANCH_LE ? ir::OP_LE
                                            : code == ir::REC_BRANCH_EQ ? ir::OP_EQ : ir::OP_NE);
            c.type = ir::TYPE_INT;
            c.size = 2;
            c.a = left;
            c.b = right;
            c.c = -1;
            set_comparison(c, f->nodes[static_cast<std::size_t>(left)], f->nodes[static_cast<std::size_t>(right)]);
            f->nodes.push_back(c);
            i.expr = static_cast<std::int32_t>(f->nodes.size() - 1);
            break;
        }
        case ir::REC_EVAL: {
            if (!statement) return fail_here("outside a function");
            std::int32_t e = expression(r, *f, unit);
            if (!r.failed())
                add_instr(I_EVAL).expr = e;
            break;
        }
        case ir::REC_RETURN:
            if (!statement) return fail_here("outside a function");
            add_instr(I_RETURN);
            break;
        case ir::REC_NEGATE_IN_PLACE:
        case ir::REC_COMPLEMENT_IN_PLACE: {
            if (!statement) return fail_here("outside a function");
            ir::TypeRef t = r.type_ref();
            std::int32_t e = expression(r, *f, unit);
            if (r.failed())
                break;
            Node n{};
            n.op = code == ir::REC_NEGATE_IN_PLACE ? static_cast<std::uint8_t>(ir::OP_NEG) : static_cast<std::uint8_t>(ir::OP_COMPL);
            set_type(n, t);
            n.a = e;
            n.b = n.c = -1;
            f->nodes.push_back(n);
            Instr &i = add_instr(code == ir::REC_NEGATE_IN_PLACE ? I_NEGATE : I_COMPLEMENT);
            i.expr = static_cast<std::int32_t>(f->nodes.size() - 1);
            break;
        }
        case ir::REC_SWITCH_1: case ir::REC_SWITCH_2: case ir::REC_SWITCH_4: {
            if (!statement) return fail_here("outside a function");
            unsigned label = r.half();
            Instr &i = add_instr(I_SWITCH);
            i.label = label;
            i.cond = code == ir::REC_SWITCH_1 ? 1 : code == ir::REC_SWITCH_2 ? 2 : 4;
            break;
        }
        case ir::REC_CASES: {
            if (!statement) return fail_here("outside a function");
            r.fixed(0);
            f->tables.push_back({});
            table = &f->tables.back();
            table->label = r.half();
            table->default_label = r.half();
            r.half();
            r.half();
            break;
        }
        case ir::REC_CASE_RANGE: {
            if (!table) return fail_here("outside a case table");
            unsigned span = r.half();
            SwitchTable::Range range;
            range.first = r.word();
            for (unsigned k = 0; k < span && !r.failed(); ++k)
                range.labels.push_back(r.half());
            table->ranges.push_back(std::move(range));
            break;
        }
        case ir::REC_CASE_LIST: {
            if (!table) return fail_here("outside a case table");
            unsigned pairs = r.half();
            for (unsigned k = 0; k < pairs && !r.failed(); ++k) {
                table->values.push_back(r.word());
                table->list_labels.push_back(r.half());
            }
            break;
        }
        case ir::REC_CASES_END:
            if (!table) return fail_here("outside a case table");
            table = nullptr;
            break;
        case ir::REC_LOOP: {
            if (!statement) return fail_here("outside a function");
            unsigned label = r.half();
            std::size_t b = r.pos;
            unsigned start = r.byte();
            if (start == 1) {
                std::int32_t e = expression(r, *f, unit);
                if (e < 0 || r.failed())
                    break;
                Instr &i = add_instr(I_LOOP_START);
                i.label = label;
                i.expr = e;
            } else if (start == 0) {
                add_instr(I_LOOP_END).label = label;
            } else {
                r.fail("loop byte " + std::to_string(start) + " (neither 0 nor 1)", b);
            }
            break;
        }
        case ir::REC_ASM:
        case ir::REC_ASM_ARGS:
        case ir::REC_ASM_TEXT: {
            // Decoded for their length, refused when they are reached.
            if (code == ir::REC_ASM_TEXT) {
                r.bytes(r.byte());
            } else {
                if (!statement) return fail_here("outside a function");
                r.type_ref();
                if (expression(r, *f, unit) < 0)
                    break;
                std::size_t n = r.length_plus_one();
                r.bytes(n);
                r.fixed(0);
                if (code == ir::REC_ASM_ARGS) {
                    bool last = false;
                    while (!r.failed() && !last) {
                        if (!r.argument_prefix(last) || expression(r, *f, unit) < 0)
                            break;
                    }
                }
            }
            if (statement && !r.failed())
                refuse(name);
            else if (!statement && code != ir::REC_ASM_TEXT && !r.failed())
                return fail_here("outside a function");
            else if (!statement && !r.failed())
                return fail("not supported: REC_ASM_TEXT at offset " + [&] { std::string s; ir::put_offset(s, at); return s; }());
            break;
        }
        case ir::REC_OBJ_DEF:
        case ir::REC_EXTERN: {
            ir::NameRef n = r.name_ref();
            unsigned attr = r.half();
            std::uint32_t size = r.word();
            if (r.failed())
                break;
            if (n.length == 0)
                return fail_here("declaration without a name");
            bool is_function = (n.kind & 0x07) >= 4;
            if (n.kind & 0x10)
                break;  // an object at an absolute address: refused where it is used
            int s = symbol_of(unit, n);
            Symbol &sym = symbols[static_cast<std::size_t>(s)];
            if (code == ir::REC_OBJ_DEF) {
                if (is_function) {
                    sym.declared_function_object = true;
                    if (sym.function < 0 || program.functions[static_cast<std::size_t>(sym.function)].unit != unit)
                        return fail_here("function " + sym.name + " declared defined but has no body: the unit was written after errors");
                } else {
                    if (size > sym.size)
                        sym.size = size;
                    sym.attr |= attr;
                    if (n.kind & 0x08)
                        sym.far = true;
                    if (sym.unit < 0)
                        sym.unit = unit;
                }
            }
            break;
        }
        case ir::REC_DATA:
        case ir::REC_DATA_ATTR:
        case ir::REC_DATA_LABEL: {
            if (data >= 0 && code == ir::REC_DATA_LABEL) {
                // A label at the current place in the object's data.
                r.byte();
                r.fixed(0, 3);
                ir::NameRef label{};
                label.tag = r.half();
                if (r.failed())
                    break;
                int s = symbol_of(unit, label);
                if (s < 0)
                    return fail_here("data without a name or label");
                Symbol &sym = symbols[static_cast<std::size_t>(s)];
                if (sym.has_data || sym.function >= 0)
                    return fail_here("second definition of " + sym.name);
                sym.has_data = true;
                sym.unit = unit;
                sym.def_at = at;
                sym.inside = data;
                sym.inside_at = static_cast<std::uint32_t>(symbols[static_cast<std::size_t>(data)].init.size());
                break;
            }
            if (data >= 0)
                return fail_here("data of an object inside another's");
            unsigned align = r.byte();
            unsigned attr = 0;
            std::uint32_t size = 0;
            ir::NameRef n{};
            if (code == ir::REC_DATA) {
                n = r.name_ref();
            } else if (code == ir::REC_DATA_ATTR) {
                attr = r.half();
                size = r.word();
                n = r.name_ref();
            } else {
                r.fixed(0, 3);
                n.tag = r.half();
            }
            if (r.failed())
                break;
            if (n.length && (n.kind & 0x10))
                return fail_here("not supported: object at an absolute address");
            int s = symbol_of(unit, n);
            if (s < 0)
                return fail_here("data without a name or label");
            Symbol &sym = symbols[static_cast<std::size_t>(s)];
            if (sym.function >= 0)
                return fail_here("second definition of " + sym.name);
            if (sym.has_data) {
                // Two tentative definitions (zero fill only) share one object.
                if (!sym.zero_data)
                    return fail_here("second definition of " + sym.name);
                sym.init.clear();
            }
            sym.has_data = true;
            sym.zero_data = true;
            sym.unit = unit;
            sym.def_at = at;
            sym.attr |= attr;
            if (n.length && (n.kind & 0x08))
                sym.far = true;
            if (align)
                sym.even = true;
            if (size > sym.size)
                sym.size = size;
            data = s;
            break;
        }
        case ir::REC_DATA_AT:
            return fail("not supported: REC_DATA_AT at offset " + [&] { std::string s; ir::put_offset(s, at); return s; }());
        case ir::REC_BYTES: {
            unsigned n = r.byte();
            const unsigned char *p = r.bytes(n);
            if (r.failed())
                break;
            Symbol &sym = symbols[static_cast<std::size_t>(data)];
            sym.init.insert(sym.init.end(), p, p + n);
            if (n == 255) {
                in_run = true;
            } else {
                sym.init.push_back(0);
                in_run = false;
            }
            sym.zero_data = false;
            break;
        }
        case ir::REC_INT: {
            std::size_t b = r.pos;
            unsigned size = r.byte();
            std::uint32_t v = r.word();
            if (r.failed())
                break;
            if (size != 1 && size != 2 && size != 4) {
                r.fail("integer item of size " + std::to_string(size), b);
                break;
            }
            Symbol &sym = symbols[static_cast<std::size_t>(data)];
            for (unsigned k = size; k-- > 0;)
                sym.init.push_back(static_cast<std::uint8_t>(v >> (8 * k)));
            sym.zero_data = false;
            break;
        }
        case ir::REC_FLOAT: {
            std::size_t b = r.pos;
            unsigned size = r.byte();
            std::uint64_t bits = r.eight_bytes();
            if (r.failed())
                break;
            Symbol &sym = symbols[static_cast<std::size_t>(data)];
            double d;
            std::memcpy(&d, &bits, sizeof d);
            if (size == 4) {
                float fl = static_cast<float>(d);
                std::uint32_t w;
                std::memcpy(&w, &fl, sizeof w);
                for (int k = 3; k >= 0; --k)
                    sym.init.push_back(static_cast<std::uint8_t>(w >> (8 * k)));
            } else if (size == 8) {
                for (int k = 7; k >= 0; --k)
                    sym.init.push_back(static_cast<std::uint8_t>(bits >> (8 * k)));
            } else {
                r.fail("not supported: floating item of size " + std::to_string(size), b);
                break;
            }
            sym.zero_data = false;
            break;
        }
        case ir::REC_ADDR_1: case ir::REC_ADDR_2: case ir::REC_ADDR_4: {
            ir::NameRef n = r.name_ref();
            if (code == ir::REC_ADDR_4)
                r.half();
            auto offset = static_cast<std::int32_t>(r.word());
            if (r.failed())
                break;
            auto size = static_cast<std::uint8_t>(code == ir::REC_ADDR_1 ? 1 : code == ir::REC_ADDR_2 ? 2 : 4);
            if (n.length && (n.kind & 0x10))
                return fail_here("not supported: address of an object at an absolute address");
            int s = symbol_of(unit, n);
            if (s >= 0)
                use(s, unit, r);
            Symbol &target_owner = symbols[static_cast<std::size_t>(data)];
            target_owner.relocs.push_back({static_cast<std::uint32_t>(target_owner.init.size()), size, s, offset});
            target_owner.init.insert(target_owner.init.end(), size, 0);
            target_owner.zero_data = false;
            break;
        }
        case ir::REC_SPACE: {
            std::uint32_t n = r.word();
            if (r.failed())
                break;
            if (n > MEMORY_SIZE)
                return fail_here("zero fill of " + std::to_string(n) + " bytes");
            Symbol &sym = symbols[static_cast<std::size_t>(data)];
            sym.init.insert(sym.init.end(), n, 0);
            break;
        }
        case ir::REC_DATA_END:
            data = -1;
            break;
        default:
            return fail_here("record not expected here");
        }
        if (r.failed())
            return fail(r.error);
        if (symbols.size() > 0 && data >= 0 && symbols[static_cast<std::size_t>(data)].init.size() > MEMORY_SIZE)
            return fail_here("data larger than the model's memory");
    }
    if (f || def_pending >= 0)
        return fail("unexpected end of file inside function");
    if (data >= 0 || in_run)
        return fail("unexpected end of file inside data");
    return true;
}

bool Loader::link(const RunOptions &options)
{
    program.memory.assign(MEMORY_SIZE, 0);
    program.valid.assign(MEMORY_SIZE, 0);
    program.code.clear();

    // Names used but never defined: library functions the runner provides,
    // or errors.
    for (Symbol &s : symbols) {
        if (s.function >= 0 || s.has_data || (s.size && !s.is_function))
            continue;
        if (!s.used)
            continue;
        s.native = native_by_name(s.name);
        if (s.native == NAT_NONE) {
            std::string m = unit_name(program, s.use_unit) + ": unresolved name " + s.name + " used in " + s.use_record + " at offset ";
            ir::put_offset(m, s.use_at);
            error = m;
            return false;
        }
    }

    // Code addresses first, then the tiny space, near data, far data.
    std::uint32_t next = CODE_BASE;
    for (Function &fn : program.functions) {
        fn.address = next;
        next += 2;
        program.code.push_back(static_cast<std::int32_t>(&fn - program.functions.data()) + 1);
    }
    for (Symbol &s : symbols) {
        if (s.native != NAT_NONE) {
            s.address = next;
            next += 2;
            program.code.push_back(-static_cast<std::int32_t>(s.native));
        } else if (s.function >= 0) {
            s.address = program.functions[static_cast<std::size_t>(s.function)].address;
        }
        s.placed = s.native != NAT_NONE || s.function >= 0;
    }
    std::uint32_t tiny = 2, near_next = next + 2, far_next = FAR_BASE + 2;
    program.stack_high = NEAR_SIZE;
    program.stack_low = NEAR_SIZE - options.stack_size;
    for (Symbol &s : symbols) {
        if (s.placed || !(s.has_data || s.size) || s.inside >= 0)
            continue;
        std::uint32_t size = static_cast<std::uint32_t>(s.init.size()) > s.size ? static_cast<std::uint32_t>(s.init.size()) : s.size;
        if (size == 0)
            size = 1;
        unsigned space = s.attr & 0x3000;
        std::uint32_t *cursor = s.far || space == 0x3000 ? &far_next : space == 0x1000 ? &tiny : &near_next;
        if (s.even && (*cursor & 1))
            ++*cursor;
        std::uint32_t limit = cursor == &tiny ? 0x100 : cursor == &far_next ? MEMORY_SIZE : program.stack_low;
        if (*cursor + size > limit) {
            error = unit_name(program, s.unit) + ": " + s.name + " (" + std::to_string(size) + " bytes) does not fit in its space of the model";
            if (cursor == &near_next)
                error += " below the stack (-s " + std::to_string(options.stack_size) + ")";
            return false;
        }
        s.address = *cursor;
        s.size = size;
        s.placed = true;
        // Two bytes between objects that belong to no object, so that a
        // run past the end of one is caught before it reaches the next.
        *cursor += size + 2;
    }
    for (Symbol &s : symbols) {
        if (s.inside >= 0) {
            s.address = symbols[static_cast<std::size_t>(s.inside)].address + s.inside_at;
            s.size = 0;
        }
    }
    for (std::uint32_t a = program.stack_low; a < program.stack_high; ++a)
        program.valid[a] = 1;
    for (Symbol &s : symbols) {
        if (!s.placed || s.function >= 0 || s.native != NAT_NONE)
            continue;
        std::memset(&program.valid[s.address], 1, s.size);
        if (!s.init.empty())
            std::memcpy(&program.memory[s.address], s.init.data(), s.init.size());
    }
    for (Symbol &s : symbols) {
        for (Reloc &rel : s.relocs) {
            std::uint32_t v = static_cast<std::uint32_t>(rel.addend);
            if (rel.symbol >= 0)
                v += symbols[static_cast<std::size_t>(rel.symbol)].address;
            for (unsigned k = 0; k < rel.size; ++k)
                program.memory[s.address + rel.at + k] = static_cast<std::uint8_t>(v >> (8 * (rel.size - 1 - k)));
        }
    }
    for (LeafRef &ref : leaf_refs) {
        Node &n = program.functions[static_cast<std::size_t>(ref.function)].nodes[static_cast<std::size_t>(ref.node)];
        n.value += symbols[static_cast<std::size_t>(ref.symbol)].address;
        if (n.op == N_VALUE)
            n.value = normalize_constant(n, n.value);
    }
    auto it = by_key.find("main");
    if (it == by_key.end() || symbols[static_cast<std::size_t>(it->second)].function < 0) {
        error = "no function main is defined";
        return false;
    }
    program.main_function = symbols[static_cast<std::size_t>(it->second)].function;
    return true;
}

}  // namespace

bool load_program(Program &program, const std::vector<std::string> &files, const RunOptions &options)
{
    Loader loader(program);
    for (const std::string &file : files) {
        program.units.push_back({});
        Unit &u = program.units.back();
        u.file = file;
        std::FILE *in = std::fopen(file.c_str(), "rb");
        if (!in) {
            std::fprintf(stderr, "zpc-run: can't open %s\n", file.c_str());
            return false;
        }
        // Read in one piece when the size is known; a pipe or a file that
        // grows while it is read still arrives whole through the loop.
        long known = std::fseek(in, 0, SEEK_END) == 0 ? std::ftell(in) : -1;
        if (known > 0 && std::fseek(in, 0, SEEK_SET) == 0)
            u.data.reserve(static_cast<std::size_t>(known) + 1);
        else
            std::clearerr(in);
        unsigned char chunk[1 << 16];
        std::size_t n;
        while ((n = std::fread(chunk, 1, sizeof chunk, in)) > 0)
            u.data.insert(u.data.end(), chunk, chunk + n);
        bool bad = std::ferror(in);
        std::fclose(in);
        if (bad) {
            std::fprintf(stderr, "zpc-run: can't read %s\n", file.c_str());
            return false;
        }
    }
    for (std::size_t i = 0; i < program.units.size(); ++i) {
        if (!loader.load_unit(static_cast<int>(i))) {
            std::fprintf(stderr, "zpc-run: %s\n", loader.error.c_str());
            return false;
        }
    }
    if (!loader.link(options)) {
        std::fprintf(stderr, "zpc-run: %s\n", loader.error.c_str());
        return false;
    }
    return true;
}

}  // namespace run
