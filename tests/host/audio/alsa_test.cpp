// ALSA with a configuration whose devices are files.
#include <gtest/gtest.h>

#include <cstring>
#include <numbers>

#include "kep/device.h"
#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmPlayer;
using kep::api::streaming::IPcmSource;

class Alsa : public ::testing::Test {
  protected:
    Alsa() {
        writeFile(folder_.file("asound.conf"),
                  "pcm.null { type null }\n"
                  "pcm.quiet { type null }\n"
                  "pcm.tofile { type file slave.pcm { type null } file \"" +
                      folder_.file("played.raw") +
                      "\" format raw }\n"
                      "pcm.fromfile { type file slave.pcm { type null } file /dev/null infile \"" +
                      folder_.file("heard.raw") + "\" format raw }\n");
    }

    ScopedFolder folder_;
    ScopedEnv config_{"ALSA_CONFIG_PATH", folder_.file("asound.conf")};
    ErrorLines errors_;
};

TEST_F(Alsa, PlaysWhatWasPushed) {
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "alsa:tofile");
    std::unique_ptr<IPcmPlayer> player(IPcmPlayer::CreateNew("vornisa"));
    ASSERT_TRUE(player->ChangeUp(State::play));
    std::string sound;
    for (int index = 0; index < 48000; ++index) sound += static_cast<char>(index * 7 + index / 251);
    auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
    frame->data = reinterpret_cast<unsigned char*>(sound.data());
    frame->size = static_cast<int>(sound.size());
    for (int count = 0; count < 3; ++count) ASSERT_TRUE(player->PushFrame(frame));
    ASSERT_TRUE(player->ChangeDown(State::null));
    EXPECT_TRUE(contentsOf(folder_.file("played.raw")) == sound + sound + sound);
}

TEST_F(Alsa, CapturesWhatTheDeviceDelivers) {
    std::string bytes;
    for (int index = 0; index < 48000 * 20; ++index) {
        const std::int16_t value = static_cast<std::int16_t>(index % 32000);
        for (int channel = 0; channel < 2; ++channel) bytes.append(reinterpret_cast<const char*>(&value), 2);
    }
    writeFile(folder_.file("heard.raw"), bytes);
    const ScopedEnv audio("KEP_HOST_AUDIO", "alsa:fromfile");
    std::unique_ptr<IPcmSource> source(IPcmSource::CreateNew("vornisa"));
    const Clock::time_point begin = Clock::now();
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 40);
    ASSERT_EQ(frames.size(), 40u);
    EXPECT_TRUE(bytesOf(frames) == bytes.substr(0, 40 * 3840));
    // This device does not pace itself.
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(400));
    for (std::size_t index = 1; index < frames.size(); ++index)
        EXPECT_GT(frames[index]->stamp, frames[index - 1]->stamp);
}

TEST_F(Alsa, VolumesAffectPlaybackAndCapture) {
    const auto level = [](std::int16_t value, int count) {
        std::string bytes;
        for (int i = 0; i < count; ++i) bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
        return bytes;
    };
    kep::dev::ISpeaker::Speaker("vornisa")->SetVolume(50);
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "alsa:tofile");
    std::unique_ptr<IPcmPlayer> player(IPcmPlayer::CreateNew("vornisa"));
    ASSERT_TRUE(player->ChangeUp(State::play));
    std::string sound = level(20000, 48000);
    auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
    frame->data = reinterpret_cast<unsigned char*>(sound.data());
    frame->size = static_cast<int>(sound.size());
    ASSERT_TRUE(player->PushFrame(frame));
    ASSERT_TRUE(player->ChangeDown(State::null));
    kep::dev::ISpeaker::Speaker("vornisa")->SetVolume(100);
    EXPECT_TRUE(contentsOf(folder_.file("played.raw")) == level(10000, 48000));

    writeFile(folder_.file("heard.raw"), level(20000, 48000 * 20));
    kep::dev::IMicrophone::Microphone("vornisa")->SetVolume(50);
    const ScopedEnv audio("KEP_HOST_AUDIO", "alsa:fromfile");
    std::unique_ptr<IPcmSource> source(IPcmSource::CreateNew("vornisa"));
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_TRUE(bytesOf(pullFrames(*source, 10)) == level(10000, 10 * 1920));
    kep::dev::IMicrophone::Microphone("vornisa")->SetVolume(100);
}

TEST_F(Alsa, ADeviceThatDoesNotExistIsNamed) {
    const ScopedEnv audio("KEP_HOST_AUDIO", "alsa:nowhere");
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "alsa:nowhere");
    std::unique_ptr<IPcmSource> source(IPcmSource::CreateNew("vornisa"));
    EXPECT_FALSE(source->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("cannot open microphone alsa:nowhere: "), 1);
    std::unique_ptr<IPcmPlayer> player(IPcmPlayer::CreateNew("vornisa"));
    EXPECT_FALSE(player->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("cannot open speaker alsa:nowhere for 48000 Hz, 2 channels: "), 1);
}

}  // namespace
}  // namespace audio_test
