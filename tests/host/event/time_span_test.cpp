#include "text/time_span.h"

#include <gtest/gtest.h>

namespace kep::host {
namespace {

using std::chrono::milliseconds;

TEST(TimeSpanTest, ReadsAWholeNumberAndItsUnit) {
    for (const auto& [text, expected] :
         {std::pair("5s", 5000LL), std::pair("250ms", 250LL), std::pair("2m", 120'000LL),
          std::pair("0s", 0LL), std::pair(" 7s ", 7000LL), std::pair("2147483647s", 2'147'483'647'000LL)}) {
        milliseconds span(-1);
        std::string reason;
        EXPECT_TRUE(readTimeSpan(text, span, reason)) << text << ": " << reason;
        EXPECT_EQ(span.count(), expected) << text;
        EXPECT_TRUE(reason.empty()) << text;
    }
}

TEST(TimeSpanTest, RefusesOtherTextsWithAReason) {
    const auto refusal = [](const char* text) {
        milliseconds span(77);
        std::string reason;
        EXPECT_FALSE(readTimeSpan(text, span, reason)) << text;
        EXPECT_EQ(span.count(), 77) << text;
        return reason;
    };
    for (const char* const text : {"", "s", "5", "5h", "5 s", "1.5s", "five", "+5s", "5ss", "0x5s"})
        EXPECT_EQ(refusal(text), "is not a valid time: expected a whole number with unit s, ms or m") << text;
    for (const char* const text : {"-5s", "-99999999999999999999s"})
        EXPECT_EQ(refusal(text), "is negative") << text;
    for (const char* const text : {"2147483648s", "2147483647m", "99999999999999999999s"})
        EXPECT_EQ(refusal(text), "is more than 2147483647 s") << text;
}

}  // namespace
}  // namespace kep::host
