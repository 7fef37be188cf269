#include "model/types.h"

#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "base/position.h"
#include "runtime/pool.h"

namespace {

constexpr Type basic_type(std::uint8_t kind)
{
    Type t{};
    t.kind = kind;
    return t;
}

}  // namespace

Type type_uchar = basic_type(KIND_UCHAR);
Type type_char = basic_type(KIND_CHAR);
Type type_ushort = basic_type(KIND_USHORT);
Type type_short = basic_type(KIND_SHORT);
Type type_uint = basic_type(KIND_UINT);
Type type_int = basic_type(KIND_INT);
Type type_ulong = basic_type(KIND_ULONG);
Type type_long = basic_type(KIND_LONG);
Type type_float = basic_type(KIND_FLOAT);
Type type_double = basic_type(KIND_DOUBLE);
Type type_void = basic_type(KIND_VOID);
Type *plain_char_type = &type_char;

Symbol *ident_list = nullptr, *ident_scope = nullptr;

namespace {

// Every name in ident_list holds its newest symbol there (Name::newest);
// older ones follow through `shadowed`. The depth of the innermost open scope.
std::uint16_t scope_level = 0;
std::uint32_t symbols_made = 0;

void chain_symbol(Symbol *s)
{
    s->scope_level = scope_level;
    if (!s->name)
        return;
    s->shadowed = s->name->newest;
    s->name->newest = s;
}

void unchain_symbol(Symbol *s)
{
    if (!s->name)
        return;
    for (Symbol **link = &s->name->newest; *link; link = &(*link)->shadowed) {
        if (*link == s) {
            *link = s->shadowed;
            break;
        }
    }
    s->shadowed = nullptr;
}

}  // namespace
Symbol *tag_list = nullptr, *tag_scope = nullptr;
Symbol *label_list = nullptr;
Symbol *attribute_list = nullptr;
Symbol *space_names = nullptr;
int proto_depth = 0;
Symbol *proto_enum_list = nullptr, *proto_tag_list = nullptr;
Symbol *dropped_tags = nullptr;

std::uint16_t data_defaults[4], code_defaults[4];
std::uint16_t *const_defaults = code_defaults;

namespace {

RecordPool type_pool = record_pool<Type>();
RecordPool symbol_pool = record_pool<Symbol>();

// Between begin_function_types() and end_function_types(): the types made
// now belong to the function and come back when it ends.
bool types_recycled = false;

struct BasicRecord {
    Type *type;
    std::uint8_t kind;
};
const BasicRecord basic_records[] = {
    {&type_uchar, KIND_UCHAR}, {&type_char, KIND_CHAR},   {&type_ushort, KIND_USHORT}, {&type_short, KIND_SHORT},
    {&type_uint, KIND_UINT},   {&type_int, KIND_INT},     {&type_ulong, KIND_ULONG},   {&type_long, KIND_LONG},
    {&type_float, KIND_FLOAT}, {&type_double, KIND_DOUBLE}, {&type_void, KIND_VOID},
};

// The space of an attribute word, none counting as near. The codes rise
// with the address width, so they compare as tiny < near < far.
std::uint16_t space_of(std::uint16_t attr)
{
    std::uint16_t space = attr & ATTR_SPACE;
    return space ? space : SPACE_NEAR;
}

bool points_to_void(const Type *t) { return t->kind == KIND_POINTER && t->of && t->of->kind == KIND_VOID; }

// A parameter list with a type on its first entry; an old-style list
// (names only) and an absent one are not prototypes.
bool is_prototype(const Symbol *params) { return params && params->type; }

// The void parameter that ends a prototype's list (and `(void)` itself).
bool is_void_parameter(const Symbol *p) { return p->type && p->type->kind == KIND_VOID; }

// Two struct or union levels of the same kind.
bool same_aggregate(const Type *a, const Type *b)
{
    if (a->members == b->members)
        return true;
    if (a->members && b->members)
        return false;
    // One side is incomplete: the same tag may stand for both.
    if (!a->tag || !b->tag)
        return false;
    const Type *ta = a->tag->type, *tb = b->tag->type;
    if (!ta || !tb || ta->kind != tb->kind)
        return false;
    const Name *na = a->tag->name, *nb = b->tag->name;
    return na && nb && na->length == nb->length && !std::memcmp(na->chars, nb->chars, na->length);
}

bool prototypes_compatible(const Symbol *pa, const Symbol *pb)
{
    for (; pa && pb; pa = pa->next, pb = pb->next) {
        const Type *ta = pa->type, *tb = pb->type;
        if (ta && tb && ta->kind == KIND_POINTER && tb->kind == KIND_POINTER) {
            if (strict_ansi && ((ta->attr ^ tb->attr) & (ATTR_CONST | ATTR_VOLATILE)))
                return false;
            if (points_to_void(ta) || points_to_void(tb))
                continue;
        }
        if (!types_compatible(ta, tb))
            return false;
    }
    return !pa && !pb;
}

// A prototype against a list without one (old style, or none at all): a
// call through the other declaration passes promoted arguments, so the
// prototype must take them as promoted, and must not be variable.
bool prototype_matches_unprototyped(const Symbol *proto, const Symbol *other)
{
    const Symbol *o = other;
    const Symbol *p = proto;
    for (; p && !is_void_parameter(p); p = p->next) {
        if (other) {
            if (!o || is_void_parameter(o))
                return false;
            o = o->next;
        }
        if (!no_widen_arguments && p->type) {
            unsigned kind = p->type->kind;
            if (is_char_kind(kind) || (kind == KIND_FLOAT && !single_float))
                return false;
        }
    }
    if (!p)
        return false;  // ended in `...`
    return !(other && o && !is_void_parameter(o));
}

bool parameters_compatible(const Symbol *pa, const Symbol *pb)
{
    bool a_proto = is_prototype(pa), b_proto = is_prototype(pb);
    if (a_proto && b_proto)
        return prototypes_compatible(pa, pb);
    if (a_proto)
        return prototype_matches_unprototyped(pa, pb);
    if (b_proto)
        return prototype_matches_unprototyped(pb, pa);
    return true;
}

}  // namespace

void types_init()
{
    plain_char_type = plain_char_unsigned ? &type_uchar : &type_char;
    set_memory_model(model_config);
    // Under -f double is float everywhere, output included. No type is read
    // before the declarations begin, so the record is rewritten here once
    // with the other options.
    if (single_float)
        type_double.kind = KIND_FLOAT;
}

void types_reset()
{
    for (const BasicRecord &b : basic_records)
        *b.type = basic_type(b.kind);
    plain_char_type = &type_char;
    pool_reset(&type_pool);
    pool_reset(&symbol_pool);
    types_recycled = false;
    ident_list = ident_scope = nullptr;
    forget_name_symbols();
    scope_level = 0;
    tag_list = tag_scope = nullptr;
    label_list = nullptr;
    attribute_list = nullptr;
    space_names = nullptr;
    proto_depth = 0;
    proto_enum_list = proto_tag_list = nullptr;
    dropped_tags = nullptr;
    std::memset(data_defaults, 0, sizeof data_defaults);
    std::memset(code_defaults, 0, sizeof code_defaults);
    const_defaults = code_defaults;
}

Type *new_type(unsigned kind, Type *of)
{
    bool permanent = (kind & KIND_PERMANENT) != 0;
    Type *t = static_cast<Type *>(pool_take(&type_pool, types_recycled && !permanent));
    t->of = of;
    t->kind = static_cast<std::uint8_t>(kind);
    t->debug_label = 0;
    t->params = nullptr;
    t->members = nullptr;
    t->proto_tags = nullptr;
    return t;
}

void begin_function_types() { types_recycled = true; }

void end_function_types()
{
    pool_end_generation(&type_pool);
    types_recycled = false;
}

Symbol *new_symbol(Symbol **list, Name *name, std::uint8_t sclass, Type *type)
{
    Symbol *s = static_cast<Symbol *>(pool_take(&symbol_pool, false));
    std::memset(s, 0, sizeof *s);
    s->next = *list;
    *list = s;
    s->name = name;
    s->sclass = sclass;
    s->type = type;
    s->file = current_file;
    s->made_order = ++symbols_made;
    if (name)
        name_declared(name) = 1;
    if (list == &ident_list)
        chain_symbol(s);
    return s;
}

Symbol *find_symbol(const Name *name, Symbol *from, const Symbol *to)
{
    // A name no symbol was ever made with needs no search.
    if (!name || !name->chars[name->length])
        return nullptr;
    if (from && from == ident_list && (!to || to == ident_scope)) {
        Symbol *s = name->newest;
        while (s && (s->flags & SYM_HIDDEN))
            s = s->shadowed;
        // The symbols before ident_scope are exactly those of the
        // innermost scope.
        if (s && to && s->scope_level != scope_level)
            return nullptr;
        return s;
    }
    for (Symbol *s = from; s && s != to; s = s->next)
        if (s->name == name && !(s->flags & SYM_HIDDEN))
            return s;
    return nullptr;
}

void release_symbols(Symbol *from, const Symbol *to)
{
    while (from && from != to) {
        Symbol *next = from->next;
        pool_give(&symbol_pool, from);
        from = next;
    }
}

Type *enumerator_type(const Symbol *enumerator)
{
    while (enumerator && !(enumerator->flags & SYM_LAST))
        enumerator = enumerator->next_enumerator;
    return enumerator ? enumerator->type : nullptr;
}

ScopeMark open_scope()
{
    ScopeMark saved{ident_scope, tag_scope};
    ident_scope = ident_list;
    tag_scope = tag_list;
    ++scope_level;
    return saved;
}

Symbol *close_scope(ScopeMark saved)
{
    Symbol *block = nullptr;
    if (ident_list && ident_list != ident_scope) {
        block = ident_list;
        Symbol *last = block;
        unchain_symbol(last);
        while (last->next && last->next != ident_scope) {
            last = last->next;
            unchain_symbol(last);
        }
        ident_list = last->next;
        last->next = nullptr;
    }
    --scope_level;
    while (tag_list && tag_list != tag_scope) {
        Symbol *tag = tag_list;
        tag_list = tag->next;
        tag->next = dropped_tags;
        dropped_tags = tag;
    }
    ident_scope = saved.ident_scope;
    tag_scope = saved.tag_scope;
    return block;
}

void discard_scope(ScopeMark saved)
{
    for (Symbol *s = ident_list; s && s != ident_scope; s = s->next)
        unchain_symbol(s);
    release_symbols(ident_list, ident_scope);
    ident_list = ident_scope;
    release_symbols(tag_list, tag_scope);
    tag_list = tag_scope;
    ident_scope = saved.ident_scope;
    tag_scope = saved.tag_scope;
    --scope_level;
}

void unname_symbol(Symbol *s)
{
    unchain_symbol(s);
    s->name = nullptr;
}

void release_dropped_tags()
{
    release_symbols(dropped_tags, nullptr);
    dropped_tags = nullptr;
}

Symbol **enumerator_list_for_declaration() { return proto_depth > 0 ? &proto_enum_list : &ident_list; }

Symbol **tag_list_for_declaration() { return proto_depth > 0 ? &proto_tag_list : &tag_list; }

PrototypeMark begin_prototype_lists()
{
    PrototypeMark saved{proto_enum_list, proto_tag_list};
    ++proto_depth;
    proto_enum_list = nullptr;
    proto_tag_list = nullptr;
    return saved;
}

void end_prototype_lists(Type *function, PrototypeMark saved)
{
    if (function) {
        function->proto_enums = proto_enum_list;
        function->proto_tags = proto_tag_list;
    }
    proto_enum_list = saved.enums;
    proto_tag_list = saved.tags;
    --proto_depth;
}

namespace {

// The array levels from `type` down to `sized` (a level of `bytes` bytes,
// or an array level whose elements have that many) learn their element
// sizes. A size that does not fit 32 bits is not kept.
void remember_element_sizes(const Type *type, const Type *sized, std::uint32_t bytes)
{
    std::uint64_t total = bytes;
    if (sized->kind == KIND_ARRAY)
        total *= sized->dim;
    for (const Type *t = type; t != sized; t = t->of)
        if (t->kind == KIND_ARRAY && (total *= t->dim) > 0xFFFFFFFFu)
            return;
    for (const Type *t = type; t != sized; t = t->of) {
        if (t->kind != KIND_ARRAY)
            continue;
        total /= t->dim;
        // Types are shared records; the size an array level's element has
        // is a fact about the level, kept in its otherwise unused field.
        const_cast<Type *>(t)->size = static_cast<std::uint32_t>(total);
    }
}

}  // namespace

std::int32_t type_size_walk(const Type *type)
{
    // Array levels multiply the size of what they hold; the walk ends at
    // the first level that has a size of its own. An array level keeps the
    // size of its element once it is known, so that subscripting an array
    // of many dimensions level by level does not walk all of them each time.
    std::uint32_t count = 1;
    bool settled = true;  // nothing reported: the size will not change
    for (const Type *t = type; t; t = t->of) {
        std::uint32_t bytes = scalar_size(t);
        if (bytes == 0) {
            switch (t->kind) {
            case KIND_ENUM:
                if (!t->enumerators && !no_enum_optimization) {
                    report("enum size unknown");
                    settled = false;
                }
                continue;
            case KIND_ARRAY:
                if (t->dim == 0) {
                    report("array size unknown");
                    return 0;
                }
                count *= t->dim;
                if (t->size == 0)
                    continue;
                bytes = t->size;
                break;
            case KIND_STRUCT:
            case KIND_UNION:
                if (!t->members) {
                    report("struct/union size unknown");
                    return 0;
                }
                bytes = t->size;
                break;
            default:
                report("size unknown");
                return 0;
            }
        }
        if (settled && bytes != 0 && t != type)
            remember_element_sizes(type, t, bytes);
        return static_cast<std::int32_t>(count * bytes);
    }
    // An enum without its integer type.
    report("size unknown");
    return 0;
}

bool needs_even_alignment(const Type *type)
{
    for (const Type *t = type; t; t = t->of) {
        switch (t->kind) {
        case KIND_CHAR:
        case KIND_UCHAR:
        case KIND_BITS8:
            return false;
        case KIND_ENUM:
        case KIND_ARRAY:
            continue;
        case KIND_POINTER:
            return (t->attr & ATTR_SPACE) != SPACE_TINY;
        case KIND_STRUCT:
        case KIND_UNION:
            if (!t->members)
                return false;
            if (t->size >= 2)
                return true;
            for (const Symbol *m = t->members; m; m = m->next)
                if (needs_even_alignment(m->type))
                    return true;
            return false;
        default:
            return true;
        }
    }
    return false;
}

bool types_compatible(const Type *a, const Type *b)
{
    for (;;) {
        if (!a)
            return !b;
        if (a->kind == KIND_ENUM)
            a = a->of;
        if (b && b->kind == KIND_ENUM)
            b = b->of;
        if (!a || !b)
            return !a && !b;
        if (a->kind != b->kind)
            return false;
        switch (a->kind) {
        case KIND_STRUCT:
        case KIND_UNION:
            if (!same_aggregate(a, b))
                return false;
            break;
        case KIND_POINTER:
            if (space_of(a->attr) != space_of(b->attr))
                return false;
            break;
        case KIND_ARRAY:
            if (a->dim && b->dim && a->dim != b->dim)
                return false;
            break;
        case KIND_FUNCTION:
            if (!parameters_compatible(a->params, b->params))
                return false;
            break;
        default:
            break;
        }
        a = a->of;
        b = b->of;
    }
}

bool assign_compatible(const Type *to, const Type *from)
{
    if (!to || !from)
        return false;
    if (is_struct_or_union_kind(to->kind))
        return types_compatible(to, from);
    if (to->kind != KIND_POINTER)
        return from->kind != KIND_POINTER && !is_struct_or_union_kind(from->kind);
    if (from->kind != KIND_POINTER)
        return false;
    // A wider pointer takes a narrower one, never the reverse.
    if (space_of(to->attr) < space_of(from->attr))
        return false;
    if (strict_ansi && (from->attr & (ATTR_CONST | ATTR_VOLATILE) & ~to->attr))
        return false;
    // Below the first level a pointer's width cannot change.
    const Type *t = to->of, *f = from->of;
    while (t && f && t->kind == KIND_POINTER && f->kind == KIND_POINTER) {
        if (space_of(t->attr) != space_of(f->attr))
            return false;
        t = t->of;
        f = f->of;
    }
    if ((t && t->kind == KIND_VOID) || (f && f->kind == KIND_VOID))
        return true;
    return types_compatible(t, f);
}

void merge_declaration_types(Type *earlier, const Type *later)
{
    while (earlier && later) {
        if (earlier->kind == KIND_ENUM)
            earlier = earlier->of;
        if (later->kind == KIND_ENUM)
            later = later->of;
        // Only a compatible declaration is merged; a level of another kind
        // (or the end of either chain) ends the walk.
        if (!earlier || !later || earlier->kind != later->kind)
            return;
        switch (earlier->kind) {
        case KIND_POINTER:
            earlier->attr |= later->attr;
            break;
        case KIND_ARRAY:
            if (earlier->dim == 0)
                earlier->dim = later->dim;
            break;
        case KIND_FUNCTION:
            if (later->params)
                earlier->params = later->params;
            break;
        default:
            break;
        }
        earlier = earlier->of;
        later = later->of;
    }
}

void merge_attributes(Symbol *earlier, const Symbol *later)
{
    std::uint16_t a = earlier->attr & ATTR_SPACE, b = later->attr & ATTR_SPACE;
    if (a && b && a != b)
        report("space attribute conflict");
    earlier->attr |= later->attr;
}

std::uint16_t apply_default_attributes(std::uint16_t attr, unsigned context, unsigned kind)
{
    const std::uint16_t *table;
    if (kind == KIND_FUNCTION)
        table = code_defaults;
    else if ((attr & ATTR_CONST) && context != SC_AUTO && context != SC_ARGUMENT)
        table = const_defaults;
    else
        table = data_defaults;
    int entry;
    switch (context) {
    case SC_STATIC:
        entry = 1;
        break;
    case SC_ARGUMENT:
    case SC_REGARG:
    case SC_AUTO:
    case SC_REGISTER:
        entry = 2;
        break;
    case CONTEXT_POINTED_TO:
        entry = 3;
        break;
    default:
        entry = 0;
        break;
    }
    std::uint16_t defaults = table[entry];
    if (!(attr & ATTR_SPACE))
        attr |= defaults & ATTR_SPACE;
    // A declaration that chose its own calling or user space keeps the
    // rest of its word as written.
    if (!(attr & (ATTR_NOSTACK | ATTR_USER_SPACES)))
        attr |= defaults & static_cast<std::uint16_t>(~ATTR_SPACE);
    return attr;
}

void set_memory_model(std::int32_t n)
{
    std::uint32_t bits = static_cast<std::uint32_t>(n);
    if (bits & 0xFF)
        for (std::uint16_t &entry : code_defaults)
            entry = static_cast<std::uint16_t>(bits << 8);
    if (bits & 0xFF00)
        for (std::uint16_t &entry : data_defaults)
            entry = static_cast<std::uint16_t>(bits & 0xFF00);
}

bool kind_ranks_higher(unsigned a, unsigned b)
{
    auto rank = [](unsigned kind) { return kind == KIND_INT ? KIND_SHORT : kind == KIND_UINT ? KIND_USHORT : kind; };
    return rank(a) > rank(b);
}
