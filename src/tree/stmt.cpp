// Queries over statement records that the later passes and the emitter
// share.
#include <vector>

#include "tree/stmt.h"

bool holds_reachable_label(const Stmt *stmt)
{
    struct Item {
        const Stmt *s;
        bool inner_switch;
    };
    static std::vector<Item> stack;
    stack.clear();
    stack.push_back({stmt, false});
    while (!stack.empty()) {
        Item item = stack.back();
        stack.pop_back();
        for (const Stmt *s = item.s; s; s = nullptr) {
            if (s->flags & STMT_LABELLED)
                return true;
            if ((s->flags & STMT_CASE_LABEL) && !item.inner_switch)
                return true;
            bool inner = item.inner_switch || s->kind == STMT_SWITCH;
            switch (s->kind) {
            case STMT_BLOCK:
                for (const Stmt *t = s->body; t; t = t->next)
                    stack.push_back({t, inner});
                break;
            case STMT_IF:
                stack.push_back({s->body, inner});
                stack.push_back({s->other, inner});
                break;
            case STMT_PASS:
            case STMT_DO:
            case STMT_FOR:
            case STMT_WHILE:
            case STMT_SWITCH:
            case STMT_COUNTED:
                stack.push_back({s->body, inner});
                break;
            default:
                break;
            }
        }
    }
    return false;
}
