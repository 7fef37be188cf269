// Memory-space modifiers: the table of names accepted after `@`, the
// reading of one modifier, and the pragmas whose bodies are declarations
// (#pragma space, #pragma section, #pragma attribute), read through a
// redirection of the tokenizer to the pragma's own tokens.
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/pptoken.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"
#include "output/emit.h"
#include "parse/declare.h"
#include "runtime/alloc.h"

namespace {

constexpr unsigned KW_AUTO = 128, KW_CONST = 132, KW_EXTERN = 139, KW_STATIC = 151, KW_VOLATILE = 158;

// The bit the next user-defined space name gets: the newest entry's bit
// shifted right by one, none after the eighth.
std::uint16_t next_user_bit = 0x80;
Symbol **space_names_tail = &space_names;

Symbol *add_space_name(const char *text, std::size_t n, std::uint16_t bits)
{
    Symbol *scratch = nullptr;
    Symbol *s = new_symbol(&scratch, intern_name(text, n), SC_NONE, nullptr);
    s->attr = bits;
    s->next = nullptr;
    *space_names_tail = s;
    space_names_tail = &s->next;
    return s;
}

Symbol *find_space_name(const Name *name)
{
    for (Symbol *s = space_names; s; s = s->next)
        if (s->name == name)
            return s;
    return nullptr;
}

// The names of a section, kept for the run: the constant section is told
// apart by the identity of its name.
struct SectionName {
    SectionName *next;
    char text[1];
};
SectionName *section_names = nullptr;

const char *keep_section_name(const Name *name)
{
    for (SectionName *s = section_names; s; s = s->next)
        if (std::strlen(s->text) == name->length && std::memcmp(s->text, name->chars, name->length) == 0)
            return s->text;
    auto *s = static_cast<SectionName *>(allocate(sizeof(SectionName) + name->length));
    std::memcpy(s->text, name->chars, name->length);
    s->text[name->length] = 0;
    s->next = section_names;
    section_names = s;
    return s->text;
}

// A run of `@` modifiers (and, where allowed, const and volatile) into a
// word starting from 0; the first other token is given back.
std::uint16_t read_modifiers(bool with_const, bool with_volatile)
{
    std::uint16_t word = 0;
    for (;;) {
        Token *t = next_token();
        if (t->code == TK_AT) {
            parse_space_modifier(&word);
        } else if (with_const && t->code == KW_CONST) {
            word |= ATTR_CONST;
        } else if (with_volatile && t->code == KW_VOLATILE) {
            word |= ATTR_VOLATILE;
        } else {
            push_back_token();
            return word;
        }
    }
}

void space_pragma()
{
    // The scope: one entry, the const table, or all four entries.
    int entry = -1;
    bool const_table = false;
    Token *t = next_token();
    switch (t->code) {
    case KW_EXTERN: entry = 0; break;
    case KW_STATIC: entry = 1; break;
    case KW_AUTO: entry = 2; break;
    case TK_STAR: entry = 3; break;
    case KW_CONST: const_table = true; break;
    default: push_back_token(); break;
    }
    bool data = true, code = true;
    t = next_token();
    if (t->code == TK_LBRACKET) {
        code = false;
        expect(TK_RBRACKET);
    } else if (t->code == TK_LPAREN) {
        data = false;
        expect(TK_RPAREN);
    } else {
        push_back_token();
    }
    std::uint16_t word = read_modifiers(false, true);
    if (const_table) {
        if (data && code) {
            static std::uint16_t own_const_table[4];
            const_defaults = own_const_table;
            for (std::uint16_t &e : own_const_table)
                e = word;
        } else {
            const_defaults = data ? data_defaults : code_defaults;
        }
        return;
    }
    for (int i = 0; i < 4; ++i) {
        if (entry >= 0 && i != entry)
            continue;
        if (data)
            data_defaults[i] = word;
        if (code)
            code_defaults[i] = word;
    }
}

void section_pragma(std::uint32_t line)
{
    std::uint16_t word = read_modifiers(true, false);
    Token *t = next_token();
    unsigned closing;
    if (t->code == TK_LPAREN) {
        word = apply_default_attributes(word, SC_EXTERN, KIND_FUNCTION);
        word |= ATTR_FUNCDECL;
        closing = TK_RPAREN;
    } else if (t->code == TK_LBRACKET) {
        word = apply_default_attributes(word, SC_EXTERN, 0);
        word |= ATTR_VOLATILE;
        closing = TK_RBRACKET;
    } else if (t->code == TK_LBRACE) {
        word = apply_default_attributes(word, SC_EXTERN, 0);
        closing = TK_RBRACE;
    } else {
        push_back_token();
        return;
    }
    const Name *name = nullptr;
    t = next_token();
    if (t->code == TK_IDENT)
        name = reinterpret_cast<const Name *>(t->value);
    else
        push_back_token();
    expect(static_cast<std::uint16_t>(closing));
    const char *text = name ? keep_section_name(name) : nullptr;
    emit_space_names();
    if (closing == TK_RBRACKET && !(word & ATTR_CONST))
        finish_unit(false);
    if (word & ATTR_CONST) {
        emit_literal_pool();
        constant_section = text;
    }
    if (!analyser_output)
        emit_section(line, word, text);
}

void attribute_pragma()
{
    Symbol decl{};
    parse_specifiers(&decl, BLOCK_CLASSES);
    if (!parse_declarator(&decl)) {
        report("invalid #pragma attribute syntax");
        return;
    }
    if (!decl.name) {
        report("missing #pragma attribute name");
        return;
    }
    if (find_symbol(decl.name, attribute_list, nullptr)) {
        report("duplicate #pragma attribute name %.*s", decl.name->length, decl.name->chars);
        return;
    }
    if (find_symbol(decl.name, ident_list, nullptr)) {
        report("redeclared #pragma attribute name %.*s", decl.name->length, decl.name->chars);
        return;
    }
    Symbol *s = new_symbol(&attribute_list, decl.name, decl.sclass, decl.type);
    s->attr = decl.attr;
    s->flags = decl.flags;
    s->value = decl.value;
}

}  // namespace

void init_space_names()
{
    static const struct {
        const char *name;
        std::uint16_t bits;
    } start[] = {{"tiny", SPACE_TINY},      {"near", SPACE_NEAR},     {"far", SPACE_FAR},
                 {"nostack", ATTR_NOSTACK}, {"inline", ATTR_INLINE}, {"packed", ATTR_PACKED}};
    space_names = nullptr;
    space_names_tail = &space_names;
    for (const auto &s : start)
        add_space_name(s.name, std::strlen(s.name), s.bits)->flags = SYM_DECLARED;
    next_user_bit = 0x80;
}

void parse_space_modifier(std::uint16_t *attr)
{
    Token *t = next_token();
    if (t->code == TK_INLINE) {
        *attr |= ATTR_INLINE;
        return;
    }
    if (t->code != TK_IDENT) {
        push_back_token();
        report("bad space modifier");
        return;
    }
    auto *name = reinterpret_cast<Name *>(t->value);
    Symbol *entry = find_space_name(name);
    if (!entry) {
        entry = add_space_name(name->chars, name->length, next_user_bit);
        next_user_bit = static_cast<std::uint16_t>(next_user_bit >> 1);
        if (!entry->attr)
            report("too many space modifiers");
    }
    if ((entry->attr & ATTR_SPACE) && (*attr & ATTR_SPACE)) {
        report("ambiguous space modifier");
        return;
    }
    *attr |= entry->attr;
}

std::uint16_t declaration_pragma(DeclarationPragma which, PpToken *list, std::uint32_t line)
{
    // The end of the line reads as `;`, so that the parsers see where the
    // pragma ends and the caller can tell whether they read it all.
    for (PpToken *t = list; t; t = t->next)
        if (!t->next && t->kind == TK_EOL)
            t->kind = TK_SEMICOLON;
    redirect_tokens(list);
    switch (which) {
    case PRAGMA_SPACE: space_pragma(); break;
    case PRAGMA_SECTION: section_pragma(line); break;
    case PRAGMA_ATTRIBUTE: attribute_pragma(); break;
    }
    std::uint16_t next = redirect_tokens(nullptr);
    free_pp_list(list);
    return next;
}

void spaces_reset()
{
    while (SectionName *s = section_names) {
        section_names = s->next;
        release(s);
    }
    space_names = nullptr;
    space_names_tail = &space_names;
    next_user_bit = 0x80;
}
