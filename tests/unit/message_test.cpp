#include "fixture.h"

namespace unit {
namespace {

std::vector<std::string> received;

void receive(const char* message) {
    received.push_back(message);
}

const char unsupported[] = "unsupport register message callback!";
const char streamRegistration[] = "IStreamControl::RegisterMessageCallback()";
const char objectRegistration[] = "IMessageProcesser::RegisterMessageProcessCallback()";

/** Either registering function; the first has no pointer `hd` and ignores it here. */
struct Register {
    const char* function;
    int (*call)(int id, VNMessageCallback cb, void* hd);
};

void PrintTo(const Register& registering, std::ostream* out) {
    *out << registering.function;
}

class RegisterTest : public PluginTest, public ::testing::WithParamInterface<Register> {
  protected:
    RegisterTest() { received.clear(); }
    int call(int id, VNMessageCallback cb) { return GetParam().call(id, cb, &received); }
};

TEST_P(RegisterTest, DeliversTheTextsOfAStreamUnchanged) {
    auto* const object = new Stream<ControlPart>;
    const int id = handleOf(object);
    EXPECT_EQ(call(id, receive), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{streamRegistration});
    EXPECT_TRUE(object->callback("name=framesLost,count=3"));
    EXPECT_TRUE(object->callback(""));
    EXPECT_EQ(received, (std::vector<std::string>{"name=framesLost,count=3", ""}));
    EXPECT_EQ(happened(), Events{});
}

TEST_P(RegisterTest, PrefersTheStreamOfAnObjectThatIsBoth) {
    const int id = handleOf(new Stream<ControlPart, MessagePart>);
    EXPECT_EQ(call(id, receive), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{streamRegistration});
}

TEST_P(RegisterTest, IgnoresTheResultOfTheObject) {
    script.refuse("IStreamControl::RegisterMessageCallback");
    script.refuse("IMessageProcesser::RegisterMessageProcessCallback");
    EXPECT_EQ(call(handleOf(new Stream<ControlPart>), receive), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{streamRegistration});
    EXPECT_EQ(call(handleOf(new Plain<MessagePart>), receive), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{objectRegistration});
}

TEST_P(RegisterTest, DoesNotCheckTheCallback) {
    EXPECT_EQ(call(handleOf(new Stream<ControlPart>), nullptr), VNRES_SUCCEED);
    EXPECT_EQ(call(handleOf(new Plain<MessagePart>), nullptr), VNRES_SUCCEED);
}

TEST_P(RegisterTest, IsUnsupportedWithoutMessages) {
    EXPECT_EQ(call(handleOf(new Plain<StatusPart>), receive), VNRES_UNSUPPORTED);
    EXPECT_EQ(happened(), Events{error(GetParam().function, unsupported)});
}

TEST_P(RegisterTest, RefusesHandleZero) {
    EXPECT_EQ(call(0, receive), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{error(GetParam().function, "!id")});
}

TEST_P(RegisterTest, SurvivesAMessageThatCannotBeTagged) {
    auto* const object = new Plain<MessagePart>;
    ASSERT_EQ(call(handleOf(object), receive), VNRES_SUCCEED);
    script.throwAt("Message::Attributes");
    TextMessage message("name=recordStart");
    EXPECT_FALSE(object->callback(message));
    EXPECT_TRUE(received.empty());
    EXPECT_EQ(happened(), (Events{objectRegistration, "Message::Attributes()",
                                  error(GetParam().function, "exception:std::bad_alloc")}));
}

int registerFirst(int id, VNMessageCallback cb, void*) {
    return VNRegisterMessageCallback(id, cb);
}

INSTANTIATE_TEST_SUITE_P(Messages, RegisterTest,
                         ::testing::Values(Register{"VNRegisterMessageCallback", registerFirst},
                                           Register{"VNRegisterMessageCallback2",
                                                    VNRegisterMessageCallback2}),
                         [](const auto& test) { return std::string(test.param.function); });

using TagTest = PluginTest;

TEST_F(TagTest, TheMessagesOfAnObjectCarryItsHandle) {
    auto* const object = new Plain<MessagePart>;
    const int id = handleOf(object);
    received.clear();
    ASSERT_EQ(VNRegisterMessageCallback(id, receive), VNRES_SUCCEED);
    TextMessage message("name=recordStart,url=/tmp/a.mp4");
    EXPECT_TRUE(object->callback(message));
    EXPECT_EQ(received,
              (std::vector<std::string>{"name=recordStart,url=/tmp/a.mp4,id=" + std::to_string(id)}));
}

TEST_F(TagTest, TheMessagesOfAnObjectCarryHandleAndPointer) {
    auto* const object = new Plain<MessagePart>;
    const int id = handleOf(object);
    received.clear();
    int own = 0;
    ASSERT_EQ(VNRegisterMessageCallback2(id, receive, &own), VNRES_SUCCEED);
    TextMessage message("name=recordStop");
    EXPECT_TRUE(object->callback(message));
    EXPECT_EQ(received, (std::vector<std::string>{"name=recordStop,vornisa_id=" + std::to_string(id) +
                                                  ",vornisa_hd=" + shown(&own)}));
}

TEST_F(TagTest, ANullPointerIsReturnedAsOne) {
    auto* const object = new Plain<MessagePart>;
    const int id = handleOf(object);
    received.clear();
    ASSERT_EQ(VNRegisterMessageCallback2(id, receive, nullptr), VNRES_SUCCEED);
    TextMessage message("name=recordStop");
    EXPECT_TRUE(object->callback(message));
    EXPECT_EQ(received, (std::vector<std::string>{"name=recordStop,vornisa_id=" + std::to_string(id) +
                                                  ",vornisa_hd=" + shown(nullptr)}));
}

}  // namespace
}  // namespace unit
