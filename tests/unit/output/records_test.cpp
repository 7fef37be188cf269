// The writer of the intermediate file read back by the independent reader
// behind zpc-dump: every record, every reference and expression form, the
// options header, analyser mode and the label counter.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "../support.h"
#include "../tree/trees.h"
#include "base/options.h"
#include "dump/intermediate_dump.h"
#include "lexer/constants.h"
#include "lexer/source.h"
#include "model/types.h"
#include "output/emit.h"
#include "output/records.h"
#include "runtime/pathlist.h"

namespace {

using namespace tree_build;

class RecordsTest : public CompilerTest {
protected:
    // The writer's stream is the compiler's: a reset closes it.
    void SetUp() override
    {
        CompilerTest::SetUp();
        output_stream = std::tmpfile();
    }
    // A fresh compiler writing to a new file.
    void restart()
    {
        fresh();
        output_stream = std::tmpfile();
    }
    // The dump of what was written so far; the file starts again empty.
    std::string dump()
    {
        std::string bytes = read_stream(output_stream);
        std::string out;
        DumpResult r = dump_intermediate(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), out);
        if (!r.ok)
            out += "FAILED: " + r.error + "\n";
        std::fclose(output_stream);
        output_stream = std::tmpfile();
        return out;
    }
    Symbol *named(const char *name, Type *type, std::uint8_t sclass, std::uint16_t attr = 0)
    {
        Symbol *s = new_symbol(&symbols, intern_name(name, std::strlen(name)), sclass, type);
        s->attr = attr;
        return s;
    }
};

TEST_F(RecordsTest, EveryRecordReadsBack)
{
    write_unit_record();
    std::string text(300, 'x');
    write_asm_text(text.c_str(), text.size());
    write_file_record("a.c", "src/");
    write_line(70000);
    write_jump(5);
    write_label(7, 0, false);
    write_label(9, 12, true);
    write_label(11, 3, false, true);
    write_branch(OP_LE, 13, num(1), num(-2, &type_long));
    write_return();
    write_negate_in_place(&type_int, var("n", &type_int));
    write_complement_in_place(bits(KIND_BITS16, 3, 1), var("b", bits(KIND_BITS16, 3, 1)));
    write_switch(1, 15);
    write_switch(2, 15);
    write_switch(4, 15);
    write_cases(15, 17, 3, 2);
    const std::uint16_t labels[] = {19, 17, 21};
    write_case_range(-1, 3, labels);
    const std::int32_t values[] = {100, -5};
    write_case_list(2, values, labels);
    write_cases_end();
    write_loop_start(23, num(10, &type_uchar));
    write_loop_end(23);
    write_function(4, 5);
    write_first_arg(&type_char);
    write_arg_size(6);
    write_frame(-8);
    write_function_end();
    Symbol *f = named("f", new_type(KIND_FUNCTION, &type_double), SC_STATIC, ATTR_FUNCDECL);
    f->value = 25;
    write_declaration(REC_FUNC_DEF, f, f->attr, 0);
    Symbol *far = named("far_buf", arr(&type_char, 4), SC_EXTERN, SPACE_FAR);
    write_declaration(REC_OBJ_DEF, far, far->attr, 4);
    write_declaration(REC_EXTERN, far, far->attr, 0);
    write_data(1, far);
    write_data_attr(0, 0x8000, 2, far);
    Symbol *at = named("port", &type_uchar, SC_LOCALIZED, SPACE_TINY);
    write_data_at(at, 0x40);
    write_data_label(4, 27);
    write_bytes("", 0);
    write_bytes("ab", 2);
    std::string full(510, 'y');
    write_bytes(full.data(), full.size());
    write_int(2, 0xFFFF);
    write_float(4, 1.5);
    write_addr(1, at, 0, 0, 0);
    write_addr(2, nullptr, 29, 0, 3);
    write_addr(4, far, 0, 0x1000, static_cast<std::uint32_t>(-2));
    write_space(10);
    write_data_end();
    write_section(1, "CODE");
    write_section(0, nullptr);
    write_space_name("eeprom");
    write_name("#M", 2);
    write_source_range(1, 2, 3, 4);
    write_debug_label(31);
    write_debug_func("a.c", "main");
    write_debug_file("b.h");
    EXPECT_EQ(dump(),
              "000000 REC_UNIT alignment=0 flags=0x00 header=\"zpc\" header=\"V0.1.0\" header=\"22 Nov 2026\"\n"
              "000029 REC_ASM_TEXT n=255 \"" + std::string(255, 'x') + "\"\n"
              "000286 REC_ASM_TEXT n=45 \"" + std::string(45, 'x') + "\"\n"
              "000333 REC_FILE name=\"a.c\" dir=\"src/\"\n"
              "000346 REC_LINE line=70000\n"
              "000351 REC_JUMP label=5\n"
              "000354 REC_LABEL label=7 line=0\n"
              "000361 REC_LABEL label=9 line=12 loop=1\n"
              "000369 REC_CASE_LABEL label=11 line=3 loop=0\n"
              "000377 REC_BRANCH cond=le label=13 left=(leaf int - 1 storage=0 lvalue=0) "
              "right=(leaf long - -2 storage=0 lvalue=0)\n"
              "000402 REC_RETURN\n"
              "000403 REC_NEGATE_IN_PLACE type=int object=(leaf int - 0 storage=32(frame) lvalue=1)\n"
              "000416 REC_COMPLEMENT_IN_PLACE type=bits16:3:1 object=(leaf bits16:3:1 - 0 storage=32(frame) lvalue=1)\n"
              "000433 REC_SWITCH size=1 label=15\n"
              "000436 REC_SWITCH size=2 label=15\n"
              "000439 REC_SWITCH size=4 label=15\n"
              "000442 REC_CASES switch_label=15 default_target=17 cases=3 value_size=2\n"
              "000452 REC_CASE_RANGE span=3 first_value=-1 labels=19,17,21\n"
              "000465 REC_CASE_LIST pairs=2 cases=100:19,-5:17\n"
              "000480 REC_CASES_END\n"
              "000481 REC_LOOP label=23 start=1 count=(leaf uchar - 10 storage=0 lvalue=0)\n"
              "000496 REC_LOOP label=23 start=0\n"
              "000500 REC_FUNCTION decl_line=4 brace_line=5\n"
              "000509 REC_FIRST_ARG type=char\n"
              "000511 REC_ARG_SIZE size=6\n"
              "000516 REC_FRAME offset=-8\n"
              "000521 REC_FUNCTION_END\n"
              "000522 REC_FUNC_DEF name=f[25]{85} attr=0x0800(funcdecl) size=0\n"
              "000534 REC_OBJ_DEF name=far_buf{89} attr=0x3000(far) size=4\n"
              "000552 REC_EXTERN name=far_buf{89} attr=0x3000(far) size=0\n"
              "000570 REC_DATA alignment=1 name=far_buf{89}\n"
              "000583 REC_DATA_ATTR alignment=0 attr=0x8000(const) size=2 name=far_buf{89}\n"
              "000602 REC_DATA_AT name=port{91} address=64\n"
              "000616 REC_DATA_LABEL alignment=4 label=27\n"
              "000623 REC_BYTES n=0 \"\"\n"
              "000625 REC_BYTES n=2 \"ab\"\n"
              "000629 REC_BYTES n=255 \"" + std::string(255, 'y') + "\"\n"
              "000886 REC_BYTES n=255 \"" + std::string(255, 'y') + "\"\n"
              "001143 REC_BYTES n=0 \"\"\n"
              "001145 REC_INT size=2 value=65535\n"
              "001151 REC_FLOAT size=4 value=1.5\n"
              "001161 REC_ADDR size=1 address=port{91} offset=0\n"
              "001174 REC_ADDR size=2 address=L29 offset=3\n"
              "001182 REC_ADDR size=4 address=far_buf{89} attr=0x1000(tiny) offset=-2\n"
              "001200 REC_SPACE n=10\n"
              "001205 REC_DATA_END\n"
              "001206 REC_SECTION value=1 name=\"CODE\"\n"
              "001214 REC_SECTION value=0 name=\"\"\n"
              "001218 REC_SPACE_NAME name=\"eeprom\"\n"
              "001229 REC_NAME name=\"#M\"\n"
              "001233 REC_SOURCE_RANGE first_line=1 first_column=2 last_line=3 last_column=4\n"
              "001246 REC_DEBUG_LABEL label=31\n"
              "001251 REC_DEBUG_FUNC name=\"a.c~main\"\n"
              "001265 REC_DEBUG_FILE name=\"b.h\"\n");
}

TEST_F(RecordsTest, ExpressionsAndReferences)
{
    write_unit_record();
    // Every operand shape: binary, unary, ?:, calls with and without
    // arguments, symbols by name, frame offset and register, literals.
    Node *x = var("x", &type_int, 0, SC_NONE);
    Node *p = var("p", ptr(&type_char, SPACE_TINY), 0, SC_STATIC);
    p->symbol->value = 9;
    Node *arg = var("a", &type_long, 0, SC_ARGUMENT);
    arg->symbol->value = 4;
    Node *r = var("r", &type_int, 0x0010, SC_REGISTER);
    Node *cond = op(OP_COND, &type_int, op(OP_LT, &type_int, x, num(3)), r);
    cond->value_node = op(OP_NEG, &type_int, num(1));
    write_eval(op(OP_ASSIGN, &type_int, x, cond));
    write_eval(op(OP_POSTINC, &type_long, arg, num(1, &type_long)));
    write_eval(op(OP_DEREF, &type_char, p));

    // A called function is the indirection of its designator: a named
    // function's address becomes the function, a pointer gets a deref.
    Node *fn = var("g", new_type(KIND_FUNCTION, &type_int), 0, SC_EXTERN);
    fn->leaf &= static_cast<std::uint8_t>(~LEAF_LVALUE);
    fn->type = ptr(fn->symbol->type, 0);
    Node *call0 = op(OP_CALL, &type_int, fn);
    write_eval(call0);
    Node *args = op(OP_ARG, &type_int, num(1), op(OP_ARG, &type_int, num(2), num(3)));
    Node *fp = var("fp", ptr(fn->symbol->type, 0), 0, SC_NONE);
    write_eval(op(OP_CALL, &type_int, fp, args));
    // Values not used: comparisons and && without effect on the right are
    // commas of their operands; a cast to void is its operand.
    write_eval(op(OP_LT, &type_int, x, num(3)));
    write_eval(op(OP_ANDAND, &type_int, op(OP_POSTINC, &type_long, arg, num(1, &type_long)), x));
    write_eval(op(OP_CAST, &type_void, op(OP_POSTINC, &type_long, arg, num(1, &type_long))));

    Node *str = new_node(OP_LEAF);
    str->type = ptr(&type_char, 0x8000);
    str->literal = pool_string("hi", 3);
    str->value = 1;
    str->leaf = LEAF_LITERAL;
    Node *d = real(2.5, &type_double);
    Node *f = real(2.5, &type_float);
    Node *tiny = num(0x40, &type_uchar);
    tiny->leaf |= LEAF_LVALUE;
    write_eval(op(OP_COMMA, &type_int, str, op(OP_COMMA, &type_int, d, op(OP_COMMA, &type_int, f, tiny))));
    EXPECT_EQ(dump(),
              "000000 REC_UNIT alignment=0 flags=0x00 header=\"zpc\" header=\"V0.1.0\" header=\"22 Nov 2026\"\n"
              "000029 REC_EVAL expr=(= int (leaf int x{81} 0 storage=0 lvalue=1) (?: int (< int (leaf int x{81} 0 "
              "storage=0 lvalue=1) (leaf int - 3 storage=0 lvalue=0)) (neg int (leaf int - 1 storage=0 lvalue=0)) "
              "(leaf int - 0 storage=136(register) lvalue=0)))\n"
              "000097 REC_EVAL expr=(post++ long (leaf long - 4 storage=160(arg) lvalue=1) (leaf long - 1 storage=0 lvalue=0))\n"
              "000122 REC_EVAL expr=(deref char (leaf ptr->0x1000 p[9]{81} 0 storage=0 lvalue=1))\n"
              "000140 REC_EVAL expr=(call int (leaf ptr->0x0000 g{84} 0 storage=0 lvalue=1))\n"
              "000158 REC_EVAL expr=(call int (deref ptr->0x0000 (leaf ptr->0x0000 fp{81} 0 storage=0 lvalue=1)) "
              "(leaf int - 1 storage=0 lvalue=0) (leaf int - 2 storage=0 lvalue=0) (leaf int - 3 storage=0 lvalue=0))\n"
              "000218 REC_EVAL expr=(, int (leaf int x{81} 0 storage=0 lvalue=1) (leaf int - 3 storage=0 lvalue=0))\n"
              "000245 REC_EVAL expr=(, int (post++ long (leaf long - 4 storage=160(arg) lvalue=1) (leaf long - 1 storage=0 "
              "lvalue=0)) (leaf int x{81} 0 storage=0 lvalue=1))\n"
              "000285 REC_EVAL expr=(post++ long (leaf long - 4 storage=160(arg) lvalue=1) (leaf long - 1 storage=0 lvalue=0))\n"
              "000310 REC_EVAL expr=(, int (leaf ptr@0x8000->0x8000 L3 1 storage=0 lvalue=0) (, int (leaf "
              "double@0x8000 L11 0 storage=0 lvalue=1) (, int (leaf float@0x8000 L9 0 storage=0 lvalue=1) (leaf "
              "uchar@0x1000 - 64 storage=0 lvalue=1))))\n");
}

TEST_F(RecordsTest, OptionsHeaderAndAnalyserMode)
{
    struct {
        void (*set)();
        const char *header;
    } cases[] = {
        {[] { strict_ansi = no_enum_optimization = no_const_replacement = no_const_propagation = 1; },
         " header=\"cp\" header=\"nc\" header=\"ne\" header=\"sa\""},
        {[] {
             path_list_add(&define_list, const_cast<char *>("A=\"1\""));
             path_list_add(&define_list, const_cast<char *>("__VERS__=1"));
             path_list_add(&define_list, const_cast<char *>("__VERSION"));
             path_list_add(&header_list, const_cast<char *>("a.h"));
             path_list_add(&header_list, const_cast<char *>("b.h"));
         },
         " header=\"d __VERSION\" header=\"d A=1\" header=\"h b.h\" header=\"h a.h\""},
        {[] { even_align_data = c99_mode = single_float = debug_info = debug_extended = 1; model_config = 0x21; },
         " header=\"b\" header=\"c99\" header=\"f\" header=\"m 0x0021\" header=\"xx\""},
    };
    for (const auto &c : cases) {
        restart();
        c.set();
        write_unit_record();
        std::string text = dump();
        std::size_t date = text.find("header=\"22 Nov 2026\"");
        ASSERT_NE(date, std::string::npos) << text;
        EXPECT_EQ(text.substr(date + 20), std::string(c.header) + "\n");
    }
    restart();
    analyser_output = 1;
    no_widen_arguments = 1;
    write_unit_record();
    Symbol *s = named("v", &type_int, SC_NONE);
    write_data_attr(0, 0x8000, 2, s);
    write_addr(4, s, 0, 0x1000, 0);
    EXPECT_EQ(dump(), "000000 REC_UNIT_ANALYSER flags=0x1f\n"
                      "000002 REC_DATA_ATTR alignment=0 attr=0x8000(const) name=v{81}\n"
                      "000011 REC_ADDR size=4 address=v{81} offset=0\n");
}

TEST_F(RecordsTest, LabelsCountByTwoAndReportOverflow)
{
    EXPECT_EQ(new_label(), 3);
    EXPECT_EQ(new_label(), 5);
    EXPECT_EQ(new_label(), 7);
    for (int i = 0; i < 32763; ++i)
        new_label();
    EXPECT_EQ(new_label(), 65535);
    EXPECT_EQ(messages(), "");
    EXPECT_EQ(new_label(), 1);  // 65537 cut to 16 bits
    EXPECT_EQ(new_label(), 3);
    std::string m = messages();
    EXPECT_EQ(std::count(m.begin(), m.end(), '\n'), 2) << m;
    EXPECT_NE(m.find("file too large for label information"), std::string::npos);
}

}  // namespace

namespace {

TEST_F(RecordsTest, AddressItemsByTheirLeaf)
{
    // Named objects by their reference, locals and far absolute objects by
    // their number, aliases by the object they stand for, literals by
    // their label, plain numbers as such; 4-byte items carry the
    // pointed-to attribute word.
    write_unit_record();
    Node *object = var("buf", &type_char, 0, SC_STATIC);
    object->symbol->value = 7;
    object->leaf = LEAF_SYMBOL;
    object->value = 2;
    object->type = ptr(&type_char, SPACE_FAR);
    Node *local = var("l", &type_int, 0, SC_AUTO);
    local->symbol->value = static_cast<std::uint32_t>(-4);
    local->leaf = LEAF_SYMBOL;
    Node *alias = var("al", &type_char, 0, SC_LOCALIZED);
    alias->symbol->flags |= SYM_DEFINED;
    alias->symbol->alias = object;
    alias->leaf = LEAF_SYMBOL;
    alias->value = 1;
    Node *text = new_node(OP_LEAF);
    text->type = ptr(&type_char, 0);
    text->literal = pool_string("ab", 3);
    text->value = 1;
    text->leaf = LEAF_LITERAL;
    emit_address_item(object, 4);
    emit_address_item(local, 2);
    emit_address_item(alias, 2);
    emit_address_item(text, 1);
    emit_address_item(text, 2);
    emit_address_item(num(0x1234), 2);
    EXPECT_EQ(dump(),
              "000000 REC_UNIT alignment=0 flags=0x00 header=\"zpc\" header=\"V0.1.0\" header=\"22 Nov 2026\"\n"
              "000029 REC_ADDR size=4 address=buf[7]{81} attr=0x3000(far) offset=2\n"
              "000043 REC_ADDR size=2 address=- offset=-4\n"
              "000051 REC_ADDR size=2 address=buf[7]{81} offset=3\n"
              "000063 REC_ADDR size=1 address=L3 offset=1\n"
              "000071 REC_ADDR size=2 address=L3 offset=1\n"
              "000079 REC_ADDR size=2 address=- offset=4660\n");
}

}  // namespace
