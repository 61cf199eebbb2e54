/** The inline code of the framework's headers that needs no objects of the framework. */
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kep/attr_set.h"
#include "kep/attributes.h"
#include "kep/debug_line.h"
#include "kep/fifo_buffer.h"
#include "kep/frame.h"
#include "kep/hash.h"
#include "kep/hex.h"
#include "kep/typed_param.h"

namespace {

std::string text;
kep::base::ostream_string stream(text);

}  // namespace

namespace kep::stream {

base::ostream* __dbg_couts[] = {nullptr, &::stream, nullptr};
int __root_path_offset = 0;

}  // namespace kep::stream

namespace unit {
namespace {

namespace common = kep::api::streaming::common;
using namespace kep::base;

TEST(HashTest, IsFnv1a) {
    EXPECT_EQ(kep::Hash(""), 0x811c9dc5u);
    EXPECT_EQ(kep::Hash("a"), 0xe40c292cu);
    EXPECT_EQ(kep::Hash("foobar"), 0xbf9cf968u);
}

TEST(HashTest, OfNullIsZero) {
    EXPECT_EQ(kep::Hash(nullptr), 0u);
}

TEST(HashTest, IgnoresTheCaseOfAsciiLetters) {
    EXPECT_EQ(kep::Hash("FooBAR"), kep::Hash("foobar"));
    EXPECT_EQ(kep::Hash("AZ"), kep::Hash("az"));
    EXPECT_NE(kep::Hash("@"), kep::Hash("`"));
    EXPECT_NE(kep::Hash("["), kep::Hash("{"));
    EXPECT_NE(kep::Hash("\xc4"), kep::Hash("\xe4"));
}

TEST(HashTest, HashesBytesAboveAsciiUnchanged) {
    EXPECT_EQ(kep::Hash("\xff"), (0x811c9dc5u ^ 0xffu) * 16777619u);
}

// A copy would release the data twice.
static_assert(!std::is_copy_constructible_v<common::frame_t> && !std::is_copy_assignable_v<common::frame_t>);
// It owns its bytes.
static_assert(!std::is_copy_constructible_v<FifoBuffer> && !std::is_copy_assignable_v<FifoBuffer>);

TEST(FrameTest, IsEmptyByDefault) {
    const common::frame_t frame;
    EXPECT_EQ(frame.index, 0);
    EXPECT_EQ(frame.data, nullptr);
    EXPECT_EQ(frame.size, 0);
    EXPECT_FALSE(frame.key);
    EXPECT_EQ(frame.stamp, std::chrono::steady_clock::time_point());
    EXPECT_EQ(frame.release, nullptr);
}

TEST(FrameTest, IsReleasedOnceByItsLastOwner) {
    int released = 0;
    auto frame = std::make_shared<common::frame_t>();
    frame->release = [&released, raw = frame.get()](common::frame_t* given) { released += given == raw; };
    auto second = frame;
    frame.reset();
    EXPECT_EQ(released, 0);
    second.reset();
    EXPECT_EQ(released, 1);
}

TEST(AttributeTemplateTest, NumbersAndBooleansAreWrittenAsText) {
    AttrSet set;
    EXPECT_TRUE(set.Add("id", -7));
    EXPECT_TRUE(set.Add("draw", true));
    EXPECT_STREQ(set.Get("id"), "-7");
    EXPECT_STREQ(set.Get("draw"), "true");
    EXPECT_EQ(set.GetOrDef("id", 1), -7);
    EXPECT_EQ(set.GetOrDef("draw", false), true);
    EXPECT_EQ(set.GetOrDef("none", 1), 1);
    EXPECT_STREQ(set.GetOrDef("none", "fallback"), "fallback");
}

TEST(Hex, HasAsManyDigitsAsTheType) {
    char text[kep::base::kHexSize];
    EXPECT_STREQ(kep::base::ToHex(text, static_cast<unsigned char>(0x0a), true), "0x0A");
    EXPECT_STREQ(kep::base::ToHex(text, static_cast<unsigned char>(0xfe), false), "FE");
    EXPECT_STREQ(kep::base::ToHex(text, static_cast<unsigned short>(0xbcd), true), "0x0BCD");
    EXPECT_STREQ(kep::base::ToHex(text, static_cast<unsigned short>(0xffff), false), "FFFF");
    EXPECT_STREQ(kep::base::ToHex(text, 0x12abcdefu, true), "0x12ABCDEF");
    EXPECT_STREQ(kep::base::ToHex(text, 0x1u, false), "00000001");
    EXPECT_STREQ(kep::base::ToHex(text, std::uint64_t{0x123456789abcdef0}, true), "0x123456789ABCDEF0");
    EXPECT_STREQ(kep::base::ToHex(text, std::uint64_t{0xf}, false), "000000000000000F");
}

TEST(AttributeTemplateTest, OtherNumbersAreWrittenInFull) {
    EXPECT_EQ(ToString(std::int64_t{INT64_MIN}), "-9223372036854775808");
    EXPECT_EQ(ToString(0xffffffffu), "4294967295");
    EXPECT_EQ(ToString(INT_MIN), "-2147483648");
    EXPECT_EQ(ToString(false), "false");
}

TEST(AttributeTemplateTest, AValueThatDoesNotConvertGivesTheFallback) {
    AttrSet set("n=abc,big=5000000000");
    EXPECT_EQ(set.GetOrDef("n", 7), 7);
    EXPECT_EQ(set.GetOrDef("big", std::int64_t{1}), 5000000000);
}

class Attributes final : public IAttributes {
  public:
    void toString(std::string& target) const override { target = "a=1"; }
    bool fromString(const char*) override { return false; }
};

TEST(AttributesTest, ReturnsItsTextAsANewString) {
    EXPECT_EQ(Attributes().ToString(), "a=1");
}

TEST(DebugLineTest, HasColourSourceLineAndFunctionAndResetsTheColourAfterTheNewline) {
    text.clear();
    kep::stream::__root_path_offset = 6;
    kep::base::ostream& line = kep::stream::BeginDebugLine(1, "<red>", "/root/api/a.cpp", 17, "f");
    EXPECT_EQ(&line, &stream);
    EXPECT_EQ(text, "<red>api/a.cpp/17/f:\t");
    kep::stream::EndDebugLine(line << 5);
    EXPECT_EQ(text, "<red>api/a.cpp/17/f:\t5\n\033[0m");
}

TEST(DebugLineTest, CutsTheRootButNotBeyondTheEndOfThePath) {
    const char file[] = "/root/a.cpp";
    for (const auto& [offset, rest] : std::vector<std::pair<int, const char*>>{{0, "/root/a.cpp"},
                                                                               {-1, "/root/a.cpp"},
                                                                               {6, "a.cpp"},
                                                                               {10, "p"},
                                                                               {11, ""},
                                                                               {12, ""},
                                                                               {INT_MAX, ""}}) {
        kep::stream::__root_path_offset = offset;
        EXPECT_STREQ(kep::stream::SourceBelowRoot(file), rest) << offset;
    }
}

/** One property, "number", of the given type. */
class Property final : public IParam {
  public:
    explicit Property(const std::type_info& type) : type_(type) {}

    bool Set(const char* key, void* value, const std::type_info* type) override {
        if (key != std::string("number") || *type != type_) return false;
        number = *static_cast<int*>(value);
        return true;
    }
    bool Get(const char* key, void* value, const std::type_info* type) const override {
        // A framework may write before it refuses.
        *static_cast<int*>(value) = static_cast<int>(number);
        return key == std::string("number") && *type == type_;
    }
    bool SetStr(const char*, const char*) override { return false; }
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     TypeCompatible compatible) override {
        if (key != std::string("number") || *type != typeid(std::int64_t) || !compatible(type_)) return false;
        number = *static_cast<std::int64_t*>(value);
        return true;
    }
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     TypeCompatible compatible) const override {
        *static_cast<std::int64_t*>(value) = number;
        return key == std::string("number") && *type == typeid(std::int64_t) && compatible(type_);
    }

    std::int64_t number = 1;

  private:
    const std::type_info& type_;
};

TEST(TypedParamTest, SetsAndGetsValuesOfItsOwnType) {
    Property property(typeid(int));
    int value = 0;
    EXPECT_TRUE(SetTyped(property, "number", 5));
    EXPECT_TRUE(GetTyped(property, "number", value));
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(SetTyped(property, "number", 6u));
    EXPECT_FALSE(SetTyped(property, "other", 6));
    EXPECT_EQ(property.number, 5);
}

TEST(TypedParamTest, LeavesTheValueWhenRefused) {
    Property property(typeid(int));
    int value = 7;
    EXPECT_FALSE(GetTyped(property, "other", value));
    EXPECT_EQ(value, 7);
    std::int64_t integer = 7;
    EXPECT_FALSE(GetInteger(property, "other", integer));
    EXPECT_EQ(integer, 7);
}

template <class T>
class IntegerParamTest : public ::testing::Test {};

using Integers = ::testing::Types<char, short, int, long, long long, unsigned char, unsigned short,
                                  unsigned int, unsigned long, unsigned long long>;
TYPED_TEST_SUITE(IntegerParamTest, Integers);

TYPED_TEST(IntegerParamTest, IsSetAndReadWith64Bits) {
    Property property(typeid(TypeParam));
    std::int64_t value = 0;
    EXPECT_TRUE(SetInteger(property, "number", -5000000000));
    EXPECT_TRUE(GetInteger(property, "number", value));
    EXPECT_EQ(value, -5000000000);
}

template <class T>
class OtherParamTest : public ::testing::Test {};

using Others = ::testing::Types<bool, signed char, float, double, char*, std::string>;
TYPED_TEST_SUITE(OtherParamTest, Others);

TYPED_TEST(OtherParamTest, IsNotAnInteger) {
    Property property(typeid(TypeParam));
    std::int64_t value = 7;
    EXPECT_FALSE(SetInteger(property, "number", 5));
    EXPECT_FALSE(GetInteger(property, "number", value));
    EXPECT_EQ(property.number, 1);
    EXPECT_EQ(value, 7);
}

}  // namespace
}  // namespace unit
