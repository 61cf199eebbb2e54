// PCM streams of the microphone: formats, several listeners, slow readers, states.
#include <gtest/gtest.h>

#include <atomic>
#include <numbers>
#include <thread>

#include "kep/status.h"
#include "process_resources.h"
#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmSource;
using kep::stream::IStatus;

class Pcm : public ::testing::Test {
  protected:
    static std::unique_ptr<IPcmSource> create() {
        return std::unique_ptr<IPcmSource>(IPcmSource::CreateNew("vornisa"));
    }

    ScopedEnv audio_{"KEP_HOST_AUDIO", "test"};
    ErrorLines errors_;
};

struct Format {
    int rate;
    int channels;
};

class PcmFormat : public Pcm, public ::testing::WithParamInterface<Format> {};

TEST_P(PcmFormat, SamplesAreThoseOfTheirStamps) {
    const auto [rate, channels] = GetParam();
    const auto source = create();
    source->SetSampleRate(rate);
    source->SetChannels(channels);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 12);
    ASSERT_EQ(frames.size(), 12u);
    int judged = 0;
    for (std::size_t index = 1; index < frames.size(); ++index) {
        const Frame& frame = frames[index];
        const int count = rate / 50;
        ASSERT_EQ(frame->size, count * channels * 2);
        const std::chrono::duration<double> step = frame->stamp - frames[index - 1]->stamp;
        EXPECT_NEAR(step.count(), double(count) / rate, 1e-6);

        const double start = secondsOf(frame->stamp);
        const double seconds = double(count) / rate;
        const Signal signal = signalAt(start - 0.005, seconds + 0.01);
        if (signal == Signal::both) continue;  // both pitches occur within the frame or next to it
        ++judged;
        const double hertz = signal == Signal::tone ? 440 : 1000;
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data);
        const Pitch pitch = pitchOf(samples, static_cast<std::size_t>(count), channels, rate, hertz, start);
        EXPECT_NEAR(pitch.amplitude, 8192, 900);
        // A sine relative to the start of the clock: a quarter cycle behind. At 440 Hz, 0.2 radians are 70
        // us.
        EXPECT_LT(phaseDistance(pitch.phase, -std::numbers::pi / 2), 0.2) << "frame at " << start << " s";
    }
    EXPECT_GE(judged, 4);
    EXPECT_TRUE(source->ChangeDown(State::null));
    EXPECT_EQ(errors_.raw(), "");
}

INSTANTIATE_TEST_SUITE_P(Rates, PcmFormat,
                         ::testing::Values(Format{48000, 2}, Format{48000, 1}, Format{44100, 2},
                                           Format{16000, 1}, Format{8000, 1}, Format{4000, 2},
                                           Format{12345, 1}, Format{192000, 2}),
                         [](const auto& format) {
                             return std::to_string(format.param.rate) + "x" +
                                    std::to_string(format.param.channels);
                         });

TEST_F(Pcm, TwoListenersHearTheSame) {
    const auto first = create();
    const auto second = create();
    ASSERT_TRUE(first->ChangeUp(State::play));
    ASSERT_TRUE(second->ChangeUp(State::play));
    const std::vector<Frame> one = pullFrames(*first, 10);
    const std::vector<Frame> other = pullFrames(*second, 10);
    ASSERT_EQ(other.size(), 10u);
    int common = 0;
    for (const Frame& left : one)
        for (const Frame& right : other) {
            if (left->stamp != right->stamp) continue;
            ++common;
            EXPECT_EQ(bytesOf({left}), bytesOf({right}));
        }
    EXPECT_GE(common, 5);
}

TEST_F(Pcm, OneListenerContinuesWhenTheOtherLeaves) {
    const auto stays = create();
    auto leaves = create();
    ASSERT_TRUE(leaves->ChangeUp(State::play));
    ASSERT_TRUE(stays->ChangeUp(State::play));
    const std::vector<Frame> before = pullFrames(*stays, 3);
    leaves.reset();
    const std::vector<Frame> after = pullFrames(*stays, 3);
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[0]->stamp - before[2]->stamp, std::chrono::milliseconds(20));
}

TEST_F(Pcm, ASlowReaderLosesItsOldestFramesAndGetsAMessage) {
    const auto slow = create();
    const auto quick = create();
    Messages messages(*slow);
    ASSERT_TRUE(slow->ChangeUp(State::play));
    ASSERT_TRUE(quick->ChangeUp(State::play));

    // The quick reader reads for longer than the slow one's queue lasts, without losses.
    const std::vector<Frame> all = pullFrames(*quick, 130);
    ASSERT_EQ(all.size(), 130u);
    for (std::size_t index = 1; index < all.size(); ++index)
        ASSERT_EQ(all[index]->stamp - all[index - 1]->stamp, std::chrono::milliseconds(20));
    ASSERT_NE(messages.waitFor("name=frameLost,media=audio,lost="), "");

    // The rest is contiguous and bounded, and exactly what is missing before it was reported.
    std::vector<Frame> left = pullFrames(*slow, 50);
    ASSERT_EQ(left.size(), 50u);
    for (Frame frame; slow->PullFrame(frame, false);) left.push_back(frame);
    // At least 20 of 130 are lost; more are lost later if the thread ran late.
    EXPECT_LE(left.size(), 110u);
    const int lost = left[0]->index;
    EXPECT_GT(lost, 0);
    for (std::size_t index = 1; index < left.size(); ++index)
        EXPECT_EQ(left[index]->index, lost + int(index));
    EXPECT_NE(messages.waitFor("", ",total=" + std::to_string(lost)), "");
}

TEST_F(Pcm, RestartsWithoutLeaks) {
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    ASSERT_TRUE(source->ChangeDown(State::null));
    const int descriptors = openDescriptors();
    const int threads = runningThreads();
    for (int round = 0; round < 30; ++round) {
        ASSERT_TRUE(source->ChangeUp(State::play));
        const std::vector<Frame> frames = pullFrames(*source, 1);
        ASSERT_EQ(frames.size(), 1u);
        EXPECT_EQ(frames[0]->index, 0);
        ASSERT_TRUE(source->ChangeDown(State::null));
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(waitUntil([&] { return runningThreads() <= threads; }));
    EXPECT_EQ(errors_.raw(), "");
}

TEST_F(Pcm, AFrameOutlivesItsStream) {
    auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 2);
    const std::string before = bytesOf(frames);
    source.reset();
    EXPECT_EQ(bytesOf(frames), before);
}

TEST_F(Pcm, ASettingTakesEffectAtTheNextStart) {
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    source->SetSampleRate(16000);
    source->SetChannels(1);
    EXPECT_EQ(pullFrames(*source, 2).at(1)->size, 3840);
    ASSERT_TRUE(source->ChangeDown(State::null));
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source, 1).at(0)->size, 640);
}

TEST_F(Pcm, AStopEndsABlockedPull) {
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::atomic<int> pulled{0};
    std::thread reader([&] {
        for (Frame frame; source->PullFrame(frame, true);) ++pulled;
    });
    EXPECT_TRUE(waitUntil([&] { return pulled > 2; }));
    ASSERT_TRUE(source->ChangeDown(State::null));
    reader.join();
    EXPECT_FALSE(dynamic_cast<IStatus&>(*source).StatusIsPlay());
}

TEST_F(Pcm, APullWithoutAStartFailsAtOnceWithALine) {
    const auto source = create();
    Frame frame;
    EXPECT_FALSE(source->PullFrame(frame, true));
    EXPECT_EQ(errors_.count("the stream is not started"), 1);
    ASSERT_TRUE(source->ChangeUp(State::play));
    ASSERT_TRUE(source->ChangeDown(State::null));
    EXPECT_FALSE(source->PullFrame(frame, false));
    EXPECT_EQ(errors_.count("the stream is not started"), 2);
}

TEST_F(Pcm, ReportsItsState) {
    const auto source = create();
    Messages messages(*source);
    EXPECT_TRUE(source->IsSupportedPullFrame());
    EXPECT_EQ(kep::host::stateOf(*source), State::null);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(kep::host::stateOf(*source), State::play);
    EXPECT_NE(messages.waitFor("name=started"), "");
    ASSERT_TRUE(source->ChangeDown(State::null));
    EXPECT_NE(messages.waitFor("name=stopped"), "");
    EXPECT_EQ(kep::host::stateOf(*source), State::null);
}

TEST_F(Pcm, RefusesAFormatByItsValue) {
    const auto source = create();
    for (const int rate : {0, -1, 3999, 192001}) {
        source->SetSampleRate(rate);
        EXPECT_FALSE(source->ChangeUp(State::play)) << rate;
        EXPECT_EQ(errors_.count("sample rate " + std::to_string(rate) + " "), 1);
    }
    source->SetSampleRate(48000);
    for (const int channels : {0, -1, 3}) {
        source->SetChannels(channels);
        EXPECT_FALSE(source->ChangeUp(State::play)) << channels;
        EXPECT_EQ(errors_.count("channels " + std::to_string(channels) + " "), 1);
    }
    source->SetChannels(2);
    EXPECT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source, 1).size(), 1u);
}

TEST_F(Pcm, KnowsOneDevice) {
    EXPECT_EQ(IPcmSource::CreateNew("elsewhere"), nullptr);
    EXPECT_EQ(errors_.count("IPcmSource: no device \"elsewhere\", only \"vornisa\""), 1);
    EXPECT_EQ(IPcmSource::CreateNew(nullptr), nullptr);
    EXPECT_EQ(errors_.count("IPcmSource: no device \"\""), 1);
}

TEST_F(Pcm, RefusesAnUnknownKindOfMicrophone) {
    const auto source = create();
    {
        const ScopedEnv audio("KEP_HOST_AUDIO", "gramophone");
        EXPECT_FALSE(source->ChangeUp(State::play));
    }
    EXPECT_EQ(errors_.count("KEP_HOST_AUDIO=gramophone"), 1);
    EXPECT_TRUE(source->ChangeUp(State::play));
}

}  // namespace
}  // namespace audio_test
