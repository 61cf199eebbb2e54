#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>

#include "judged_file.h"
#include "recorder.h"
#include "vornisa_api.h"

namespace recording_test {
namespace {

constexpr double kPicture = 1.0 / 30;
constexpr double kGroup = 15 * kPicture;
constexpr double kSoundUnit = 1024.0 / 48000;
constexpr double kMillisecond = 0.001;

void expectPlayableAlone(const JudgedFile& file) {
    ASSERT_FALSE(file.video().empty()) << file.path();
    ASSERT_FALSE(file.audio().empty()) << file.path();
    EXPECT_TRUE(file.video().front().key) << file.path();
    EXPECT_GT(file.parameterBytes(), 20) << file.path();
    // A sound belongs to the segment in which it begins.
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

/** Nothing is lost or doubled where one file ends and the next begins; all files but the last are of
 * `length`. */
void expectSeamless(const std::vector<JudgedFile>& files, double length, int lost) {
    std::int64_t last = files.front().pictures().front().number - 1;
    std::int64_t missing = 0;
    double soundEnd = 0;
    double start = 0;
    for (const JudgedFile& file : files) {
        for (const JudgedFile::Picture& picture : file.pictures()) {
            EXPECT_GT(picture.number, last) << file.path();
            missing += picture.number - last - 1;
            last = picture.number;
        }
        const double first = file.audio().front().time - file.video().front().time + start;
        if (soundEnd > 0 && lost == 0) {
            EXPECT_NEAR(first, soundEnd, kMillisecond) << file.path();
        }
        for (std::size_t i = 1; lost == 0 && i < file.audio().size(); ++i)
            EXPECT_NEAR(file.audio()[i].time - file.audio()[i - 1].time, kSoundUnit, kMillisecond);
        soundEnd = start + file.audio().back().time + kSoundUnit - file.video().front().time;
        start += file.length();
        if (&file != &files.back()) {
            // A group that lacks pictures lasts as much longer.
            EXPECT_NEAR(file.length(), length, kGroup + lost * kPicture) << file.path();
        }
    }
    EXPECT_LE(missing, lost);
}

/** How many are recorded; a number in the environment makes a longer run. */
std::size_t segments() {
    const char* const wanted = std::getenv("RECORDING_SEGMENTS");
    return wanted ? static_cast<std::size_t>(std::atoi(wanted)) : 3;
}

class Segments : public RecordingTest {
  protected:
    void expectGoodRecording(const char* name, const char* options) {
        constexpr int kSeconds = 2;
        ASSERT_EQ(record(kSeconds, name, options), VNRES_SUCCEED);
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
        expectSeamless(files, kSeconds, messages.lost());
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

}  // namespace
}  // namespace recording_test
