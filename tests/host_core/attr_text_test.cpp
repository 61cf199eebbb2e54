#include "text/attr_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace kep::host;

struct Refusal {
    std::string text;
    std::size_t offset;
    std::string message;
};

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, ReportsMessageAndOffset) {
    std::vector<AttrItem> items;
    TextError error;
    EXPECT_FALSE(parseItems(GetParam().text, items, error));
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(error.offset, GetParam().offset);
    EXPECT_EQ(error.message, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(AttrText, Refused,
                         testing::Values(Refusal{"fps", 3, "'=' is missing after \"fps\""},
                                         Refusal{"a=1,fps,b=2", 7, "'=' is missing after \"fps\""},
                                         Refusal{"a=1,", 4, "a key is missing"},
                                         Refusal{"a=1,,b=2", 4, "a key is missing"},
                                         Refusal{"=1", 0, "a key is missing"},
                                         Refusal{"  ,a=1", 2, "a key is missing"},
                                         Refusal{"a={b={c}", 2, "'{' is never closed"},
                                         Refusal{"a={b={c", 5, "'{' is never closed"},
                                         Refusal{"a=b}", 3, "'}' inside a value that is not in braces"},
                                         Refusal{"a=b{c}", 3, "'{' inside a value that is not in braces"},
                                         Refusal{"a={b}c", 5, "',' is missing after '}'"},
                                         Refusal{"a{b}=1", 1, "'{' where a key is expected"},
                                         Refusal{"a+b=1", 1, "'+' where a key is expected"},
                                         Refusal{"{a=1}b", 5, "text after the closing '}'"},
                                         Refusal{" {a=1,b}", 7, "'=' is missing after \"b\""}));

TEST(AttrText, ItemsHaveTheirOffsets) {
    std::vector<AttrItem> items;
    TextError error;
    const std::string text = " { a = 1,b={c=2} }";
    ASSERT_TRUE(parseItems(text, items, error));
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(text.substr(items[0].keyOffset, 1), "a");
    EXPECT_EQ(text.substr(items[0].valueOffset, items[0].value.size()), " 1");
    EXPECT_EQ(text.substr(items[1].keyOffset, 1), "b");
    EXPECT_EQ(text.substr(items[1].valueOffset, items[1].value.size()), "c=2");
}

TEST(AttrText, FindsOutsideBracesOnly) {
    TextError error;
    EXPECT_EQ(findOutsideBraces("a{+}+b", 0, "+", error), 4u);
    EXPECT_EQ(findOutsideBraces("a{+}", 0, "+", error), 4u);
    EXPECT_EQ(findOutsideBraces("a}+", 0, "+", error), std::string_view::npos);
    EXPECT_EQ(error.offset, 1u);
    EXPECT_EQ(findOutsideBraces("ab{+", 0, "+", error), std::string_view::npos);
    EXPECT_EQ(error.offset, 2u);
}

}  // namespace
