#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <typeinfo>
#include <vector>

#include "error_lines.h"
#include "parts.h"

namespace {

using Texts = std::vector<std::string>;

bool anyInteger(const std::type_info& declared) {
    return declared == typeid(int) || declared == typeid(std::int64_t) || declared == typeid(std::uint16_t) ||
           declared == typeid(bool);
}

bool none(const std::type_info&) {
    return false;
}

class Properties : public testing::Test {
  protected:
    template <class T>
    bool set(const char* key, T value, kep::base::TypeCompatible compatible = anyInteger) {
        return part.SetWithType(key, &value, &typeid(T), compatible);
    }

    template <class T>
    T get(const char* key, T otherwise, kep::base::TypeCompatible compatible = anyInteger) {
        T value = otherwise;
        got = part.GetWithType(key, &value, &typeid(T), compatible);
        return value;
    }

    Part part;
    bool got = false;
};

TEST_F(Properties, AreSetAndReadInTheirOwnType) {
    int rate = 25;
    EXPECT_TRUE(part.Set("rate", &rate, &typeid(int)));
    EXPECT_EQ(part.rate, 25);
    int read = 0;
    EXPECT_TRUE(part.Get("rate", &read, &typeid(int)));
    EXPECT_EQ(read, 25);
    std::function<int(int)> twice = [](int value) { return 2 * value; };
    EXPECT_TRUE(part.Set("call", &twice, &typeid(twice)));
    EXPECT_EQ(part.call(4), 8);
}

TEST_F(Properties, WithoutAPredicateOtherTypesAreRefused) {
    const ErrorLines lines;
    std::int64_t wide = 25;
    EXPECT_FALSE(part.Set("rate", &wide, &typeid(wide)));
    EXPECT_FALSE(part.Get("rate", &wide, &typeid(wide)));
    int number = 1;
    EXPECT_FALSE(part.Set("call", &number, &typeid(int)));
    EXPECT_EQ(part.rate, 0);
    EXPECT_EQ(lines.messages().size(), 3u);
}

TEST_F(Properties, IntegersOfAllWidthsAreConvertedWhereAllowed) {
    EXPECT_TRUE(set<std::int64_t>("rate", 30));
    EXPECT_EQ(part.rate, 30);
    EXPECT_TRUE(set<int>("position", -7));
    EXPECT_EQ(part.position, -7);
    EXPECT_TRUE(set<long long>("position", 1LL << 40));
    EXPECT_EQ(part.position, 1LL << 40);
    EXPECT_EQ(get<std::int64_t>("rate", 0), 30);
    EXPECT_EQ(get<std::int64_t>("duration", 0), 5'000'000'000);
    EXPECT_TRUE(set<int>("loud", 1));
    EXPECT_TRUE(part.loud);
    EXPECT_EQ(get<int>("loud", 0), 1);
}

TEST_F(Properties, ThePredicateDecides) {
    const ErrorLines lines;
    EXPECT_FALSE(set<std::int64_t>("rate", 30, none));
    EXPECT_EQ(get<std::int64_t>("rate", 5, none), 5);
    EXPECT_FALSE(got);
    EXPECT_FALSE(set<std::int64_t>("title", 30));
    EXPECT_TRUE(set<int>("rate", 31, none)) << "the declared type needs no predicate";
}

TEST_F(Properties, ValuesThatDoNotFitAreRefused) {
    const ErrorLines lines;
    EXPECT_FALSE(set<std::int64_t>("rate", 1LL << 40));
    EXPECT_FALSE(set<int>("port", -1));
    EXPECT_FALSE(set<int>("port", 65536));
    EXPECT_FALSE(set<int>("loud", 2));
    EXPECT_FALSE(set<unsigned long>("position", ~0UL));
    EXPECT_EQ(get<short>("duration", 3), 3);
    EXPECT_FALSE(got);
    EXPECT_EQ(lines.messages().size(), 6u);
}

TEST_F(Properties, TextIsConverted) {
    EXPECT_TRUE(part.SetStr("rate", "15"));
    EXPECT_TRUE(part.SetStr("position", "-9223372036854775808"));
    EXPECT_TRUE(part.SetStr("loud", "on"));
    EXPECT_TRUE(part.SetStr("title", "a,b={c}"));
    EXPECT_EQ(part.rate, 15);
    EXPECT_EQ(part.position, std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(part.loud);
    EXPECT_EQ(part.title, "a,b={c}");
    std::string text = "16";
    EXPECT_TRUE(part.Set("rate", &text, &typeid(text)));
    const char* plain = "17";
    EXPECT_TRUE(part.Set("port", &plain, &typeid(plain)));
    EXPECT_EQ(part.rate, 16);
    EXPECT_EQ(part.port, 17);
    EXPECT_TRUE(part.Get("loud", &text, &typeid(text)));
    EXPECT_EQ(text, "true");
}

TEST_F(Properties, EachRefusalNamesPropertyAndObject) {
    const ErrorLines lines;
    EXPECT_FALSE(part.SetStr("speed", "1"));
    EXPECT_FALSE(part.SetStr("rate", "fast"));
    EXPECT_FALSE(part.SetStr("rate", "-1")) << "refused by the owner, which logs the reason itself";
    EXPECT_FALSE(part.SetStr("duration", "1"));
    EXPECT_FALSE(part.SetStr("call", "f"));
    EXPECT_FALSE(part.SetStr(nullptr, "1"));
    EXPECT_FALSE(part.SetStr("rate", nullptr));
    std::string text;
    EXPECT_FALSE(part.Get("refuses", &text, &typeid(text)));
    EXPECT_FALSE(part.Get("rate", nullptr, &typeid(int)));
    EXPECT_FALSE(part.Set("rate", &text, nullptr));
    EXPECT_EQ(lines.messages(), (Texts{"object has no property \"speed\"",
                                       "property \"rate\" of object: cannot convert \"fast\" to its type",
                                       "property \"duration\" of object cannot be set",
                                       "property \"call\" of object: cannot convert \"f\" to its type",
                                       "object has no property (null)",
                                       "property \"rate\" of object: its type differs from the caller's",
                                       "property \"refuses\" of object cannot be read",
                                       "property \"rate\" of object: its type differs from the caller's",
                                       "property \"rate\" of object: its type differs from the caller's"}));
}

TEST_F(Properties, AreTheTextOfTheObject) {
    part.rate = 3;
    part.title = "a,b";
    EXPECT_EQ(part.ToString(),
              "status=null,rate=3,position=0,port=0,loud=false,title={a,b},duration=5000000000");
    EXPECT_TRUE(part.fromString("rate=4,title={c,d}"));
    EXPECT_EQ(part.rate, 4);
    EXPECT_EQ(part.title, "c,d");
}

TEST_F(Properties, TextStopsAtTheFirstRefusal) {
    const ErrorLines lines;
    EXPECT_FALSE(part.fromString("rate=4,speed=1,port=5"));
    EXPECT_EQ(part.rate, 4);
    EXPECT_EQ(part.port, 0);
    EXPECT_FALSE(part.fromString("rate"));
    EXPECT_FALSE(part.fromString(nullptr));
    EXPECT_EQ(lines.messages(), (Texts{"object has no property \"speed\"",
                                       "'=' is missing after \"rate\" at position 5 of \"rate\"",
                                       "text is null at position 1 of \"\""}));
}

}  // namespace
