// A file, a video or a named pipe as the microphone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <numbers>
#include <thread>

#include "kep/status.h"
#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IPcmSource;

class FileMicrophone : public ::testing::Test {
  protected:
    static std::unique_ptr<IPcmSource> create(int rate, int channels) {
        std::unique_ptr<IPcmSource> source(IPcmSource::CreateNew("vornisa"));
        source->SetSampleRate(rate);
        source->SetChannels(channels);
        return source;
    }

    /** Each sample encodes its position. */
    static std::vector<std::int16_t> ramp(int count) {
        std::vector<std::int16_t> samples;
        for (int index = 0; index < count; ++index)
            samples.push_back(static_cast<std::int16_t>(index % 20011 - 10000));
        return samples;
    }

    void expectRefusal(const std::string& path, const std::string& cause) {
        const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + path);
        const auto source = create(48000, 2);
        EXPECT_FALSE(source->ChangeUp(State::play));
        EXPECT_EQ(errors_.count("audio file " + path + ": "), 1);
        EXPECT_EQ(errors_.count(cause), 1) << errors_.raw();
        const ScopedEnv test("KEP_HOST_AUDIO", "test");
        EXPECT_TRUE(source->ChangeUp(State::play));
        EXPECT_EQ(pullFrames(*source, 1).size(), 1u);
    }

    ScopedFolder folder_;
    ErrorLines errors_;
};

TEST_F(FileMicrophone, PlaysAFileOverAndOverWithoutAGap) {
    const std::vector<std::int16_t> recorded = ramp(7001);  // not a whole number of frames
    writeFile(folder_.file("ramp.wav"), wavOf(recorded, 16000, 1));
    const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + folder_.file("ramp.wav"));
    const auto source = create(16000, 1);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 70);
    const std::vector<std::int16_t> heard = samplesOf(frames);
    ASSERT_EQ(heard.size(), 70u * 320);
    for (std::size_t index = 0; index < heard.size(); ++index)
        ASSERT_EQ(heard[index], recorded[index % recorded.size()]) << index;
    for (const Frame& frame : frames) EXPECT_LE(frame->stamp + std::chrono::milliseconds(20), Clock::now());
    EXPECT_EQ(errors_.raw(), "");
}

TEST_F(FileMicrophone, OneChannelBecomesTwoOfTheSameLevel) {
    const std::vector<std::int16_t> recorded = ramp(9600);
    writeFile(folder_.file("ramp.wav"), wavOf(recorded, 48000, 1));
    const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + folder_.file("ramp.wav"));
    const auto source = create(48000, 2);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<std::int16_t> heard = samplesOf(pullFrames(*source, 5));
    ASSERT_EQ(heard.size(), 5u * 960 * 2);
    for (std::size_t index = 0; index < heard.size(); ++index)
        ASSERT_EQ(heard[index], recorded[index / 2]) << index;
}

TEST_F(FileMicrophone, PlaysInRealTime) {
    writeFile(folder_.file("ramp.wav"), wavOf(ramp(7001), 16000, 1));
    const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + folder_.file("ramp.wav"));
    const auto source = create(16000, 1);
    const Clock::time_point begin = Clock::now();
    ASSERT_TRUE(source->ChangeUp(State::play));
    ASSERT_EQ(pullFrames(*source, 25).size(), 25u);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(500));
}

TEST_F(FileMicrophone, PlaysTheSoundOfAVideo) {
    outputOf(
        "ffmpeg -v error -f lavfi -i testsrc=s=64x48:r=5:d=1 -f lavfi -i sine=f=600:r=44100:d=1 -c:v mpeg4 " +
        folder_.file("film.mp4"));
    const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + folder_.file("film.mp4"));
    const auto source = create(48000, 2);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<std::int16_t> heard = samplesOf(pullFrames(*source, 20));
    const std::size_t frames = 20 * 960;
    ASSERT_EQ(heard.size(), frames * 2);
    EXPECT_GT(pitchOf(heard.data() + 4800, frames - 4800, 2, 48000, 600, 0).amplitude, 2000);
    EXPECT_LT(pitchOf(heard.data() + 4800, frames - 4800, 2, 48000, 440, 0).amplitude, 100);
}

TEST_F(FileMicrophone, RefusesAMissingFile) {
    expectRefusal(folder_.file("none.wav"), "No such file");
}

TEST_F(FileMicrophone, RefusesAFolder) {
    expectRefusal(folder_.path(), "Is a directory");
}

TEST_F(FileMicrophone, RefusesOtherFormats) {
    writeFile(folder_.file("text.wav"), std::string(5000, 'x'));
    expectRefusal(folder_.file("text.wav"), "Invalid data");
}

TEST_F(FileMicrophone, RefusesAnEmptyFile) {
    writeFile(folder_.file("empty.wav"), "");
    expectRefusal(folder_.file("empty.wav"), "audio file");
}

TEST_F(FileMicrophone, RefusesAVideoWithoutSound) {
    outputOf("ffmpeg -v error -f lavfi -i testsrc=s=64x48:r=5:d=1 -c:v mpeg4 " + folder_.file("mute.mp4"));
    expectRefusal(folder_.file("mute.mp4"), "contains no audio");
}

TEST_F(FileMicrophone, AFileWithoutASingleSampleEndsTheStream) {
    writeFile(folder_.file("none.wav"), wavOf({}, 16000, 1));
    const ScopedEnv audio("KEP_HOST_AUDIO", "file:" + folder_.file("none.wav"));
    const auto source = create(16000, 1);
    Messages messages(*source);
    ASSERT_TRUE(source->ChangeUp(State::play));
    Frame frame;
    EXPECT_FALSE(source->PullFrame(frame, true));
    EXPECT_NE(messages.waitFor("name=deviceLost"), "");
    EXPECT_EQ(errors_.count("contains no audio"), 1);
}

/** A named pipe that the test fills and closes: a device that can disappear. */
class Pipe : public FileMicrophone {
  protected:
    Pipe() {
        signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    }

    /** The write end; waits for a reader. */
    int openWriter() {
        int file = -1;
        EXPECT_TRUE(
            waitUntil([&] { return (file = open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
        fcntl(file, F_SETFL, 0);
        return file;
    }
    static void feed(int file, const std::string& bytes) {
        EXPECT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    const std::string path_ = folder_.file("pipe");
    // Reading the header of a pipe consumes 64 KiB of it.
    const std::vector<std::int16_t> sound_ = ramp(36000);
    ScopedEnv audio_{"KEP_HOST_AUDIO", "file:" + path_};
};

TEST_F(Pipe, TheEndIsALostDeviceAndTheNextStartRetries) {
    const auto first = create(48000, 1);
    const auto second = create(48000, 1);
    Messages messages(*first);
    Messages others(*second);
    for (int round = 1; round <= 2; ++round) {
        std::thread writer([&] {
            const int file = openWriter();
            feed(file, wavOf(sound_, 48000, 1));
            EXPECT_TRUE(waitUntil([&] { return kep::host::stateOf(*second) == State::play; }));
            close(file);
        });
        ASSERT_TRUE(first->ChangeUp(State::play));
        ASSERT_TRUE(second->ChangeUp(State::play));
        writer.join();

        const std::vector<std::int16_t> heard = samplesOf(pullFrames(*first, 1000));
        EXPECT_EQ(heard.size(), 37u * 960);
        EXPECT_TRUE(std::equal(heard.begin(), heard.end(), sound_.begin()));
        EXPECT_LE(pullFrames(*second, 1000).size(), 37u);
        EXPECT_TRUE(waitUntil([&] { return kep::host::stateOf(*second) != State::play; }));
        EXPECT_FALSE(dynamic_cast<kep::stream::IStatus&>(*first).StatusIsPlay());
        EXPECT_EQ(errors_.count("audio file " + path_ + " has ended"), round);
    }
    for (Messages* told : {&messages, &others})
        EXPECT_NE(told->waitFor("name=deviceLost,media=audio,device=file:" + path_), "");

    const ScopedEnv test("KEP_HOST_AUDIO", "test");
    ASSERT_TRUE(first->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*first, 5).size(), 5u);
}

TEST_F(Pipe, ASilentOneIsRefused) {
    const auto source = create(48000, 1);
    EXPECT_FALSE(source->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("cannot play audio file " + path_ + ": no data received"), 1);
}

TEST_F(Pipe, AStalledDeviceBlocksNobody) {
    const auto source = create(48000, 1);
    int file = -1;
    std::thread writer([&] {
        file = openWriter();
        feed(file, wavOf(sound_, 48000, 1));
    });
    ASSERT_TRUE(source->ChangeUp(State::play));
    writer.join();
    EXPECT_EQ(pullFrames(*source, 10).size(), 10u);

    // No more data: a non-blocking pull fails, and the stop ends a blocking one.
    Frame frame;
    EXPECT_TRUE(waitUntil([&] { return !source->PullFrame(frame, false); }));
    std::thread reader([&] {
        for (Frame late; source->PullFrame(late, true);) continue;
    });
    ASSERT_TRUE(source->ChangeDown(State::null));
    reader.join();
    close(file);
}

TEST_F(Pipe, DoesNotCatchUpAfterALateWriter) {
    const auto source = create(48000, 1);
    int file = -1;
    std::thread writer([&] {
        file = openWriter();
        feed(file, wavOf(ramp(200000), 48000, 1).substr(0, 44 + 72000));
    });
    ASSERT_TRUE(source->ChangeUp(State::play));
    writer.join();
    const std::vector<Frame> before = pullFrames(*source, 36);
    ASSERT_EQ(before.size(), 36u);
    const Clock::time_point silent = Clock::now();
    ASSERT_TRUE(waitUntil([&] { return Clock::now() > silent + std::chrono::milliseconds(400); }));
    const std::string rest(64000, '\0');
    std::thread later([&] { feed(file, rest); });
    const std::vector<Frame> after = pullFrames(*source, 10);
    ASSERT_EQ(after.size(), 10u);
    EXPECT_GE(after.back()->stamp - before.back()->stamp, std::chrono::milliseconds(400));
    EXPECT_GE(Clock::now(), after.back()->stamp);
    later.join();
    ASSERT_TRUE(source->ChangeDown(State::null));
    close(file);
}

}  // namespace
}  // namespace audio_test
