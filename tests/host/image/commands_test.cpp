// The commands that change the picture, as the plug-in sends them and in malformed variants.
#include "image_fixture.h"
#include "kep/attr_set.h"
#include "kep/reflect.h"

namespace kep::host {
namespace {

using base::AttrSet;
using base::Factory;

class CommandTest : public ImageTest {
  protected:
    void SetUp() override {}

    /** The command's reply, from "ret". */
    static std::string reply(const std::string& text) {
        AttrSet arguments(text.c_str());
        EXPECT_TRUE(Factory::Globle().Run("shm0_cmd", arguments)) << text;
        return arguments.GetOrDef("ret", "");
    }
};

TEST_F(CommandTest, AreRegisteredBeforeTheCameraRuns) {
    EXPECT_EQ(VNTurnVideo(3), VNRES_SUCCEED);
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    EXPECT_EQ(VNAeFlick(0), VNRES_SUCCEED);
    EXPECT_EQ(reply("cmd=hflipUpdate,hflip=false"), "false");
}

TEST_F(CommandTest, AreRefusedWithALineIfWrong) {
    const ErrorLines lines;
    const auto refusal = [&](const std::string& text, const std::string& line) {
        EXPECT_EQ(reply(text), "true") << text;
        EXPECT_EQ(lines.count("command shm0_cmd: " + line), 1) << lines.raw();
    };
    refusal("cmd=turn", "cmd=turn is unknown");
    refusal("vflip=true", "cmd= is unknown");
    refusal("cmd=hflipUpdate", "hflip= is neither true nor false");
    refusal("cmd=mdflipUpdate,hflip=true,vflip=upward", "vflip=upward is neither true nor false");
    refusal("cmd=cdspUpdate,vflip=true,yuvid=2", "yuvid=2 is not -1, which means all outputs");
    refusal("cmd=aeflick,aeflick=50", "aeflick=50 is neither true nor false");
}

TEST_F(CommandTest, FailWithoutASegment) {
    // Not even root can use a path that is not a file.
    const ErrorLines lines;
    setenv("KEP_HOST_SHM", "no/such/", 1);
    EXPECT_EQ(VNTurnVideo(1), VNRES_FAIL);
    EXPECT_EQ(VNAeFlick(1), VNRES_FAIL);
    EXPECT_EQ(lines.count("shared memory vornisa_shm_image: "), 2) << lines.raw();
}

}  // namespace
}  // namespace kep::host
