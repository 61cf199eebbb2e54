// Parts of the application that whole commands reach only with hardware, or not in each case.
#include <unistd.h>

#include "adts.h"
#include "command.h"
#include "devices.h"
#include "level_meter.h"
#include "message.h"
#include "output_capture.h"
#include "shell.h"
#include "terminal.h"
#include "values.h"

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

TEST_F(Devices, AnEmptyFolderHasNone) {
    EXPECT_EQ(listed(vncam::findCameras(path(""))), "");
    EXPECT_EQ(listed(vncam::findSpeakers(path(""))), "");
}

TEST(MessageValue, IsFoundByItsWholeKey) {
    EXPECT_EQ(vncam::messageValue("name=frameLost,media=video,lost=3,total=14", "lost"), "3");
    EXPECT_EQ(vncam::messageValue("name=frameLost,media=video,lost=3,total=14", "total"), "14");
    EXPECT_EQ(vncam::messageValue("name=frameLost", "lost"), "");
    EXPECT_EQ(vncam::messageValue("a={lost=1,b=2},lost=3", "lost"), "3");
    EXPECT_EQ(vncam::messageValue("device={file:a,b.mp4},lost=1", "device"), "file:a,b.mp4");
    EXPECT_EQ(vncam::messageValue("lost", "lost"), "");
    EXPECT_EQ(vncam::messageValue("", "lost"), "");
}

TEST(BitRate, MayHaveAUnit) {
    const auto parse = [](const char* text) { return vncam::parseBitRate("--bps", text, 1000, 3'000'000); };
    EXPECT_EQ(parse("2000000"), 2'000'000);
    EXPECT_EQ(parse("2M"), 2'000'000);
    EXPECT_EQ(parse("1.5M"), 1'500'000);
    EXPECT_EQ(parse("64k"), 64'000);
    for (const char* const wrong :
         {"", "k", "2G", "2m", "64kb", "0.5k", "1000.5", "3.1M", "nan", "1e99M", "-2M"})
        EXPECT_THROW(parse(wrong), vncam::UsageError) << wrong;
}

TEST(ClockText, ShowsHoursOnlyWhenNeeded) {
    EXPECT_EQ(vncam::clockText(0), "0:00");
    EXPECT_EQ(vncam::clockText(67.9), "1:07");
    EXPECT_EQ(vncam::clockText(3723), "1:02:03");
}

TEST(LevelMeter, ShowsDecibelsBelowTheLargestAmplitude) {
    EXPECT_EQ(vncam::decibelText(32768), "0.0 dB");
    EXPECT_EQ(vncam::decibelText(16384), "-6.0 dB");
    EXPECT_EQ(vncam::decibelText(1), "-90.3 dB");
    EXPECT_EQ(vncam::decibelText(0), "silence");
    EXPECT_EQ(vncam::meterText(32768), "[####################] 0.0 dB");
    EXPECT_EQ(vncam::meterText(1036), "[##########----------] -30.0 dB");
    EXPECT_EQ(vncam::meterText(1), "[--------------------] -90.3 dB");
    EXPECT_EQ(vncam::meterText(0), "[--------------------] silence");
}

TEST(LevelMeter, KeepsThePeakSinceItWasLastTaken) {
    vncam::LevelMeter meter;
    EXPECT_EQ(meter.takePeak(), 0);
    const std::int16_t samples[] = {5, -32768, 100, -7};
    meter.add(samples, 1);
    meter.add(samples + 2, 2);
    EXPECT_EQ(meter.takePeak(), 100);
    EXPECT_EQ(meter.takePeak(), 0);
    meter.add(samples, 4);
    meter.add(samples, 1);
    EXPECT_EQ(meter.takePeak(), 32768);
    EXPECT_EQ(meter.peak(), 32768);
}

/** The header of a unit of 300 bytes at 44100 Hz in stereo, with one of its bytes replaced. */
std::optional<vncam::AdtsUnit> adtsWith(std::size_t index, int byte) {
    std::string header("\xff\xf1\x50\x80\x25\x9f\xfc", 7);
    header[index] = static_cast<char>(byte);
    return vncam::readAdts(header);
}

TEST(AdtsHeader, HasRateChannelsAndLength) {
    const auto unit = adtsWith(0, 0xff);
    ASSERT_TRUE(unit);
    EXPECT_EQ(unit->rate, 44100);
    EXPECT_EQ(unit->channels, 2);
    EXPECT_EQ(unit->bytes, 300u);
    EXPECT_EQ(adtsWith(2, 0x6c)->rate, 8000);
    EXPECT_EQ(adtsWith(2, 0x51)->channels, 6);
    EXPECT_EQ(adtsWith(3, 0x00)->channels, 0);
    EXPECT_EQ(adtsWith(3, 0x83)->bytes, 300u + 3 * 2048);
    EXPECT_EQ(adtsWith(1, 0xf8)->rate, 44100) << "MPEG-2 with a checksum";
}

TEST(AdtsHeader, IsRecognisedStrictly) {
    EXPECT_FALSE(adtsWith(0, 0xfe));
    EXPECT_FALSE(adtsWith(1, 0xe1));
    EXPECT_FALSE(adtsWith(1, 0xf3)) << "another layer";
    EXPECT_FALSE(adtsWith(2, 0x74)) << "a reserved rate";
    EXPECT_FALSE(vncam::readAdts(std::string("\xff\xf1\x50\x80\x25\x9f", 6)));
    EXPECT_FALSE(vncam::readAdts(std::string("\xff\xf1\x50\x80\x00\xc0\xfc", 7)))
        << "shorter than its header";
}

TEST(AdtsFollower, DetectsAnUnfinishedUnit) {
    const std::string unit = std::string("\xff\xf1\x50\x80\x25\x9f\xfc", 7) + std::string(293, '\xff');
    const std::string stream = "noise" + unit + unit;
    for (std::size_t end = 0; end <= stream.size(); ++end) {
        for (const std::size_t piece : {1, 6, 400}) {
            vncam::AdtsFollower units;
            for (std::size_t at = 0; at < end; at += piece)
                units.add(std::string_view(stream).substr(at, std::min(piece, end - at)));
            const std::size_t there = end < 5 ? 0 : (end - 5) % 300;
            EXPECT_EQ(units.bytesPresent(), there < 7 ? 0 : there) << end;
            EXPECT_EQ(units.bytesOfUnit(), there < 7 ? 0 : 300) << end;
        }
    }
}

TEST(OutputCapture, CapturesTheFirstLineAndRestoresTheStream) {
    testing::internal::CaptureStderr();
    {
        const vncam::OutputCapture capture(STDERR_FILENO);
        EXPECT_EQ(capture.firstLine(), "");
        std::fputs("no such class: Thing\nanother\n", stderr);
        EXPECT_EQ(capture.firstLine(), "no such class: Thing");
    }
    std::fputs("heard again", stderr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "heard again");
}

}  // namespace
}  // namespace vncam_test
