// Constant replacement of reads from const objects and string literals:
// the element an initializer left at the read's offset, the character of
// a literal, and the cases where nothing may be replaced.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "base/options.h"
#include "lexer/constants.h"
#include "parse/init.h"
#include "parse/parse.h"
#include "sema/check.h"

namespace {

using namespace tree_build;

class KnownTest : public CompilerTest {
protected:
    InitEntry entries[5]{};
    // const int tab[6] = {10, 20, [4] = 40}; with a two-field word at
    // offset 6 (a 3-bit field of 5 at bit 0, a 4-bit field of 9 at bit 3)
    // and a string "hi" at offset 8 of a 3-byte character array.
    Symbol *table()
    {
        Node *tab = var("tab", arr(&type_int, 6), ATTR_CONST, SC_STATIC);
        auto entry = [&](int i, std::uint32_t offset, Node *value, Type *type, std::uint32_t mask) {
            entries[i] = InitEntry{i < 4 ? &entries[i + 1] : nullptr, value, type, offset, mask, 0};
        };
        entry(0, 0, num(10), &type_int, 0);
        entry(1, 2, num(20), &type_int, 0);
        entry(2, 6, num(5, bits(KIND_BITSINT, 0, 3)), bits(KIND_BITSINT, 0, 3), 0x7);
        entry(3, 6, num(9, bits(KIND_BITSINT, 3, 4)), bits(KIND_BITSINT, 3, 4), 0x78);
        Node *text = new_node(OP_LEAF);
        text->literal = pool_intern("hi", 2);
        text->value = 2;
        text->right = nullptr;
        text->leaf = LEAF_LITERAL;
        text->type = arr(&type_char, 3);
        entry(4, 8, text, text->type, 0);
        tab->symbol->const_entries = entries;
        return tab->symbol;
    }
    // *(address of `s` + offset), read as `type`.
    Node *read(Symbol *s, std::uint32_t offset, Type *type)
    {
        Node *address = new_node(OP_LEAF);
        address->symbol = s;
        address->value = offset;
        address->right = nullptr;
        address->leaf = LEAF_SYMBOL;
        address->type = ptr(type, s->attr);
        return op(OP_DEREF, type, address);
    }
    std::string fetched(Node *n) { return text(fetch_value(&n)); }
};

TEST_F(KnownTest, ConstAggregatesByOffset)
{
    Symbol *tab = table();
    struct Case {
        std::uint32_t offset;
        Type *type;
        const char *result;  // empty: the read stays
    };
    const Case cases[] = {
        {0, &type_int, "(leaf int 10)"},
        {2, &type_int, "(leaf int 20)"},
        {4, &type_int, "(leaf int 0)"},         // not initialized
        {4, &type_char, "(leaf char 0)"},
        {2, &type_long, ""},                     // runs into the next element
        {1, &type_int, ""},                      // straddles two elements
        {3, &type_char, ""},                     // a byte of an element
        // A field's value keeps the type of the field read.
        {6, bits(KIND_BITSINT, 0, 3), "(leaf bitsint<0:3> 5)"},
        {6, bits(KIND_BITSINT, 3, 4), "(leaf bitsint<3:4> 9)"},
        {6, bits(KIND_BITSINT, 7, 2), "(leaf bitsint<7:2> 0)"},  // bits no field set
        {6, bits(KIND_BITSINT, 2, 3), ""},              // parts of both fields
        {6, &type_int, ""},                              // fields do not serve a whole read
        {8, &type_char, "(leaf char 104)"},
        {9, &type_char, "(leaf char 105)"},
        {10, &type_char, "(leaf char 0)"},               // past the literal, inside the array
        {8, &type_int, ""},                              // a string serves character reads
    };
    for (const Case &c : cases) {
        Node *n = read(tab, c.offset, c.type);
        std::string before = text(n);
        EXPECT_EQ(fetched(n), *c.result ? c.result : before) << c.offset << " " << before;
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(KnownTest, WhenNothingIsReplaced)
{
    Symbol *tab = table();
    Node *seven = num(7);
    Node *k = var("k", &type_int, ATTR_CONST, SC_STATIC);
    k->symbol->const_value = seven;
    EXPECT_EQ(fetched(k), "(leaf int 7)");
    Node *narrow = var("k", &type_char);
    narrow->symbol = k->symbol;
    EXPECT_EQ(fetched(narrow), "(leaf char sym k lvalue)") << "the read's size differs from the object's";

    const std::function<void()> settings[] = {
        [] { no_const_replacement = 1; },
        [] { constant_replacement_off = 1; },  // the operand of sizeof
        [&] { tab->attr |= ATTR_VOLATILE; k->symbol->attr |= ATTR_VOLATILE; },
    };
    for (const auto &set : settings) {
        set();
        Node *r = read(tab, 2, &type_int);
        std::string before = text(r);
        EXPECT_EQ(fetched(r), before);
        Node *again = var("k", &type_int);
        again->symbol = k->symbol;
        EXPECT_EQ(fetched(again), "(leaf int sym k lvalue)");
        no_const_replacement = 0;
        constant_replacement_off = 0;
        tab->attr &= static_cast<std::uint16_t>(~ATTR_VOLATILE);
        k->symbol->attr &= static_cast<std::uint16_t>(~ATTR_VOLATILE);
    }
    // #if switches replacement on again under -nc.
    no_const_replacement = 1;
    constant_replacement_forced = true;
    EXPECT_EQ(fetched(read(tab, 2, &type_int)), "(leaf int 20)");
}

TEST_F(KnownTest, StringLiteralCharacters)
{
    for (std::uint32_t offset : {0u, 2u, 3u, 4u}) {
        Node *address = new_node(OP_LEAF);
        address->literal = pool_intern("abc", 3);
        address->value = offset;
        address->right = nullptr;
        address->leaf = LEAF_LITERAL;
        address->type = ptr(&type_char, ATTR_CONST);
        Node *n = op(OP_DEREF, &type_char, address);
        std::string before = text(n);
        const char *expected[] = {"(leaf char 97)", "", "(leaf char 99)", "(leaf char 0)", ""};
        EXPECT_EQ(fetched(n), offset == 4 ? before : expected[offset]) << offset;
    }
}

// A member assigned a constant is known until the whole structure is
// assigned; a store through `*(q + i)` forgets what was known of q's
// object. Nothing else is forgotten on the way.
TEST_F(KnownTest, WholeObjectStoresForgetTheirParts)
{
    Type *record = new_type(KIND_STRUCT, nullptr);
    Node *first = var("m", &type_int);
    record->members = first->symbol;
    record->size = 4;
    Node *s = var("s", record), *t = var("t", record), *other = var("o", &type_int);
    auto member = [&](Node *object) {
        Node *n = copy_tree(object);
        n->type = &type_int;
        n->value = 2;
        return n;
    };
    auto assign = [](Node *target, Node *value) { return check_binary(op(OP_ASSIGN, target->type, target, value)); };
    auto read = [&](Node *n) { return fetched(copy_tree(n)); };

    assign(member(s), num(5));
    assign(other, num(6));
    EXPECT_EQ(read(member(s)), "(leaf int 5)");
    assign(copy_tree(s), copy_tree(t));
    EXPECT_EQ(read(member(s)), "(leaf int sym s+2 lvalue)");
    EXPECT_EQ(read(other), "(leaf int 6)");

    Node *array = var("a", arr(&type_int, 4));
    Node *element = copy_tree(array);
    element->type = &type_int;
    element->value = 4;
    assign(element, num(7));
    EXPECT_EQ(read(element), "(leaf int 7)");
    // *(a + i) = 1 may hit a[2].
    Node *address = copy_tree(array);
    address->leaf = LEAF_SYMBOL;
    address->type = ptr(&type_int);
    Node *sum = op(OP_ADD, address->type, address, var("i", &type_int));
    assign(op(OP_DEREF, &type_int, sum), num(1));
    EXPECT_EQ(read(element), "(leaf int sym a+4 lvalue)");
    EXPECT_EQ(read(other), "(leaf int 6)");
    EXPECT_EQ(messages(), "");
}

}  // namespace
