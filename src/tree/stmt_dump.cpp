// The statement printer, for tests and for looking at what a pass did. It
// is compared as text, so it only ever grows by additions that keep old
// lines unchanged.
//
// One line per statement, indented two blanks per level:
//
//   line  := INDENT KIND LABEL FLAGS PARTS " <" START "-" END ">"
//   LABEL := "" | " #" label_no
//   FLAGS := "" | " {" words "}": broken continued goto nofall unreachable
//            case labelled calls counter-used counter-set unroll
//            empty-return test-constant, in this order
//   START, END := line ":" column of the first and the last token
//
// KIND and PARTS by kind (TREE is an expression as dump_tree prints it):
//   expr TREE | expr            expression statement, empty statement
//   init TREE                   a pending local initialization
//   block LOCALS                its statements below it; LOCALS "" or
//                               " locals=" NAME ":" CLASS joined by ",",
//                               newest first; CLASS auto register static
//                               extern typedef localized, or arg@OFFSET
//                               (regarg@ for register arguments) with "w"
//                               when passed widened, "f" for the first
//   if TREE                     the then-branch below it; then "else" at
//                               the if's indent and the else-branch
//   while TREE | do TREE        the body below it; do adds " (" LINE2 ":"
//                               COLUMN2 ")", the position of its `(`
//   for init=TREE test=TREE step=TREE (LINE2:COL2 LINE3:COL3)
//   counted TREE                the count; the body below it
//   switch TREE CASES           CASES " cases=" value ":" label entries
//                               joined by "," (a default as "default"),
//                               the label being the labelled statement's
//   break -> LINE:COL | continue -> LINE:COL    the target's position
//   goto NAME
//   return TREE | return
//   asm                         each line below it as "text" with its
//                               position, in quotes with \ooo escapes
//   pass TREE                   made by body preparation
// A TREE that is an inline expansion's sequence prints as "(seq TYPE N
// REST)", N being the count of its statements; they follow the line, one
// level deeper, under a line "seq".
#include <cstdio>
#include <vector>

#include "model/names.h"
#include "model/types.h"
#include "runtime/textbuf.h"
#include "tree/stmt.h"
#include "tree/tree.h"

namespace {

void append_number(TextBuffer &out, long long v)
{
    char text[24];
    std::snprintf(text, sizeof text, "%lld", v);
    out.append(text);
}

void append_position(TextBuffer &out, std::uint32_t line, std::uint16_t column)
{
    append_number(out, line);
    out.append(':');
    append_number(out, column);
}

void append_tree(TextBuffer &out, const Node *n)
{
    if (n)
        dump_tree(out, n);
    else
        out.append("null");
}

void append_name(TextBuffer &out, const Name *name)
{
    if (name)
        out.append(name->chars, name->length);
    else
        out.append('-');
}

// NAME ":" CLASS, and for an argument "@" its offset, then "w" when it
// is passed widened and "f" for the first one.
void append_local(TextBuffer &out, const Symbol *l)
{
    append_name(out, l->name);
    out.append(':');
    switch (l->sclass) {
    case SC_AUTO: out.append("auto"); break;
    case SC_REGISTER: out.append("register"); break;
    case SC_STATIC: out.append("static"); break;
    case SC_EXTERN: out.append("extern"); break;
    case SC_TYPEDEF: out.append("typedef"); break;
    case SC_LOCALIZED: out.append("localized"); break;
    case SC_ARGUMENT:
    case SC_REGARG:
        out.append(l->sclass == SC_ARGUMENT ? "arg@" : "regarg@");
        append_number(out, l->value);
        if (l->flags & SYM_WIDENED)
            out.append('w');
        if (l->flags & SYM_LAST)
            out.append('f');
        break;
    default:
        append_number(out, l->sclass);
        break;
    }
}

const char *kind_name(unsigned kind)
{
    switch (kind) {
    case STMT_EXPR: return "expr";
    case STMT_PASS: return "pass";
    case STMT_BLOCK: return "block";
    case STMT_ASM: return "asm";
    case STMT_BREAK: return "break";
    case STMT_CONTINUE: return "continue";
    case STMT_DO: return "do";
    case STMT_FOR: return "for";
    case STMT_GOTO: return "goto";
    case STMT_IF: return "if";
    case STMT_RETURN: return "return";
    case STMT_SWITCH: return "switch";
    case STMT_WHILE: return "while";
    case STMT_COUNTED: return "counted";
    case STMT_PENDING_INIT: return "init";
    default: return "kind?";
    }
}

const char *const flag_names[] = {"broken",      "continued",   "goto",   "nofall",       "unreachable",
                                  "case",        "labelled",    "calls",  "counter-used", "counter-set",
                                  "unroll",      "empty-return", "test-constant"};

void append_head(TextBuffer &out, const Stmt *s, int depth)
{
    for (int i = 0; i < depth; ++i)
        out.append("  ");
    out.append(kind_name(s->kind));
    if (s->label_no) {
        out.append(" #");
        append_number(out, s->label_no);
    }
    if (s->flags) {
        out.append(" {");
        bool first = true;
        for (unsigned bit = 0; bit < sizeof flag_names / sizeof flag_names[0]; ++bit) {
            if (!(s->flags & (1u << bit)))
                continue;
            if (!first)
                out.append(' ');
            out.append(flag_names[bit]);
            first = false;
        }
        out.append('}');
    }
}

void append_tail(TextBuffer &out, const Stmt *s)
{
    out.append(" <");
    append_position(out, s->line, s->column);
    out.append('-');
    append_position(out, s->end_line, s->end_column);
    out.append(">\n");
}

void append_text(TextBuffer &out, const char *text, std::size_t n)
{
    out.append('"');
    for (std::size_t i = 0; i < n; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out.append('\\');
            out.append(static_cast<char>(c));
        } else if (c < 32 || c > 126) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\%03o", c);
            out.append(esc);
        } else {
            out.append(static_cast<char>(c));
        }
    }
    out.append('"');
}

// A work item: a statement list to print at a depth, or a literal "else"
// line to put out between the branches of an if.
struct Item {
    const Stmt *list;
    int depth;
    bool single;           // print only this statement, not its successors
    const Stmt *else_of;   // an "else" line for this if
    bool seq_line;         // a "seq" line
};

// The statements of the sequences among a statement's expressions, to be
// printed below its line (before its body: pushed last).
void push_sequences(std::vector<Item> &work, const Stmt *s, int depth)
{
    const Node *parts[3] = {s->expr, nullptr, nullptr};
    if (s->kind == STMT_FOR || s->kind == STMT_COUNTED) {
        parts[1] = s->init;
        parts[2] = s->step;
    }
    for (int i = 2; i >= 0; --i) {
        const Node *seq = parts[i];
        if (!seq || seq->op != OP_SEQ || seq->value == 0)
            continue;
        std::vector<Stmt *> statements(seq->value);
        sequence_statements(seq, statements.data());
        for (std::size_t k = statements.size(); k-- > 0;)
            work.push_back({statements[k], depth + 1, true, nullptr, false});
        work.push_back({nullptr, depth, true, nullptr, true});
    }
}

}  // namespace

void dump_statement(TextBuffer &out, const Stmt *stmt, int depth)
{
    // An explicit stack: bodies nest as deeply as the source does.
    std::vector<Item> work;
    work.push_back({stmt, depth, true, nullptr, false});
    while (!work.empty()) {
        Item item = work.back();
        work.pop_back();
        if (item.seq_line) {
            for (int i = 0; i < item.depth; ++i)
                out.append("  ");
            out.append("seq\n");
            continue;
        }
        if (item.else_of) {
            for (int i = 0; i < item.depth; ++i)
                out.append("  ");
            out.append("else\n");
            continue;
        }
        const Stmt *s = item.list;
        if (!s)
            continue;
        if (!item.single && s->next)
            work.push_back({s->next, item.depth, false, nullptr, false});
        append_head(out, s, item.depth);
        int inner = item.depth + 1;
        switch (s->kind) {
        case STMT_EXPR:
        case STMT_PASS:
        case STMT_PENDING_INIT:
        case STMT_RETURN:
        case STMT_WHILE:
        case STMT_COUNTED:
            if (s->expr || (s->kind != STMT_EXPR && s->kind != STMT_RETURN)) {
                out.append(' ');
                append_tree(out, s->expr);
            }
            append_tail(out, s);
            if (s->kind == STMT_WHILE || s->kind == STMT_COUNTED || s->kind == STMT_PASS)
                work.push_back({s->body, inner, true, nullptr, false});
            break;
        case STMT_DO:
            out.append(' ');
            append_tree(out, s->expr);
            out.append(" (");
            append_position(out, s->line2, s->column2);
            out.append(')');
            append_tail(out, s);
            work.push_back({s->body, inner, true, nullptr, false});
            break;
        case STMT_FOR:
            out.append(" init=");
            append_tree(out, s->init);
            out.append(" test=");
            append_tree(out, s->expr);
            out.append(" step=");
            append_tree(out, s->step);
            out.append(" (");
            append_position(out, s->line2, s->column2);
            out.append(' ');
            append_position(out, s->line3, s->column3);
            out.append(')');
            append_tail(out, s);
            work.push_back({s->body, inner, true, nullptr, false});
            break;
        case STMT_BLOCK:
            if (s->locals) {
                out.append(" locals=");
                bool first = true;
                for (const Symbol *l = s->locals; l; l = l->next) {
                    if (!first)
                        out.append(',');
                    append_local(out, l);
                    first = false;
                }
            }
            append_tail(out, s);
            work.push_back({s->body, inner, false, nullptr, false});
            break;
        case STMT_IF:
            out.append(' ');
            append_tree(out, s->expr);
            append_tail(out, s);
            if (s->other) {
                work.push_back({s->other, inner, true, nullptr, false});
                work.push_back({nullptr, item.depth, true, s, false});
            }
            work.push_back({s->body, inner, true, nullptr, false});
            break;
        case STMT_SWITCH:
            out.append(' ');
            append_tree(out, s->expr);
            if (s->cases) {
                out.append(" cases=");
                for (const Symbol *c = s->cases; c; c = c->next) {
                    if (c != s->cases)
                        out.append(',');
                    if (c->sclass == SC_DEFAULT)
                        out.append("default");
                    else
                        append_number(out, static_cast<std::int32_t>(c->value));
                    out.append(":#");
                    append_number(out, c->statement ? c->statement->label_no : 0);
                }
            }
            append_tail(out, s);
            work.push_back({s->body, inner, true, nullptr, false});
            break;
        case STMT_BREAK:
        case STMT_CONTINUE:
            if (s->body) {
                out.append(" -> ");
                append_position(out, s->body->line, s->body->column);
            }
            append_tail(out, s);
            break;
        case STMT_GOTO:
            out.append(' ');
            append_name(out, s->label ? s->label->name : nullptr);
            if (s->expr) {
                out.append(' ');
                append_tree(out, s->expr);
            }
            append_tail(out, s);
            break;
        case STMT_ASM:
            append_tail(out, s);
            for (const Stmt *l = s->body; l; l = l->next) {
                for (int i = 0; i < inner; ++i)
                    out.append("  ");
                append_text(out, l->asm_text, l->asm_length);
                append_tail(out, l);
            }
            break;
        default:
            append_tail(out, s);
            break;
        }
        push_sequences(work, s, item.depth + 1);
    }
}
