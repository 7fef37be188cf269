// The debug tables. Everything is written as data records: an entry opens
// with REC_DEBUG_LABEL, and holds REC_INT numbers (a class byte, or a
// 32-bit word), REC_BYTES names and REC_ADDR far pointers to other
// entries. A list of symbols is always written in two passes: first every
// symbol's name entry (with its type's tables), then, after a label that
// the list's owner points to, every symbol's table entry, which points
// back to the name entry.
#include "output/debug.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/position.h"
#include "lexer/source.h"
#include "model/names.h"
#include "model/types.h"
#include "output/emit.h"
#include "output/records.h"
#include "preproc/macros.h"
#include "runtime/textbuf.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

// Marks and flags that other stages set and the tables read.
constexpr std::uint32_t SYM_CALLED = 0x100;        // called by code
constexpr std::uint32_t SYM_USED_BY_CODE = 0x200;  // used by code other than a call
constexpr std::uint32_t SYM_LAID_OUT = 0x40000;    // a local given storage

// The class byte of each role.
enum : std::uint8_t {
    CLASS_STATIC = 1,
    CLASS_ARGUMENT = 2,
    CLASS_AUTO = 3,
    CLASS_REGISTER = 4,
    CLASS_REGARG = 5,
    CLASS_GLOBAL = 6,
    CLASS_ARGUMENT_IN_REGISTER = 7,
    CLASS_LOCALIZED = 8,
    CLASS_MEMBER = 9,
    CLASS_STRUCT_TAG = 10,
    CLASS_UNION_TAG = 11,
    CLASS_ENUMERATOR = 12,
    CLASS_ENUM_TAG = 13,
    CLASS_NOSTACK_ARGUMENT = 14,
    CLASS_NOSTACK_ARGUMENT_IN_REGISTER = 15,
    CLASS_NOSTACK_AUTO = 16,
    CLASS_TYPEDEF = 17,
    CLASS_LABEL = 18,
    CLASS_REGARG_IN_REGISTER = 22,
    CLASS_FILE = 140,
};

constexpr unsigned MAX_DERIVATIONS = 12;

// The first label of the file being described: a type table or tag name
// entry whose label is not above it was written for an earlier file.
std::uint16_t file_first_label = 0;
// The function being described: its first argument may be passed in a
// register, and a @nostack function gives its locals classes of their own.
const Symbol *first_argument = nullptr;
bool first_in_register = false;
bool nostack = false;

// Symbols marked since the last function description.
std::vector<Symbol *> marked;

// The file whose number was found last, and its number.
const SourceFile *numbered_file = nullptr;
std::uint32_t file_number_found = 0;

bool analyser() { return analyser_output != 0; }

void entry(unsigned label) { write_debug_label(label); }
void word(std::uint32_t value) { write_int(4, value); }
void class_byte(unsigned value) { write_int(1, value); }
// A far pointer to the entry at `label`; 0 makes a null pointer.
void pointer(unsigned label) { write_addr(4, nullptr, label, 0, 0); }
void name_bytes(const Name *name)
{
    if (name)
        write_bytes(name->chars, name->length);
    else
        write_bytes("", 0);
}

bool is_derivation(const Type *t)
{
    return t && (t->kind == KIND_POINTER || t->kind == KIND_ARRAY || t->kind == KIND_FUNCTION);
}

// The type under the derivations.
const Type *base_of(const Type *t)
{
    while (is_derivation(t))
        t = t->of;
    return t;
}

bool is_tagged_kind(unsigned kind) { return kind == KIND_STRUCT || kind == KIND_UNION || kind == KIND_ENUM; }

// The code of a base type in the type word.
std::uint32_t base_code(const Type *t)
{
    if (!t)
        return 24;
    switch (t->kind) {
    case KIND_CHAR: return 8;
    case KIND_UCHAR: return 10;
    case KIND_BITS8: return 11;
    case KIND_SHORT: return 16;
    case KIND_USHORT: return 17;
    case KIND_BITS16:
    case KIND_BITSINT: return 25;
    case KIND_INT: return 24;
    case KIND_UINT: return 26;
    case KIND_LONG: return 32;
    case KIND_ULONG: return 33;
    case KIND_BITS32: return 34;
    case KIND_FLOAT: return 40;
    case KIND_DOUBLE: return 41;
    case KIND_STRUCT: return 72;
    case KIND_UNION: return 73;
    case KIND_ENUM: {
        std::int32_t size = t->of ? scalar_size(t->of) : 2;
        if (t->of && is_char_kind(t->of->kind))
            return 75;
        if (size == 4)
            return 78;
        return t->of && (t->of->kind == KIND_SHORT || t->of->kind == KIND_USHORT) ? 76 : 77;
    }
    case KIND_VOID: return 80;
    default: return 24;
    }
}

// The type word: the base code in the low bits, each derivation from the
// outermost in two bits from bit 30 down. False (after the message) for a
// type with more derivations than fit.
bool type_word(const Type *t, std::uint32_t *out)
{
    std::uint32_t w = 0;
    unsigned shift = 30, count = 0;
    for (; is_derivation(t); t = t->of) {
        if (count == MAX_DERIVATIONS) {
            report("type too complex for debug");
            return false;
        }
        std::uint32_t d = t->kind == KIND_POINTER ? 1 : t->kind == KIND_FUNCTION ? 2 : 3;
        w |= d << shift;
        shift -= 2;
        ++count;
    }
    *out = w | base_code(t);
    return true;
}

// The word goes into the file most significant byte first.
void type_word_record(std::uint32_t w)
{
    write_int(4, (w >> 24) | ((w >> 8) & 0xFF00) | ((w << 8) & 0xFF0000) | (w << 24));
}

std::uint32_t absolute(std::uint32_t value)
{
    std::int32_t v = static_cast<std::int32_t>(value);
    return static_cast<std::uint32_t>(v < 0 ? -static_cast<std::int64_t>(v) : v);
}

// The register byte of a register variable, as a leaf's storage byte.
std::uint32_t register_byte(const Symbol *s)
{
    unsigned a = s->attr;
    return static_cast<std::uint8_t>((a & 56) ? ((a >> 1) | 128) : a * 4);
}

std::uint8_t symbol_class(const Symbol *s)
{
    if (s->sclass == SC_ARGUMENT && (s->flags & SYM_STORAGE_SHARED))
        return nostack ? CLASS_NOSTACK_AUTO : CLASS_AUTO;
    switch (s->sclass) {
    case SC_NONE:
    case SC_EXTERN: return CLASS_GLOBAL;
    case SC_STATIC: return CLASS_STATIC;
    case SC_LOCALIZED: return CLASS_LOCALIZED;
    case SC_AUTO: return nostack ? CLASS_NOSTACK_AUTO : CLASS_AUTO;
    case SC_ARGUMENT: {
        bool in_register = s == first_argument && first_in_register;
        if (nostack)
            return in_register ? CLASS_NOSTACK_ARGUMENT_IN_REGISTER : CLASS_NOSTACK_ARGUMENT;
        return in_register ? CLASS_ARGUMENT_IN_REGISTER : CLASS_ARGUMENT;
    }
    case SC_REGARG: return s == first_argument && first_in_register ? CLASS_REGARG_IN_REGISTER : CLASS_REGARG;
    case SC_REGISTER: return CLASS_REGISTER;
    case SC_ENUMERATOR: return CLASS_ENUMERATOR;
    case SC_MEMBER: return CLASS_MEMBER;
    case SC_TYPEDEF: return CLASS_TYPEDEF;
    default: return 0;
    }
}

// Whether a symbol of a scope or of a file's declarations is described.
bool described(const Symbol *s)
{
    if (s->sclass == SC_EXTERN || (s->sclass == SC_TYPEDEF && !debug_extended))
        return false;
    if (!s->name || !s->type || s->type->kind == KIND_FUNCTION || (s->flags & SYM_HIDDEN))
        return false;
    if (s->name->length && s->name->chars[0] == '.')
        return false;
    if (s->sclass == SC_AUTO && !(s->flags & SYM_LAID_OUT))
        return false;
    if (s->sclass == SC_LOCALIZED && debug_skip_unused && !(s->flags & SYM_USED))
        return false;
    if (s->sclass == SC_STATIC && !keep_unused_statics && !(s->flags & SYM_USED))
        return false;
    return true;
}

Type *symbol_pass1(Symbol *s);
void symbol_pass2(const Symbol *s);

// The members of a struct or union, or the enumerators of an enum, in
// their order; unnamed members (padding bit-fields) are left out.
// first_member() starts, next_member() moves on; null at the end.
Symbol *named_from(Symbol *m)
{
    while (m && !m->name)
        m = m->next;
    return m;
}
Symbol *first_member(const Type *t) { return t->kind == KIND_ENUM ? t->enumerators : named_from(t->members); }
Symbol *next_member(const Type *t, const Symbol *m)
{
    if (t->kind == KIND_ENUM)
        return (m->flags & SYM_LAST) ? nullptr : m->next_enumerator;
    return named_from(m->next);
}

// A member table being written: its type and the next member whose first
// pass is due.
struct OpenTable {
    Type *type;
    Symbol *member;
};
std::vector<OpenTable> open_tables;

// The pointer to a struct, union or enum's member table, at the end of a
// first pass: the table is written there unless this file has it already.
// A member's own first pass may need a table in turn, written inside it;
// the tables in progress wait on a stack rather than on the call stack, so
// that a long chain of structs pointing to further structs is no deeper
// to describe than one struct.
void tag_tables(Type *t)
{
    if (!t)
        return;
    std::size_t bottom = open_tables.size();
    for (;;) {
        if (t) {
            if (t->debug_label > file_first_label) {
                pointer(t->debug_label);
            } else {
                unsigned table = new_label();
                t->debug_label = static_cast<std::uint16_t>(table);
                pointer(table);
                open_tables.push_back({t, first_member(t)});
            }
            t = nullptr;
        }
        if (open_tables.size() == bottom)
            return;
        OpenTable &top = open_tables.back();
        if (Symbol *m = top.member) {
            top.member = next_member(top.type, m);
            t = symbol_pass1(m);
            continue;
        }
        // Every member's name entry is out: the tag's name entry, then the
        // table itself.
        Type *done = top.type;
        open_tables.pop_back();
        Symbol *tag = done->tag;
        unsigned name_entry;
        if (tag && tag->debug_name_label > file_first_label) {
            name_entry = tag->debug_name_label;
        } else {
            name_entry = new_label();
            if (tag)
                tag->debug_name_label = static_cast<std::uint16_t>(name_entry);
            entry(name_entry);
            name_bytes(tag ? tag->name : nullptr);
            class_byte(done->kind == KIND_STRUCT  ? CLASS_STRUCT_TAG
                       : done->kind == KIND_UNION ? CLASS_UNION_TAG
                                                  : CLASS_ENUM_TAG);
        }
        entry(done->debug_label);
        pointer(name_entry);
        for (Symbol *m = first_member(done); m; m = next_member(done, m))
            symbol_pass2(m);
        pointer(0);
        if (done->kind != KIND_ENUM)
            word(done->size);
    }
}

// The first pass of a symbol's type, inside its name entry: the
// derivation table (the symbol's attribute word, then one word per
// derivation), the attribute entry of a plain scalar or of a struct,
// union or enum, and a bit-field's position. The label the second pass
// points to is kept in the symbol's debug_attr_label (a type record may
// be shared by several symbols). Returns the struct, union or enum whose
// member table comes next (tag_tables), or null.
Type *type_pass1(Symbol *s, Type *type, std::uint16_t attr)
{
    s->debug_attr_label = 0;
    unsigned count = 0;
    Type *t = type;
    for (; is_derivation(t); t = t->of) {
        if (count == MAX_DERIVATIONS) {
            report("type too complex for debug");
            return nullptr;
        }
        if (count == 0) {
            unsigned label = new_label();
            t->debug_label = static_cast<std::uint16_t>(label);
            s->debug_attr_label = static_cast<std::uint16_t>(label);
            entry(label);
            if (!analyser())
                word(attr);
        }
        word(t->kind == KIND_POINTER ? t->attr : t->kind == KIND_ARRAY ? t->dim : 0);
        ++count;
    }
    if (!t)
        return nullptr;
    if (is_tagged_kind(t->kind)) {
        if (!analyser()) {
            unsigned label = new_label();
            s->debug_attr_label = static_cast<std::uint16_t>(label);
            entry(label);
            word(attr);
        }
        return t;
    }
    if (is_bitfield_kind(t->kind)) {
        if (count == 0) {
            unsigned label = new_label();
            s->debug_attr_label = static_cast<std::uint16_t>(label);
            entry(label);
            if (!analyser())
                word(attr);
        }
        word(t->bit_offset * 256u + t->bit_width);
    } else if (count == 0 && attr && !analyser()) {
        unsigned label = new_label();
        s->debug_attr_label = static_cast<std::uint16_t>(label);
        entry(label);
        word(attr);
    }
    return nullptr;
}

// The second pass of a type: its type word and a pointer to the table the
// first pass wrote (in analyser mode, a struct, union or enum points into
// its member table instead).
void type_pass2(const Symbol *s, const Type *type)
{
    std::uint32_t w;
    if (!type_word(type, &w))
        return;
    type_word_record(w);
    const Type *base = base_of(type);
    if (base && is_tagged_kind(base->kind) && analyser())
        pointer(base->debug_label ? base->debug_label + 2u : 0u);
    else
        pointer(s->debug_attr_label);
}

// The file a symbol was declared in, for the analyser: its place in the
// order the files were opened, from 1 (0: none).
std::uint32_t file_number(const SourceFile *file)
{
    if (file && file == numbered_file)
        return file_number_found;
    std::uint32_t n = 1;
    for (const SourceFile *f = file_list; f; f = f->next, ++n)
        if (f == file) {
            numbered_file = file;
            file_number_found = n;
            return n;
        }
    return 0;
}

// The name entry of a symbol, up to the member table its type may need
// (returned, as type_pass1 does).
Type *symbol_pass1(Symbol *s)
{
    unsigned label = new_label();
    s->debug_name_label = static_cast<std::uint16_t>(label);
    entry(label);
    name_bytes(s->name);
    class_byte(symbol_class(s));
    if (s->sclass == SC_ENUMERATOR)
        return nullptr;
    if (analyser())
        word(file_number(s->file));
    if (s->sclass == SC_REGARG && !analyser())
        word(absolute(s->value));
    return type_pass1(s, s->type, s->attr);
}

// A whole name entry, with the member table its type needs.
void describe_symbol(Symbol *s) { tag_tables(symbol_pass1(s)); }

// The far address of an object: its name, the object an alias stands
// for, or the number it is reached by.
void object_address(const Symbol *s)
{
    std::uint32_t offset = 0;
    const Symbol *named = s;
    if (s->sclass == SC_LOCALIZED && (s->flags & SYM_DEFINED) && s->alias) {
        offset = s->alias->value;
        named = (s->alias->leaf & LEAF_SYMBOL) ? s->alias->symbol : nullptr;
    } else if (s->sclass == SC_LOCALIZED && (s->attr & ATTR_SPACE) == SPACE_FAR) {
        offset = s->value;
        named = nullptr;
    }
    write_addr(4, named, 0, s->attr, offset);
}

// The table entry of a symbol: back to its name entry, its place (value,
// offset, frame offset, register or address), its type.
void symbol_pass2(const Symbol *s)
{
    pointer(s->debug_name_label);
    switch (s->sclass) {
    case SC_ENUMERATOR: {
        word(s->value);
        std::uint32_t w;
        if (type_word(enumerator_type(s), &w)) {
            type_word_record(w);
            pointer(0);
        }
        return;
    }
    case SC_TYPEDEF: word(0); break;
    case SC_MEMBER: word(s->value); break;
    case SC_ARGUMENT:
    case SC_AUTO: word(absolute(s->value)); break;
    case SC_REGISTER:
    case SC_REGARG: word(register_byte(s)); break;
    default: object_address(s); break;
    }
    type_pass2(s, s->type);
}

// Whether a named label is described: under -xx, when it labels a
// statement that is written.
bool label_described(const Symbol *l)
{
    return debug_extended && l->name && (l->flags & SYM_DECLARED) && l->statement && l->statement->label_no;
}

void label_pass1(Symbol *l)
{
    unsigned label = new_label();
    l->debug_name_label = static_cast<std::uint16_t>(label);
    entry(label);
    name_bytes(l->name);
    class_byte(CLASS_LABEL);
}

// A label's table entry points at the statement, which is then reached
// through a table: it is written as REC_CASE_LABEL, under its even number.
void label_pass2(const Symbol *l)
{
    pointer(l->debug_name_label);
    Stmt *target = l->statement;
    target->flags |= STMT_CASE_LABEL;
    unsigned number = target->label_no;
    if (target->flags & STMT_LABELLED)
        number -= 1;
    pointer(number);
    word(0x58000000);
    word(0);
}

// The source file's name entry and the head of its chain of functions.
void start_file(SourceFile *file, const char *name)
{
    unsigned a = new_label(), b = new_label();
    TextBuffer shown;
    debug_file_name(name, shown);
    write_debug_file(shown.data ? shown.data : "");
    entry(a);
    unsigned f = new_label();
    file->debug_file_no = static_cast<std::uint16_t>(a);
    file->debug_file_aux = static_cast<std::uint16_t>(b);
    file->debug_first_label = static_cast<std::uint16_t>(f);
    pointer(f);
    pointer(b);
    entry(f);
    write_bytes(shown.data ? shown.data : "", shown.length);
    class_byte(CLASS_FILE);
}

// Whether the first argument is passed in a register.
bool passed_in_register(const Symbol *function, const Symbol *argument)
{
    const Type *result = function->type ? function->type->of : nullptr;
    if (result && (is_struct_or_union_kind(result->kind) || result->kind == KIND_DOUBLE))
        return false;
    const Type *t = argument->type;
    if (!t || is_struct_or_union_kind(t->kind))
        return false;
    if (t->kind == KIND_FLOAT && !no_widen_arguments && !single_float)
        return false;
    if (t->kind == KIND_ENUM)
        t = t->of;
    return t && type_size(t) < 5;
}

// A count in front of the names it counts (analyser mode): written as 0
// and filled in once the names are out.
struct Count {
    std::uint64_t at;
    std::uint32_t n;
};

Count open_count()
{
    Count c{output_offset(), 0};
    if (analyser())
        word(0);
    return c;
}

void close_count(const Count &c)
{
    if (!analyser()) {
        word(c.n);
        return;
    }
    unsigned char bytes[4] = {static_cast<unsigned char>(c.n), static_cast<unsigned char>(c.n >> 8),
                              static_cast<unsigned char>(c.n >> 16), static_cast<unsigned char>(c.n >> 24)};
    patch_output(c.at + 2, bytes, 4);  // after the record's code and size bytes
}

void list_name(Symbol *s, std::uint32_t mark, Count &c)
{
    s->flags &= ~mark;
    write_name(s->name ? s->name->chars : "", s->name ? s->name->length : 0);
    ++c.n;
}

// The names the function calls, then the file-level objects it uses.
void name_lists()
{
    // Newest first, as the identifier list holds them.
    std::sort(marked.begin(), marked.end(),
              [](const Symbol *a, const Symbol *b) { return a->made_order > b->made_order; });
    Count calls = open_count();
    for (Symbol *s : marked)
        if (s->scope_level == 0 && (s->flags & SYM_CALLED))
            list_name(s, SYM_CALLED, calls);
    for (Stmt *b = function.blocks; b; b = b->other)
        for (Symbol *s = b->locals; s; s = s->next)
            if (s->flags & SYM_CALLED)
                list_name(s, SYM_CALLED, calls);
    close_count(calls);
    Count uses = open_count();
    for (Symbol *s : marked)
        if (s->scope_level == 0 && (s->flags & SYM_USED_BY_CODE))
            list_name(s, SYM_USED_BY_CODE, uses);
    close_count(uses);
    marked.clear();
}

}  // namespace

void debug_function(Symbol *fn, const Stmt *body, std::uint32_t declaration_line)
{
    SourceFile *file = body->source ? body->source : current_file;
    if (!file)
        return;
    const char *file_name = body->file_name ? body->file_name : file->name;
    if (!file->debug_file_no)
        start_file(file, file_name);
    file_first_label = file->debug_first_label;
    nostack = (fn->attr & ATTR_NOSTACK) != 0;
    first_argument = nullptr;
    for (Symbol *s = function.blocks ? function.blocks->locals : nullptr; s; s = s->next)
        if ((s->sclass == SC_ARGUMENT || s->sclass == SC_REGARG) && (s->flags & SYM_LAST))
            first_argument = s;
    first_in_register = first_argument && passed_in_register(fn, first_argument);

    Type *result = fn->type && fn->type->kind == KIND_FUNCTION ? fn->type->of : nullptr;
    unsigned name_entry = new_label();
    fn->debug_name_label = static_cast<std::uint16_t>(name_entry);
    entry(name_entry);
    name_bytes(fn->name);
    class_byte(symbol_class(fn));
    if (result)
        tag_tables(type_pass1(fn, result, fn->attr));
    TextBuffer shown;
    debug_file_name(file_name, shown);
    TextBuffer fname;
    if (fn->name)
        fname.append(fn->name->chars, fn->name->length);
    write_debug_func(shown.data ? shown.data : "", fname.data ? fname.data : "");
    unsigned next = new_label();
    entry(file->debug_file_aux);
    pointer(next);
    pointer(file->debug_file_no);
    pointer(name_entry);
    file->debug_file_aux = static_cast<std::uint16_t>(next);

    word(declaration_line);
    word(body->end_line);
    if (analyser() && analyser_stack_info)
        word(fn->attr);
    if (result)
        type_pass2(fn, result);

    // The scope table: every described symbol of every block, and the
    // named labels under -xx.
    static std::vector<Symbol *> symbols, labels;
    symbols.clear();
    labels.clear();
    for (Stmt *b = function.blocks; b; b = b->other)
        for (Symbol *s = b->locals; s; s = s->next)
            if (described(s))
                symbols.push_back(s);
    for (Symbol *l = label_list; l; l = l->next)
        if (label_described(l))
            labels.push_back(l);
    // A function with labels has a table even when none is described
    // (without -xx).
    unsigned end = 0;
    if (!symbols.empty() || label_list) {
        unsigned start = new_label();
        end = new_label();
        pointer(start);
        pointer(end);
        for (Symbol *s : symbols)
            describe_symbol(s);
        for (Symbol *l : labels)
            label_pass1(l);
        entry(start);
        for (Symbol *s : symbols)
            symbol_pass2(s);
        for (Symbol *l : labels)
            label_pass2(l);
        pointer(0);
    } else {
        end = new_label();
        pointer(0);
        pointer(end);
    }
    entry(end);
    name_lists();
    first_argument = nullptr;
    nostack = false;
}

void debug_file_end(SourceFile *file, Symbol *declarations)
{
    static std::vector<Symbol *> symbols;
    symbols.clear();
    for (Symbol *s = declarations; s && s != s->debug_next; s = s->debug_next)
        if (described(s))
            symbols.push_back(s);
    if (!file->debug_file_no && symbols.empty())
        return;
    if (!file->debug_file_no)
        start_file(file, current_file_name());
    file_first_label = file->debug_first_label;
    nostack = false;
    first_argument = nullptr;
    entry(file->debug_file_aux);
    pointer(0);
    pointer(file->debug_file_no);
    pointer(0);
    word(1);
    word(file->line);
    word(0);
    pointer(0);
    if (!symbols.empty()) {
        unsigned table = new_label();
        pointer(table);
        for (Symbol *s : symbols)
            describe_symbol(s);
        entry(table);
        for (Symbol *s : symbols)
            symbol_pass2(s);
    }
    pointer(0);
    if (debug_extended) {
        for (Macro *m = macro_list; m; m = m->link) {
            if (!m->used)
                continue;
            m->used = 0;
            TextBuffer name;
            name.append('#');
            name.append(m->name, m->name_len);
            write_name(name.data, name.length);
            const char *text = m->text ? m->text : "";
            write_bytes(text, std::strlen(text));
        }
    }
}

void debug_note_mark(Symbol *symbol)
{
    if (debug_info && !debug_data && error_count == 0)
        marked.push_back(symbol);
}

void debug_reset()
{
    file_first_label = 0;
    first_argument = nullptr;
    first_in_register = false;
    nostack = false;
    marked.clear();
    marked.shrink_to_fit();
    open_tables.clear();
    numbered_file = nullptr;
    file_number_found = 0;
}
