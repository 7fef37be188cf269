// #if sees the enumeration constants declared before it (the declaration
// parser enters them; here they are entered directly), written as their
// values, negative ones included; under -sa they are 0 like any name.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "../support.h"
#include "lexer/tokenizer.h"
#include "model/names.h"
#include "model/types.h"

namespace {

class DirectiveTest : public CompilerTest {
protected:
    void enumerator(const char *name, std::int32_t value, Type *type)
    {
        Symbol *s = new_symbol(&ident_list, intern_name(name, std::strlen(name)), SC_ENUMERATOR, type);
        s->value = static_cast<std::uint32_t>(value);
        s->flags |= SYM_LAST | SYM_DECLARED;
    }
    // The identifiers the lines after the directives give, in order.
    std::string taken()
    {
        std::string names;
        for (Token *t = next_token(); t->code != TK_END; t = next_token())
            if (t->code == TK_IDENT)
                names += std::string(reinterpret_cast<const Name *>(t->value)->chars,
                                     reinterpret_cast<const Name *>(t->value)->length) + " ";
        return names;
    }
};

TEST_F(DirectiveTest, EnumerationConstantsInConditions)
{
    const char *source =
        "#if N == 3\nthree\n#endif\n"
        "#if M == -5 && M < 0\nminus\n#endif\n"
        "#if U == 40000 && U > 0\nwide\n#endif\n"
        "#if X == 0\nunknown\n#endif\n";
    for (int strict : {0, 1}) {
        fresh();
        strict_ansi = strict;
        open_text(source);
        enumerator("N", 3, &type_int);
        enumerator("M", -5, &type_int);
        enumerator("U", 40000, &type_uint);
        EXPECT_EQ(taken(), strict ? "unknown " : "three minus wide unknown ") << strict;
        EXPECT_EQ(messages(), "");
    }
}

}  // namespace
