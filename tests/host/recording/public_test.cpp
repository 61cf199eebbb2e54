#include <gmock/gmock.h>
#include <stdlib.h>

#include <chrono>
#include <ctime>

#include "command_output.h"
#include "error_lines.h"
#include "judged_file.h"
#include "recorder.h"
#include "recordings/recovery.h"
#include "running_microphone.h"
#include "vornisa_api.h"

namespace recording_test {
namespace {

constexpr int k360p = 230400;
constexpr const char* kProtected = "PowerFailProtection=true";

class PublicRecording : public RecordingTest {
  protected:
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& path : filesIn(folder())) found.push_back(path.filename());
        std::sort(found.begin(), found.end());
        return found;
    }
    bool waitForOpenFile() const {
        return waitUntil([&] { return !unfinished().empty() && file_size(unfinished().front()) > 100'000; });
    }
};

TEST_F(PublicRecording, OfTheFirstKindIsFragmentedWhateverItsExtension) {
    const RunningMicrophone microphone;
    ASSERT_EQ(VNRecMan(k360p, "codec=h264,framerate=30,bitrate=2000000,goptype=ippp,gop=15",
                       "codec=aac,channels=2,bitrate=128000", 60, folder().c_str(), "a.ts"),
              VNRES_SUCCEED);
    ASSERT_TRUE(waitForOpenFile());
    ASSERT_EQ(end(), VNRES_SUCCEED);
    EXPECT_THAT(names(), testing::ElementsAre("a.ts"));
    const JudgedFile file(folder() / "a.ts");
    EXPECT_FALSE(file.audio().empty());
    EXPECT_NE(
        outputOf("ffprobe -v error -show_entries format=format_name " + file.path().string()).find("mp4"),
        std::string::npos);
}

TEST_F(PublicRecording, EndsByReleaseToo) {
    ASSERT_EQ(record(60, "a.mp4", kProtected), VNRES_SUCCEED);
    ASSERT_TRUE(waitForOpenFile());
    int id = 0;
    ASSERT_EQ(VNAcquire(31, &id), VNRES_SUCCEED);
    ASSERT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_THAT(names(), testing::ElementsAre("a.mp4"));
    EXPECT_FALSE(JudgedFile(folder() / "a.mp4").video().empty());
}

TEST_F(PublicRecording, NeverOverwritesAnother) {
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(record(60, "a.mp4", nullptr), VNRES_SUCCEED);
        ASSERT_TRUE(waitUntil([&] { return !unfinished().empty(); }));
        ASSERT_TRUE(waitForOpenFile());
        ASSERT_EQ(end(), VNRES_SUCCEED);
    }
    EXPECT_THAT(names(), testing::ElementsAre("a-1.mp4", "a.mp4"));
}

TEST_F(PublicRecording, HasTheTimeOfItsFirstPictureInItsName) {
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(record(2, "rec_%Y%m%d_%H%M%S.mp4", kProtected), VNRES_SUCCEED);
    ASSERT_TRUE(waitForFiles(2));
    ASSERT_EQ(end(), VNRES_SUCCEED);
    const std::time_t after = std::time(nullptr);
    std::time_t last = before - 2;
    for (const std::string& name : names()) {
        std::tm time{};
        ASSERT_NE(strptime(name.c_str(), "rec_%Y%m%d_%H%M%S.mp4", &time), nullptr) << name;
        time.tm_isdst = -1;
        const std::time_t started = std::mktime(&time);
        EXPECT_GT(started, last);
        EXPECT_LE(started, after);
        last = started;
    }
}

TEST_F(PublicRecording, RecordsWithoutAMicrophoneAndAddsSoundWhenThereIsOne) {
    const std::filesystem::path sound =
        std::filesystem::temp_directory_path() / (folder().filename().string() + ".wav");
    setenv("KEP_HOST_AUDIO", ("file:" + sound.string()).c_str(), 1);
    ASSERT_EQ(record(2, "a.mp4", kProtected), VNRES_SUCCEED);
    ASSERT_TRUE(waitForFiles(1));
    // If the microphone opened it while it is being written, it would be lost again at the end of the data.
    const std::string unfinished = sound.string() + ".part";
    outputOf("ffmpeg -v error -f lavfi -i sine=d=60:r=48000 -ac 2 -f wav " + unfinished);
    std::filesystem::rename(unfinished, sound);
    std::size_t checked = 0;
    const auto hasSound = [](const std::filesystem::path& path) {
        return !outputOf("ffprobe -v error -select_streams a -show_entries packet=pts -of csv=p=0 " +
                         path.string())
                    .empty();
    };
    EXPECT_TRUE(waitUntil([&] {
        const auto files = finished();
        while (checked < files.size() && !hasSound(files[checked])) ++checked;
        return checked < files.size();
    }));
    ASSERT_EQ(end(), VNRES_SUCCEED);
    std::filesystem::remove(sound);
    ASSERT_GE(checked, 1U);
    const auto files = finished();
    const JudgedFile silent(files.front());
    EXPECT_NEAR(silent.length(), 2, 0.5);
    EXPECT_THAT(silent.audio(), testing::IsEmpty());
    const JudgedFile heard(files[checked], 640, 360, false);
    EXPECT_FALSE(heard.audio().empty());
    EXPECT_TRUE(heard.video().front().key);
}

/** In seconds; fails the test if the file is refused. */
double lengthOf(const std::filesystem::path& file) {
    std::int64_t milliseconds = 0;
    EXPECT_EQ(VNGetFMp4Duration(file.c_str(), &milliseconds), VNRES_SUCCEED);
    return static_cast<double>(milliseconds) / 1000;
}

TEST_F(PublicRecording, HasALengthOpenFinishedAndRecovered) {
    constexpr double kFrame = 1.0 / 30;
    ASSERT_EQ(record(60, "a.mp4", kProtected), VNRES_SUCCEED);
    ASSERT_TRUE(waitForOpenFile());
    const std::filesystem::path open = unfinished().at(0);
    std::int64_t milliseconds = 0;
    EXPECT_TRUE(waitUntil([&] {
        return VNGetFMp4Duration(open.c_str(), &milliseconds) == VNRES_SUCCEED && milliseconds > 1200;
    }));
    const std::filesystem::path copy = folder() / "cut.mp4.part";
    std::filesystem::copy_file(open, copy);
    const double atCopy = lengthOf(copy);
    EXPECT_GE(atCopy, static_cast<double>(milliseconds) / 1000);
    ASSERT_EQ(end(), VNRES_SUCCEED);
    const JudgedFile whole(folder() / "a.mp4");
    EXPECT_NEAR(lengthOf(whole.path()), whole.wholeLength(), kFrame);
    const recordings::Recovery recovery = recordings::recoverFile(copy);
    EXPECT_EQ(recovery.path, folder() / "cut.mp4");
    const JudgedFile recovered(recovery.path);
    EXPECT_NEAR(lengthOf(recovery.path), recovered.wholeLength(), kFrame);
    EXPECT_NEAR(lengthOf(recovery.path), atCopy, kFrame);
}

TEST_F(PublicRecording, HoldsH265WhereThereIsAnEncoder) {
    ASSERT_EQ(record(60, "a.mp4", kProtected, "codec=h265,framerate=15,bitrate=500000"), VNRES_SUCCEED);
    ASSERT_TRUE(waitForOpenFile());
    ASSERT_EQ(end(), VNRES_SUCCEED);
    const JudgedFile file(folder() / "a.mp4");
    EXPECT_TRUE(file.video().front().key);
    EXPECT_EQ(outputOf("ffprobe -v error -select_streams v -show_entries "
                       "stream=codec_name,codec_tag_string -of default=nk=1:nw=1 " +
                       file.path().string()),
              "hevc\nhvc1\n");
}

/** Expects VNRES_FAIL, and one line of the framework followed by the application's. */
void expectRefused(int result, const ErrorLines& lines, const std::string& framework) {
    EXPECT_EQ(result, VNRES_FAIL);
    EXPECT_THAT(lines.messages(), testing::ElementsAre(testing::StartsWith(framework), "!app"));
}

TEST_F(PublicRecording, ReportsUnknownSettingsAndRecords) {
    const ErrorLines lines;
    ASSERT_EQ(VNRecMan2(230400, "bitrate=abc,gopp=3", "chanels=2", 60, folder().c_str(), "a.mp4",
                        "powerfailprotection=true"),
              VNRES_SUCCEED);
    ASSERT_EQ(end(), VNRES_SUCCEED);
    EXPECT_THAT(
        lines.messages(),
        testing::ElementsAre(testing::StartsWith("not a 32-bit integer at position 1 of \"abc\""),
                             testing::StartsWith("unknown key \"gopp\" at position 13 of"),
                             testing::StartsWith("unknown key \"chanels\" at position 1 of"),
                             testing::StartsWith("unknown key \"powerfailprotection\" at position 1 of")));
}

TEST_F(PublicRecording, IsRefusedForAWrongNumberOfPixels) {
    const ErrorLines lines;
    expectRefused(VNRecMan2(12345, "", "", 2, folder().c_str(), "a.mp4", nullptr), lines,
                  "PvYuvSrcAdv: size 0x0: width and height must be even numbers");
}

TEST_F(PublicRecording, IsRefusedForANegativeDuration) {
    const ErrorLines lines;
    expectRefused(record(-1, "a.mp4", nullptr), lines, "VornisaSeamless \"seamless\": duration=-1s");
}

TEST_F(PublicRecording, IsRefusedForAnUnknownContainer) {
    const ErrorLines lines;
    expectRefused(record(2, "a.avi", nullptr), lines, "unknown class muxer-avi");
}

TEST_F(PublicRecording, IsRefusedForAnUnknownCodec) {
    const ErrorLines lines;
    expectRefused(record(2, "a.mp4", nullptr, "codec=vp7"), lines, "unknown class encoder-vp7");
}

}  // namespace
}  // namespace recording_test
