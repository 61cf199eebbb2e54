// The test microphone with a fault, which lasts while a file exists.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <numbers>

#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmSource;

class FaultyTone : public ::testing::Test {
  protected:
    const ScopedFolder folder_;
    const std::string sign_ = folder_.file("sign");
    const ErrorLines errors_;
    const std::unique_ptr<IPcmSource> source_{IPcmSource::CreateNew("vornisa")};
};

TEST_F(FaultyTone, IsLostWhileTheFileExists) {
    const ScopedEnv audio("KEP_HOST_AUDIO", "test:lost=" + sign_);
    Messages messages(*source_);
    const std::string refused = "cannot open microphone test:lost=" + sign_ + ": not connected";
    writeFile(sign_, "");
    EXPECT_FALSE(source_->ChangeUp(State::play));
    EXPECT_EQ(errors_.count(refused), 1);
    std::remove(sign_.c_str());
    ASSERT_TRUE(source_->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source_, 3).size(), 3u);
    writeFile(sign_, "");
    pullFrames(*source_, 1500);
    EXPECT_EQ(errors_.count("microphone test:lost=" + sign_ + " is lost"), 1);
    EXPECT_NE(messages.waitFor("name=deviceLost,media=audio,device={test:lost=" + sign_ + "}"), "");
    EXPECT_NE(messages.waitFor("name=stopped"), "");
    EXPECT_FALSE(source_->ChangeUp(State::play));
    EXPECT_EQ(errors_.count(refused), 2);
    std::remove(sign_.c_str());
    ASSERT_TRUE(source_->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source_, 3).size(), 3u);
}

TEST_F(FaultyTone, DeliversNothingWhileStalledAndResumesInItsTime) {
    const ScopedEnv audio("KEP_HOST_AUDIO", "test:stalled=" + sign_);
    constexpr std::chrono::milliseconds kStall(1'000);
    // A tone that runs late delivers what was due before it checks the file.
    constexpr std::chrono::milliseconds kSilence(300);
    ASSERT_TRUE(source_->ChangeUp(State::play));
    Clock::time_point last = pullFrames(*source_, 3).back()->stamp;
    writeFile(sign_, "");
    ASSERT_TRUE(waitUntil([&] {
        Frame frame;
        while (source_->PullFrame(frame, false)) last = frame->stamp;
        return Clock::now() > last + kStall;
    }));
    std::remove(sign_.c_str());
    const std::vector<Frame> frames = pullFrames(*source_, 3);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_GE(frames[0]->stamp - last, kSilence);
    EXPECT_EQ(frames[1]->stamp - frames[0]->stamp, std::chrono::milliseconds(20));
    const std::int64_t first = std::llround(secondsOf(frames[0]->stamp) * 48000) % 48000;
    const double hertz = first < 4800 ? 1000 : 440;
    const auto* samples = reinterpret_cast<const std::int16_t*>(frames[0]->data);
    for (int i = 0; i < 960; ++i) {
        EXPECT_NEAR(samples[2 * i], 8192 * std::sin(2 * std::numbers::pi * hertz * double(first + i) / 48000),
                    0.6);
    }
    EXPECT_EQ(errors_.raw(), "");
}

TEST_F(FaultyTone, RefusesAnUnknownFault) {
    for (const char* const fault : {"lost", "lost=", "deaf=file"}) {
        const ScopedEnv audio("KEP_HOST_AUDIO", std::string("test:") + fault);
        EXPECT_FALSE(source_->ChangeUp(State::play)) << fault;
        EXPECT_EQ(errors_.count(std::string("test:") + fault +
                                ": not one of test, test:lost=PATH, test:stalled=PATH"),
                  1)
            << fault;
    }
}

}  // namespace
}  // namespace audio_test
