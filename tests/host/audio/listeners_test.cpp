// The microphone's volume affects everything that listens at once; files are checked by another program.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "public_sound.h"
#include "recorded_file.h"
#include "running_microphone.h"

namespace audio_test {
namespace {

namespace fs = std::filesystem;

constexpr int k360p = 230400;
/** RMS level of the test tone, a sine of a quarter of full scale. */
constexpr double kToneLevel = 0.25 * std::numbers::sqrt2 / 2;

class Listeners : public PublicSound {
  protected:
    Listeners() { setenv("KEP_HOST_PRERECORD", "attached", 1); }

    /** Reads `units` access units and appends them to a file. */
    void appendAac(const Stream& aac, int units, std::string& file) {
        std::string unit(8192, '\0');
        for (int i = 0; i < units; ++i) {
            int length = 0;
            ASSERT_EQ(VNRead(aac.id(), unit.data(), int(unit.size()), 1, &length), VNRES_SUCCEED);
            file.append(unit.data(), std::size_t(length));
        }
    }

    /** Begins a recording, and waits until it contains sound. */
    int record() {
        const RunningMicrophone microphone;
        EXPECT_EQ(VNRecMan2(k360p, "bitrate=500000", "codec=aac", 60, folder_.path().c_str(), "a.mp4",
                            "PowerFailProtection=true"),
                  VNRES_SUCCEED);
        int id = 0;
        EXPECT_EQ(VNAcquire(VNRES_REC_MAN, &id), VNRES_SUCCEED);
        const std::string open = folder_.file("a.mp4.part");
        EXPECT_TRUE(
            waitUntil([&] { return fs::exists(open) && !RecordedFile(open).audio().packets.empty(); }));
        return id;
    }

    /** RMS level of half a second near the beginning or at the end. Not the peak: encoded beeps overshoot. */
    static double levelAtBegin(const RecordedSound& sound) { return levelFrom(sound, sound.rate / 10); }
    static double levelAtEnd(const RecordedSound& sound) {
        return levelFrom(sound, static_cast<int>(sound.samples.size()) - sound.rate / 2);
    }

  private:
    static double levelFrom(const RecordedSound& sound, int first) {
        const int count = sound.rate / 2;
        EXPECT_GE(first, 0);
        EXPECT_LE(first + count, std::ssize(sound.samples));
        double sum = 0;
        for (int i = std::max(first, 0); i < first + count && i < std::ssize(sound.samples); ++i)
            sum += double(sound.samples[std::size_t(i)]) * sound.samples[std::size_t(i)];
        return std::sqrt(sum / count);
    }
};

TEST_F(Listeners, AMuteAffectsStreamsAndARecording) {
    const int recording = record();
    const Stream pcm = openPcm(48000, 2);
    const Stream other = openPcm(16000, 1);
    const Stream aac = openAac();
    std::string units;
    ASSERT_NO_FATAL_FAILURE(appendAac(aac, 48, units));
    const Samples before = read(pcm, 48000);
    EXPECT_NEAR(*std::ranges::max_element(before), 8192, 10);

    ASSERT_EQ(VNSetMicMute(1), VNRES_SUCCEED);
    EXPECT_TRUE(readUntil(pcm, 0));
    EXPECT_TRUE(readUntil(other, 0));
    // More than one second of silence, whatever was queued before.
    ASSERT_NO_FATAL_FAILURE(appendAac(aac, 96, units));
    EXPECT_THAT(read(pcm, 96000), testing::Each(0));

    ASSERT_EQ(VNStop(recording), VNRES_SUCCEED);
    VNRelease(recording);
    const RecordedSound recorded = RecordedFile(folder_.file("a.mp4")).decodeSound();
    EXPECT_NEAR(levelAtBegin(recorded), kToneLevel, 0.01);
    EXPECT_LT(levelAtEnd(recorded), 0.0001);

    writeFile(folder_.file("a.aac"), units);
    const RecordedSound coded = RecordedFile(folder_.file("a.aac")).decodeSound();
    EXPECT_NEAR(levelAtBegin(coded), kToneLevel, 0.01);
    EXPECT_LT(levelAtEnd(coded), 0.0001);
    const std::string judged = outputOf("ffmpeg -nostdin -v info -sseof -0.5 -i " + folder_.file("a.mp4") +
                                        " -map 0:a -af volumedetect -f null - 2>&1");
    EXPECT_NE(judged.find("max_volume: -91.0 dB"), std::string::npos) << judged;
}

TEST_F(Listeners, AVolumeAffectsAClip) {
    ASSERT_EQ(VNSetMicVol(50), VNRES_SUCCEED);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_EVENT_SERVICE, &id), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(id), VNRES_SUCCEED);
    const std::string clip = folder_.file("clip.mp4");
    ASSERT_EQ(VNRecordEventServiceTrigger(id, ("file://" + clip).c_str(), 0, 2), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([&] { return fs::exists(clip); }));
    VNStop(id);
    VNRelease(id);
    const RecordedSound sound = RecordedFile(clip).decodeSound();
    EXPECT_NEAR(levelAtBegin(sound), kToneLevel / 2, 0.005);
    EXPECT_NEAR(levelAtEnd(sound), kToneLevel / 2, 0.005);
}

}  // namespace
}  // namespace audio_test
