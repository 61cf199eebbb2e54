#include "kep/ostream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using kep::base::ostream_string;

TEST(OstreamString, AppendsEachKindOfValue) {
    std::string text = ">";
    ostream_string out(text);
    const char* const none = nullptr;
    out << 'c' << -12 << std::numeric_limits<std::int64_t>::min() << "text" << none << ';';
    EXPECT_EQ(text, ">c-12-9223372036854775808text;");
}

TEST(OstreamString, ShowsPointersInHexadecimal) {
    std::string text;
    ostream_string out(text);
    out << reinterpret_cast<void*>(std::uintptr_t{0xBEEF}) << ' ' << static_cast<void*>(nullptr);
    EXPECT_EQ(text, "0xbeef 0x0");
}

TEST(OstreamString, ReturnsItself) {
    std::string text;
    ostream_string out(text);
    EXPECT_EQ(&(out << 1), static_cast<kep::base::ostream*>(&out));
}

}  // namespace
