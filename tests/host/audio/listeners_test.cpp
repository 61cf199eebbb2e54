// Everything that listens to the microphone at once hears its volume; files are judged by another program.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "public_sound.h"
#include "recorded_file.h"

namespace audio_test {
namespace {

namespace fs = std::filesystem;

constexpr int k360p = 230400;
constexpr double kTone = 8192.0 / 32768;

class Listeners : public PublicSound {
  protected:
    Listeners() { setenv("KEP_HOST_PRERECORD", "attached", 1); }

    /** Begins a recording, and waits until it has sound. */
    int record() {
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

    /** Reads access units until so many seconds have come, and appends them to a file. */
    void appendAac(const Stream& aac, int units, std::string& file) {
        std::string unit(8192, '\0');
        for (int i = 0; i < units; ++i) {
            int length = 0;
            ASSERT_EQ(VNRead(aac.id(), unit.data(), int(unit.size()), 1, &length), VNRES_SUCCEED);
            file.append(unit.data(), std::size_t(length));
        }
    }

    /** The largest sample within half a second at the beginning and at the end. */
    struct Edges {
        double begin;
        double end;
    };
    static Edges edgesOf(const RecordedSound& sound) {
        const auto half = static_cast<std::ptrdiff_t>(sound.rate / 2);
        EXPECT_GT(std::ssize(sound.samples), 2 * half);
        const auto largest = [](auto from, auto to) {
            double most = 0;
            for (; from != to; ++from) most = std::max<double>(most, std::abs(*from));
            return most;
        };
        const auto& samples = sound.samples;
        return {largest(samples.begin(), samples.begin() + half),
                largest(samples.end() - half, samples.end())};
    }
};

TEST_F(Listeners, StreamsAndARecordingAllHearAMute) {
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
    const Edges recorded = edgesOf(RecordedFile(folder_.file("a.mp4")).decodeSound());
    EXPECT_NEAR(recorded.begin, kTone, 0.03);
    EXPECT_LT(recorded.end, 0.001);

    writeFile(folder_.file("a.aac"), units);
    const Edges coded = edgesOf(RecordedFile(folder_.file("a.aac")).decodeSound());
    EXPECT_NEAR(coded.begin, kTone, 0.03);
    EXPECT_LT(coded.end, 0.001);
    const std::string judged = outputOf("ffmpeg -nostdin -v info -sseof -0.5 -i " + folder_.file("a.mp4") +
                                        " -map 0:a -af volumedetect -f null - 2>&1");
    EXPECT_NE(judged.find("max_volume: -91.0 dB"), std::string::npos) << judged;
}

TEST_F(Listeners, AClipHearsTheVolume) {
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
    ASSERT_GT(sound.samples.size(), 48000u);
    const double most = *std::ranges::max_element(sound.samples);
    EXPECT_NEAR(most, kTone / 2, 0.015);
}

}  // namespace
}  // namespace audio_test
