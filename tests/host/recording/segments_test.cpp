#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>

#include "judged_file.h"
#include "recorder.h"
#include "running_microphone.h"
#include "sanitizers.h"
#include "vornisa_api.h"

namespace recording_test {
namespace {

constexpr double kPicture = 1.0 / 30;
constexpr double kSoundUnit = 1024.0 / 48000;
constexpr double kMillisecond = 0.001;

void expectPlayableAlone(const JudgedFile& file) {
    ASSERT_FALSE(file.video().empty()) << file.path();
    ASSERT_FALSE(file.audio().empty()) << file.path();
    EXPECT_TRUE(file.video().front().key) << file.path();
    EXPECT_GT(file.parameterBytes(), 20) << file.path();
    // A packet of sound belongs to the segment in which it begins.
    EXPECT_GE(file.audio().front().time, file.video().front().time - 1e-6) << file.path();
}

void expectInStep(const JudgedFile& file) {
    const std::vector<double> flashes = file.flashes();
    const std::vector<double> beeps = file.beeps();
    int compared = 0;
    for (const double flash : flashes) {
        for (const double beep : beeps) {
            if (std::abs(flash - beep) > 0.5) continue;
            EXPECT_NEAR(flash, beep, kMillisecond) << file.path();
            ++compared;
        }
    }
    EXPECT_GE(compared, 1) << file.path() << ": " << flashes.size() << " flashes, " << beeps.size()
                           << " beeps";
}

/** The number of packets reported as lost. */
struct Lost {
    int pictures;
    int sounds;
};

/**
 * Expects no duplicates across files and exactly the reported losses; all files except the last are `length`
 * seconds long, or end at the nearest picture if one is lost.
 */
void expectSeamless(const std::vector<JudgedFile>& files, double length, const Lost& lost) {
    std::int64_t last = files.front().pictures().front().number - 1;
    std::int64_t missing = 0;
    double soundEnd = 0;
    double silence = 0;
    double start = 0;
    for (const JudgedFile& file : files) {
        for (const JudgedFile::Picture& picture : file.pictures()) {
            EXPECT_GT(picture.number, last) << file.path();
            missing += picture.number - last - 1;
            last = picture.number;
        }
        for (const JudgedFile::Packet& sound : file.audio()) {
            const double begin = start + sound.time - file.video().front().time;
            if (soundEnd > 0 && lost.sounds == 0) {
                EXPECT_NEAR(begin, soundEnd, kMillisecond) << file.path();
            }
            if (soundEnd > 0 && begin > soundEnd + kMillisecond) silence += begin - soundEnd;
            soundEnd = begin + kSoundUnit;
        }
        start += file.length();
        if (&file != &files.back()) {
            EXPECT_NEAR(file.length(), length, (lost.pictures > 0 ? kPicture : 0) + 2 * kMillisecond)
                << file.path();
        }
    }
    EXPECT_EQ(missing, lost.pictures);
    // A block missing from the microphone is a little shorter than an AAC unit, and affects at most two.
    EXPECT_LE(silence, 2 * lost.sounds * kSoundUnit + kMillisecond);
}

/**
 * How many to record: two are enough with a sanitizer; RECORDING_SEGMENTS in the environment overrides it.
 */
std::size_t segments() {
    const char* const wanted = std::getenv("RECORDING_SEGMENTS");
    return wanted ? static_cast<std::size_t>(std::atoi(wanted)) : kSanitized ? 2 : 3;
}

class Segments : public RecordingTest {
  protected:
    static constexpr int kSeconds = 2;

    void expectGoodRecording(const char* name, const char* options, const std::string& video = "") {
        const RunningMicrophone microphone;
        ASSERT_EQ(record(kSeconds, name, options, video.c_str()), VNRES_SUCCEED);
        const RecordingMessages messages;
        ASSERT_TRUE(waitForFiles(segments()));
        ASSERT_TRUE(waitUntil([&] { return !unfinished().empty() || finished().size() > segments(); }));
        ASSERT_EQ(end(), VNRES_SUCCEED);
        EXPECT_THAT(unfinished(), testing::IsEmpty());
        std::vector<JudgedFile> files;
        for (const auto& path : finished()) files.emplace_back(path);
        ASSERT_GE(files.size(), segments());
        for (const JudgedFile& file : files) {
            expectPlayableAlone(file);
            if (&file != &files.back()) expectInStep(file);
        }
        expectSeamless(files, kSeconds, {messages.lost("video"), messages.lost("audio")});
    }
};

TEST_F(Segments, OfFragmentsFollowOneAnotherWithoutLoss) {
    expectGoodRecording("a.mp4", "PowerFailProtection=true");
}

TEST_F(Segments, OfOneIndexFollowOneAnotherWithoutLoss) {
    expectGoodRecording("a.mp4", nullptr);
}

TEST_F(Segments, OfATransportStreamFollowOneAnotherWithoutLoss) {
    expectGoodRecording("a.ts", nullptr);
}

/** Group lengths in pictures. The others add nothing with a sanitizer. */
std::vector<int> groups() {
    if (kSanitized) return {0, 15};
    return {0, 1, 15, 300, 10'000};
}

class SegmentsByGroupLength : public Segments, public testing::WithParamInterface<int> {};

/** Whatever interval of key frames the encoder is set to; 0: only the first picture is a key frame. */
TEST_P(SegmentsByGroupLength, HaveTheirLength) {
    expectGoodRecording("a.mp4", "PowerFailProtection=true",
                        "bitrate=500000,gop=" + std::to_string(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Pictures, SegmentsByGroupLength, testing::ValuesIn(groups()));

}  // namespace
}  // namespace recording_test
