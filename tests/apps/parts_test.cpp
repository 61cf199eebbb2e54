// Parts of the application that a run of the whole reaches only with hardware.
#include <unistd.h>

#include "devices.h"
#include "message.h"
#include "output_capture.h"
#include "shell.h"
#include "terminal.h"

namespace vncam_test {
namespace {

using Devices = Shell;

std::string listed(const std::vector<vncam::Device>& devices) {
    std::string text;
    for (const auto& device : devices) text += device.setting + "|" + device.name + "\n";
    return text;
}

TEST_F(Devices, CamerasAreListedByNumberWithTheirNames) {
    ASSERT_EQ(run("mkdir -p dev sys/class/video4linux/video2\n"
                  "touch dev/video10 dev/video2 dev/video dev/videoX dev/null\n"
                  "echo 'Desk Camera' >sys/class/video4linux/video2/name")
                  .exit,
              0);
    EXPECT_EQ(listed(vncam::findCameras(path(""))), "v4l2:/dev/video2|Desk Camera\nv4l2:/dev/video10|\n");
}

TEST_F(Devices, SoundCardsAreListedByDirection) {
    ASSERT_EQ(run("mkdir -p proc/asound\n"
                  "echo '00-00: Analog : Analog : playback 1 : capture 1' >proc/asound/pcm\n"
                  "echo '01-03: HDMI 0 : HDMI 0 : playback 1' >>proc/asound/pcm")
                  .exit,
              0);
    EXPECT_EQ(listed(vncam::findSpeakers(path(""))), "alsa:plughw:0,0|Analog\nalsa:plughw:1,3|HDMI 0\n");
    EXPECT_EQ(listed(vncam::findMicrophones(path(""))), "alsa:plughw:0,0|Analog\n");
}

TEST_F(Devices, NothingIsFoundWhereNothingIs) {
    EXPECT_EQ(listed(vncam::findCameras(path(""))), "");
    EXPECT_EQ(listed(vncam::findSpeakers(path(""))), "");
}

TEST(MessageValue, IsFoundByItsKeyAlone) {
    EXPECT_EQ(vncam::messageValue("name=frameLost,media=video,lost=3,total=14", "lost"), "3");
    EXPECT_EQ(vncam::messageValue("name=frameLost,media=video,lost=3,total=14", "total"), "14");
    EXPECT_EQ(vncam::messageValue("name=frameLost", "lost"), "");
    EXPECT_EQ(vncam::messageValue("a={lost=1,b=2},lost=3", "lost"), "3");
    EXPECT_EQ(vncam::messageValue("device={file:a,b.mp4},lost=1", "device"), "file:a,b.mp4");
    EXPECT_EQ(vncam::messageValue("lost", "lost"), "");
    EXPECT_EQ(vncam::messageValue("", "lost"), "");
}

TEST(ClockText, HasHoursOnlyWhenThereAreAny) {
    EXPECT_EQ(vncam::clockText(0), "0:00");
    EXPECT_EQ(vncam::clockText(67.9), "1:07");
    EXPECT_EQ(vncam::clockText(3723), "1:02:03");
}

TEST(OutputCapture, KeepsTheFirstMessageAndGivesTheStreamBack) {
    testing::internal::CaptureStderr();
    {
        const vncam::OutputCapture capture(STDERR_FILENO);
        std::fputs("\033[31mapi/x.cpp/12/VNAcquire:\tno such class: Thing\n\033[0m\033[31mb/3/f:\t!obj\n",
                   stderr);
        EXPECT_EQ(capture.firstMessage(), "no such class: Thing");
    }
    std::fputs("heard again", stderr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "heard again");
}

}  // namespace
}  // namespace vncam_test
