// `vncam snap` as a user runs it.
#include <gmock/gmock.h>

#include "shell.h"

namespace vncam_test {
namespace {

using Snap = Shell;
using testing::HasSubstr;

TEST_F(Snap, WritesAPictureOfTheSizeAsked) {
    for (const char* option : {"-o a.jpg", "--output a.jpg"}) {
        const Result taken = run(std::string("vncam snap --size 640x360 ") + option);
        ASSERT_EQ(taken.exit, 0) << taken.err;
        EXPECT_EQ(taken.out + taken.err, "");
        EXPECT_EQ(probe("a.jpg", "stream=codec_name"), "mjpeg");
        EXPECT_EQ(probe("a.jpg", "stream=width"), "640");
        EXPECT_EQ(probe("a.jpg", "stream=height"), "360");
        EXPECT_EQ(decodeErrors("a.jpg"), "");
    }
    ASSERT_EQ(run("vncam snap -o b.jpg").exit, 0);
    EXPECT_EQ(probe("b.jpg", "stream=width"), "1920");
}

TEST_F(Snap, WrongCommandLinesAreRefused) {
    const struct {
        const char* options;
        const char* told;
    } all[] = {{"", "missing option: -o FILE"},
               {"-o", "option '-o' needs a value"},
               {"-x", "unknown option '-x'"},
               {"-o a.jpg --size 641x360",
                "--size '641x360': not WIDTHxHEIGHT; width and height are even numbers from 16 to 8192"},
               {"-o a.png", "--output 'a.png': pictures are JPEG files: NAME.jpg"},
               {"-o a.jpg b.jpg", "unexpected argument 'b.jpg'"}};
    for (const auto& one : all) {
        const Result refused = run(std::string("vncam snap ") + one.options);
        EXPECT_EQ(refused.exit, 2) << one.options;
        EXPECT_EQ(refused.err, std::string("vncam snap: ") + one.told + "\nTry 'vncam snap --help'.\n");
    }
}

TEST_F(Snap, WritesToAPipe) {
    const Result taken = run("TMPDIR=$PWD vncam snap --size 640x360 -o - | cat >a.jpg");
    ASSERT_EQ(taken.exit, 0) << taken.err;
    EXPECT_EQ(taken.err, "");
    EXPECT_EQ(probe("a.jpg", "stream=width"), "640");
    EXPECT_EQ(decodeErrors("a.jpg"), "");
    EXPECT_EQ(run("ls").out, "a.jpg\n");
    EXPECT_EQ(run("vncam snap -o - | true").exit, 0);
    const Result full = run("vncam snap -o - >/dev/full");
    EXPECT_EQ(full.exit, 1);
    EXPECT_EQ(full.err, "vncam snap: standard output: cannot write: No space left on device\n");
}

TEST_F(Snap, AnUnwritableFileIsNamed) {
    const Result refused = run("vncam snap --size 640x360 -o no/a.jpg");
    EXPECT_EQ(refused.exit, 1);
    EXPECT_THAT(refused.err, HasSubstr("picture no/a.jpg: "));
    EXPECT_THAT(refused.err, HasSubstr("vncam snap: no/a.jpg: VNTakePic: "));
}

TEST_F(Snap, HelpShowsShortAndLongOptions) {
    const Result help = run("vncam snap --help");
    EXPECT_EQ(help.exit, 0);
    EXPECT_THAT(help.out, HasSubstr("  -o, --output FILE"));
}

TEST_F(Snap, ColoursAndSourcePositionsGoToTerminalsOnly) {
    const std::string fails = "KEP_HOST_VIDEO=file:missing.mp4 vncam snap -o a.jpg";
    const auto onTerminal = [&](const std::string& environment) {
        return run(environment + " script -qec '" + fails + "' /dev/null").out;
    };
    EXPECT_TRUE(onTerminal("TERM=xterm").starts_with("\033[31mhost/")) << onTerminal("TERM=xterm");
    for (const std::string& plain :
         {run(fails).err, onTerminal("TERM=dumb"), onTerminal("TERM=xterm NO_COLOR=1")}) {
        EXPECT_NE(plain.find("missing.mp4"), std::string::npos) << plain;
        EXPECT_EQ(plain.find("\033"), std::string::npos) << plain;
        EXPECT_EQ(plain.find("host/"), std::string::npos) << plain;
    }
}

TEST_F(Snap, HiddenLinesStillGiveTheReasonOfAFailure) {
    const Result shown = run("KEP_HOST_VIDEO=file:missing.mp4 vncam snap -o a.jpg");
    const Result hidden = run("KEP_HOST_LOG=none KEP_HOST_VIDEO=file:missing.mp4 vncam snap -o a.jpg");
    EXPECT_EQ(hidden.exit, 1);
    EXPECT_EQ(hidden.err.substr(0, hidden.err.find('\n')), shown.err.substr(0, shown.err.find('\n')));
    EXPECT_THAT(hidden.err, HasSubstr("missing.mp4: "));
    EXPECT_THAT(hidden.err, HasSubstr("\nvncam snap: a.jpg: "));
}

}  // namespace
}  // namespace vncam_test
