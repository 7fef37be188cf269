// Declarations: the specifiers, declarators and parameter lists that every
// declaration shares (file scope, blocks, parameters, members, type names,
// #pragma attribute), the @ address or alias after a declarator, and the
// external declarations of a unit.
#pragma once
#include <cstdint>

#include "preproc/pragma.h"

struct Node;
struct Symbol;
struct Token;
struct Type;

// Storage classes allowed by context, each list ended by SC_NONE. A list
// that begins with SC_INLINE lets `inline` act as a storage class.
extern const std::uint8_t FILE_SCOPE_CLASSES[];
extern const std::uint8_t FILE_SCOPE_CLASSES_C99[];
extern const std::uint8_t BLOCK_CLASSES[];  // also #pragma attribute
extern const std::uint8_t PARAMETER_CLASSES[];

// Set by parse_specifiers: the declaration named no type (implicit int),
// and every type keyword bit met since its start.
extern bool implicit_int;
extern std::uint16_t keywords_seen;

// Reads declaration specifiers into `decl` (a record in no list): storage
// class, type, attribute word and the value a typedef carries. `allowed`
// null: any class is left for the caller to judge. False when the tokens
// do not begin a declaration; nothing is consumed then.
bool parse_specifiers(Symbol *decl, const std::uint8_t *allowed);
// Whether token t can begin the specifiers of a type name (`@`, a storage
// class or type keyword, a typedef name): a quick test before trying.
bool may_start_type_name(const Token *t);
// One declarator over decl->type: the type chain in decl->type, the name
// in decl->name, the attribute word of the declared object in decl->attr.
// False when there was no declarator.
bool parse_declarator(Symbol *decl);
// After the `(` of a function declarator: the parameter list of
// `function`, up to but not including the `)`.
void parse_parameters(Type *function);
// An array or function parameter becomes a pointer.
void adjust_parameter(Symbol *sym);
// After a declarator and its `@`: an absolute address or an alias.
// `spec_attr` is the attribute word of the declaration specifiers.
void declare_at(Symbol *sym, std::uint16_t spec_attr);
// A function type whose parameter list is an old-style identifier list.
bool has_identifier_list(const Type *function);

// The names accepted after `@` (tiny, near, far, nostack, inline, packed;
// user-defined spaces are added as they are met), made once per run.
void init_space_names();
// After `@` in specifiers, pointer qualifiers or a pragma: a memory-space
// modifier ORed into *attr.
void parse_space_modifier(std::uint16_t *attr);
// The pragmas whose bodies are declarations, read from their own tokens
// (the list is consumed; its end reads as `;`); `line` is the pragma's
// line. Returns the code of the token the parser left unread.
std::uint16_t declaration_pragma(DeclarationPragma which, struct PpToken *list, std::uint32_t line);
void spaces_reset();
// After struct, union or enum: the tag and body, giving the type.
Type *parse_aggregate_specifier(unsigned keyword, std::uint16_t attr);

// Unit-wide flags of the external declarations.
extern bool something_declared;
extern bool object_declared;

// One external declaration, a function definition included.
void external_declaration();
// A file-scope declaration checked against what #pragma attribute said
// of its name; the pragma's attributes are added to it.
void check_pragma_attribute(Symbol *sym);
// The attribute-carrying type `a` of a #pragma attribute against the
// declared type `b`: a message, or null when they match.
const char *match_attribute_type(Type *a, Type *b);
// The symbol at the head of the current source file's declaration list
// (used by debug information), at most once.
void add_to_debug_list(Symbol *sym);
// The head of a source file's declaration list.
Symbol *debug_declarations(const struct SourceFile *file);

// After the declarator of a function: its body, when one follows.
bool function_definition(Symbol *sym, std::uint32_t start_line);
// After the declarator of an object: an optional initializer. True when
// the declaration defines the object.
bool read_initializer(Symbol *sym);
// After the declarator of a block-scope object: an optional initializer;
// the expression that initializes the object, or null.
Node *init_local(Symbol *sym);
// An `= initializer` that is passed over, up to the `,` or `;` after it.
void skip_initializer();

// The end of the unit (final) or the storage flush of #pragma section:
// undefined names, pending storage and the symbol records. Not built yet:
// it does nothing.
void finish_unit(bool final);

void release_kept_aliases();
void declare_reset();
