// The texts that the patterns of stamps expand to.
#include "picture/stamp_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

namespace kep::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

class StampText : public testing::Test {
  protected:
    StampText() {
        setenv("TZ", "EST5", 1);
        tzset();
    }
    ~StampText() override {
        unsetenv("TZ");
        tzset();
    }
    /** The lines for 2001-09-09 01:46:40 UTC, plus `later` milliseconds. */
    static std::vector<std::u32string> lines(const std::string& pattern, int later = 0) {
        return stampLines(pattern, system_clock::time_point(milliseconds(1'000'000'000'000 + later)));
    }
    /** The same for a single line of ASCII. */
    static std::string text(const std::string& pattern, int later = 0) {
        const auto all = lines(pattern, later);
        EXPECT_EQ(all.size(), 1u) << pattern;
        return {all[0].begin(), all[0].end()};
    }
};

TEST_F(StampText, HasTheFieldsOfStrftimeInLocalTime) {
    EXPECT_EQ(text("%Y-%m-%d %H:%M:%S"), "2001-09-08 20:46:40");
    EXPECT_EQ(text("%a %e.%-m. %I %p %Z 100%%"), "Sat  8.9. 08 PM EST 100%");
    EXPECT_EQ(text("%Ey %Od %^a %s"), "01 08 SAT 1000000000");
}

TEST_F(StampText, HasMilliseconds) {
    EXPECT_EQ(text("%S.%3N", 7), "40.007");
    EXPECT_EQ(text("%S.%3N", 999), "40.999");
    EXPECT_EQ(text("%S.%3N", 1000), "41.000");
    EXPECT_EQ(stampLines("%s %3N", system_clock::time_point(milliseconds(-1)))[0], U"-1 999");
}

TEST_F(StampText, LeavesUnknownFields) {
    for (const char* const pattern :
         {"%", "100 %", "%Q", "%E", "%_", "%-E", "%12d", "%3", "%6N", "%N", "%\xff", "% d"})
        EXPECT_EQ(lines(pattern)[0].size(), std::string(pattern).size()) << pattern;
    EXPECT_EQ(text("%Q%%%"), "%Q%%");
    EXPECT_EQ(text(""), "");
}

TEST_F(StampText, HasNewLines) {
    EXPECT_EQ(lines("a%nb\nc"), (std::vector<std::u32string>{U"a", U"b", U"c"}));
    EXPECT_EQ(lines("\n"), (std::vector<std::u32string>{U"", U""}));
    EXPECT_EQ(lines("a\tb\r\x01\x7f"), (std::vector<std::u32string>{U"a b"}));
}

TEST_F(StampText, IsReadAsUtf8) {
    EXPECT_EQ(lines("aä€😀")[0], U"aä€😀");
    // A lone continuation byte, truncated and overlong sequences, a surrogate, a code point out of range.
    EXPECT_EQ(lines("\x80z")[0], U"\uFFFDz");
    EXPECT_EQ(lines("z\xe2\x82")[0], U"z\uFFFD\uFFFD");
    EXPECT_EQ(lines("\xc3z")[0], U"\uFFFDz");
    EXPECT_EQ(lines("\xc0\xaf")[0], U"\uFFFD\uFFFD");
    EXPECT_EQ(lines("\xe0\x80\xaf")[0], U"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(lines("\xed\xa0\x80")[0], U"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(lines("\xf4\x90\x80\x80")[0], U"\uFFFD\uFFFD\uFFFD\uFFFD");
}

TEST_F(StampText, MayBeOfAnyLengthAndContent) {
    EXPECT_EQ(text(std::string(10'000, 'a')).size(), 10'000u);
    EXPECT_EQ(text(std::string(10'001, '%')).size(), 5'001u);
    std::mt19937 random(14);
    for (int i = 0; i < 2'000; ++i) {
        std::string pattern;
        for (int length = 0; length < 40; ++length)
            pattern += static_cast<char>(length % 3 == 0 ? '%' : random());
        for (const std::u32string& line : lines(pattern))
            for (const char32_t character : line) ASSERT_LE(character, 0x10FFFFu) << pattern;
    }
}

}  // namespace
}  // namespace kep::host
