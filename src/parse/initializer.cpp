// Initializers of declared objects. A static object's initializer is
// evaluated here and written as data items; an automatic object gets the
// expression that initializes it when its declaration is reached (an
// aggregate is copied from an unnamed static image, and the elements that
// are not constants are assigned after the copy).
//
// A braced initializer is read without recursion: the aggregates open
// around the current element form a stack of levels, so that nesting as
// deep as the types allow costs heap memory, not stack.
#include <cstring>
#include <iterator>
#include <map>
#include <unordered_map>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/emit.h"
#include "output/records.h"
#include "parse/declare.h"
#include "parse/init.h"
#include "parse/parse.h"
#include "runtime/alloc.h"
#include "sema/check.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace {

// Value records and entries live in blocks of the common allocator, each
// behind a link word: the blocks of the initializer being read are freed
// together when it has been written, or kept until the run ends when a
// const object keeps its values.
struct HeldBlock {
    HeldBlock *link;
};
HeldBlock *current_blocks = nullptr;
HeldBlock *kept_blocks = nullptr;

void *hold(std::size_t size)
{
    auto *block = static_cast<HeldBlock *>(allocate(sizeof(HeldBlock) + size, current_blocks));
    current_blocks = block;
    void *payload = block + 1;
    std::memset(payload, 0, size);
    return payload;
}

void free_blocks(HeldBlock *chain)
{
    while (chain)
        chain = static_cast<HeldBlock *>(release(chain, chain->link));
}

void keep_blocks(HeldBlock *chain)
{
    while (chain) {
        HeldBlock *next = chain->link;
        chain->link = kept_blocks;
        kept_blocks = chain;
        chain = next;
    }
}

// The value record of a leaf: a copy outside the node pool.
Node *make_record(const Node *value)
{
    auto *record = static_cast<Node *>(hold(sizeof(Node)));
    *record = *value;
    record->link = nullptr;
    return record;
}

Token *peek_token()
{
    Token *t = next_token();
    push_back_token();
    return t;
}

bool is_aggregate(const Type *t) { return t->kind == KIND_ARRAY || is_struct_or_union_kind(t->kind); }

// A compound literal's temporary: named ".t..."; its initializer has no `=`.
bool is_temporary(const Symbol *s)
{
    return s->name && s->name->length >= 2 && s->name->chars[0] == '.' && s->name->chars[1] == 't';
}

bool is_complete(const Type *t)
{
    for (; t; t = t->of) {
        if (t->kind == KIND_ARRAY) {
            if (t->dim == 0)
                return false;
            continue;
        }
        if (t->kind == KIND_VOID || t->kind == KIND_FUNCTION)
            return false;
        return !is_struct_or_union_kind(t->kind) || t->members;
    }
    return false;
}

// sizeof without a message for an incomplete type (0 then).
std::uint32_t quiet_size(const Type *t) { return is_complete(t) ? static_cast<std::uint32_t>(type_size(t)) : 0; }

bool is_automatic(const Symbol *s)
{
    return s->sclass == SC_AUTO || s->sclass == SC_REGISTER || s->sclass == SC_ARGUMENT || s->sclass == SC_REGARG;
}

void report_incomplete(const Type *t) { report(t->kind == KIND_UNION ? "unknown union" : "unknow structure"); }

// The value reduced to the width of an integer element: char sign-extended
// from 8 bits, unsigned char 8 bits, a bit-field to its width, short and
// int sign-extended from 16 bits, their unsigned kinds 16 bits.
std::uint32_t reduce_to_element(std::uint32_t v, const Type *t)
{
    if (is_bitfield_kind(t->kind))
        return t->bit_width >= 32 ? v : v & ((1u << t->bit_width) - 1);
    switch (t->kind) {
    case KIND_CHAR: return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int8_t>(v)));
    case KIND_UCHAR: return v & 0xFF;
    case KIND_SHORT:
    case KIND_INT: return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int16_t>(v)));
    case KIND_USHORT:
    case KIND_UINT: return v & 0xFFFF;
    default: return v;
    }
}

std::uint32_t field_mask(const Type *t)
{
    std::uint64_t bits = (std::uint64_t{1} << t->bit_width) - 1;
    return static_cast<std::uint32_t>(bits << t->bit_offset);
}

// After a scalar that was opened by `{`: an optional C99 `,`, then `}`.
void close_scalar_brace()
{
    if (c99_mode && next_token()->code != TK_COMMA)
        push_back_token();
    expect(TK_RBRACE);
}

// ---- Reading a braced initializer --------------------------------------

struct Reader {
    InitEntry *head;
    InitEntry *tail;
    InitEntry *tail_group_before;  // the entry before the tail's same-offset group
    InitEntry *cursor;             // the entry inserted last
    // The last entry of each offset, made when elements come in an order
    // that a short walk from the last one inserted does not follow.
    std::map<std::uint32_t, InitEntry *> by_offset;
    bool indexed;
    InitLevel *level;              // innermost open aggregate
    std::int32_t open_braces;
    std::uint16_t attr;
    bool local;
    bool in_designation;  // designators read, their `=` not yet
    bool designated;      // the current element was chosen by a designator
    bool discard;         // the designation failed: the value is read and dropped
};

bool open_level(Reader *r, Type **slot, std::uint32_t base, std::uint8_t flags)
{
    Type *t = *slot;
    if (is_struct_or_union_kind(t->kind) && !t->members) {
        report_incomplete(t);
        return false;
    }
    auto *level = static_cast<InitLevel *>(allocate(sizeof(InitLevel)));
    level->parent = r->level;
    level->type_slot = slot;
    level->base = base;
    level->elem_size = t->kind == KIND_ARRAY ? quiet_size(t->of) : 0;
    level->index = 0;
    level->max_index = 0;
    level->member = t->kind == KIND_ARRAY ? nullptr : t->members;
    level->flags = flags;
    r->level = level;
    return true;
}

void leave_level(Reader *r)
{
    InitLevel *level = r->level;
    r->level = level->parent;
    release(level);
}

void leave_all_levels(Reader *r)
{
    while (r->level)
        leave_level(r);
}

// The outermost array of unknown size takes its size from the highest
// element initialized.
void complete_outermost(InitLevel *outermost)
{
    Type *t = *outermost->type_slot;
    if (t->kind == KIND_ARRAY && t->dim == 0) {
        Type *complete = new_type(KIND_ARRAY, t->of);
        complete->dim = outermost->max_index + 1;
        *outermost->type_slot = complete;
    }
}

// The rest of the braced initializer is passed over to its closing braces
// (or to a `;`, which no initializer holds). The elements read so far
// stay, so an outermost array of unknown size is completed from them.
void abandon(Reader *r)
{
    if (InitLevel *outermost = r->level) {
        while (outermost->parent)
            outermost = outermost->parent;
        complete_outermost(outermost);
    }
    leave_all_levels(r);
    for (std::int32_t depth = r->open_braces; depth > 0;) {
        Token *t = next_token();
        if (t->code == TK_END || t->code == TK_SEMICOLON) {
            push_back_token();
            break;
        }
        if (t->code == TK_LBRACE)
            ++depth;
        else if (t->code == TK_RBRACE)
            --depth;
        release_token_value(t);
    }
    r->open_braces = 0;
}

// The current element of the innermost level: where its type is stored,
// and its offset (64 bits: an index far out of range cannot wrap).
Type **current_element(const InitLevel *level, std::uint64_t *offset)
{
    Type *t = *level->type_slot;
    if (t->kind == KIND_ARRAY) {
        *offset = level->base + std::uint64_t{level->index} * level->elem_size;
        return &t->of;
    }
    *offset = std::uint64_t{level->base} + level->member->value;
    return &level->member->type;
}

Symbol *next_member(Symbol *m)
{
    for (m = m->next; m && (m->flags & SYM_UNION_COPY); m = m->next) {
    }
    return m;
}

// A member by name: the one after the current member first (designators
// written in member order), else a walk over a small structure, else an
// index of a large structure's names, made when a designator of this
// initializer first needs it.
using MemberIndex = std::unordered_map<const Name *, Symbol *>;
std::unordered_map<const Type *, MemberIndex> member_indexes;
constexpr int SMALL_STRUCTURE = 16;

Symbol *find_member(const Type *t, Symbol *current, const Name *name)
{
    if (current && current->next && current->next->name == name)
        return current->next;
    int walked = 0;
    for (Symbol *m = t->members; m && walked < SMALL_STRUCTURE; m = m->next, ++walked)
        if (m->name == name)
            return m;
    auto made = member_indexes.try_emplace(t);
    MemberIndex &index = made.first->second;
    if (made.second)
        for (Symbol *m = t->members; m; m = m->next)
            if (m->name)
                index.emplace(m->name, m);
    auto found = index.find(name);
    return found == index.end() ? nullptr : found->second;
}

// The last entry below `offset`, which lies below the tail's. Elements in
// order, in reverse order or close to the last one inserted are found by a
// few steps; elements in any other order through the index, so that
// designators in random order cost log n each, not a walk of the list.
InitEntry *entry_before(Reader *r, std::uint32_t offset)
{
    constexpr int SHORT_WALK = 8;
    if (r->head->offset >= offset)
        return nullptr;
    if (!r->indexed) {
        InitEntry *p = r->cursor && r->cursor->offset < offset ? r->cursor : r->head;
        for (int steps = 0; steps < SHORT_WALK; ++steps) {
            if (!p->next || p->next->offset >= offset)
                return p;
            p = p->next;
        }
        for (InitEntry *q = r->head; q; q = q->next)
            r->by_offset[q->offset] = q;
        r->indexed = true;
    }
    return std::prev(r->by_offset.lower_bound(offset))->second;
}

// The entry goes into the list by offset. False (reported) when another
// entry holds the same offset, unless both are bit-fields of one unit
// whose bits do not overlap.
bool insert_entry(Reader *r, InitEntry *e)
{
    InitEntry *before;
    if (!r->tail || r->tail->offset < e->offset)
        before = r->tail;
    else if (r->tail->offset == e->offset)
        before = r->tail_group_before;
    else
        before = entry_before(r, e->offset);
    InitEntry *after = before;
    for (InitEntry *p = before ? before->next : r->head; p && p->offset == e->offset; p = p->next) {
        if (!e->mask || !p->mask || (e->mask & p->mask)) {
            report("duplicate initializer");
            return false;
        }
        after = p;
    }
    InitEntry **link = after ? &after->next : &r->head;
    e->next = *link;
    *link = e;
    if (!e->next) {
        if (r->tail && r->tail->offset < e->offset)
            r->tail_group_before = r->tail;
        else if (!r->tail)
            r->tail_group_before = nullptr;
        r->tail = e;
    } else if (e->next->offset == r->tail->offset && e->offset < e->next->offset) {
        r->tail_group_before = e;
    }
    r->cursor = e;
    if (r->indexed)
        r->by_offset[e->offset] = e;  // after the others of its offset
    return true;
}

// The record of a string literal that initializes the character array
// `array` (of unknown size: sized by the string). The entry's type goes
// to *entry_type and the highest index it fills to *last.
Node *string_record(PoolEntry *literal, Type *array, Type **entry_type, std::uint32_t *last)
{
    std::uint32_t length = literal->length;
    if (array->dim == 0) {
        array = new_type(KIND_ARRAY, array->of);
        array->dim = length + 1;
        *last = length;
    } else {
        if (array->dim < length) {
            report("string initializer too long");
            length = array->dim;
        }
        *last = array->dim - 1;
    }
    auto *record = static_cast<Node *>(hold(sizeof(Node)));
    record->op = OP_LEAF;
    record->type = array;
    record->literal = literal;
    ++literal->refs;
    record->value = length;
    record->leaf = LEAF_LITERAL;
    *entry_type = array;
    return record;
}

InitEntry *new_entry(Node *value, Type *type, std::uint64_t offset, bool runtime)
{
    auto *e = static_cast<InitEntry *>(hold(sizeof(InitEntry)));
    e->value = value;
    e->type = type;
    e->offset = static_cast<std::uint32_t>(offset);
    e->mask = is_bitfield_kind(type->kind) ? field_mask(type) : 0;
    e->runtime = runtime ? 1 : 0;
    return e;
}

// A designator: `[` index `]` or `.` name, at the token that starts it.
void read_designator(Reader *r)
{
    if (!r->in_designation) {
        while (!(r->level->flags & LEVEL_DESIGNATION))
            leave_level(r);
    } else {
        while (!(r->level->flags & (LEVEL_DESIGNATION | LEVEL_DESIGNATED)))
            leave_level(r);
        if (!(r->level->flags & LEVEL_DESIGNATED))
            report("unexpected designator");
    }
    r->in_designation = true;
    r->designated = true;
    InitLevel *level = r->level;
    Type *t = *level->type_slot;
    if (next_token()->code == TK_LBRACKET) {
        std::int32_t index = 0;
        parse_constant(&index, 1);
        expect(TK_RBRACKET);
        if (t->kind != KIND_ARRAY) {
            report("wrong designator type");
            r->discard = true;
            return;
        }
        if (index < 0) {
            report("designator index negative");
            index = 0;
        }
        auto i = static_cast<std::uint32_t>(index);
        if (t->dim != 0 && i >= t->dim) {
            report("designator index too large");
            r->discard = true;
            return;
        }
        level->index = i;
        if (i > level->max_index)
            level->max_index = i;
        return;
    }
    Token *name = next_token();
    if (name->code != TK_IDENT) {
        push_back_token();
        report("invalid struct/union designator");
        r->discard = true;
        return;
    }
    if (t->kind == KIND_ARRAY) {
        report("wrong designator type");
        r->discard = true;
        return;
    }
    auto *id = reinterpret_cast<const Name *>(name->value);
    Symbol *m = find_member(t, level->member, id);
    if (!m) {
        report("%.*s not a member", id->length, id->chars);
        r->discard = true;
        return;
    }
    level->member = m;
}

// The current element is an array, structure or union: a level opens for
// it, braced or brace-elided. False when the initializer was abandoned.
bool descend(Reader *r, Type **slot, std::uint64_t offset)
{
    Token *t = next_token();
    if (t->code == TK_ASSIGN) {
        t = next_token();
        if (!c99_mode || !r->in_designation || !r->designated || (t->code != TK_LBRACE && t->code != TK_STRING))
            report("unexpected initialization syntax");
        r->in_designation = false;
    }
    std::uint8_t flags = r->designated ? LEVEL_DESIGNATED : 0;
    r->designated = false;
    if (t->code == TK_LBRACE) {
        flags |= LEVEL_BRACED | LEVEL_DESIGNATION;
        ++r->open_braces;
    } else {
        push_back_token();
    }
    // An aggregate beyond 4 GB: its elements are past every object and
    // are dropped as they are read.
    auto base = static_cast<std::uint32_t>(offset > 0xFFFFFFFFu ? 0xFFFFFFFFu : offset);
    if (!open_level(r, slot, base, flags)) {
        abandon(r);
        return false;
    }
    return true;
}

// The next element after a `,`. False when there is none: "too many
// initializers" and the initializer is abandoned. A level opened by a
// brace takes no more elements than it has; a brace-elided level that
// has none left is left for its parent.
bool advance(Reader *r)
{
    for (;;) {
        InitLevel *level = r->level;
        Type *t = *level->type_slot;
        if (t->kind == KIND_ARRAY) {
            if (t->dim == 0 || level->index + 1 < t->dim) {
                ++level->index;
                if (level->index > level->max_index)
                    level->max_index = level->index;
                return true;
            }
        } else if (t->kind == KIND_STRUCT) {
            if (Symbol *m = next_member(level->member)) {
                level->member = m;
                return true;
            }
        }
        if ((level->flags & LEVEL_BRACED) || !level->parent) {
            report("too many initializers");
            abandon(r);
            return false;
        }
        leave_level(r);
    }
}

// A `}`: the levels are left down to the innermost braced one, which is
// left too; an outermost array of unknown size takes its size.
void close_brace(Reader *r)
{
    while (!(r->level->flags & LEVEL_BRACED))
        leave_level(r);
    if (!r->level->parent)
        complete_outermost(r->level);
    leave_level(r);
    --r->open_braces;
}

// The tokens after an element: `,`, closing braces. False when the
// initializer has ended.
bool after_element(Reader *r)
{
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_COMMA && r->open_braces > 0) {
            std::uint16_t code = peek_token()->code;
            if (code == TK_RBRACE)
                continue;
            if (code == TK_LBRACKET || code == TK_DOT)
                return true;  // the designator chooses the element
            return advance(r);
        }
        if (t->code == TK_RBRACE && r->open_braces > 0) {
            close_brace(r);
            if (r->open_braces == 0)
                return false;
            continue;
        }
        push_back_token();
        return false;
    }
}

// One scalar element (or a string for a whole character array) at the
// current element. False when the initializer was abandoned.
bool read_element(Reader *r, Type *type, std::uint64_t offset)
{
    if (r->in_designation) {
        if (!c99_mode)
            report("unexpected initialization syntax");
        if (next_token()->code != TK_ASSIGN) {
            push_back_token();
            report("invalid designator syntax");
        }
        r->in_designation = false;
    }
    r->designated = false;
    InitLevel *level = r->level;
    Type *aggregate = *level->type_slot;
    Node *record;
    bool runtime = false;
    Token *t = next_token();
    if (t->code == TK_STRING && is_char_kind(type->kind) && aggregate->kind == KIND_ARRAY && level->index == 0) {
        std::uint32_t last = 0;
        record = string_record(token_pool_entry(t), aggregate, &type, &last);
        offset = level->base;
        level->index = last;
        if (last > level->max_index)
            level->max_index = last;
    } else {
        push_back_token();
        bool flag = r->local;
        record = init_scalar(type, r->attr, &flag);
        runtime = flag;
        type = integer_type_of(type);
    }
    bool discard = r->discard || offset + (is_complete(type) ? quiet_size(type) : 0) > 0xFFFFFFFFu;
    r->discard = false;
    if (!record || discard)
        return true;
    if (!insert_entry(r, new_entry(record, type, offset, runtime))) {
        abandon(r);
        return false;
    }
    return true;
}

void read_elements(Reader *r)
{
    for (;;) {
        std::uint64_t offset = 0;
        Type **slot = current_element(r->level, &offset);
        Type *type = *slot;
        if (is_aggregate(type)) {
            if (!descend(r, slot, offset))
                return;
            continue;
        }
        std::uint16_t code = peek_token()->code;
        if (code == TK_LBRACKET || code == TK_DOT) {
            read_designator(r);
            continue;
        }
        if (!read_element(r, type, offset) || !after_element(r))
            return;
    }
}

// ---- Writing -----------------------------------------------------------

// A string entry: the bytes as one run (which brings the terminating
// zero) and zeros up to the array's size; an array exactly as long as the
// string takes its bytes as single items, without the zero.
void emit_string(const InitEntry *e, std::uint32_t size)
{
    const Node *record = e->value;
    const PoolEntry *literal = record->literal;
    std::uint32_t length = record->value;
    if (length >= size) {
        const Type *element = e->type->of;
        for (std::uint32_t i = 0; i < size; ++i)
            emit_int_item(reduce_to_element(literal->bytes[i], element), 1);
        return;
    }
    emit_bytes(literal->bytes, length);
    if (size - length - 1 != 0)
        emit_space(size - length - 1);
}

}  // namespace

// ---- Interfaces --------------------------------------------------------

bool read_initializer(Symbol *sym)
{
    Token *t = next_token();
    if (t->code != TK_ASSIGN) {
        push_back_token();
        if (!is_temporary(sym)) {
            if (sym->sclass != SC_EXTERN && sym->type && sym->type->kind == KIND_VOID)
                report("invalid void declaration");
            return sym->sclass != SC_EXTERN;
        }
    }
    if (sym->flags & SYM_DEFINED)
        report("redeclared external %.*s", sym->name ? sym->name->length : 0, sym->name ? sym->name->chars : "");
    if (sym->sclass == SC_EXTERN)
        sym->sclass = SC_NONE;
    sym->flags |= SYM_USED | SYM_DEFINED;
    if (!sym->type) {
        skip_initializer();
        return true;
    }
    bool keep = (sym->attr & ATTR_CONST) && !(sym->attr & ATTR_VOLATILE);
    bool saved = in_initializer;
    in_initializer = true;
    init_object(&sym->type, keep, sym->attr, sym);
    in_initializer = saved;
    return true;
}

void init_object(Type **type_slot, bool keep_record, std::uint16_t attr, Symbol *sym)
{
    HeldBlock *outer = current_blocks;
    current_blocks = nullptr;
    bool ok = false;
    if (is_aggregate(*type_slot)) {
        InitEntry *list = init_aggregate(type_slot, attr, false);
        emit_space_names();
        emit_data_start(sym);
        if (is_complete(*type_slot))
            ok = emit_entries(list, static_cast<std::uint32_t>(type_size(*type_slot)), keep_record, attr);
        emit_data_end();
        if (ok && keep_record)
            sym->const_entries = list;
    } else {
        Node *record = init_scalar(*type_slot, attr, nullptr);
        emit_space_names();
        emit_data_start(sym);
        if (record)
            ok = emit_scalar(record, *type_slot, keep_record, attr);
        emit_data_end();
        if (ok && keep_record)
            sym->const_value = record;
    }
    if (ok && keep_record)
        keep_blocks(current_blocks);
    else
        free_blocks(current_blocks);
    current_blocks = outer;
}

InitEntry *init_aggregate(Type **type_slot, std::uint16_t attr, bool local)
{
    Reader r{};
    r.attr = attr;
    r.local = local;
    Type *t = *type_slot;
    Token *first = next_token();
    bool brace = first->code == TK_LBRACE;
    if (!brace) {
        if (first->code == TK_STRING && t->kind == KIND_ARRAY && t->of && is_char_kind(t->of->kind)) {
            Type *entry_type = nullptr;
            std::uint32_t last = 0;
            Node *record = string_record(token_pool_entry(first), t, &entry_type, &last);
            if (t->dim == 0)
                *type_slot = entry_type;
            insert_entry(&r, new_entry(record, entry_type, 0, false));
            return r.head;
        }
        report("missing {");
        push_back_token();
    }
    if (brace)
        r.open_braces = 1;
    if (!open_level(&r, type_slot, 0, brace ? LEVEL_BRACED | LEVEL_DESIGNATION : LEVEL_DESIGNATION))
        abandon(&r);
    else
        read_elements(&r);
    leave_all_levels(&r);
    // The index may not outlive the initializer: types are recycled.
    member_indexes.clear();
    for (std::int32_t i = 0; i < r.open_braces; ++i)
        expect(TK_RBRACE);
    return r.head;
}

Node *init_scalar(Type *type, std::uint16_t attr, bool *local_ok)
{
    (void)attr;
    Type *t = integer_type_of(type);
    bool brace = next_token()->code == TK_LBRACE;
    if (!brace)
        push_back_token();
    void *mark = node_mark();
    std::int32_t inline_calls = inline_call_count;
    Node *value = parse_assignment();
    if (!value) {
        report("missing initializer");
        value = int_constant(0, &type_int);
    } else {
        if (value->type->kind == KIND_ARRAY || value->type->kind == KIND_FUNCTION)
            decay(value);
        value = fetch_value(&value);
    }
    if (check_level != 0)
        range_check(OP_ASSIGN, t, value);
    // A value that calls an inline function is no constant; the call is
    // expanded with the statement the initialization becomes, and folded
    // there.
    if (inline_call_count == inline_calls)
        value = final_fold(value);
    Type *noted = value->type;
    Node *v = value;
    while (v->op == OP_CAST)
        v = v->left;
    bool local = local_ok && *local_ok;
    if (t->kind == KIND_VOID) {
        report("invalid void initialization");
        v = nullptr;
    } else if (t->kind != KIND_POINTER) {
        if (noted->kind == KIND_POINTER) {
            report("invalid initializer");
            v = nullptr;
        } else if (is_int_constant(v)) {
            if (is_floating_kind(t->kind))
                set_float_constant(v, static_cast<double>(static_cast<std::int32_t>(v->value)), t);
        } else if (is_float_constant(v)) {
            if (!is_floating_kind(t->kind))
                float_to_int_constant(v, t);
        } else if (v->op == OP_LEAF && !(v->leaf & LEAF_LVALUE)) {
            // An address, written as a number of the element's size.
        } else if (local) {
            // Computed when the declaration is reached.
            if (brace)
                close_scalar_brace();
            return convert_to(value, t);
        } else {
            report("invalid initializer expression");
            v = nullptr;
        }
    } else if (is_int_constant(v) && v->value == 0) {
        // The null pointer.
    } else if (is_address_value(v)) {
        if (!assign_compatible(t, noted)) {
            report("invalid pointer initializer");
        } else if ((v->leaf & LEAF_SYMBOL) && is_automatic(v->symbol)) {
            // The address of an automatic object exists only at run time:
            // inside a local aggregate it is assigned after the copy.
            if (local) {
                if (brace)
                    close_scalar_brace();
                return convert_to(value, t);
            }
            report("invalid pointer initializer");
        }
    } else {
        report("invalid pointer initializer");
        if (v->op != OP_LEAF)
            v = int_constant(0, &type_int);  // the value is used, but no tree can be written as data
    }
    if (v && v->type->kind != KIND_POINTER && !is_floating_kind(t->kind) && is_int_constant(v))
        v->value = reduce_to_element(v->value, t);
    if (v && v->type->kind == KIND_POINTER && quiet_size(v->type) > quiet_size(t))
        report("invalid pointer initializer");
    Node *record = nullptr;
    if (v) {
        record = make_record(v);
        if (is_bitfield_kind(t->kind))
            record->type = t;
        // Nothing refers to the nodes of this element any more. Giving them
        // back forgets the known values, so inside a function that knows
        // some they stay until the function's nodes all come back.
        if (!known_values_mark())
            nodes_return_to(mark);
    }
    if (brace)
        close_scalar_brace();
    if (local_ok)
        *local_ok = false;
    return record;
}

bool emit_scalar(Node *record, Type *type, bool record_wanted, std::uint16_t attr)
{
    Type *t = integer_type_of(type);
    auto size = static_cast<unsigned>(quiet_size(t));
    if (record->type->kind == KIND_POINTER || record->type->kind == KIND_FUNCTION) {
        // The item carries the pointed-to attributes of the element's type
        // (none for a non-pointer), or under -kc the address's own.
        if (t->kind == KIND_POINTER || !keep_space_on_init_cast)
            record->type = t;
        emit_address_item(record, size);
        record->type = t;
        return true;
    }
    if (is_float_constant(record)) {
        bool ok = true;
        PoolEntry *e = record->literal;
        if (record_wanted && ((attr & ATTR_SPACE) == SPACE_FAR || (attr & ATTR_USER_SPACES))) {
            ok = false;
        } else if (record_wanted && e) {
            // The item is also the literal pool's copy of the value in
            // this form: its label goes here, and the pool leaves it out.
            if (!e->label) {
                e->label = new_label();
                new_label();
                new_label();
                new_label();
            }
            std::uint8_t form = t->kind == KIND_FLOAT ? 4 : 8;
            if (!(e->written[1] & form)) {
                write_data_label(even_align_data ? 4 : 0, e->label + (form == 4 ? 4u : 6u));
                e->written[0] |= form;
                e->written[1] |= form;
            }
        }
        emit_float_item(float_constant_value(record), size);
        return ok;
    }
    emit_int_item(record->value, size);
    return true;
}

bool emit_entries(InitEntry *list, std::uint32_t size, bool record_wanted, std::uint16_t attr)
{
    bool ok = true;
    std::uint32_t at = 0;
    for (InitEntry *e = list; e;) {
        std::uint32_t bytes = quiet_size(e->type);
        // Run-time elements stay zero; an element that overlaps one written
        // already or lies outside the object has no place in the image.
        if (e->runtime || e->offset < at || bytes > size || e->offset > size - bytes) {
            e = e->next;
            continue;
        }
        if (e->offset > at)
            emit_space(e->offset - at);
        if (e->mask) {
            // The bit-fields of one unit make one item.
            std::uint32_t unit = 0;
            InitEntry *f = e;
            for (; f && f->offset == e->offset && f->mask; f = f->next) {
                if (f->runtime)
                    continue;
                unit |= (f->value->value << f->type->bit_offset) & f->mask;
            }
            emit_int_item(unit, bytes);
            at = e->offset + bytes;
            e = f;
            continue;
        }
        if (e->type->kind == KIND_ARRAY)
            emit_string(e, bytes);
        else if (!emit_scalar(e->value, e->type, record_wanted, attr))
            ok = false;
        at = e->offset + bytes;
        e = e->next;
    }
    if (at < size)
        emit_space(size - at);
    return ok;
}

namespace {

// A leaf for the object being initialized (`offset` bytes in, of `type`):
// a store through it may initialize a const object.
Node *init_leaf(Symbol *sym, std::uint32_t offset, Type *type)
{
    Node *n = new_node(OP_LEAF);
    n->symbol = sym;
    n->value = offset;
    n->value_node = nullptr;
    n->right = nullptr;
    n->leaf = LEAF_INIT | LEAF_SYMBOL | LEAF_LVALUE;
    n->type = type;
    return n;
}

Node *binary(std::uint8_t op, Node *left, Node *right, Type *type)
{
    Node *n = new_node(op);
    n->left = left;
    n->right = right;
    n->type = type;
    return n;
}

// An automatic aggregate: copied from an unnamed static image, then the
// elements that are computed at run time are assigned.
Node *local_aggregate(Symbol *sym)
{
    Type *declared = sym->type;
    bool unknown_size = declared->kind == KIND_ARRAY && declared->dim == 0;
    Symbol *image = new_symbol(&ident_list, sym->name, SC_STATIC, declared);
    image->flags = SYM_HIDDEN | SYM_DEFINED | SYM_DECLARED | SYM_USED;
    image->value = new_label();
    image->attr = apply_default_attributes(ATTR_CONST, SC_STATIC, declared->kind);
    if (strict_ansi)
        image->attr &= static_cast<std::uint16_t>(~ATTR_CONST);
    image->line = sym->line;
    image->column = sym->column;

    HeldBlock *outer = current_blocks;
    current_blocks = nullptr;
    InitEntry *list = init_aggregate(&sym->type, 0, true);
    Type *type = sym->type;
    image->type = type;
    bool complete = is_complete(type);
    std::uint32_t size = complete ? static_cast<std::uint32_t>(type_size(type)) : 0;
    emit_space_names();
    // Under -b an array image of unknown or even size is aligned as an int
    // object would be, so that the copy may move words.
    emit_data_start(image, even_align_data && type->kind == KIND_ARRAY && (unknown_size || (complete && size % 2 == 0)));
    if (complete)
        emit_entries(list, size, false, 0);
    emit_data_end();

    Type *copy_type = type;
    if (type->kind == KIND_ARRAY) {
        // A block copy of the array's bytes.
        copy_type = new_type(KIND_STRUCT, nullptr);
        copy_type->size = size;
    }
    Node *source = init_leaf(image, 0, copy_type);
    source->leaf = LEAF_SYMBOL | LEAF_LVALUE;
    Node *result = binary(OP_ASSIGN, init_leaf(sym, 0, copy_type), source, copy_type);
    for (InitEntry *e = list; e; e = e->next) {
        if (!e->runtime)
            continue;
        Node *value = e->value;
        Type *target = value->type;
        if (value->op == OP_CAST && is_bitfield_kind(target->kind))
            value = value->left;
        Node *store = binary(OP_ASSIGN, init_leaf(sym, e->offset, target), value, target);
        result = binary(OP_COMMA, result, store, target);
    }
    free_blocks(current_blocks);
    current_blocks = outer;
    return result;
}

// An automatic scalar, or a structure or union given an expression.
Node *local_assignment(Symbol *sym)
{
    bool brace = next_token()->code == TK_LBRACE;
    if (!brace)
        push_back_token();
    // `int x = x;` reads an `x` of an enclosing scope.
    std::uint32_t hidden = sym->flags & SYM_HIDDEN;
    sym->flags |= SYM_HIDDEN;
    Node *value = parse_assignment();
    sym->flags = (sym->flags & ~SYM_HIDDEN) | hidden;
    Node *target = init_leaf(sym, 0, integer_type_of(sym->type));
    Node *result;
    if (!value) {
        report("missing initialization expression");
        result = binary(OP_ASSIGN, target, int_constant(0, &type_int), target->type);
    } else {
        result = check_assignment(binary(OP_ASSIGN, target, value, target->type));
    }
    if (brace)
        close_scalar_brace();
    return result;
}

}  // namespace

Node *init_local(Symbol *sym)
{
    if (next_token()->code != TK_ASSIGN) {
        push_back_token();
        if (!is_temporary(sym))
            return nullptr;
    }
    if (!sym->type) {
        skip_initializer();
        return nullptr;
    }
    if (sym->sclass == SC_LOCALIZED || sym->sclass == SC_TYPEDEF)
        report("invalid local initialization");
    else if (sym->sclass == SC_EXTERN)
        report("invalid external initialization");
    bool saved = in_initializer;
    in_initializer = true;
    sym->flags |= SYM_USED | SYM_DEFINED;
    Node *result = nullptr;
    Type *t = sym->type;
    if (sym->sclass == SC_STATIC)
        init_object(&sym->type, false, 0, sym);
    else if (t->kind == KIND_ARRAY || (is_struct_or_union_kind(t->kind) && peek_token()->code == TK_LBRACE))
        result = local_aggregate(sym);
    else
        result = local_assignment(sym);
    in_initializer = saved;
    return result;
}

void skip_initializer()
{
    if (next_token()->code != TK_ASSIGN) {
        push_back_token();
        return;
    }
    for (std::int32_t depth = 0;;) {
        Token *t = next_token();
        if (t->code == TK_END || (depth == 0 && (t->code == TK_COMMA || t->code == TK_SEMICOLON))) {
            push_back_token();
            break;
        }
        if (t->code == TK_LBRACE || t->code == TK_LPAREN || t->code == TK_LBRACKET)
            ++depth;
        else if ((t->code == TK_RBRACE || t->code == TK_RPAREN || t->code == TK_RBRACKET) && depth > 0)
            --depth;
        release_token_value(t);
    }
}

void initializer_reset()
{
    free_blocks(current_blocks);
    current_blocks = nullptr;
    free_blocks(kept_blocks);
    kept_blocks = nullptr;
    member_indexes.clear();
}
