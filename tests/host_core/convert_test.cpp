#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "kep/attr_set.h"

namespace {

using kep::base::ConvertToImpl;

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

template <class T>
T converted(const char* text, T otherwise) {
    EXPECT_TRUE(ConvertToImpl(text, otherwise)) << text;
    return otherwise;
}

TEST(Convert, ReadsIntegersOfTheWholeRange) {
    EXPECT_EQ(converted("0", 5), 0);
    EXPECT_EQ(converted("-1", 5), -1);
    EXPECT_EQ(converted("+7", 5), 7);
    EXPECT_EQ(converted(" 12 ", 5), 12);
    EXPECT_EQ(converted("010", 5), 10);
    EXPECT_EQ(converted("0x00FFfe", 5), 0xfffe);
    EXPECT_EQ(converted("2147483647", 5), 2147483647);
    EXPECT_EQ(converted("-2147483648", 5), std::numeric_limits<int>::min());
    EXPECT_EQ(converted("9223372036854775807", kLowest), kHighest);
    EXPECT_EQ(converted("-9223372036854775808", kHighest), kLowest);
}

TEST(Convert, LeavesTheValueWhenTheTextIsInvalid) {
    for (const char* text :
         {"", " ", "-", "+", "--1", "+-1", "1s", "1.5", "0x", "0xg", "abc", "2147483648", "-2147483649"}) {
        int value = 5;
        EXPECT_FALSE(ConvertToImpl(text, value)) << text;
        EXPECT_EQ(value, 5) << text;
    }
    for (const char* text : {"9223372036854775808", "-9223372036854775809", "99999999999999999999999"}) {
        std::int64_t value = 5;
        EXPECT_FALSE(ConvertToImpl(text, value)) << text;
        EXPECT_EQ(value, 5) << text;
    }
    int value = 5;
    EXPECT_FALSE(ConvertToImpl(nullptr, value));
    bool flag = true;
    EXPECT_FALSE(ConvertToImpl(nullptr, flag));
    EXPECT_FALSE(ConvertToImpl("maybe", flag));
    EXPECT_FALSE(ConvertToImpl("", flag));
    EXPECT_TRUE(flag);
}

TEST(Convert, ReadsTheWordsForTrueAndFalse) {
    for (const char* text : {"true", "True", "YES", "on", "1", " true "})
        EXPECT_TRUE(converted(text, false)) << text;
    for (const char* text : {"false", "FALSE", "no", "Off", "0"}) EXPECT_FALSE(converted(text, true)) << text;
}

}  // namespace
