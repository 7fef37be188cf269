// Struct, union and enum specifiers: tags and their scopes, member lists
// laid out for the target (byte addressed, even alignment only on request,
// bitfield units of 1, 2 or 4 bytes), anonymous members, flexible arrays,
// and enumerations with the smallest integer type that holds them.
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "parse/declare.h"
#include "parse/parse.h"
#include "parse/typename.h"
#include "preproc/pragma.h"

namespace {

constexpr unsigned KW_STRUCT = 152, KW_UNION = 155;
constexpr std::uint32_t TAG_BEING_DEFINED = 1;  // the whole flags word of a tag while its body is read

void report_name(const char *message, const Name *name)
{
    report(message, name ? name->length : 0, name ? name->chars : "");
}

// The layout of one struct or union body.
struct Layout {
    Type *type;
    bool is_union;
    bool padding;
    std::uint32_t offset;   // where the next member goes
    std::uint32_t size;     // the size so far
    // The open bitfield unit: its class (0x10, 0x20, 0x30, 0x40; 0 when
    // none is open), whether it is to be closed before the next member,
    // its first member and the bits used in it.
    unsigned unit_class;
    bool close_pending;
    Symbol *unit_first;
    unsigned bits_used;
    bool flexible;           // a flexible array member was laid out
    Symbol **tail;           // where the next member is appended
    NameSet names;
};

unsigned unit_bits(unsigned unit_class) { return unit_class == 0x10 ? 8 : unit_class == 0x40 ? 32 : 16; }

// A member of `size` bytes takes its room: a union grows to its largest
// member, a structure to the end of its last. Sizes are kept in 32 bits: a
// member that would carry the structure past them is refused and takes
// no room.
void place(Layout &l, std::uint32_t size)
{
    if (l.is_union) {
        if (l.size < size)
            l.size = size;
    } else if (size > 0xFFFFFFFF - l.offset) {
        report("struct/union too large");
    } else {
        l.offset += size;
        l.size = l.offset;
    }
}

void close_unit(Layout &l)
{
    if (!l.unit_class)
        return;
    if (l.bits_used) {
        std::uint32_t size;
        switch (l.unit_class) {
        case 0x10: size = 1; break;
        case 0x20: size = 2; break;
        case 0x40: size = 4; break;
        default:
            size = 2;
            // An int unit of a byte or less shrinks to a byte.
            if (!no_bitfield_packing && l.bits_used <= 8) {
                size = 1;
                for (Symbol *m = l.unit_first; m; m = m->next) {
                    if (!is_bitfield_kind(m->type->kind))
                        continue;
                    m->type->kind = KIND_BITS8;
                    if (reverse_bitfields)
                        m->type->bit_offset = static_cast<std::uint8_t>(m->type->bit_offset - 8);
                }
            }
            break;
        }
        place(l, size);
    }
    l.unit_class = 0;
    l.close_pending = false;
    l.unit_first = nullptr;
    l.bits_used = 0;
}

Symbol *append_member(Layout &l, Name *name, Type *type, std::uint16_t attr, std::uint32_t offset)
{
    Symbol *scratch = nullptr;
    Symbol *m = new_symbol(&scratch, name, SC_MEMBER, type);
    m->attr = attr;
    m->value = offset;
    m->flags = SYM_DECLARED;
    m->next = nullptr;
    *l.tail = m;
    l.tail = &m->next;
    return m;
}

// The bitfield after `:`. `member` is the declared name (null for an
// unnamed field); `signed_keyword` whether `signed` was written.
void bitfield(Layout &l, Name *name, Type *declared, std::uint16_t attr, bool signed_keyword)
{
    if (signed_keyword && check_signed_bitfields)
        report("signed bitfield not supported");
    std::int32_t width = 0;
    parse_constant(&width, 1);
    Type *t = declared;
    if (t && t->kind == KIND_ENUM)
        t = t->of ? t->of : &type_int;
    unsigned unit_class;
    switch (t ? t->kind : 0) {
    case KIND_CHAR:
    case KIND_UCHAR: unit_class = 0x10; break;
    case KIND_SHORT:
    case KIND_USHORT: unit_class = 0x20; break;
    case KIND_INT:
    case KIND_UINT: unit_class = 0x30; break;
    case KIND_LONG:
    case KIND_ULONG: unit_class = 0x40; break;
    default:
        report("invalid bitfield type");
        unit_class = 0x30;
        break;
    }
    unsigned bits = unit_bits(unit_class);
    if (width < 0 || width > static_cast<std::int32_t>(bits)) {
        report("invalid bitfield size");
        width = width < 0 ? 0 : static_cast<std::int32_t>(bits);
    }
    if (l.close_pending)
        close_unit(l);
    if (l.unit_class && (l.unit_class != unit_class || static_cast<unsigned>(width) > bits - l.bits_used))
        close_unit(l);
    bool begins = !l.unit_class;
    if (begins) {
        l.unit_class = unit_class;
        if (unit_class != 0x10 && l.padding && (l.offset & 1)) {
            ++l.offset;
            if (!l.is_union)
                l.size = l.offset;
        }
    }
    if (width > 0) {
        if (name) {
            Type *field = new_type(unit_class | 0x03, nullptr);
            field->bit_width = static_cast<std::uint8_t>(width);
            field->bit_offset = static_cast<std::uint8_t>(
                reverse_bitfields ? bits - l.bits_used - static_cast<unsigned>(width) : l.bits_used);
            Symbol *m = append_member(l, name, field, attr, l.is_union ? 0 : l.offset);
            if (!l.unit_first)
                l.unit_first = m;
        }
        l.bits_used += static_cast<unsigned>(width);
        return;
    }
    if (name) {
        report("invalid bitfield size");
        return;
    }
    if (l.bits_used)
        l.close_pending = true;
    else
        l.unit_class = 0;
}

// A member that is not a bitfield; `anonymous` for a struct or union
// member without a name, whose members become the aggregate's own.
void plain_member(Layout &l, Name *name, Type *type, std::uint16_t attr, bool anonymous)
{
    if (type->kind == KIND_FUNCTION)
        report("invalid function member");
    if (l.unit_class) {
        if (l.bits_used)
            close_unit(l);
        l.unit_class = 0;
        l.close_pending = false;
    }
    if (l.padding && (l.offset & 1) && needs_even_alignment(type))
        ++l.offset;
    std::uint32_t at = l.is_union ? 0 : l.offset;
    std::uint32_t size = 0;
    bool aggregate = is_struct_or_union_kind(type->kind);
    if (l.is_union && aggregate && !type->members) {
        size = 0;
    } else if (c99_mode && !l.is_union &&
               ((type->kind == KIND_ARRAY && type->dim == 0) || (aggregate && type->kind == KIND_STRUCT && type->of))) {
        if (l.flexible || l.size == 0)
            report("invalid flexible array usage");
        if (type->kind == KIND_ARRAY) {
            l.type->of = type;
        } else {
            l.type->of = type->of;
            size = type->size;
        }
        l.flexible = true;
    } else {
        if (c99_mode && l.flexible)
            report("invalid flexible array usage");
        size = static_cast<std::uint32_t>(type_size(type));
    }
    if (anonymous) {
        bool first = true;
        for (const Symbol *inner = type->members; inner; inner = inner->next) {
            if (inner->name && !l.names.insert(inner->name))
                report_name("redefined anonymous member %.*s", inner->name);
            Symbol *m = append_member(l, inner->name, inner->type, attr, inner->value + at);
            m->flags |= inner->flags & SYM_UNION_COPY;
            if (type->kind == KIND_UNION && !first)
                m->flags |= SYM_UNION_COPY;
            first = false;
        }
    } else {
        append_member(l, name, type, attr, at);
    }
    place(l, size);
}

void parse_struct_body(Type *t, std::uint16_t attr)
{
    Layout l{};
    l.type = t;
    l.is_union = t->kind == KIND_UNION;
    l.padding = !(attr & ATTR_PACKED) &&
                ((even_align_constants && (attr & ATTR_CONST)) || even_align_data || align_mode);
    t->members = nullptr;
    l.tail = &t->members;
    Symbol *tag = t->tag;
    if (tag)
        tag->flags = TAG_BEING_DEFINED;
    bool any = false;
    Symbol spec{};
    while (parse_specifiers(&spec, nullptr)) {
        bool signed_keyword = (keywords_seen & SPEC_SIGNED) != 0;
        bool implicit = implicit_int, warned = false;
        if (spec.sclass != SC_NONE)
            report("unexpected storage class");
        for (;;) {
            Symbol decl = spec;
            bool got = parse_declarator(&decl);
            Type *type = decl.type ? decl.type : &type_int;
            if (next_token()->code == TK_COLON) {
                any = true;
                if (decl.name && !l.names.insert(decl.name))
                    report_name("redefined member %.*s", decl.name);
                bitfield(l, decl.name, type, decl.attr, signed_keyword);
            } else {
                push_back_token();
                bool anonymous = !got && !decl.name && is_struct_or_union_kind(type->kind) && !strict_ansi;
                if (decl.name) {
                    if (!l.names.insert(decl.name))
                        report_name("redefined member %.*s", decl.name);
                    if (check_level != 0 && implicit && !warned) {
                        report("W5implicit int type in struct/union declaration");
                        warned = true;
                    }
                    if (is_struct_or_union_kind(type->kind) && type->tag && type->tag->flags == TAG_BEING_DEFINED) {
                        report_name("embedded usage of tag name %.*s", type->tag->name);
                        type = &type_int;
                    } else if (type->kind == KIND_ENUM && !type->enumerators) {
                        report("incomplete enum type");
                    }
                    any = true;
                    plain_member(l, decl.name, type, decl.attr, false);
                } else if (anonymous) {
                    any = true;
                    plain_member(l, nullptr, type, decl.attr, true);
                } else {
                    report("missing member name");
                }
            }
            if (!accept(TK_COMMA))
                break;
        }
        if (!accept(TK_SEMICOLON))
            report("missing ; in member definition");
    }
    if (!accept(TK_RBRACE))
        report("missing } in struct/union definition");
    if (!any && !l.bits_used)
        report("missing member declaration");
    if (l.bits_used)
        close_unit(l);
    if (l.padding && l.size > 1 && (l.size & 1))
        ++l.size;
    t->size = l.size;
    if (tag)
        tag->flags = 0;
}

void parse_enum_body(Type *t)
{
    Symbol **list = enumerator_list_for_declaration();
    bool in_prototype = list != &ident_list;
    std::int32_t next = 0, low = 0, high = 0;
    Symbol *first = nullptr, *last = nullptr;
    for (bool after_comma = false;; after_comma = true) {
        Token *tok = next_token();
        if (tok->code != TK_IDENT) {
            push_back_token();
            if (!(c99_mode && after_comma && tok->code == TK_RBRACE))
                report("missing enumeration member");
            break;
        }
        auto *name = reinterpret_cast<Name *>(tok->value);
        Symbol *existing = in_prototype ? find_symbol(name, *list, nullptr) : find_symbol(name, ident_list, ident_scope);
        if (existing)
            report_name("redeclared enum member %.*s", name);
        Symbol *e = new_symbol(list, name, SC_ENUMERATOR, nullptr);
        e->flags = SYM_USED | SYM_DECLARED;
        e->line = tok->line;
        e->column = tok->column;
        if (last)
            last->next_enumerator = e;
        else
            first = e;
        last = e;
        if (next_token()->code == TK_ASSIGN)
            parse_constant(&next, 1);
        else
            push_back_token();
        e->value = static_cast<std::uint32_t>(next);
        if (next < low)
            low = next;
        if (next > high)
            high = next;
        next = static_cast<std::int32_t>(static_cast<std::uint32_t>(next) + 1);
        if (!accept(TK_COMMA))
            break;
    }
    if (!accept(TK_RBRACE))
        report("missing } in enum definition");
    Type *integer;
    if (no_enum_optimization) {
        integer = &type_int;
        if ((low < 0 && (low < -32768 || high > 32767)) || high >= 32768)
            report("enum value out of int range");
    } else if (low < 0) {
        integer = low >= -128 && high <= 127 ? &type_char : low >= -32768 && high <= 32767 ? &type_short : &type_long;
    } else {
        integer = high < 256 ? &type_uchar : high < 65536 ? &type_ushort : &type_ulong;
    }
    t->of = integer;
    t->enumerators = first;
    if (last) {
        last->flags |= SYM_LAST;
        last->type = integer;
    }
}

}  // namespace

Type *parse_aggregate_specifier(unsigned keyword, std::uint16_t attr)
{
    std::uint8_t kind = keyword == KW_STRUCT ? KIND_STRUCT : keyword == KW_UNION ? KIND_UNION : KIND_ENUM;
    Token *t = next_token();
    Type *type = nullptr;
    if (t->code == TK_IDENT) {
        something_declared = true;
        auto *name = reinterpret_cast<Name *>(t->value);
        bool body = next_token()->code == TK_LBRACE;
        push_back_token();
        // Inside a parameter list the prototype's own tags form the
        // current scope; elsewhere the block's, then the enclosing ones.
        Symbol **list = tag_list_for_declaration();
        Symbol *found;
        bool current;
        if (list != &tag_list) {
            found = find_symbol(name, *list, nullptr);
            current = found != nullptr;
            if (!found)
                found = find_symbol(name, tag_list, nullptr);
        } else {
            found = find_symbol(name, tag_list, tag_scope);
            current = found != nullptr;
            if (!found && tag_scope)
                found = find_symbol(name, tag_scope, nullptr);
        }
        bool make_new = !found;
        if (found && found->type->kind != kind) {
            if (current)
                report_name("redefined tag type %.*s", name);
            make_new = true;
        } else if (found && body) {
            if (!current) {
                make_new = true;
            } else if (kind == KIND_ENUM ? found->type->enumerators != nullptr : found->type->members != nullptr) {
                report_name("redefined tag name %.*s", name);
                make_new = true;
            }
        }
        if (make_new) {
            Symbol *tag = new_symbol(list, name, SC_NONE, new_type(kind, nullptr));
            tag->type->tag = tag;
            type = tag->type;
        } else {
            type = found->type;
        }
        t = next_token();
    } else if (t->code == TK_LBRACE) {
        type = new_type(kind, nullptr);
    } else {
        report("incomplete type");
        push_back_token();
        return &type_int;
    }
    if (t->code != TK_LBRACE) {
        push_back_token();
        if (kind == KIND_ENUM && !type->enumerators) {
            if (!no_enum_optimization)
                report("undefined enum type");
            if (!type->of)
                type->of = &type_int;
        }
        return type;
    }
    something_declared = true;
    // Bodies nest through member types: a body counts like a parameter
    // list toward the parser's nesting limit.
    constexpr std::int32_t BODY_WEIGHT = 8;
    if (!enter_nesting_quietly(BODY_WEIGHT)) {
        report(kind == KIND_ENUM ? "enum nested too deeply" : "struct/union nested too deeply");
        // The body is passed over whole.
        for (std::int32_t depth = 1; depth > 0;) {
            Token *skip = next_token();
            if (skip->code == TK_END) {
                push_back_token();
                break;
            }
            depth += skip->code == TK_LBRACE ? 1 : skip->code == TK_RBRACE ? -1 : 0;
        }
        if (kind == KIND_ENUM && !type->of)
            type->of = &type_int;
        return type;
    }
    if (kind == KIND_ENUM)
        parse_enum_body(type);
    else
        parse_struct_body(type, attr);
    leave_nesting(BODY_WEIGHT);
    return type;
}
