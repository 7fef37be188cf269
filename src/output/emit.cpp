// The emitter's records for declarations, storage and assembly text.
#include "output/emit.h"

#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "host/host.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/names.h"
#include "model/types.h"
#include "output/records.h"
#include "runtime/textbuf.h"
#include "tree/tree.h"

namespace {

const char *last_file_written = nullptr;
bool have_directory = false;
char working_directory[4096];

bool is_separator(char c) { return c == '/' || c == '\\'; }

// The name with the working directory in front, for -xf. A name that
// starts at the root stays; leading "./" is dropped and each leading
// "../" takes the last component off the directory.
void full_path(const char *name, TextBuffer &out)
{
    const char *rest = name;
    if (((rest[0] >= 'a' && rest[0] <= 'z') || (rest[0] >= 'A' && rest[0] <= 'Z')) && rest[1] == ':')
        rest += 2;
    if (is_separator(rest[0])) {
        out.append(name);
        return;
    }
    if (!have_directory) {
        if (!host_current_directory(working_directory, sizeof working_directory)) {
            out.append(name);
            return;
        }
        have_directory = true;
    }
    std::size_t dir = std::strlen(working_directory);
    while (dir > 1 && working_directory[dir - 1] == '/')
        --dir;
    for (;;) {
        if (rest[0] == '.' && is_separator(rest[1])) {
            rest += 2;
        } else if (rest[0] == '.' && rest[1] == '.' && is_separator(rest[2])) {
            std::size_t cut = dir;
            while (cut > 0 && working_directory[cut - 1] != '/')
                --cut;
            if (cut == 0 || dir <= 1) {
                // Nothing is left to take off: the name stays as it is.
                out.append(name);
                return;
            }
            dir = cut > 1 ? cut - 1 : 1;
            rest += 3;
        } else {
            break;
        }
    }
    out.append(working_directory, dir);
    if (dir == 0 || working_directory[dir - 1] != '/')
        out.append('/');
    out.append(rest);
}

unsigned data_alignment(const Symbol *s)
{
    if (s->attr & ATTR_PACKED)
        return 0;
    bool align = even_align_data || (s->flags & SYM_ALIGN_ON) || (even_align_constants && (s->attr & ATTR_CONST));
    return align && s->type && needs_even_alignment(s->type) ? 1 : 0;
}

}  // namespace

void emit_file(const char *name)
{
    if (!name || name == last_file_written)
        return;
    last_file_written = name;
    if (debug_no_path) {
        const char *base = name;
        for (const char *p = name; *p; ++p)
            if (is_separator(*p))
                base = p + 1;
        if (base != name) {
            TextBuffer dir;
            dir.append(name, static_cast<std::size_t>(base - name));
            write_file_record(base, dir.data);
            return;
        }
        write_file_record(name, nullptr);
        return;
    }
    if (debug_full_path) {
        TextBuffer path;
        full_path(name, path);
        write_file_record(path.data, nullptr);
        return;
    }
    write_file_record(name, nullptr);
}

void debug_file_name(const char *name, TextBuffer &out)
{
    if (debug_no_path) {
        const char *base = name;
        for (const char *p = name; *p; ++p)
            if (is_separator(*p))
                base = p + 1;
        out.append(base);
    } else if (debug_full_path) {
        full_path(name, out);
    } else {
        out.append(name);
    }
}

void emit_line(std::uint32_t line) { write_line(line); }

void emit_asm_text(const char *text, std::size_t n) { write_asm_text(text, n); }

void emit_data_start(const Symbol *s, bool even)
{
    if (s->sclass == SC_LOCALIZED) {
        write_data_at(s, s->value);
        return;
    }
    unsigned alignment = even ? 1 : data_alignment(s);
    if (!s->attr) {
        write_data(alignment, s);
        return;
    }
    std::uint32_t size = 0;
    if (s->type && !(s->type->kind == KIND_ARRAY && s->type->dim == 0) && s->type->kind != KIND_VOID &&
        s->type->kind != KIND_FUNCTION)
        size = static_cast<std::uint32_t>(type_size(s->type));
    write_data_attr(alignment, s->attr, size, s);
}

void emit_space(std::uint32_t n) { write_space(n); }

void emit_data_end() { write_data_end(); }

void emit_int_item(std::uint32_t value, unsigned size) { write_int(size, value); }

void emit_float_item(double value, unsigned size) { write_float(size, value); }

void emit_bytes(const void *bytes, std::size_t n) { write_bytes(bytes, n); }

void emit_address_item(const Node *node, unsigned size)
{
    std::uint16_t pointed = node->type && node->type->kind == KIND_POINTER ? node->type->attr : 0;
    std::uint32_t offset = node->value;
    if (node->leaf & LEAF_SYMBOL) {
        const Symbol *named = symbol_address(node, &offset);
        write_addr(size, named, 0, pointed, offset);
        return;
    }
    if (node->leaf & LEAF_LITERAL) {
        PoolEntry *e = node->literal;
        if (!e->label)
            e->label = new_label();
        write_addr(size, nullptr, e->label, pointed, offset);
        return;
    }
    write_addr(size, nullptr, 0, pointed, offset);
}

void emit_declaration(const Symbol *s, unsigned mode)
{
    bool function = s->type && s->type->kind == KIND_FUNCTION;
    if (mode == 0 && s->name && s->name->length == 4 && std::memcmp(s->name->chars, "_asm", 4) == 0)
        return;
    if (function && (s->attr & ATTR_INLINE) && (s->flags & SYM_DEFINED))
        return;
    std::uint32_t size = 0;
    if (function) {
        const Type *r = s->type->of;
        if (r && is_struct_or_union_kind(r->kind))
            size = static_cast<std::uint32_t>(type_size(r));
    } else if (mode && s->type && s->type->kind != KIND_VOID) {
        size = static_cast<std::uint32_t>(type_size(s->type));
    }
    std::uint8_t code = mode == 0 ? REC_EXTERN : mode == 0x800 ? REC_FUNC_DEF : REC_OBJ_DEF;
    write_declaration(code, s, s->attr, size);
}

void emit_space_names()
{
    // User-defined space names are written once each, the first time a
    // declaration or section could have used them; the built-in names are
    // known to the code generator (marked declared from the start).
    for (Symbol *s = space_names; s; s = s->next) {
        if ((s->flags & SYM_DECLARED) || !s->name)
            continue;
        s->flags |= SYM_DECLARED;
        TextBuffer name;
        name.append(s->name->chars, s->name->length);
        write_space_name(name.data);
    }
}

void emit_section(std::uint32_t line, std::uint16_t value, const char *name)
{
    emit_file(current_file_name());
    emit_line(line);
    write_section(value, name);
}

void emit_literal_pool()
{
    for (PoolEntry *e = constant_pool; e; e = e->link) {
        if (!e->label)
            continue;
        std::uint8_t forms = e->written[0] & 0x0F;
        if (forms) {
            // A floating constant: one item per form it was used in.
            double value = 0;
            if (e->length == sizeof value)
                std::memcpy(&value, e->bytes, sizeof value);
            static const struct {
                std::uint8_t mark;
                unsigned offset, size;
            } form_items[] = {{1, 0, 2}, {2, 2, 2}, {4, 4, 4}, {8, 6, 8}};
            for (const auto &f : form_items) {
                if (!(forms & f.mark) || (e->written[1] & f.mark))
                    continue;
                e->written[1] |= f.mark;
                write_data_label(even_align_data ? 4 : 0, e->label + f.offset);
                write_float(f.size, value);
                write_data_end();
            }
            continue;
        }
        if (e->written[1] & 0x80)
            continue;
        e->written[1] |= 0x80;
        write_data_label(0, e->label);
        if (e->length)
            write_bytes(e->bytes, e->length);
        else
            write_int(1, 0);
        write_data_end();
    }
}

void emit_reset()
{
    last_file_written = nullptr;
    have_directory = false;
}
