// Function body preparation: what runs over a finished body before it is
// written, and the loop facts the statement reader asks for.
#include "expr/check.h"
#include "expr/tree.h"
#include "decl/types.h"
#include "stmt/passes.h"
#include "stmt/stmt.h"

namespace {

// The last expression of a comma chain or sequence.
const Node *last_expression(const Node *n)
{
    while (n && (n->op == OP_COMMA || n->op == OP_SEQ))
        n = n->right;
    return n;
}

}  // namespace

int loop_test(Node *init, Node *condition)
{
    if (!init || !condition)
        return 0;
    if (condition->flags & NODE_TEST_HOLDS)
        return 2;
    const Node *c = last_expression(condition);
    const Node *i = last_expression(init);
    if (!c || !i || !is_comparison_op(c->op) || !is_int_constant(c->right))
        return 0;
    if (i->op != OP_ASSIGN || !is_int_constant(i->right) || i->left->type->kind > 0x4B)
        return 0;
    if (!same_tree(i->left, c->left, true))
        return 0;
    // The comparison with the initial value in place of the variable.
    Node *test = new_node(c->op);
    test->left = copy_tree(i->right);
    test->right = copy_tree(c->right);
    test->value = 0;
    test->type = c->type;
    Node *folded = check_binary(test);
    if (!is_int_constant(folded))
        return 0;
    return folded->value ? 2 : 1;
}

bool convert_counted_loop(Stmt *loop, std::uint16_t weight, std::int32_t body_operators, std::uint32_t start_stamp)
{
    // Not built yet: every for loop stays a for loop.
    (void)loop;
    (void)weight;
    (void)body_operators;
    (void)start_stamp;
    return false;
}

void prepare_statement(Stmt *stmt)
{
    // Not built yet: no final folding, no dead-code removal and no frame
    // layout of the locals.
    (void)stmt;
}
