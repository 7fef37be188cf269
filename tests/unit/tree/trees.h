// Expression trees built by hand for the expression tests (there is no
// parser in these tests), and their one-line text.
#pragma once
#include <cstring>
#include <string>

#include "model/names.h"
#include "model/types.h"
#include "runtime/textbuf.h"
#include "sema/fold.h"
#include "tree/tree.h"

namespace tree_build {

inline Type *ptr(Type *of, std::uint16_t attr = 0) { Type *t = new_type(KIND_POINTER, of); t->attr = attr; return t; }
inline Type *arr(Type *of, std::uint32_t dim) { Type *t = new_type(KIND_ARRAY, of); t->dim = dim; return t; }
inline Type *bits(unsigned kind, int offset, int width)
{
    Type *t = new_type(kind, nullptr);
    t->bit_offset = static_cast<std::uint8_t>(offset);
    t->bit_width = static_cast<std::uint8_t>(width);
    return t;
}

inline Symbol *symbols = nullptr;
// A variable leaf: the object of a new symbol named `name`.
inline Node *var(const char *name, Type *type, std::uint16_t attr = 0, std::uint8_t sclass = SC_AUTO)
{
    Symbol *s = new_symbol(&symbols, intern_name(name, std::strlen(name)), sclass, type);
    s->attr = attr;
    Node *n = new_node(OP_LEAF);
    n->type = type;
    n->symbol = s;
    n->value = 0;
    n->leaf = LEAF_SYMBOL | LEAF_LVALUE;
    return n;
}
inline Node *num(std::int32_t v, Type *type = &type_int) { Node *n = make_int_constant(nullptr, v); n->type = type; return n; }
inline Node *real(double v, Type *type = &type_double) { Node *n = new_node(OP_LEAF); set_float_constant(n, v, type); return n; }
inline Node *op(std::uint8_t code, Type *type, Node *left, Node *right = nullptr)
{
    Node *n = new_node(code);
    n->type = type;
    n->left = left;
    n->right = right;
    return n;
}

inline std::string text(const Node *n)
{
    TextBuffer out;
    dump_tree(out, n);
    return out.data ? out.data : "";
}

}  // namespace tree_build
