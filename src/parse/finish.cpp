// The end-of-unit pass over the file-scope symbols: names used but never
// declared, static functions called but never defined, the storage of
// objects declared without an initializer, and the definition and
// external-reference records the code generator needs.
#include "base/diagnostics.h"
#include "base/options.h"
#include "base/token.h"
#include "lexer/pptoken.h"
#include "model/names.h"
#include "model/types.h"
#include "output/emit.h"
#include "parse/declare.h"

namespace {

void report_name(const char *message, const Symbol *s)
{
    report(message, s->name ? s->name->length : 0, s->name ? s->name->chars : "");
}

bool is_function(const Symbol *s) { return s->type && s->type->kind == KIND_FUNCTION; }

bool is_unknown_array(const Symbol *s) { return s->type && s->type->kind == KIND_ARRAY && s->type->dim == 0; }

bool storage_pending(const Symbol *s)
{
    return (s->flags & SYM_DECLARED) && (s->sclass == SC_NONE || s->sclass == SC_STATIC) &&
           !(s->flags & SYM_DEFINED);
}

std::uint32_t storage_size(const Symbol *s)
{
    if (!s->type || s->type->kind == KIND_VOID)
        return 0;
    return static_cast<std::uint32_t>(type_size(s->type));
}

// Under -b, after storage that left the running total odd: the first
// later object of one byte waiting for its storage is moved behind `s`,
// so that it is written next and the total is even again.
void pull_single_byte_behind(Symbol *s)
{
    for (Symbol **link = &s->next; *link; link = &(*link)->next) {
        Symbol *c = *link;
        if (storage_pending(c) && !is_function(c) && !is_unknown_array(c) && storage_size(c) == 1) {
            *link = c->next;
            c->next = s->next;
            s->next = c;
            return;
        }
    }
}

}  // namespace

void finish_unit(bool final)
{
    std::uint32_t total = 0;
    for (Symbol *s = ident_list; s; s = s->next) {
        if (!(s->flags & SYM_DECLARED)) {
            if (final)
                report_at(s->line, s->column, "%.*s undefined", s->name ? s->name->length : 0,
                          s->name ? s->name->chars : "");
            continue;
        }
        if (storage_pending(s)) {
            if (is_function(s)) {
                if (final && (s->flags & SYM_USED))
                    report_name("static function %.*s undefined", s);
            } else if (is_unknown_array(s)) {
                report_name("array size unknown %.*s", s);
                s->type->dim = 1;
                s->flags |= SYM_DEFINED;
            } else if (!(final && s->sclass == SC_STATIC && !(s->flags & SYM_USED) && !keep_unused_statics)) {
                std::uint32_t size = storage_size(s);
                emit_data_start(s);
                emit_space(size);
                emit_data_end();
                total += size;
                if (even_align_data && (total & 1) && size != 0)
                    pull_single_byte_behind(s);
                s->flags |= SYM_DEFINED;
            }
        }
        if (!final)
            continue;
        if (s->sclass == SC_NONE) {
            if (is_unknown_array(s))
                report_name("array %.*s size unknown", s);
            else
                emit_declaration(s, 1);
        } else if (s->sclass == SC_EXTERN) {
            if (is_function(s) && (s->flags & SYM_DEFINED))
                emit_declaration(s, 1);
            else if (s->flags & SYM_USED)
                emit_declaration(s, 0);
        }
    }
}
