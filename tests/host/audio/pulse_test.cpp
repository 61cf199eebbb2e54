// PulseAudio with a private server: a null sink with its monitor, and a source that reads from a pipe.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <fstream>
#include <numbers>
#include <thread>

#include "support.h"
#include "vornisa_api.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmPlayer;
using kep::api::streaming::IPcmSource;

/** A PulseAudio server that runs during the object's lifetime. */
class Server {
  public:
    explicit Server(const ScopedFolder& folder) : socket_(folder.file("native")) {
        unlink(socket_.c_str());
        const std::string format = " rate=48000 channels=2 format=s16le";
        const std::string modules[] = {
            "module-null-sink sink_name=quiet" + format,
            "module-pipe-sink sink_name=written file=" + folder.file("sink") + format,
            "module-pipe-source source_name=piped file=" + folder.file("source") + format,
            "module-native-protocol-unix auth-anonymous=1 socket=" + socket_};
        std::vector<const char*> arguments = {"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
                                              "--use-pid-file=no"};
        for (const std::string& module : modules) arguments.insert(arguments.end(), {"-L", module.c_str()});
        arguments.push_back(nullptr);
        if (posix_spawnp(&process_, arguments[0], nullptr, nullptr,
                         const_cast<char* const*>(arguments.data()), environ) != 0)
            process_ = -1;
    }
    ~Server() { end(); }

    bool answers() const {
        return process_ > 0 && waitUntil([this] {
                   const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
                   sockaddr_un address{};
                   address.sun_family = AF_UNIX;
                   socket_.copy(address.sun_path, sizeof address.sun_path - 1);
                   const bool connected =
                       connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
                   close(client);
                   return connected;
               });
    }

    void freeze() { kill(process_, SIGSTOP); }

    void end() {
        if (process_ <= 0) return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

  private:
    const std::string socket_;
    pid_t process_ = -1;
};

class Pulse : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(server_->answers()) << "pulseaudio is not running"; }

    static std::string sine(double hertz, int samples) {
        std::string bytes;
        for (int index = 0; index < samples; ++index) {
            const auto value = static_cast<std::int16_t>(
                std::lround(9000 * std::sin(2 * std::numbers::pi * hertz * index / 48000 + 1)));
            for (int channel = 0; channel < 2; ++channel)
                bytes.append(reinterpret_cast<const char*>(&value), 2);
        }
        return bytes;
    }

    static bool push(IPcmPlayer& player, std::string bytes) {
        auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
        frame->data = reinterpret_cast<unsigned char*>(bytes.data());
        frame->size = static_cast<int>(bytes.size());
        return player.PushFrame(frame);
    }

    ScopedFolder folder_;
    ScopedEnv runtime_{"PULSE_RUNTIME_PATH", folder_.file("runtime")};
    ScopedEnv state_{"PULSE_STATE_PATH", folder_.file("state")};
    ScopedEnv home_{"HOME", folder_.path()};
    ScopedEnv address_{"PULSE_SERVER", "unix:" + folder_.file("native")};
    ScopedEnv audio_{"KEP_HOST_AUDIO", "pulse:quiet.monitor"};
    ScopedEnv speaker_{"KEP_HOST_SPEAKER", "pulse:quiet"};
    ErrorLines errors_;
    std::unique_ptr<Server> server_ = std::make_unique<Server>(folder_);
    std::unique_ptr<IPcmSource> source_{IPcmSource::CreateNew("vornisa")};
    std::unique_ptr<IPcmPlayer> player_{IPcmPlayer::CreateNew("vornisa")};
};

/** Plays a tone without gaps during its lifetime. */
class Tone {
  public:
    Tone(IPcmPlayer& player, std::string cycles)
        : feeder_([this, &player, cycles = std::move(cycles)]() mutable {
              auto frame = std::make_shared<kep::api::streaming::common::frame_t>();
              frame->data = reinterpret_cast<unsigned char*>(cycles.data());
              frame->size = static_cast<int>(cycles.size());
              while (!isOver_ && player.PushFrame(frame)) continue;
          }) {}
    ~Tone() {
        isOver_ = true;
        feeder_.join();
    }

  private:
    std::atomic<bool> isOver_{false};
    std::thread feeder_;
};

/** Samples numbered from 1: the low 15 bits on the left, the others on the right. */
std::vector<std::int16_t> numbered(std::uint32_t count) {
    std::vector<std::int16_t> samples;
    for (std::uint32_t number = 1; number <= count; ++number) {
        samples.push_back(static_cast<std::int16_t>(number & 0x7fff));
        samples.push_back(static_cast<std::int16_t>(number >> 15));
    }
    return samples;
}

void expectSame(const std::vector<std::int16_t>& samples, const std::vector<std::int16_t>& expected) {
    const auto [is, was] = std::ranges::mismatch(samples, expected);
    EXPECT_EQ(is, samples.end()) << "sample " << (is - samples.begin()) / 2 << ": " << *is << " instead of "
                                 << *was;
}

// The monitor of a sink cannot be checked per sample: it drops some whenever the sink underruns.
TEST_F(Pulse, TheMicrophoneHearsWhatTheSpeakerPlays) {
    ASSERT_TRUE(source_->ChangeUp(State::play)) << errors_.raw();
    ASSERT_TRUE(player_->ChangeUp(State::play)) << errors_.raw();
    const Tone tone(*player_, sine(600, 4800));  // whole cycles
    int pure = 0;
    Clock::time_point before{};
    const Clock::time_point end = Clock::now() + std::chrono::seconds(30);
    for (Frame frame; pure < 40 && Clock::now() < end && source_->PullFrame(frame, true);) {
        EXPECT_EQ(frame->size, 3840);
        EXPECT_GT(frame->stamp, before);
        EXPECT_LE(frame->stamp, Clock::now());
        before = frame->stamp;
        pure += std::abs(pitchOf(samplesOf({frame}).data(), 960, 2, 48000, 600, 0).amplitude - 9000) < 200;
    }
    EXPECT_GE(pure, 40);
    EXPECT_EQ(errors_.count("lost"), 0) << errors_.raw();
}

TEST_F(Pulse, ASinkIsGivenEachSampleOnce) {
    const ScopedEnv piped("KEP_HOST_SPEAKER", "pulse:written");
    ASSERT_TRUE(player_->ChangeUp(State::play)) << errors_.raw();
    const std::vector<std::int16_t> played = numbered(2 * 48000);
    std::thread feeder([&] {
        EXPECT_TRUE(push(*player_, {reinterpret_cast<const char*>(played.data()), played.size() * 2}));
        EXPECT_TRUE(player_->ChangeDown(State::null));
    });
    // An idle sink writes zeros.
    std::ifstream pipe(folder_.file("sink"), std::ios::binary);
    std::vector<std::int16_t> written;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(30);
    for (std::array<std::int16_t, 2 * 480> some; written.size() < played.size() && Clock::now() < end;) {
        ASSERT_TRUE(pipe.read(reinterpret_cast<char*>(some.data()), sizeof some));
        for (std::size_t at = 0; at < some.size(); at += 2)
            if (some[at] != 0 || some[at + 1] != 0) written.insert(written.end(), {some[at], some[at + 1]});
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // the sink runs as fast as its reader
    }
    feeder.join();
    EXPECT_EQ(written.size(), played.size());
    expectSame(written, played);
    EXPECT_EQ(errors_.count("lost"), 0) << errors_.raw();
}

TEST_F(Pulse, EachSampleOfASourceIsCapturedOnce) {
    const ScopedEnv piped("KEP_HOST_AUDIO", "pulse:piped");
    ASSERT_TRUE(source_->ChangeUp(State::play)) << errors_.raw();
    constexpr std::size_t kHeard = 2 * 48000;
    constexpr std::size_t kInFlight = 48000 / 10;  // the server delivers whole fragments only
    const std::vector<std::int16_t> written = numbered(kHeard + kInFlight);
    std::thread writer([&] {
        std::ofstream(folder_.file("source"), std::ios::binary)
            .write(reinterpret_cast<const char*>(written.data()),
                   static_cast<std::streamsize>(written.size() * sizeof written[0]));
    });
    std::vector<std::int16_t> heard;
    for (Frame frame; heard.size() < 2 * kHeard && source_->PullFrame(frame, true);) {
        const std::vector<std::int16_t> samples = samplesOf({frame});
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    writer.join();
    EXPECT_EQ(heard.size(), 2 * kHeard);
    expectSame(heard, written);
    EXPECT_EQ(errors_.count("lost"), 0) << errors_.raw();
}

TEST_F(Pulse, VolumeAndMuteAffectTheSamplesOfBothDevices) {
    ASSERT_TRUE(source_->ChangeUp(State::play)) << errors_.raw();
    ASSERT_TRUE(player_->ChangeUp(State::play)) << errors_.raw();
    const Tone tone(*player_, sine(600, 4800));  // whole cycles
    // Waits until a whole frame has this amplitude: it contains 12 cycles of 600 Hz.
    const auto isHeard = [&](double amplitude) {
        return waitUntil([&] {
            const std::vector<std::int16_t> samples = samplesOf(pullFrames(*source_, 1));
            if (amplitude == 0) return std::ranges::count(samples, 0) == 1920;
            return std::abs(pitchOf(samples.data(), 960, 2, 48000, 600, 0).amplitude - amplitude) <
                   0.02 * amplitude;
        });
    };
    EXPECT_TRUE(isHeard(9000));
    VNSetSpeakerVol(50);
    EXPECT_TRUE(isHeard(4500));
    VNSetMicVol(50);
    EXPECT_TRUE(isHeard(2250));
    VNSetMicMute(1);
    EXPECT_TRUE(isHeard(0));
    VNSetMicMute(0);
    EXPECT_TRUE(isHeard(2250));
    VNSetSpeakerMute(1);
    EXPECT_TRUE(isHeard(0));
    VNSetSpeakerMute(0);
    VNSetSpeakerVol(100);
    VNSetMicVol(100);
    EXPECT_TRUE(isHeard(9000));
}

TEST_F(Pulse, AServerThatDiesIsALostDevice) {
    Messages heard(*source_);
    Messages played(*player_);
    ASSERT_TRUE(source_->ChangeUp(State::play));
    ASSERT_TRUE(player_->ChangeUp(State::play));
    ASSERT_EQ(pullFrames(*source_, 3).size(), 3u);
    std::thread feeder([&] {
        while (push(*player_, sine(600, 4800))) continue;
    });
    server_->end();
    pullFrames(*source_, 1000000);  // ends
    feeder.join();
    EXPECT_NE(heard.waitFor("name=deviceLost,media=audio,device=pulse:quiet.monitor"), "");
    EXPECT_NE(played.waitFor("name=deviceLost,media=audio,device=pulse:quiet"), "");
    // The server's client library reports the loss or hangs in one of its locks.
    EXPECT_EQ(errors_.count("microphone pulse:quiet.monitor is lost: ") +
                  errors_.count("microphone pulse:quiet.monitor: has delivered nothing for 5 s"),
              1);
    EXPECT_EQ(errors_.count("speaker pulse:quiet is lost: "), 1);

    EXPECT_FALSE(source_->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("cannot open microphone pulse:quiet.monitor: "), 1);
    EXPECT_FALSE(player_->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("cannot open speaker pulse:quiet for 48000 Hz"), 1);

    server_ = std::make_unique<Server>(folder_);
    ASSERT_TRUE(server_->answers());
    ASSERT_TRUE(waitUntil([&] { return source_->ChangeUp(State::play); }));
    EXPECT_EQ(pullFrames(*source_, 3).size(), 3u);
    ASSERT_TRUE(player_->ChangeUp(State::play));
    EXPECT_TRUE(push(*player_, sine(600, 4800)));
}

TEST_F(Pulse, AServerThatHangsIsAbandoned) {
    ASSERT_TRUE(source_->ChangeUp(State::play));
    ASSERT_EQ(pullFrames(*source_, 3).size(), 3u);
    server_->freeze();
    Clock::time_point last = Clock::now();
    EXPECT_TRUE(waitUntil([&] {  // the pipeline is drained
        for (Frame frame; source_->PullFrame(frame, false);) last = Clock::now();
        return Clock::now() - last > std::chrono::milliseconds(500);
    }));
    ASSERT_TRUE(source_->ChangeDown(State::null));
    EXPECT_EQ(errors_.count("microphone pulse:quiet.monitor: hangs, abandoned"), 1);

    const ScopedEnv test("KEP_HOST_AUDIO", "test");
    ASSERT_TRUE(source_->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source_, 3).size(), 3u);
}

}  // namespace
}  // namespace audio_test
