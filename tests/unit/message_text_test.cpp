// The functions of vornisa_message.h.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "vornisa_message.h"

namespace {

std::string valueOf(const char* message, const char* key) {
    char value[64] = "?";
    const int length = VNMessageValue(message, key, value, sizeof value);
    return length < 0 ? "absent" + std::string(value) : std::string(value, static_cast<std::size_t>(length));
}

TEST(MessageText, GivesTheValueOfAKey) {
    const char* const message = "name=frameLost,media=video,lost=3,empty=";
    EXPECT_EQ(valueOf(message, "name"), "frameLost");
    EXPECT_EQ(valueOf(message, "media"), "video");
    EXPECT_EQ(valueOf(message, "lost"), "3");
    EXPECT_EQ(valueOf(message, "empty"), "");
    EXPECT_EQ(valueOf(message, "los"), "absent");
    EXPECT_EQ(valueOf(message, "Name"), "absent");
    EXPECT_EQ(valueOf(message, "frameLost"), "absent");
}

TEST(MessageText, StripsBracesAndDoesNotSearchInside) {
    const char* const message = "url={file:///a,lost=1.mp4},track={type=video,size={w=1,h=2}},lost=2,half={a";
    EXPECT_EQ(valueOf(message, "url"), "file:///a,lost=1.mp4");
    EXPECT_EQ(valueOf(message, "track"), "type=video,size={w=1,h=2}");
    EXPECT_EQ(valueOf(message, "lost"), "2");
    EXPECT_EQ(valueOf(message, "half"), "{a");
    EXPECT_EQ(valueOf(valueOf(message, "track").c_str(), "size"), "w=1,h=2");
}

TEST(MessageText, FindsNothingInAnInvalidMessage) {
    for (const char* text : {"", ",", "=", "a", "a,b", "{", "}", "}}}a=1"})
        EXPECT_EQ(valueOf(text, "b"), "absent") << text;
}

TEST(MessageText, TruncatesAValueToTheBufferAndReturnsItsLength) {
    char value[4] = {'?', '?', '?', '?'};
    EXPECT_EQ(VNMessageValue("a=12345", "a", value, 3), 5);
    EXPECT_STREQ(value, "12");
    EXPECT_EQ(value[3], '?');
    EXPECT_EQ(VNMessageValue("a=12345", "a", value, 1), 5);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(VNMessageValue("a=12345", "a", nullptr, 0), 5);
    EXPECT_EQ(VNMessageValue("a=12345", "b", nullptr, 0), -1);
    EXPECT_EQ(VNMessageValue("a=123", "a", value, sizeof value), 3);
    EXPECT_STREQ(value, "123");
}

TEST(MessageText, ReadsNumbersOf64Bits) {
    const auto numberOf = [](const std::string& text) {
        std::int64_t number = 7;
        EXPECT_EQ(VNMessageNumber(("n=" + text).c_str(), "n", &number), 1) << text;
        return number;
    };
    EXPECT_EQ(numberOf("0"), 0);
    EXPECT_EQ(numberOf("-12"), -12);
    EXPECT_EQ(numberOf("{30}"), 30);
    EXPECT_EQ(numberOf("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(numberOf("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
}

TEST(MessageText, LeavesTheNumberWhenTheTextIsInvalid) {
    for (const char* text : {"n=", "n=-", "n=1s", "n=+1", "n= 1", "n=0x1", "n=9223372036854775808",
                             "n=-9223372036854775809", "n=99999999999999999999999999999", "m=1", ""}) {
        std::int64_t number = 7;
        EXPECT_EQ(VNMessageNumber(text, "n", &number), 0) << text;
        EXPECT_EQ(number, 7) << text;
    }
}

TEST(MessageText, ComparesTheNameOfAMessage) {
    EXPECT_EQ(VNMessageIs("name=stopped", "stopped"), 1);
    EXPECT_EQ(VNMessageIs("id=3,name=stopped", "stopped"), 1);
    EXPECT_EQ(VNMessageIs("name=stopped", "stop"), 0);
    EXPECT_EQ(VNMessageIs("id=stopped", "stopped"), 0);
}

struct Stream {
    std::vector<std::string> heard;
};

void hear(Stream* stream, const char* message) {
    stream->heard.emplace_back(message);
}

Stream front, yard;
VN_MESSAGE_CALLBACK(onFront, hear, &front)
VN_MESSAGE_CALLBACK(onYard, hear, &yard)

TEST(MessageText, ACallbackKnowsItsStream) {
    void (*const callbacks[])(const char*) = {onFront, onYard};
    callbacks[0]("name=started");
    callbacks[1]("name=stopped");
    EXPECT_EQ(front.heard, std::vector<std::string>{"name=started"});
    EXPECT_EQ(yard.heard, std::vector<std::string>{"name=stopped"});
}

}  // namespace
