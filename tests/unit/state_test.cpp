#include "fixture.h"

namespace unit {
namespace {

/** VNStart or VNStop, which behave alike in opposite directions. */
struct Change {
    const char* function;
    int (*call)(int);
    const char* change; /**< operation of a stream */
    const char* state;
    const char* property; /**< of another object */
};

void PrintTo(const Change& change, std::ostream* out) {
    *out << change.function;
}

class ChangeTest : public PluginTest, public ::testing::WithParamInterface<Change> {
  protected:
    std::string entry(int id) { return trace(GetParam().function, std::to_string(id)); }
    std::string refusal(const std::string& text) { return error(GetParam().function, text); }
    std::string streamCall() {
        return "IStreamControl::" + std::string(GetParam().change) + "(" + GetParam().state + ")";
    }
    std::string propertyCall() {
        return "IParam::SetStr('" + std::string(GetParam().property) + "','" + GetParam().state + "')";
    }
    int call(int id) { return GetParam().call(id); }
};

TEST_P(ChangeTest, ChangesAStream) {
    const int id = handleOf(new Stream<ControlPart>);
    EXPECT_EQ(call(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{entry(id), streamCall()}));
}

TEST_P(ChangeTest, ChangesAnotherObjectByItsProperty) {
    const int id = handleOf(new PlainObject);
    EXPECT_EQ(call(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{entry(id), propertyCall()}));
}

TEST_P(ChangeTest, PrefersTheStreamOfAnObjectThatIsBoth) {
    const int id = handleOf(new Stream<ControlPart, ParamPart>);
    EXPECT_EQ(call(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{entry(id), streamCall()}));
}

TEST_P(ChangeTest, DoesNotTryThePropertyWhenTheStreamRefuses) {
    const int id = handleOf(new Stream<ControlPart, ParamPart>);
    script.refuse("IStreamControl::" + std::string(GetParam().change));
    EXPECT_EQ(call(id), VNRES_FAIL);
    EXPECT_EQ(
        happened(),
        (Events{entry(id), streamCall(),
                refusal("!ctl->" + std::string(GetParam().change) + "(State::" + GetParam().state + ")")}));
}

TEST_P(ChangeTest, FailsWhenTheStreamRefuses) {
    const int id = handleOf(new Stream<ControlPart>);
    script.refuse("IStreamControl::" + std::string(GetParam().change));
    EXPECT_EQ(call(id), VNRES_FAIL);
    EXPECT_EQ(
        happened(),
        (Events{entry(id), streamCall(),
                refusal("!ctl->" + std::string(GetParam().change) + "(State::" + GetParam().state + ")")}));
}

TEST_P(ChangeTest, FailsWhenThePropertyIsRefused) {
    const int id = handleOf(new PlainObject);
    script.refuse("IParam::SetStr");
    EXPECT_EQ(call(id), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{entry(id), propertyCall(),
                                  refusal("!rcv->Set(\"" + std::string(GetParam().property) + "\",\"" +
                                          GetParam().state + "\")")}));
}

TEST_P(ChangeTest, IsSilentlyUnsupportedByAnyOtherObject) {
    const int id = handleOf(new Stream<VideoPart, StatusPart, MessagePart>);
    EXPECT_EQ(call(id), VNRES_UNSUPPORTED);
    EXPECT_EQ(happened(), (Events{entry(id)}));
}

TEST_P(ChangeTest, RefusesHandleZero) {
    EXPECT_EQ(call(0), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{entry(0), refusal("!id")}));
}

INSTANTIATE_TEST_SUITE_P(State, ChangeTest,
                         ::testing::Values(Change{"VNStart", VNStart, "ChangeUp", "play", "statusup"},
                                           Change{"VNStop", VNStop, "ChangeDown", "null", "statusdown"}),
                         [](const auto& test) { return std::string(test.param.function); });

const char unsupported[] = "unsupport register message callback!";

using RunningTest = PluginTest;

TEST_F(RunningTest, ReportsWhetherTheObjectPlays) {
    auto* const object = new Plain<StatusPart>;
    const int id = handleOf(object);
    int running = 17;
    EXPECT_EQ(VNIsRunning(id, &running), VNRES_SUCCEED);
    EXPECT_EQ(running, 0);
    object->plays = true;
    EXPECT_EQ(VNIsRunning(id, &running), VNRES_SUCCEED);
    EXPECT_EQ(running, 1);
    EXPECT_EQ(happened(), (Events{"IStatus::StatusIsPlay()", "IStatus::StatusIsPlay()"}));
}

TEST_F(RunningTest, DoesNotQueryTheStatusForANullPointer) {
    const int id = handleOf(new Stream<StatusPart>);
    EXPECT_EQ(VNIsRunning(id, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{});
}

TEST_F(RunningTest, IsUnsupportedWithoutAStatus) {
    const int id = handleOf(new Stream<ControlPart>);
    int running = 17;
    EXPECT_EQ(VNIsRunning(id, &running), VNRES_UNSUPPORTED);
    EXPECT_EQ(running, 17);
    EXPECT_EQ(VNIsRunning(id, nullptr), VNRES_UNSUPPORTED);
    EXPECT_EQ(happened(), (Events{error("VNIsRunning", unsupported), error("VNIsRunning", unsupported)}));
}

TEST_F(RunningTest, RefusesHandleZero) {
    int running = 17;
    EXPECT_EQ(VNIsRunning(0, &running), VNRES_INVALID_ARG);
    EXPECT_EQ(running, 17);
    EXPECT_EQ(happened(), Events{error("VNIsRunning", "!id")});
}

}  // namespace
}  // namespace unit
