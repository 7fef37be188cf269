#include "preproc/directives.h"

#include "preproc/macros.h"

// Directives and conditional compilation are not built yet: until they
// are, every line is macro-expanded and delivered, '#' lines included.
PpToken *process_line(PpToken *list)
{
    if (!list)
        return nullptr;
    PpToken head{};
    head.next = list;
    expand_list(&head, 0);
    if (!head.next || head.next->kind == TK_EOL) {
        free_pp_list(head.next);
        return nullptr;
    }
    return head.next;
}
