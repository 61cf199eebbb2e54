/** The commands to the image pipeline: turning the picture, flicker. */
#include <limits>
#include <string>
#include <vector>

#include "commands.h"
#include "fixture.h"

namespace unit {
namespace {

std::string refused(const std::string& file, const std::string& function, const std::string& text) {
    return line(8, red, "api/" + file, function, text);
}

const std::string undelivered = "!Factory::Globle().Run(\"shm0_cmd\",ap)";

/** The steps of a turn, in their order. */
Events turn(const std::string& hflip, const std::string& vflip) {
    return {"Factory::Run cdspUpdate(shm0_cmd:cmd=cdspUpdate,vflip=" + vflip + ",yuvid=-1)",
            "Factory::Run hflipUpdate(shm0_cmd:cmd=hflipUpdate,hflip=" + hflip + ")",
            "Factory::Run mdflipUpdate(shm0_cmd:cmd=mdflipUpdate,hflip=" + hflip + ",vflip=" + vflip + ")"};
}

struct Step {
    const char* cmd;
    const char* function;
};

const Step steps[] = {
    {"cdspUpdate", "VNVideoVFlip"}, {"hflipUpdate", "VNVideoHFlip"}, {"mdflipUpdate", "VNVideoMDFlip"}};

class PictureControlTest : public PluginTest {
  protected:
    PictureControlTest() { resetReplies(); }
};

// Every mode sends all three commands; mode 0 clears both flips.
TEST_F(PictureControlTest, AModeSendsThreeCommands) {
    EXPECT_EQ(VNTurnVideo(0), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("false", "false"));
    EXPECT_EQ(VNTurnVideo(1), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("true", "false"));
    EXPECT_EQ(VNTurnVideo(2), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("false", "true"));
    EXPECT_EQ(VNTurnVideo(3), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("true", "true"));
}

TEST_F(PictureControlTest, OtherModesAreUnsupportedAndNotLogged) {
    for (int mode : {4, 5, -1, -4, 256, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(VNTurnVideo(mode), VNRES_UNSUPPORTED) << mode;
        EXPECT_EQ(happened(), Events{});
    }
}

TEST_F(PictureControlTest, ATurnStopsAtTheCommandThatIsNotDelivered) {
    for (std::size_t i = 0; i < 3; ++i) {
        script.reset();
        script.refuse(std::string("Factory::Run ") + steps[i].cmd);
        EXPECT_EQ(VNTurnVideo(1), VNRES_FAIL);
        Events events = turn("true", "false");
        events.resize(i + 1);
        events.push_back(refused("vornisa_video_turn.cpp", steps[i].function, undelivered));
        EXPECT_EQ(happened(), events);
    }
}

TEST_F(PictureControlTest, ATurnStopsAtTheRefusedCommandWithoutALogLine) {
    for (std::size_t i = 0; i < 3; ++i) {
        resetReplies();
        replyTo(steps[i].cmd, "true");
        EXPECT_EQ(VNTurnVideo(2), VNRES_FAIL);
        Events events = turn("false", "true");
        events.resize(i + 1);
        EXPECT_EQ(happened(), events);
    }
}

// The receiver replies "true" when it refuses. Kept as it is.
TEST_F(PictureControlTest, AReplyOfFalseIsSuccess) {
    for (const Step& step : steps) replyTo(step.cmd, "false");
    replyTo("aeflick", "false");
    EXPECT_EQ(VNTurnVideo(3), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("true", "true"));
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
}

TEST_F(PictureControlTest, AReplyOtherThanABooleanIsSuccess) {
    for (const Step& step : steps) replyTo(step.cmd, "what?");
    EXPECT_EQ(VNTurnVideo(0), VNRES_SUCCEED);
}

TEST_F(PictureControlTest, TheCallAfterAFailureWorks) {
    script.refuse("Factory::Run hflipUpdate");
    EXPECT_EQ(VNTurnVideo(3), VNRES_FAIL);
    script.reset();
    EXPECT_EQ(VNTurnVideo(0), VNRES_SUCCEED);
    EXPECT_EQ(happened(), turn("false", "false"));
}

TEST_F(PictureControlTest, FlickerSendsOneCommand) {
    for (int enable : {1, 2, -1, 256}) {
        EXPECT_EQ(VNAeFlick(enable), VNRES_SUCCEED);
        EXPECT_EQ(happened(), (Events{"Factory::Run aeflick(shm0_cmd:cmd=aeflick,aeflick=true)"})) << enable;
    }
    EXPECT_EQ(VNAeFlick(0), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{"Factory::Run aeflick(shm0_cmd:cmd=aeflick,aeflick=false)"}));
}

TEST_F(PictureControlTest, FlickerThatIsNotDeliveredFailsWithALogLine) {
    script.refuse("Factory::Run aeflick");
    EXPECT_EQ(VNAeFlick(0), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{"Factory::Run aeflick(shm0_cmd:cmd=aeflick,aeflick=false)",
                                  refused("vornisa_ae_flick.cpp", "VNFlick", undelivered)}));
}

TEST_F(PictureControlTest, FlickerThatIsRefusedFailsWithoutALogLine) {
    replyTo("aeflick", "true");
    EXPECT_EQ(VNAeFlick(1), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{"Factory::Run aeflick(shm0_cmd:cmd=aeflick,aeflick=true)"}));
}

TEST_F(PictureControlTest, ExceptionsAreLoggedUnderTheFunctionCalled) {
    script.throwAt("Factory::Run cdspUpdate");
    EXPECT_EQ(VNTurnVideo(0), VNRES_FAIL);
    EXPECT_EQ(happened().back(),
              refused("vornisa_video_turn.cpp", "VNTurnVideo", "exception:std::bad_alloc"));
    script.throwAt("Factory::Run aeflick");
    EXPECT_EQ(VNAeFlick(0), VNRES_FAIL);
    EXPECT_EQ(happened().back(), refused("vornisa_ae_flick.cpp", "VNAeFlick", "exception:std::bad_alloc"));
}

}  // namespace
}  // namespace unit
