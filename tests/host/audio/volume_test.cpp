// Volume and mute through the public header, for the listeners of the microphone and for the loudspeaker.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <thread>

#include "kep/device.h"
#include "public_sound.h"

namespace audio_test {
namespace {

using kep::dev::IMicrophone;
using kep::dev::ISpeaker;

constexpr std::int16_t kLevel = 20000;
/** Limit per sample at 48 kHz: a ramp from silence to full volume takes 5 ms. */
constexpr int kMostStep = kLevel / 240 + 2;

/** A microphone with a constant level, so that each volume change shows. */
class VolumeTest : public PublicSound {
  protected:
    VolumeTest() { writeFile(folder_.file("level.wav"), wavOf(Samples(48000 * 2, kLevel), 48000, 2)); }

    ScopedEnv audio_{"KEP_HOST_AUDIO", "file:" + folder_.file("level.wav")};
};

TEST_F(VolumeTest, ThereIsOneMicrophoneAndOneSpeaker) {
    IMicrophone* const microphone = IMicrophone::Microphone("vornisa");
    ISpeaker* const speaker = ISpeaker::Speaker("vornisa");
    ASSERT_NE(microphone, nullptr);
    ASSERT_NE(speaker, nullptr);
    EXPECT_EQ(IMicrophone::Microphone("vornisa"), microphone);
    EXPECT_EQ(ISpeaker::Speaker("vornisa"), speaker);
    EXPECT_TRUE(microphone->IsSupportVolumeControl() && microphone->IsSupportMute());
    EXPECT_TRUE(speaker->IsSupportVolumeControl() && speaker->IsSupportMute());
    EXPECT_EQ(errors_.raw(), "");

    EXPECT_EQ(IMicrophone::Microphone("elsewhere"), nullptr);
    EXPECT_EQ(IMicrophone::Microphone(nullptr), nullptr);
    EXPECT_EQ(ISpeaker::Speaker("Vornisa"), nullptr);
    EXPECT_EQ(errors_.messages(),
              (std::vector<std::string>{"IMicrophone: no device \"elsewhere\", only \"vornisa\"",
                                        "IMicrophone: no device \"\", only \"vornisa\"",
                                        "ISpeaker: no device \"Vornisa\", only \"vornisa\""}));
}

TEST_F(VolumeTest, TheFullVolumeChangesNoSample) {
    const Stream pcm = openPcm();
    EXPECT_THAT(read(pcm, 48000), testing::Each(kLevel));
}

TEST_F(VolumeTest, IsSetWhileNothingRunsAndAppliesFromTheFirstSample) {
    EXPECT_EQ(VNSetMicVol(50), VNRES_SUCCEED);
    {
        const Stream pcm = openPcm();
        EXPECT_THAT(read(pcm, 9600), testing::Each(kLevel / 2));
    }
    EXPECT_EQ(VNSetMicMute(5), VNRES_SUCCEED);
    const Stream pcm = openPcm();
    EXPECT_THAT(read(pcm, 9600), testing::Each(0));
    EXPECT_EQ(VNSetMicMute(0), VNRES_SUCCEED);
    EXPECT_TRUE(readUntil(pcm, kLevel / 2));
}

TEST_F(VolumeTest, OutOfRangeSucceedsIsClampedAndLogged) {
    const Stream pcm = openPcm();
    EXPECT_EQ(VNSetMicVol(-1), VNRES_SUCCEED);
    EXPECT_TRUE(readUntil(pcm, 0));
    EXPECT_EQ(VNSetMicVol(1000), VNRES_SUCCEED);
    EXPECT_TRUE(readUntil(pcm, kLevel));
    EXPECT_EQ(VNSetSpeakerVol(-1), VNRES_SUCCEED);
    EXPECT_EQ(errors_.count("microphone volume -1 is not from 0 to 100: set to 0"), 1);
    EXPECT_EQ(errors_.count("microphone volume 1000 is not from 0 to 100: set to 100"), 1);
    EXPECT_EQ(errors_.count("speaker volume -1 is not from 0 to 100: set to 0"), 1);
}

TEST_F(VolumeTest, NoChangeMakesALargerStepThanTheRamp) {
    const Stream pcm = openPcm();
    int before = kLevel;
    int largest = 0;
    int changes = 0;
    for (int block = 0; block < 100; ++block) {
        if (block % 4 == 1) VNSetMicMute(block % 8 == 1);
        if (block % 6 == 2) VNSetMicVol(block * 37 % 101);
        const Samples samples = read(pcm, 1920);
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            EXPECT_EQ(samples[i], samples[i + 1]);
            largest = std::max(largest, std::abs(samples[i] - before));
            changes += samples[i] != before;
            before = samples[i];
        }
    }
    EXPECT_LE(largest, kMostStep);
    EXPECT_GT(changes, 1000) << "changes of the volume made meanwhile";
}

TEST_F(VolumeTest, AChangeAffectsFramesCapturedAfterTheCall) {
    const std::unique_ptr<kep::api::streaming::IPcmSource> source(
        kep::api::streaming::IPcmSource::CreateNew("vornisa"));
    ASSERT_TRUE(source->ChangeUp(kep::State::play));
    ASSERT_EQ(pullFrames(*source, 5).size(), 5u);
    for (int round = 0; round < 10; ++round) {
        const std::int16_t before = round % 2 == 0 ? kLevel : 0;
        const std::int16_t after = round % 2 == 0 ? 0 : kLevel;
        EXPECT_THAT(samplesOf(pullFrames(*source, 1)), testing::Each(before)) << round;
        VNSetMicMute(round % 2 == 0);
        const Clock::time_point changed = Clock::now();
        // Frames being captured during the call may change within, several of them if the machine is late;
        // those that begin after the call are changed completely.
        Frame frame;
        do frame = pullFrames(*source, 1).at(0);
        while (frame->stamp < changed);
        EXPECT_THAT(samplesOf({frame}), testing::Each(after)) << round;
        EXPECT_LE(frame->stamp, changed + std::chrono::milliseconds(20));
    }
}

TEST_F(VolumeTest, AnyThreadSetsIt) {
    const Stream pcm = openPcm();
    const Stream player = openPlayer(48000, 2, folder_.file("played.wav"));
    // The first call looks the devices up and must not run concurrently.
    VNSetMicVol(100);
    VNSetSpeakerVol(100);
    std::atomic<bool> isOver{false};
    std::vector<std::thread> setters;
    for (int setter = 0; setter < 3; ++setter)
        setters.emplace_back([&] {
            for (int i = 0; !isOver; ++i) {
                VNSetMicVol(i % 101);
                VNSetMicMute(i % 3);
                VNSetSpeakerVol(i % 101);
                VNSetSpeakerMute(i % 3);
            }
        });
    int before = -1;
    int largest = 0;
    for (int block = 0; block < 50; ++block) {
        Samples samples = read(pcm, 1920);
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            if (before >= 0) largest = std::max(largest, std::abs(samples[i] - before));
            before = samples[i];
        }
        feed(player, samples);
    }
    isOver = true;
    for (std::thread& setter : setters) setter.join();
    EXPECT_LE(largest, kMostStep);
    EXPECT_EQ(errors_.raw(), "");
}

/** The samples of a WAV file written by the speaker. */
Samples playedIn(const std::string& path) {
    const std::string bytes = contentsOf(path);
    Samples samples(bytes.size() < 44 ? 0 : (bytes.size() - 44) / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data() + 44, samples.size() * sizeof(std::int16_t));
    return samples;
}

class SpeakerVolumeTest : public VolumeTest {
  protected:
    const std::string wav_ = folder_.file("played.wav");

    Samples playAll(const Samples& samples) {
        const Stream player = openPlayer(48000, 1, wav_);
        feed(player, samples);
        EXPECT_EQ(VNStop(player.id()), VNRES_SUCCEED);
        return playedIn(wav_);
    }
    bool hasPlayed(std::size_t count) {
        return waitUntil([&] { return playedIn(wav_).size() == count; });
    }
};

TEST_F(SpeakerVolumeTest, ActsOnWhatIsPlayed) {
    const Samples level(9600, kLevel);
    EXPECT_THAT(playAll(level), testing::ElementsAreArray(level));
    EXPECT_EQ(VNSetSpeakerVol(50), VNRES_SUCCEED);
    EXPECT_THAT(playAll(level), testing::ElementsAreArray(Samples(9600, kLevel / 2)));
    EXPECT_EQ(VNSetSpeakerMute(1), VNRES_SUCCEED);
    EXPECT_THAT(playAll(level), testing::ElementsAreArray(Samples(9600, 0)));
    EXPECT_EQ(VNSetSpeakerVol(100), VNRES_SUCCEED);
    EXPECT_EQ(VNSetSpeakerMute(0), VNRES_SUCCEED);
    EXPECT_THAT(playAll(level), testing::ElementsAreArray(level));
}

TEST_F(SpeakerVolumeTest, IsNotTheMicrophones) {
    VNSetMicMute(1);
    EXPECT_THAT(playAll(Samples(960, kLevel)), testing::Each(kLevel));
    VNSetMicMute(0);
    VNSetSpeakerMute(1);
    const Stream pcm = openPcm();
    EXPECT_THAT(read(pcm, 9600), testing::Each(kLevel));
}

TEST_F(SpeakerVolumeTest, AChangeWhileItPlaysIsARamp) {
    const Stream player = openPlayer(48000, 1, wav_);
    feed(player, Samples(9600, kLevel));
    ASSERT_TRUE(hasPlayed(9600));
    VNSetSpeakerMute(1);
    feed(player, Samples(9600, kLevel));
    ASSERT_TRUE(hasPlayed(19200));
    VNSetSpeakerVol(50);
    VNSetSpeakerMute(0);
    feed(player, Samples(9600, kLevel));
    ASSERT_TRUE(hasPlayed(28800));
    ASSERT_EQ(VNStop(player.id()), VNRES_SUCCEED);

    const Samples played = playedIn(wav_);
    ASSERT_EQ(played.size(), 28800u);
    int before = kLevel;
    int largest = 0;
    for (const int sample : played) {
        largest = std::max(largest, std::abs(sample - before));
        before = sample;
    }
    EXPECT_LE(largest, kMostStep);
    // The full scale takes 5 ms: the requested volume is reached within 240 samples.
    EXPECT_THAT(std::span(played).subspan(9600 + 240, 9600 - 240), testing::Each(0));
    EXPECT_THAT(std::span(played).last(9600 - 240), testing::Each(kLevel / 2));
}

}  // namespace
}  // namespace audio_test
