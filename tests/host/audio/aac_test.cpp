// AAC streams, checked with ffprobe and by decoding them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>

#include "support.h"

namespace audio_test {
namespace {

using kep::State;
using kep::api::streaming::IAacSource;

class Aac : public ::testing::Test {
  protected:
    static std::unique_ptr<IAacSource> create() {
        return std::unique_ptr<IAacSource>(IAacSource::CreateNew("vornisa"));
    }

    std::string write(const std::vector<Frame>& frames) const {
        writeFile(folder_.file("out.aac"), bytesOf(frames));
        return folder_.file("out.aac");
    }

    std::string probe(const std::string& file) const {
        return outputOf(
            "ffprobe -v error -show_entries stream=codec_name,profile,sample_rate,channels -of csv=p=0 " +
            file);
    }

    std::vector<std::int16_t> decode(const std::string& file) const {
        outputOf("ffmpeg -v error -xerror -f aac -i " + file + " -f s16le -y " + folder_.file("out.raw"));
        const std::string bytes = contentsOf(folder_.file("out.raw"));
        std::vector<std::int16_t> samples(bytes.size() / 2);
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        return samples;
    }

    /** White noise uses the whole bit rate. */
    std::string noise() const {
        std::mt19937 random(1);
        std::uniform_int_distribution<int> values(-12000, 12000);
        std::vector<std::int16_t> samples;
        for (int index = 0; index < 48000 * 2; ++index)
            samples.push_back(static_cast<std::int16_t>(values(random)));
        writeFile(folder_.file("noise.wav"), wavOf(samples, 48000, 2));
        return "file:" + folder_.file("noise.wav");
    }

    static double bitRate(const std::vector<Frame>& frames, std::size_t from, int rate) {
        std::size_t bytes = 0;
        for (std::size_t index = from; index < frames.size(); ++index)
            bytes += static_cast<std::size_t>(frames[index]->size);
        return double(bytes) * 8 * rate / 1024 / double(frames.size() - from);
    }

    ScopedEnv audio_{"KEP_HOST_AUDIO", "test"};
    ScopedFolder folder_;
    ErrorLines errors_;
};

struct Format {
    int rate;
    int channels;
};

class AacFormat : public Aac, public ::testing::WithParamInterface<Format> {};

TEST_P(AacFormat, IsReadAndDecodesToTheSamplesOfItsStamps) {
    const auto [rate, channels] = GetParam();
    const auto source = create();
    source->SetSampleRate(rate);
    source->SetChannels(channels);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const int count = std::max(10, static_cast<int>(rate * 0.7 / 1024));
    const std::vector<Frame> frames = pullFrames(*source, count);
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(count));
    ASSERT_TRUE(source->ChangeDown(State::null));

    const std::string file = write(frames);
    EXPECT_EQ(probe(file), "aac,LC," + std::to_string(rate) + "," + std::to_string(channels) + "\n");
    for (std::size_t index = 1; index < frames.size(); ++index) {
        const std::chrono::duration<double> step = frames[index]->stamp - frames[index - 1]->stamp;
        EXPECT_NEAR(step.count(), 1024.0 / rate, 2e-6);
        EXPECT_TRUE(frames[index]->key);
        EXPECT_EQ(frames[index]->index, static_cast<int>(index));
    }

    const std::vector<std::int16_t> samples = decode(file);
    ASSERT_EQ(samples.size(), static_cast<std::size_t>(count * 1024 * channels));
    int judged = 0;
    for (std::size_t index = 2; index + 1 < frames.size(); ++index) {  // the encoder settles after two units
        const double start = secondsOf(frames[index]->stamp);
        const double seconds = 1024.0 / rate;
        if (signalAt(start - seconds, 3 * seconds) != Signal::tone) continue;
        ++judged;
        const Pitch pitch = pitchOf(samples.data() + index * 1024 * static_cast<std::size_t>(channels), 1024,
                                    channels, rate, 440, start);
        EXPECT_NEAR(pitch.amplitude, 8192, 1600);
        EXPECT_LT(phaseDistance(pitch.phase, -std::numbers::pi / 2), 0.25) << index;
    }
    EXPECT_GE(judged, 1);
    EXPECT_EQ(errors_.raw(), "");
}

INSTANTIATE_TEST_SUITE_P(Rates, AacFormat,
                         ::testing::Values(Format{48000, 2}, Format{44100, 2}, Format{48000, 1},
                                           Format{16000, 1}, Format{8000, 1}, Format{96000, 2},
                                           Format{22050, 2}),
                         [](const auto& format) {
                             return std::to_string(format.param.rate) + "x" +
                                    std::to_string(format.param.channels);
                         });

TEST_F(Aac, TheFirstUnitIsTheEncodersPriming) {
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 2);
    ASSERT_EQ(frames.size(), 2u);
    // It ends where the first block begins; the test tone's blocks begin at multiples of 20 ms.
    const std::chrono::duration<double> begin = frames[0]->stamp.time_since_epoch();
    EXPECT_NEAR(std::remainder(begin.count() + 1024.0 / 48000, 0.02), 0, 0.0001);
    const std::vector<std::int16_t> samples = decode(write(frames));
    ASSERT_EQ(samples.size(), 2u * 2048);
    for (int index = 0; index < 512; ++index) ASSERT_NEAR(samples[static_cast<std::size_t>(index)], 0, 300);
}

TEST_F(Aac, KeepsTheBitRate) {
    const ScopedEnv audio("KEP_HOST_AUDIO", noise());
    for (const int wanted : {64000, 192000}) {
        const auto source = create();
        source->SetBitRate(wanted);
        ASSERT_TRUE(source->ChangeUp(State::play));
        EXPECT_NEAR(bitRate(pullFrames(*source, 45), 10, 48000), wanted, wanted * 0.1);
    }
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_NEAR(bitRate(pullFrames(*source, 60), 10, 48000), 128000, 12800);
}

TEST_F(Aac, TheBitRateChangesWhileItRuns) {
    const ScopedEnv audio("KEP_HOST_AUDIO", noise());
    const auto source = create();
    source->SetBitRate(64000);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> before = pullFrames(*source, 50);
    source->SetBitRate(192000);
    const std::vector<Frame> after = pullFrames(*source, 60);
    EXPECT_NEAR(bitRate(before, 10, 48000), 64000, 6400);
    EXPECT_NEAR(bitRate(after, 20, 48000), 192000, 19200);
    EXPECT_EQ(after[0]->index, 50);
}

TEST_F(Aac, AChangeOfBitRateLosesNoSample) {
    const auto source = create();
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::vector<Frame> frames;
    for (int round = 0; round < 16; ++round) {
        source->SetBitRate(round % 2 ? 96000 : 160000);
        for (Frame& frame : pullFrames(*source, 3)) frames.push_back(std::move(frame));
    }
    ASSERT_EQ(frames.size(), 48u);
    const std::vector<std::int16_t> samples = decode(write(frames));
    ASSERT_EQ(samples.size(), 48u * 2048);
    int judged = 0;
    for (std::size_t index = 2; index < frames.size(); ++index) {
        const double start = secondsOf(frames[index]->stamp);
        if (signalAt(start - 0.02, 0.07) != Signal::tone) continue;
        ++judged;
        const Pitch pitch = pitchOf(samples.data() + index * 2048, 1024, 2, 48000, 440, start);
        EXPECT_NEAR(pitch.amplitude, 8192, 1600) << index;
        EXPECT_LT(phaseDistance(pitch.phase, -std::numbers::pi / 2), 0.25) << index;
    }
    EXPECT_GE(judged, 20);
    for (std::size_t index = 1; index < frames.size(); ++index)
        EXPECT_NEAR(std::chrono::duration<double>(frames[index]->stamp - frames[index - 1]->stamp).count(),
                    1024.0 / 48000, 2e-6);
}

TEST_F(Aac, RefusesAnInvalidBitRate) {
    const auto source = create();
    source->SetBitRate(0);
    EXPECT_EQ(errors_.count("bit rate 0 "), 1);
    source->SetBitRate(-5);
    EXPECT_EQ(errors_.count("bit rate -5 "), 1);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pullFrames(*source, 3).size(), 3u);
}

TEST_F(Aac, ClampsLargerBitRatesToTheMostThatAacCan) {
    const auto source = create();
    source->SetBitRate(2000000000);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pullFrames(*source, 15);
    ASSERT_EQ(frames.size(), 15u);
    EXPECT_EQ(probe(write(frames)), "aac,LC,48000,2\n");
}

TEST_F(Aac, RefusesARateThatAacDoesNotHave) {
    const auto source = create();
    for (const int rate : {12345, 192000, 0, 4000}) {
        source->SetSampleRate(rate);
        EXPECT_FALSE(source->ChangeUp(State::play));
        EXPECT_EQ(errors_.count("AAC has no sample rate " + std::to_string(rate)), 1);
    }
    source->SetSampleRate(44100);
    source->SetChannels(3);
    EXPECT_FALSE(source->ChangeUp(State::play));
    EXPECT_EQ(errors_.count("channels 3 "), 1);
    source->SetChannels(1);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(probe(write(pullFrames(*source, 15))), "aac,LC,44100,1\n");
}

TEST_F(Aac, KnowsOneDevice) {
    EXPECT_EQ(IAacSource::CreateNew("elsewhere"), nullptr);
    EXPECT_EQ(errors_.count("IAacSource: no device \"elsewhere\", only \"vornisa\""), 1);
}

}  // namespace
}  // namespace audio_test
