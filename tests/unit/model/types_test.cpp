// The type and symbol model: sizes and alignment on the target, type and
// assignment compatibility, merging of redeclarations, default attributes,
// name spaces and scopes, and the recycling of a function's records.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "../support.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "lexer/pptoken.h"
#include "model/names.h"
#include "model/types.h"
#include "runtime/pool.h"

namespace {

Name *name(const char *text) { return intern_name(text, std::strlen(text)); }

Type *ptr(Type *of, std::uint16_t attr = 0) { Type *t = new_type(KIND_POINTER, of); t->attr = attr; return t; }
Type *arr(Type *of, std::uint32_t dim) { Type *t = new_type(KIND_ARRAY, of); t->dim = dim; return t; }
Type *no_proto(Type *result) { return new_type(KIND_FUNCTION, result); }

// A function type whose parameters have these types (null: an old-style
// name), ended by the void marker unless it is variable or old style.
Type *fn(Type *result, std::initializer_list<Type *> params, bool marker = true)
{
    Type *f = new_type(KIND_FUNCTION, result);
    if (marker)
        new_symbol(&f->params, nullptr, SC_NONE, &type_void);
    for (auto p = std::rbegin(params); p != std::rend(params); ++p)
        new_symbol(&f->params, *p ? nullptr : name("a"), SC_NONE, *p);
    return f;
}

// A tagged struct holding members of these types.
Type *agg(const char *tag, std::initializer_list<Type *> members = {}, std::uint32_t size = 0)
{
    Type *t = new_type(KIND_STRUCT, nullptr);
    t->tag = new_symbol(&tag_list, name(tag), SC_NONE, t);
    for (auto m = std::rbegin(members); m != std::rend(members); ++m)
        new_symbol(&t->members, name("m"), SC_MEMBER, *m);
    t->size = size;
    return t;
}

Type *enum_of(Type *integer, bool with_body = true)
{
    Type *e = new_type(KIND_ENUM, integer);
    if (with_body)
        e->enumerators = new_symbol(&ident_list, name("E0"), SC_ENUMERATOR, integer);
    return e;
}

struct Pair { Type *a, *b; };

class TypesTest : public CompilerTest {
protected:
    // The message texts, one a line, without their position prefix.
    std::string texts()
    {
        std::string all = messages(), out;
        for (std::size_t start = 0, end; start < all.size(); start = end + 1) {
            end = all.find('\n', start);
            std::string line = all.substr(start, end - start);
            out += line.substr(line.find(":0 ") + 3) + "\n";
        }
        return out;
    }
    // Letters: f -f, u -u, s -sa, w -nw, e -ne.
    static void set_options(const char *opts)
    {
        auto has = [opts](char c) { return std::strchr(opts, c) ? 1 : 0; };
        single_float = has('f'), plain_char_unsigned = has('u'), strict_ansi = has('s');
        no_widen_arguments = has('w'), no_enum_optimization = has('e');
        types_reset();
        types_init();
    }
};

TEST_F(TypesTest, SizesAndAlignmentOnTheTarget)
{
    struct Case { const char *opts; Type *(*make)(); int size; bool even; const char *message; } cases[] = {
        {"", [] { return &type_char; }, 1, false, ""},
        {"u", [] { return plain_char_type; }, 1, false, ""},
        {"", [] { return &type_int; }, 2, true, ""},
        {"", [] { return &type_double; }, 8, true, ""},
        {"f", [] { return &type_double; }, 4, true, ""},
        {"", [] { return new_type(KIND_BITS8, nullptr); }, 1, false, ""},
        {"", [] { return ptr(&type_char); }, 2, true, ""},
        {"", [] { return ptr(&type_char, SPACE_TINY); }, 1, false, ""},
        {"", [] { return ptr(&type_char, SPACE_NEAR); }, 2, true, ""},
        {"", [] { return ptr(&type_char, SPACE_FAR); }, 4, true, ""},
        {"", [] { return arr(arr(&type_long, 3), 5); }, 60, true, ""},
        {"", [] { return arr(ptr(&type_int, SPACE_TINY), 3); }, 3, false, ""},
        {"", [] { return agg("S", {&type_char, &type_char}, 2); }, 2, true, ""},
        {"", [] { return agg("S", {&type_char}, 1); }, 1, false, ""},
        {"", [] { return agg("S", {&type_char, &type_int}, 1); }, 1, true, ""},  // a member needs it
        {"", [] { return enum_of(&type_uchar); }, 1, false, ""},
        // Unknown sizes are reported and count 0; an enum goes on with its type.
        {"", [] { return enum_of(&type_int, false); }, 2, true, "enum size unknown\n"},
        {"e", [] { return enum_of(&type_int, false); }, 2, true, ""},
        {"", [] { return agg("S"); }, 0, false, "struct/union size unknown\n"},
        {"", [] { return arr(&type_int, 0); }, 0, true, "array size unknown\n"},
        {"", [] { return arr(agg("S"), 4); }, 0, false, "struct/union size unknown\n"},
        {"", [] { return &type_void; }, 0, true, "size unknown\n"},
        {"", [] { return fn(&type_int, {}); }, 0, true, "size unknown\n"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        set_options(cases[i].opts);
        Type *t = cases[i].make();
        EXPECT_EQ(type_size(t), cases[i].size);
        EXPECT_EQ(needs_even_alignment(t), cases[i].even);
        EXPECT_EQ(texts(), cases[i].message);
    }
}

// Each pair is tested both ways a declaration or an expression asks:
// are the types compatible, and may a value of b be assigned to a?
// Function types are only compared.
TEST_F(TypesTest, CompatibilityAndAssignment)
{
    struct Case { const char *opts; Pair (*make)(); bool compatible, assignable; } cases[] = {
        {"", [] { return Pair{ptr(agg("A")), ptr(agg("B"))}; }, true, true},  // both incomplete
        {"", [] { return Pair{ptr(agg("A", {&type_int}, 2)), ptr(agg("B"))}; }, false, false},
        {"", [] { return Pair{agg("S", {&type_int}, 2), agg("S")}; }, true, true},
        {"", [] { return Pair{agg("S", {&type_int}, 2), agg("S", {&type_int}, 2)}; }, false, false},
        {"", [] { return Pair{ptr(&type_int), ptr(&type_int, SPACE_NEAR)}; }, true, true},
        {"", [] { return Pair{ptr(&type_int), ptr(&type_int, SPACE_FAR)}; }, false, false},
        {"", [] { return Pair{ptr(&type_int, SPACE_FAR), ptr(&type_int)}; }, false, true},
        {"", [] { return Pair{ptr(&type_int, SPACE_FAR), ptr(&type_int, SPACE_TINY)}; }, false, true},
        {"", [] { return Pair{ptr(&type_int, SPACE_TINY), ptr(&type_int)}; }, false, false},
        {"", [] { return Pair{ptr(ptr(&type_int)), ptr(ptr(&type_int, SPACE_FAR))}; }, false, false},
        {"", [] { return Pair{ptr(ptr(&type_int), SPACE_FAR), ptr(ptr(&type_int))}; }, false, true},
        {"", [] { return Pair{ptr(&type_void), ptr(&type_long)}; }, false, true},
        {"", [] { return Pair{ptr(ptr(&type_int)), ptr(&type_void)}; }, false, true},
        {"", [] { return Pair{ptr(&type_int), ptr(&type_long)}; }, false, false},
        {"", [] { return Pair{ptr(&type_char), ptr(&type_char, ATTR_CONST)}; }, true, true},
        {"s", [] { return Pair{ptr(&type_char), ptr(&type_char, ATTR_CONST)}; }, true, false},
        {"s", [] { return Pair{ptr(&type_char, ATTR_CONST | ATTR_VOLATILE), ptr(&type_char, ATTR_VOLATILE)}; }, true, true},
        {"", [] { return Pair{arr(&type_int, 3), arr(&type_int, 0)}; }, true, true},
        {"", [] { return Pair{arr(&type_int, 3), arr(&type_int, 4)}; }, false, true},
        {"", [] { return Pair{enum_of(&type_uchar), &type_uchar}; }, true, true},
        {"", [] { return Pair{enum_of(&type_uchar), &type_int}; }, false, true},
        {"", [] { return Pair{&type_char, &type_double}; }, false, true},
        {"", [] { return Pair{ptr(&type_int), &type_int}; }, false, false},
        {"", [] { return Pair{&type_int, ptr(&type_int)}; }, false, false},
        {"", [] { return Pair{&type_long, agg("S", {&type_int}, 2)}; }, false, false},
        {"", [] { return Pair{agg("S", {&type_int}, 2), agg("T", {&type_int}, 2)}; }, false, false},
        // Functions, for compatibility only; first a prototype against a prototype.
        {"", [] { return Pair{no_proto(&type_int), no_proto(&type_long)}; }, false, false},
        {"", [] { return Pair{fn(&type_int, {&type_int}), fn(&type_int, {&type_int})}; }, true, false},
        {"", [] { return Pair{fn(&type_int, {&type_int}), fn(&type_int, {&type_long})}; }, false, false},
        {"", [] { return Pair{fn(&type_int, {&type_int}), fn(&type_int, {&type_int, &type_int})}; }, false, false},
        {"", [] { return Pair{fn(&type_int, {ptr(&type_void)}), fn(&type_int, {ptr(&type_long)})}; }, true, false},
        {"", [] { return Pair{fn(&type_int, {ptr(&type_long)}), fn(&type_int, {ptr(&type_void)})}; }, true, false},
        {"", [] { return Pair{fn(&type_int, {ptr(&type_char, ATTR_CONST)}), fn(&type_int, {ptr(&type_char)})}; }, true, false},
        {"s", [] { return Pair{fn(&type_int, {ptr(&type_char, ATTR_CONST)}), fn(&type_int, {ptr(&type_char)})}; }, false, false},
        // A prototype against a declaration without one.
        {"", [] { return Pair{fn(&type_int, {&type_char}), no_proto(&type_int)}; }, false, false},
        {"w", [] { return Pair{fn(&type_int, {&type_char}), no_proto(&type_int)}; }, true, false},
        {"", [] { return Pair{no_proto(&type_int), fn(&type_int, {&type_float})}; }, false, false},
        {"f", [] { return Pair{no_proto(&type_int), fn(&type_int, {&type_float})}; }, true, false},
        {"f", [] { return Pair{fn(&type_int, {&type_double}), no_proto(&type_int)}; }, true, false},
        {"", [] { return Pair{fn(&type_int, {&type_int}, false), no_proto(&type_int)}; }, false, false},  // (int, ...)
        {"", [] { return Pair{fn(&type_int, {&type_int}), fn(&type_int, {nullptr}, false)}; }, true, false},
        {"", [] { return Pair{fn(&type_int, {&type_int}), fn(&type_int, {nullptr, nullptr}, false)}; }, false, false},
        {"", [] { return Pair{fn(&type_int, {&type_int, &type_int}), fn(&type_int, {nullptr}, false)}; }, false, false},
        {"", [] { return Pair{fn(&type_int, {nullptr}, false), fn(&type_int, {nullptr, nullptr}, false)}; }, true, false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        set_options(cases[i].opts);
        Pair p = cases[i].make();
        EXPECT_EQ(types_compatible(p.a, p.b), cases[i].compatible);
        if (p.a->kind != KIND_FUNCTION) {
            EXPECT_EQ(assign_compatible(p.a, p.b), cases[i].assignable);
        }
    }
}

TEST_F(TypesTest, RedeclarationsMerge)
{
    // int a[]; then int a[10]: the earlier declaration gets the dimension.
    Type *a = arr(&type_int, 0);
    merge_declaration_types(a, arr(&type_int, 10));
    merge_declaration_types(a, arr(&type_int, 20));
    EXPECT_EQ(a->dim, 10u);
    // int (*p)(); later with qualifiers and a prototype: the attribute words
    // gather and the list fills in; a declaration without one keeps it.
    Type *f = no_proto(&type_int), *p = ptr(f), *later = fn(&type_int, {&type_int});
    merge_declaration_types(p, ptr(later, ATTR_CONST));
    merge_declaration_types(p, ptr(no_proto(&type_int), ATTR_VOLATILE));
    EXPECT_EQ(p->attr, ATTR_CONST | ATTR_VOLATILE);
    EXPECT_EQ(f->params, later->params);
    // Enum levels pass on to their integer type; another kind ends the walk.
    Type *e = arr(enum_of(&type_uchar), 0);
    merge_declaration_types(e, arr(&type_uchar, 4));
    EXPECT_EQ(e->dim, 4u);
    merge_declaration_types(a = arr(&type_int, 0), ptr(&type_int, SPACE_FAR));
    EXPECT_EQ(a->dim, 0u);

    struct Case { std::uint16_t earlier, later, merged; const char *message; } cases[] = {
        {SPACE_FAR, SPACE_FAR | ATTR_CONST, SPACE_FAR | ATTR_CONST, ""},
        {0, SPACE_TINY, SPACE_TINY, ""},
        {SPACE_NEAR | ATTR_NOSTACK, 0x0001, SPACE_NEAR | ATTR_NOSTACK | 0x0001, ""},
        {SPACE_TINY, SPACE_NEAR, SPACE_FAR, "space attribute conflict\n"},
    };
    for (Case &c : cases) {
        Symbol earlier{}, again{};
        earlier.attr = c.earlier, again.attr = c.later;
        merge_attributes(&earlier, &again);
        EXPECT_TRUE(earlier.attr == c.merged && texts() == c.message) << c.earlier << " " << c.later;
    }
}

TEST_F(TypesTest, DefaultAttributesAndTheMemoryModel)
{
    set_options("");
    set_memory_model(0x3004);  // far data, nostack code
    data_defaults[1] = SPACE_TINY | ATTR_VOLATILE;
    data_defaults[3] = SPACE_NEAR;
    struct Case { std::uint16_t attr; unsigned context, kind; std::uint16_t expected; } cases[] = {
        {0, SC_NONE, KIND_INT, SPACE_FAR},
        {0, SC_EXTERN, KIND_INT, SPACE_FAR},
        {0, SC_AUTO, KIND_INT, SPACE_FAR},
        {0, SC_STATIC, KIND_INT, SPACE_TINY | ATTR_VOLATILE},
        {0, CONTEXT_POINTED_TO, KIND_INT, SPACE_NEAR},
        {SPACE_TINY, SC_NONE, KIND_INT, SPACE_TINY},
        {0, SC_NONE, KIND_FUNCTION, ATTR_NOSTACK},
        {0x0080, SC_STATIC, KIND_FUNCTION, 0x0080},
        {ATTR_NOSTACK, SC_STATIC, KIND_INT, ATTR_NOSTACK | SPACE_TINY},
        {0x0001, SC_STATIC, KIND_INT, 0x0001 | SPACE_TINY},
        // const data takes the code table unless it is a local or an argument.
        {ATTR_CONST, SC_NONE, KIND_INT, ATTR_CONST | ATTR_NOSTACK},
        {ATTR_CONST, SC_AUTO, KIND_INT, ATTR_CONST | SPACE_FAR},
        {ATTR_CONST, SC_ARGUMENT, KIND_INT, ATTR_CONST | SPACE_FAR},
        {ATTR_CONST, SC_REGISTER, KIND_INT, ATTR_CONST | ATTR_NOSTACK},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(apply_default_attributes(cases[i].attr, cases[i].context, cases[i].kind), cases[i].expected) << i;
    const_defaults = data_defaults;
    EXPECT_EQ(apply_default_attributes(ATTR_CONST, SC_STATIC, KIND_INT), ATTR_CONST | SPACE_TINY | ATTR_VOLATILE);

    // Each byte of the model sets all four entries of one table; 0 none.
    set_options("");
    set_memory_model(0x1000);
    set_memory_model(0x0030);
    EXPECT_EQ(code_defaults[0] & code_defaults[3], SPACE_FAR);
    EXPECT_EQ(data_defaults[0] & data_defaults[3], SPACE_TINY);
    EXPECT_EQ(const_defaults, code_defaults);

    // Integer ranks: int ranks with short.
    const std::uint8_t higher[][2] = {{KIND_UINT, KIND_INT}, {KIND_UINT, KIND_SHORT}, {KIND_LONG, KIND_UINT},
                                      {KIND_INT, KIND_UCHAR}, {KIND_DOUBLE, KIND_FLOAT}};
    for (auto &k : higher)
        EXPECT_TRUE(kind_ranks_higher(k[0], k[1]) && !kind_ranks_higher(k[1], k[0])) << int(k[0]);
    EXPECT_FALSE(kind_ranks_higher(KIND_INT, KIND_SHORT) || kind_ranks_higher(KIND_SHORT, KIND_INT));
    EXPECT_FALSE(kind_ranks_higher(KIND_INT, KIND_USHORT) || kind_ranks_higher(KIND_USHORT, KIND_UINT));
}

TEST_F(TypesTest, ScopesAndNameSpaces)
{
    Name *x = name("x"), *s = name("S");
    EXPECT_EQ(name_declared(x), 0);
    Symbol *file_x = new_symbol(&ident_list, x, SC_NONE, &type_int);
    EXPECT_EQ(name_declared(x), 1);
    Symbol *file_tag = new_symbol(&tag_list, s, SC_NONE, nullptr);
    Symbol *file_s = new_symbol(&ident_list, s, SC_TYPEDEF, &type_long);
    EXPECT_EQ(find_symbol(s, tag_list, nullptr), file_tag) << "tags apart from identifiers";
    EXPECT_EQ(find_symbol(s, ident_list, nullptr), file_s);

    // A block: its x shadows the file's, its tag the file's tag.
    ScopeMark outer = open_scope();
    EXPECT_EQ(find_symbol(x, ident_list, ident_scope), nullptr) << "not yet declared in the block";
    Symbol *block_x = new_symbol(&ident_list, x, SC_AUTO, &type_char);
    Symbol *block_y = new_symbol(&ident_list, name("y"), SC_AUTO, &type_char);
    Symbol *block_tag = new_symbol(&tag_list, s, SC_NONE, nullptr);
    EXPECT_EQ(find_symbol(x, ident_list, ident_scope), block_x);
    EXPECT_EQ(find_symbol(s, tag_list, nullptr), block_tag);
    block_x->flags |= SYM_HIDDEN;
    EXPECT_EQ(find_symbol(x, ident_list, nullptr), file_x) << "a hidden symbol is passed over";
    block_x->flags = 0;

    Symbol *locals = close_scope(outer);
    ASSERT_TRUE(locals == block_y && locals->next == block_x);
    EXPECT_EQ(block_x->next, nullptr) << "the block keeps a list of its own";
    EXPECT_TRUE(ident_list == file_s && ident_scope == nullptr && tag_scope == nullptr);
    EXPECT_EQ(find_symbol(x, ident_list, nullptr), file_x);
    EXPECT_EQ(find_symbol(s, tag_list, nullptr), file_tag);
    EXPECT_EQ(dropped_tags, block_tag);

    // The declared byte is what lets a lookup skip the walk altogether.
    name_declared(x) = 0;
    EXPECT_EQ(find_symbol(x, ident_list, nullptr), nullptr);
    name_declared(x) = 1;

    // A parameter list collects its enumerators and tags apart; nested
    // lists each have their own, and the outer lists are untouched.
    Type *f = no_proto(&type_int), *g = no_proto(&type_int);
    PrototypeMark saved = begin_prototype_lists();
    Symbol *e = new_symbol(enumerator_list_for_declaration(), name("E"), SC_ENUMERATOR, nullptr);
    PrototypeMark inner = begin_prototype_lists();
    Symbol *t = new_symbol(tag_list_for_declaration(), name("T"), SC_NONE, nullptr);
    end_prototype_lists(g, inner);
    EXPECT_EQ(proto_depth, 1);
    end_prototype_lists(f, saved);
    EXPECT_EQ(proto_depth, 0);
    EXPECT_TRUE(f->proto_enums == e && f->proto_tags == nullptr);
    EXPECT_TRUE(g->proto_enums == nullptr && g->proto_tags == t);
    EXPECT_TRUE(ident_list == file_s && tag_list == file_tag);
    EXPECT_TRUE(enumerator_list_for_declaration() == &ident_list && tag_list_for_declaration() == &tag_list);

    // Enumerators chain through their type; the last one holds the type.
    Symbol *enums = nullptr, *last = new_symbol(&enums, name("B"), SC_ENUMERATOR, &type_uchar);
    last->flags = SYM_LAST;
    new_symbol(&enums, name("A"), SC_ENUMERATOR, nullptr)->next_enumerator = last;
    EXPECT_EQ(enumerator_type(enums), &type_uchar);
}

TEST_F(TypesTest, AFunctionsRecordsComeBackAndAreReused)
{
    Type *file_type = new_type(KIND_POINTER, &type_int);
    begin_function_types();
    std::set<Type *> made;
    for (int i = 0; i < 300; ++i)
        made.insert(arr(&type_int, 0xFFFFFFFF));
    Type *kept = new_type(KIND_ARRAY | KIND_PERMANENT, &type_int);
    end_function_types();

    // The next types come from the function's records, and only from them.
    EXPECT_EQ(made.count(new_type(KIND_POINTER, &type_char)), 1u);
    begin_function_types();
    for (int i = 0; i < 299; ++i) {
        Type *t = new_type(KIND_FUNCTION, &type_int);
        EXPECT_TRUE(made.count(t) == 1 && !t->params && !t->proto_tags) << "a reused record starts clear";
    }
    Type *fresh = new_type(KIND_POINTER, &type_int);
    EXPECT_TRUE(!made.count(fresh) && fresh != file_type && fresh != kept && kept->kind == KIND_ARRAY);
    end_function_types();

    // Released symbols are the next ones made; a function's block tags
    // wait until they are released with its records.
    Symbol *labels = nullptr;
    std::set<Symbol *> released;
    for (int i = 0; i < 5; ++i)
        released.insert(new_symbol(&labels, name("L"), SC_NONE, nullptr));
    released.erase(labels->next->next->next->next);
    release_symbols(labels, labels->next->next->next->next);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(released.count(new_symbol(&ident_list, name("x"), SC_AUTO, &type_int)), 1u);
    ScopeMark outer = open_scope();
    Symbol *tag = new_symbol(&tag_list, name("T"), SC_NONE, nullptr);
    close_scope(outer);
    EXPECT_NE(new_symbol(&ident_list, name("y"), SC_AUTO, nullptr), tag);
    release_dropped_tags();
    EXPECT_EQ(new_symbol(&ident_list, name("z"), SC_AUTO, nullptr), tag);

    // A mark gives back what was taken since (an initializer element's
    // nodes); the end of the generation gives back the rest.
    struct Record { Record *link; };
    RecordPool pool = record_pool<Record>(4);
    void *before = pool_take(&pool, true), *mark = pool_mark(&pool);
    std::set<void *> taken = {before};
    for (int i = 0; i < 6; ++i)
        taken.insert(pool_take(&pool, true));
    pool_return_to(&pool, mark);
    EXPECT_EQ(pool_mark(&pool), before);
    for (int i = 0; i < 6; ++i)
        pool_take(&pool, true);
    pool_end_generation(&pool);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(taken.count(pool_take(&pool, false)), 1u);
    EXPECT_EQ(taken.count(pool_take(&pool, false)), 0u);
    pool_reset(&pool);

    EXPECT_EQ(pool_string("ab", 2), pool_intern("ab", 2)) << "one pool for literals and constants";
}

TEST_F(TypesTest, TheRunAppliesTheTypeOptions)
{
    static bool seen;
    seen = false;
    write_file(path, "");
    Args args{"zpc", "-u", "-f", "-m0x2010", "-o", dir / "out.o", path};
    RunHooks hooks{[] {
                       seen = plain_char_type == &type_uchar && type_double.kind == KIND_FLOAT &&
                              code_defaults[3] == SPACE_TINY && data_defaults[0] == SPACE_NEAR;
                   },
                   false};
    std::FILE *messages_stream = error_stream;
    EXPECT_EQ(zpc_run(args.argc, args.argv, &hooks), 0);
    EXPECT_TRUE(seen);
    zpc_reset();
    error_stream = messages_stream;
    EXPECT_TRUE(type_double.kind == KIND_DOUBLE && plain_char_type == &type_char && code_defaults[3] == 0);
}

}  // namespace
