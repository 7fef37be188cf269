#include <gtest/gtest.h>
#include "runtime/options.h"
TEST(ParseNumber, Placeholder) { std::int32_t v; parse_number("0x1F", &v, 1); EXPECT_EQ(v, 31); }
