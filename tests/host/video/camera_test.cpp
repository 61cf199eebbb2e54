#include <gmock/gmock.h>
#include <sys/stat.h>

#include <thread>

#include "stream_fixture.h"

namespace kep::host {
namespace {

using testing::HasSubstr;

class CameraTest : public VideoTest {
  protected:
    /** Starts a source that must be refused and returns the error line. */
    static std::string refusal(IH264Source& source) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(source.ChangeUp(State::play));
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
        EXPECT_FALSE(isPlaying(source));
        return lines;
    }
};

TEST_F(CameraTest, AnUnreadableFileIsNamedAndTheNextStartWorks) {
    const auto source = newH264();
    choose("file:" + path("nowhere.mp4").string());
    EXPECT_THAT(refusal(*source), HasSubstr(path("nowhere.mp4").string() + ": No such file"));
    const std::string junk = path("junk.mp4").string();
    ASSERT_EQ(std::system(("head -c 4096 /dev/zero > " + junk).c_str()), 0);
    choose("file:" + junk);
    EXPECT_THAT(refusal(*source), HasSubstr(junk));
    makeFile("-f lavfi -i sine=d=1 sound.wav");
    choose("file:" + path("sound.wav").string());
    EXPECT_THAT(refusal(*source), HasSubstr("contains no video"));
    choose("test");
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pull(*source, 3).size(), 3U);
}

TEST_F(CameraTest, AMissingDeviceAndAnUnknownKindAreNamed) {
    const auto source = newH264();
    choose("v4l2:/dev/video-not-here");
    EXPECT_THAT(refusal(*source), HasSubstr("v4l2:/dev/video-not-here: No such file"));
    choose("v4l2:/dev/null");
    EXPECT_THAT(refusal(*source), HasSubstr("v4l2:/dev/null"));
    choose("vhs");
    EXPECT_THAT(refusal(*source), HasSubstr("KEP_HOST_VIDEO=vhs"));
    choose("file:");
    EXPECT_THAT(refusal(*source), HasSubstr("KEP_HOST_VIDEO=file:"));
}

TEST_F(CameraTest, ACameraThatDisappearsEndsItsStreamsAndCanComeBack) {
    film("filmed.h264", 20);
    const std::string pipe = path("camera").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    choose("file:" + pipe);
    const auto coded = newH264();
    const auto raw = newYuv();
    Messages messages(*coded);
    for (int round = 0; round < 2; ++round) {
        std::thread writer([&] {
            EXPECT_EQ(std::system(("cat " + path("filmed.h264").string() + " > " + pipe).c_str()), 0);
        });
        ASSERT_TRUE(coded->ChangeUp(State::play));
        ASSERT_TRUE(raw->ChangeUp(State::play));
        testing::internal::CaptureStderr();
        const std::vector<Frame> units = pull(*coded, 1000);
        pull(*raw, 1000);
        const std::string lines = testing::internal::GetCapturedStderr();
        writer.join();
        EXPECT_EQ(units.size(), 20U);
        EXPECT_THAT(lines, HasSubstr("camera file:" + pipe + ": has ended"));
        EXPECT_EQ(messages.waitFor("name=deviceLost"), "name=deviceLost,media=video,device=file:" + pipe);
        EXPECT_FALSE(isPlaying(*coded));
        EXPECT_FALSE(isPlaying(*raw));
    }
    choose("test");
    ASSERT_TRUE(coded->ChangeUp(State::play));
    EXPECT_EQ(pull(*coded, 3).size(), 3U);
}

TEST_F(CameraTest, ACameraThatNeverAnswersIsAbandoned) {
    const std::string pipe = path("silent").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    choose("file:" + pipe);
    const auto source = newH264();
    EXPECT_THAT(refusal(*source), HasSubstr("file:" + pipe + ": does not answer"));
    choose("test");
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pull(*source, 3).size(), 3U);
}

TEST_F(CameraTest, ASlowerCameraIsNotMadeFaster) {
    makeFile("-f lavfi -i testsrc2=s=320x240:r=10:d=2 -c:v libx264 -pix_fmt yuv420p ten.mp4");
    choose("file:" + path("ten.mp4").string());
    const auto source = newH264(320, 240, 30);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> units = pull(*source, 12);
    ASSERT_EQ(units.size(), 12U);
    const double span = std::chrono::duration<double>(units[11]->stamp - units[0]->stamp).count();
    EXPECT_GT(span, 1.0);
}

}  // namespace
}  // namespace kep::host
