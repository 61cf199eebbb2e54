// The loudspeaker, checked by the contents of a file and by the pace of the null device.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <thread>

#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmPlayer;

class Player : public ::testing::Test {
  protected:
    static std::unique_ptr<IPcmPlayer> create(int rate, int channels) {
        std::unique_ptr<IPcmPlayer> player(IPcmPlayer::CreateNew("vornisa"));
        player->SetSampleRate(rate);
        player->SetChannels(channels);
        return player;
    }

    /** Pushes bytes; the buffer is invalid once the call has returned. */
    static bool push(IPcmPlayer& player, std::string bytes) {
        auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
        frame->data = reinterpret_cast<unsigned char*>(bytes.data());
        frame->size = static_cast<int>(bytes.size());
        const bool taken = player.PushFrame(frame);
        std::fill(bytes.begin(), bytes.end(), '!');
        return taken;
    }

    static std::string sound(int bytes) {
        std::string made;
        for (int index = 0; index < bytes; ++index) made += static_cast<char>(index * 7 + index / 251);
        return made;
    }

    static std::uint32_t number(const std::string& wav, std::size_t offset) {
        std::uint32_t value = 0;
        std::memcpy(&value, wav.data() + offset, sizeof value);
        return value;
    }

    ScopedFolder folder_;
    const std::string wav_ = folder_.file("out.wav");
    ScopedEnv speaker_{"KEP_HOST_SPEAKER", "file:" + wav_};
    ErrorLines errors_;
};

TEST_F(Player, TheFileHoldsWhatWasPushed) {
    const auto player = create(44100, 2);
    EXPECT_TRUE(player->IsSupportedPushFrame());
    ASSERT_TRUE(player->ChangeUp(State::play));
    const std::string fed = sound(600000);  // more than the queue holds
    std::size_t position = 0;
    for (std::size_t size = 1; position < fed.size(); size = size * 3 % 10007) {  // rarely whole samples
        ASSERT_TRUE(push(*player, fed.substr(position, size)));
        position += size;
    }
    ASSERT_TRUE(player->ChangeDown(State::null));

    const std::string written = contentsOf(wav_);
    ASSERT_EQ(written.size(), 44 + fed.size());
    EXPECT_TRUE(written.substr(44) == fed);
    EXPECT_EQ(
        outputOf(
            "ffprobe -v error -show_entries stream=codec_name,sample_rate,channels,duration_ts -of csv=p=0 " +
            wav_),
        "pcm_s16le,44100,2,150000\n");
    EXPECT_EQ(errors_.raw(), "");
}

TEST_F(Player, AnIncompleteLastSampleIsNotPlayed) {
    const auto player = create(8000, 2);
    ASSERT_TRUE(player->ChangeUp(State::play));
    ASSERT_TRUE(push(*player, sound(1003)));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_TRUE(contentsOf(wav_).substr(44) == sound(1000));
}

TEST_F(Player, TheFileIsReadableWhileItGrows) {
    const auto player = create(8000, 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    for (const std::uint32_t sum : {2000u, 4000u, 6000u}) {
        ASSERT_TRUE(push(*player, sound(2000)));
        EXPECT_TRUE(waitUntil([&] {
            const std::string now = contentsOf(wav_);
            return now.size() == 44 + sum && number(now, 40) == sum && number(now, 4) == sum + 36;
        }));
    }
}

TEST_F(Player, ARestartOverwritesTheFile) {
    const auto player = create(8000, 1);
    for (const int bytes : {5000, 200}) {
        ASSERT_TRUE(player->ChangeUp(State::play));
        ASSERT_TRUE(push(*player, sound(bytes)));
        ASSERT_TRUE(player->ChangeDown(State::null));
        EXPECT_TRUE(contentsOf(wav_).substr(44) == sound(bytes));
    }
    player->SetSampleRate(16000);
    ASSERT_TRUE(player->ChangeUp(State::play));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_EQ(number(contentsOf(wav_), 24), 16000u);
    EXPECT_EQ(contentsOf(wav_).size(), 44u);
}

TEST_F(Player, AReleaseWhilePlayingDrainsTheQueue) {
    auto player = create(8000, 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    ASSERT_TRUE(push(*player, sound(4000)));
    player.reset();
    EXPECT_TRUE(contentsOf(wav_).substr(44) == sound(4000));
}

TEST_F(Player, PushesOfSeveralThreadsStayWhole) {
    const auto player = create(48000, 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    std::vector<std::thread> feeders;
    for (const char letter : {'a', 'b'})
        feeders.emplace_back([&player, letter] {
            for (int count = 0; count < 5; ++count) EXPECT_TRUE(push(*player, std::string(100000, letter)));
        });
    for (std::thread& feeder : feeders) feeder.join();
    ASSERT_TRUE(player->ChangeDown(State::null));
    const std::string written = contentsOf(wav_).substr(44);
    ASSERT_EQ(written.size(), 1000000u);
    for (std::size_t index = 0; index < written.size(); ++index)
        ASSERT_EQ(written[index], written[index - index % 100000]);
}

TEST_F(Player, RefusesAFileThatCannotBeWritten) {
    const auto player = create(8000, 1);
    for (const std::string& path : {folder_.file("none/out.wav"), folder_.path(), std::string("/dev/full")}) {
        const ScopedEnv speaker("KEP_HOST_SPEAKER", "file:" + path);
        EXPECT_FALSE(player->ChangeUp(State::play));
        EXPECT_EQ(errors_.count("cannot write speaker file " + path + ": "), 1);
    }
    EXPECT_TRUE(player->ChangeUp(State::play));
}

TEST_F(Player, AFileThatFillsUpIsALostDevice) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{20000, before.rlim_max};
    const auto player = create(8000, 1);
    Messages messages(*player);
    ASSERT_TRUE(player->ChangeUp(State::play));
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_TRUE(waitUntil([&] { return !push(*player, sound(5000)); }));
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_NE(messages.waitFor("name=deviceLost,media=audio,device=file:" + wav_), "");
    EXPECT_TRUE(waitUntil([&] { return player->CurrentState() != State::play; }));
    EXPECT_EQ(errors_.count("cannot write speaker file " + wav_ + ": "), 1);

    ASSERT_TRUE(player->ChangeUp(State::play));
    EXPECT_TRUE(push(*player, sound(100)));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_TRUE(contentsOf(wav_).substr(44) == sound(100));
}

TEST_F(Player, APushWithoutAStartFailsWithALine) {
    const auto player = create(8000, 1);
    EXPECT_FALSE(push(*player, sound(10)));
    EXPECT_EQ(errors_.count("the player is not started"), 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_FALSE(push(*player, sound(10)));
    EXPECT_EQ(errors_.count("the player is not started"), 2);
}

TEST_F(Player, RefusesAFrameWithoutData) {
    const auto player = create(8000, 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    EXPECT_FALSE(player->PushFrame(nullptr));
    auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
    frame->size = 10;
    EXPECT_FALSE(player->PushFrame(frame));
    EXPECT_EQ(errors_.count("a frame without data"), 2);
    frame->size = 0;
    EXPECT_TRUE(player->PushFrame(frame));
}

TEST_F(Player, RefusesAFormatByItsValue) {
    const auto player = create(3999, 1);
    EXPECT_FALSE(player->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("sample rate 3999 "), 1);
    player->SetSampleRate(8000);
    player->SetChannels(9);
    EXPECT_FALSE(player->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("channels 9 "), 1);
    player->SetChannels(6);
    EXPECT_TRUE(player->ChangeUp(State::play));
}

TEST_F(Player, KnowsOneDeviceAndItsKinds) {
    EXPECT_EQ(IPcmPlayer::CreateNew("elsewhere"), nullptr);
    EXPECT_EQ(errors_.count("IPcmPlayer: no device \"elsewhere\", only \"vornisa\""), 1);
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "trumpet:brass");
    EXPECT_FALSE(create(8000, 1)->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("KEP_HOST_SPEAKER=trumpet:brass"), 1);
}

class NullPlayer : public Player {
  protected:
    ScopedEnv null_{"KEP_HOST_SPEAKER", std::nullopt};
};

TEST_F(NullPlayer, PlaysInRealTime) {
    const auto player = create(8000, 1);
    const Clock::time_point begin = Clock::now();
    ASSERT_TRUE(player->ChangeUp(State::play));
    for (int count = 0; count < 20; ++count) ASSERT_TRUE(push(*player, sound(1600)));  // two seconds
    // Everything except the queue has been played; after the stop, the queue as well.
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1400));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(2000));
}

TEST_F(NullPlayer, AStopEndsABlockedPush) {
    const auto player = create(8000, 1);
    ASSERT_TRUE(player->ChangeUp(State::play));
    std::thread feeder([&] {
        while (push(*player, sound(16000 * 60))) continue;  // a minute each
    });
    // Within 100 ms the push fills the queue and blocks.
    const Clock::time_point begin = Clock::now();
    EXPECT_TRUE(waitUntil([&] { return Clock::now() - begin > std::chrono::milliseconds(100); }));
    ASSERT_TRUE(player->ChangeDown(State::null));
    feeder.join();
    EXPECT_EQ(errors_.count("cannot play a frame") + errors_.count("the player was stopped"), 1);
}

}  // namespace
}  // namespace audio_test
