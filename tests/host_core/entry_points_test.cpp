#include "kep/entry_points.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "callbacks.h"
#include "error_lines.h"
#include "kep/streaming.h"
#include "parts.h"

namespace {

using Texts = std::vector<std::string>;

Messages* handled = nullptr;

int handle(const char* message) {
    handled->take(message);
    return 1;
}

/** A streaming object, which has no properties. */
class Stream : public kep::api::streaming::common::IStreamControl {
  public:
    bool ChangeUp(kep::State target) override { return state = target, true; }
    bool ChangeDown(kep::State target) override { return state = target, target != kep::State::ready; }
    bool RegisterMessageCallback(const std::function<bool(const char*)>& to) override {
        return callback = to, true;
    }

    kep::State state = kep::State::null;
    std::function<bool(const char*)> callback;
};

class Bare : public kep::object_base {};

TEST(EntryPoints, AttributeSetsAreReadByKey) {
    kep::object_base* const set = kepCreateAttrSet("codec=h264,bitrate=0x10,big=-5000000000,gop=2s");
    ASSERT_NE(set, nullptr);
    EXPECT_STREQ(kepAttrGetStr(set, "codec"), "h264");
    EXPECT_EQ(kepAttrGetStr(set, "absent"), nullptr);
    EXPECT_EQ(kepAttrGetInt(set, "bitrate"), 16);
    EXPECT_EQ(kepAttrGetInt(set, "big"), -5000000000);
    EXPECT_EQ(kepAttrGetInt(set, "gop"), 0);
    EXPECT_EQ(kepAttrGetInt(set, "absent"), 0);
    EXPECT_TRUE(kepDestroy(set));
}

TEST(EntryPoints, AUrlIsParsedIntoAttributes) {
    kep::object_base* const set = kepCreateAttrSet("file:///mnt/sd/a=b,c.mp4");
    ASSERT_NE(set, nullptr);
    EXPECT_STREQ(kepAttrGetStr(set, "ext"), "mp4");
    EXPECT_TRUE(kepDestroy(set));
    kep::object_base* const value = kepCreateAttrSet("url=file:///a.mp4");
    EXPECT_STREQ(kepAttrGetStr(value, "url"), "file:///a.mp4");
    EXPECT_TRUE(kepDestroy(value));
}

TEST(EntryPoints, AnEmptyTextIsAnEmptySet) {
    kep::object_base* const set = kepCreateAttrSet("");
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(kepAttrGetStr(set, "a"), nullptr);
    EXPECT_TRUE(kepDestroy(set));
}

TEST(EntryPoints, AnObjectsPropertiesAreReadByKey) {
    kep::object_base* const part = kepCreate("type=TestPart,name=p,rate=7");
    ASSERT_NE(part, nullptr);
    EXPECT_STREQ(kepAttrGetStr(part, "rate"), "7");
    EXPECT_EQ(kepAttrGetInt(part, "duration"), 5'000'000'000);
    EXPECT_EQ(kepAttrGetStr(part, "absent"), nullptr);
    EXPECT_EQ(kepAttrGetStr(part, "call"), nullptr);
    EXPECT_TRUE(kepDestroy(part));
    EXPECT_EQ(partsAlive, 0);
}

TEST(EntryPoints, StatesChangeUpAndDown) {
    kep::object_base* const part = kepCreate("type=TestPart");
    EXPECT_TRUE(kepStatusUp(part, "ready"));
    EXPECT_STREQ(kepAttrGetStr(part, "status"), "ready");
    EXPECT_TRUE(kepStatusUp(part, "play"));
    EXPECT_TRUE(kepStatusDown(part, "null"));
    EXPECT_STREQ(kepAttrGetStr(part, "status"), "null");
    EXPECT_TRUE(kepDestroy(part));
}

TEST(EntryPoints, StreamsHaveStatesAndMessagesToo) {
    Stream stream;
    EXPECT_TRUE(kepStatusUp(&stream, "play"));
    EXPECT_EQ(stream.state, kep::State::play);
    EXPECT_FALSE(kepStatusDown(&stream, "ready"));
    EXPECT_TRUE(kepStatusDown(&stream, "null"));
    Messages messages;
    handled = &messages;
    EXPECT_TRUE(kepRegisterMessageProcess(&stream, handle));
    EXPECT_TRUE(stream.callback("name=x"));
    EXPECT_EQ(messages.all(), (Texts{"name=x"}));
}

TEST(EntryPoints, MessagesOfAnApplicationReachItsHandler) {
    Messages messages;
    handled = &messages;
    kep::object_base* const application = kepCreateApp("type=application,layout={TestPart:name=a}");
    ASSERT_NE(application, nullptr);
    ASSERT_TRUE(kepRegisterMessageProcess(application, handle));
    kep::base::object* const child = application->AsType<kep::base::object>()->FindChild(
        [](const kep::base::object&) { return true; }, false);
    dynamic_cast<Part*>(child)->send("name=recordStart,url=file:///a.mp4");
    EXPECT_TRUE(messages.waitFor("name=recordStart,url=file:///a.mp4"));
    EXPECT_TRUE(kepDestroy(application));
    EXPECT_EQ(messages.all().size(), 1u);
}

TEST(EntryPoints, CreateAppLogsPositionsInTheCallersText) {
    const ErrorLines lines;
    EXPECT_EQ(kepCreateApp("type=Pipeline,serialize={NoSuchElement:name=a"), nullptr);
    EXPECT_EQ(kepCreateApp("no text"), nullptr);
    EXPECT_EQ(
        lines.messages(),
        (Texts{"'{' is never closed at position 25 of \"type=Pipeline,serialize={NoSuchElement:name=a\"",
               "'=' is missing after \"no text\" at position 8 of \"no text\""}));
}

TEST(EntryPoints, NullArgumentsAreRefusedWithOneLineEach) {
    const ErrorLines lines;
    kep::object_base* const set = kepCreateAttrSet("a=1");
    EXPECT_EQ(kepCreate(nullptr), nullptr);
    EXPECT_EQ(kepCreateApp(nullptr), nullptr);
    EXPECT_EQ(kepCreateAttrSet(nullptr), nullptr);
    EXPECT_EQ(kepAttrGetStr(nullptr, "a"), nullptr);
    EXPECT_EQ(kepAttrGetStr(set, nullptr), nullptr);
    EXPECT_EQ(kepAttrGetInt(nullptr, "a"), 0);
    EXPECT_FALSE(kepStatusUp(nullptr, "play"));
    EXPECT_FALSE(kepStatusUp(set, nullptr));
    EXPECT_FALSE(kepStatusDown(nullptr, "null"));
    EXPECT_FALSE(kepRegisterMessageProcess(nullptr, handle));
    EXPECT_FALSE(kepRegisterMessageProcess(set, nullptr));
    EXPECT_FALSE(kepDestroy(nullptr));
    EXPECT_EQ(lines.messages().size(), 12u);
    EXPECT_TRUE(kepDestroy(set));
}

TEST(EntryPoints, UnsupportedOperationsAreLogged) {
    const ErrorLines lines;
    Bare bare;
    EXPECT_FALSE(kepStatusUp(&bare, "play"));
    EXPECT_FALSE(kepStatusUp(&bare, "faster"));
    EXPECT_FALSE(kepRegisterMessageProcess(&bare, handle));
    EXPECT_EQ(kepAttrGetStr(&bare, "a"), nullptr);
    EXPECT_EQ(lines.messages(), (Texts{"an object without states cannot change to \"play\"",
                                       "\"faster\" is not a state: states are null, ready and play",
                                       "an object without messages cannot have a message handler"}));
}

TEST(EntryPoints, TheNextCallWorksAfterEachRefusal) {
    const ErrorLines lines;
    for (const char* text : {"", "}", "type=NoSuch", "type=TestThrower", "type=TestPart,rate=x"}) {
        EXPECT_EQ(kepCreate(text), nullptr) << text;
        kep::object_base* const part = kepCreate("type=TestPart,name=after");
        EXPECT_NE(part, nullptr) << text;
        kepDestroy(part);
    }
    EXPECT_EQ(lines.messages().size(), 5u);
}

}  // namespace
