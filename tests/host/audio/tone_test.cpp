// The test tone, checked sample by sample.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmSource;

constexpr int kRate = 48000;

class Tone : public ::testing::Test {
  protected:
    ScopedEnv audio_{"KEP_HOST_AUDIO", std::nullopt};
    std::unique_ptr<IPcmSource> source_{IPcmSource::CreateNew("vornisa")};
};

/** The number of a frame's first sample, counted from the start of the clock. */
std::int64_t firstSample(const Frame& frame) {
    const std::chrono::nanoseconds time = frame->stamp.time_since_epoch();
    return (time.count() / 1000) * kRate / 1000000;
}

TEST_F(Tone, FramesAreTwentyMillisecondsOnOneClock) {
    ASSERT_TRUE(source_->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source_, 20);
    ASSERT_EQ(frames.size(), 20u);
    for (std::size_t index = 0; index < frames.size(); ++index) {
        EXPECT_EQ(frames[index]->size, kRate / 50 * 2 * 2);
        EXPECT_EQ(frames[index]->index, static_cast<int>(index));
        EXPECT_TRUE(frames[index]->key);
        EXPECT_EQ(frames[index]->stamp - frames[0]->stamp,
                  std::chrono::milliseconds(20) * static_cast<int>(index));
    }
    EXPECT_TRUE(source_->ChangeDown(State::null));
}

TEST_F(Tone, NoFrameComesBeforeItsLastSampleIsDue) {
    ASSERT_TRUE(source_->ChangeUp(State::play));
    for (int count = 0; count < 10; ++count) {
        Frame frame;
        ASSERT_TRUE(source_->PullFrame(frame, true));
        EXPECT_GE(Clock::now(), frame->stamp + std::chrono::milliseconds(20));
    }
}

TEST_F(Tone, EverySampleIsTheOneOfItsTime) {
    ASSERT_TRUE(source_->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source_, 60);  // includes a complete beep
    ASSERT_EQ(frames.size(), 60u);
    int onsets = 0;
    for (const Frame& frame : frames) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data);
        for (int index = 0; index < kRate / 50; ++index) {
            const std::int64_t inSecond = (firstSample(frame) + index) % kRate;
            const double hertz = inSecond < kRate / 10 ? 1000 : 440;
            onsets += inSecond == 0;
            const double expected = 8192 * std::sin(2 * std::numbers::pi * hertz * double(inSecond) / kRate);
            ASSERT_NEAR(samples[2 * index], expected, 0.6) << "sample " << inSecond << " of its second";
            ASSERT_EQ(samples[2 * index], samples[2 * index + 1]);
        }
    }
    EXPECT_GE(onsets, 1);
}

TEST_F(Tone, SpectrumIsToneOrBeepByTheFramesOwnTime) {
    ASSERT_TRUE(source_->ChangeUp(State::play));
    int tones = 0;
    int beeps = 0;
    for (const Frame& frame : pullFrames(*source_, 55)) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data);
        const double start = secondsOf(frame->stamp);
        const Pitch tone = pitchOf(samples, kRate / 50, 2, kRate, 440, start);
        const Pitch beep = pitchOf(samples, kRate / 50, 2, kRate, 1000, start);
        const bool beeping =
            frame->stamp.time_since_epoch() % std::chrono::seconds(1) < std::chrono::milliseconds(100);
        ++(beeping ? beeps : tones);
        EXPECT_GT(beeping ? beep.amplitude : tone.amplitude, 7000);
        EXPECT_LT(beeping ? tone.amplitude : beep.amplitude, 2000);
    }
    EXPECT_GE(beeps, 5);
    EXPECT_GE(tones, 45);
}

}  // namespace
}  // namespace audio_test
