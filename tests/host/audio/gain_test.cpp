// The effect of volume and mute on samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <thread>

#include "error_lines.h"
#include "media/audio/volume.h"

namespace {

using kep::host::AudioFormat;
using kep::host::Gain;
using kep::host::Volume;
using Samples = std::vector<std::int16_t>;

constexpr std::int16_t kLowest = std::numeric_limits<std::int16_t>::min();
constexpr std::int16_t kHighest = std::numeric_limits<std::int16_t>::max();
constexpr AudioFormat kMono{48000, 1};

Samples everyValue() {
    Samples values;
    for (int value = kLowest; value <= kHighest; ++value) values.push_back(static_cast<std::int16_t>(value));
    return values;
}

/** Samples after a gain that starts at this volume, without a ramp. */
Samples at(const Volume& volume, Samples samples) {
    Gain(volume).apply(samples, kMono);
    return samples;
}

TEST(Volume, TheFullVolumeChangesNoSample) {
    const Volume untouched("device");
    EXPECT_EQ(at(untouched, everyValue()), everyValue());
    Volume back("device");
    back.set(30);
    back.set(100);
    EXPECT_EQ(at(back, everyValue()), everyValue());
}

TEST(Volume, IsProportionalToTheAmplitude) {
    for (int volume = 0; volume < 100; ++volume) {
        Volume device("device");
        device.set(volume);
        const Samples values = everyValue();
        const Samples scaled = at(device, values);
        double worst = 0;
        for (std::size_t i = 0; i < values.size(); ++i)
            worst = std::max(worst, std::abs(scaled[i] - values[i] * volume / 100.0));
        // The gain factor has 15 bits, and samples are integers.
        EXPECT_LE(worst, 1.5) << volume;
    }
}

TEST(Volume, FiftyIsHalf) {
    Volume device("device");
    device.set(50);
    EXPECT_EQ(at(device, {kLowest, -1000, -2, 0, 2, 1000, 32766}),
              (Samples{-16384, -500, -1, 0, 1, 500, 16383}));
}

TEST(Volume, MuteIsExactSilenceAndKeepsTheVolume) {
    const Samples silence(everyValue().size(), 0);
    Volume device("device");
    device.set(0);
    EXPECT_EQ(at(device, everyValue()), silence);
    device.setMute(true);
    device.set(100);
    EXPECT_EQ(at(device, everyValue()), silence);
    device.setMute(false);
    EXPECT_EQ(at(device, everyValue()), everyValue());
}

TEST(Volume, OutOfRangeIsClampedWithOneLine) {
    const ErrorLines errors;
    Volume device("megaphone");
    device.set(101);
    EXPECT_EQ(device.factor(), Volume::kUnchanged);
    device.set(-1);
    EXPECT_EQ(device.factor(), 0);
    device.set(std::numeric_limits<int>::max());
    EXPECT_EQ(device.factor(), Volume::kUnchanged);
    device.set(std::numeric_limits<int>::min());
    EXPECT_EQ(device.factor(), 0);
    for (const int volume : {0, 1, 99, 100}) device.set(volume);
    EXPECT_EQ(errors.messages(),
              (std::vector<std::string>{"megaphone volume 101 is not from 0 to 100: set to 100",
                                        "megaphone volume -1 is not from 0 to 100: set to 0",
                                        "megaphone volume 2147483647 is not from 0 to 100: set to 100",
                                        "megaphone volume -2147483648 is not from 0 to 100: set to 0"}));
}

class GainRamp : public testing::TestWithParam<AudioFormat> {
  protected:
    static AudioFormat format() { return GetParam(); }
    static std::size_t rampFrames() {
        return static_cast<std::size_t>(format().rate * Gain::kRampMilliseconds / 1000);
    }
    /** Half a second, longer than a ramp, of the largest sample. */
    static Samples loudest() {
        return Samples(static_cast<std::size_t>(format().rate / 2 * format().channels), kHighest);
    }
    /** The first channel; expects all others to be equal to it. */
    static Samples firstChannel(const Samples& samples) {
        const auto channels = static_cast<std::size_t>(format().channels);
        Samples first;
        for (std::size_t i = 0; i < samples.size(); i += channels) {
            first.push_back(samples[i]);
            for (std::size_t channel = 1; channel < channels; ++channel)
                EXPECT_EQ(samples[i + channel], samples[i]) << i;
        }
        return first;
    }
    /** The largest step between samples that the ramp allows. */
    static int mostStep() {
        return static_cast<int>(std::ceil(double(kHighest) / static_cast<double>(rampFrames()))) + 2;
    }
    static int largestStep(const Samples& first, int before) {
        int largest = 0;
        for (const int sample : first) {
            largest = std::max(largest, std::abs(sample - before));
            before = sample;
        }
        return largest;
    }
};

TEST_P(GainRamp, AMuteIsALinearRampToSilence) {
    Volume volume("device");
    Gain gain(volume);
    volume.setMute(true);
    Samples samples = loudest();
    gain.apply(samples, format());
    const Samples first = firstChannel(samples);
    EXPECT_LE(largestStep(first, kHighest), mostStep());
    EXPECT_TRUE(std::is_sorted(first.rbegin(), first.rend()));
    EXPECT_GT(first[rampFrames() / 2], 0) << "fell at once instead of in a ramp";
    EXPECT_EQ(std::ranges::count(std::span(first).subspan(rampFrames()), 0),
              std::ptrdiff_t(first.size() - rampFrames()));

    volume.setMute(false);
    samples = loudest();
    gain.apply(samples, format());
    const Samples louder = firstChannel(samples);
    EXPECT_LE(largestStep(louder, 0), mostStep());
    EXPECT_TRUE(std::is_sorted(louder.begin(), louder.end()));
    EXPECT_EQ(std::ranges::count(std::span(louder).subspan(rampFrames()), kHighest),
              std::ptrdiff_t(louder.size() - rampFrames()));
}

TEST_P(GainRamp, ContinuesFromBlockToBlock) {
    Volume volume("device");
    Gain whole(volume);
    Gain inBlocks(volume);
    volume.set(7);
    Samples expected = loudest();
    whole.apply(expected, format());
    Samples samples = loudest();
    std::size_t size = 0;
    for (std::size_t begin = 0; begin < samples.size(); begin += size) {
        size = std::min(samples.size() - begin, (begin / 5 % 7 + 1) * std::size_t(format().channels));
        inBlocks.apply(std::span(samples).subspan(begin, size), format());
    }
    EXPECT_EQ(samples, expected);
}

TEST_P(GainRamp, MayReverseAnywhere) {
    Volume volume("device");
    Gain gain(volume);
    const std::size_t blockFrames = std::max<std::size_t>(rampFrames() / 3, 1);
    int before = kHighest;
    for (int change = 0; change < 50; ++change) {
        volume.set(change * 37 % 101);
        volume.setMute(change % 3 == 0);
        Samples samples(blockFrames * std::size_t(format().channels), kHighest);
        gain.apply(samples, format());
        const Samples first = firstChannel(samples);
        EXPECT_LE(largestStep(first, before), mostStep()) << change;
        before = first.back();
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, GainRamp,
                         testing::Values(AudioFormat{48000, 2}, AudioFormat{48000, 1}, AudioFormat{44100, 2},
                                         AudioFormat{8000, 1}, AudioFormat{4000, 8}, AudioFormat{12345, 3},
                                         AudioFormat{192000, 2}),
                         [](const auto& format) {
                             return std::to_string(format.param.rate) + "x" +
                                    std::to_string(format.param.channels);
                         });

TEST(Gain, ADeviceIsSetWhileItsSamplesAreProcessed) {
    Volume volume("device");
    std::atomic<bool> isOver{false};
    std::vector<std::thread> setters;
    for (int setter = 0; setter < 2; ++setter)
        setters.emplace_back([&, setter] {
            for (int i = 0; !isOver; ++i) {
                volume.set(i % 101);
                volume.setMute(i % 5 == setter);
            }
        });
    Gain gain(volume);
    int before = kHighest;
    int largest = 0;
    for (int block = 0; block < 500; ++block) {
        Samples samples(960, kHighest);
        gain.apply(samples, kMono);
        for (const int sample : samples) {
            if (block > 0) largest = std::max(largest, std::abs(sample - before));
            before = sample;
        }
    }
    isOver = true;
    for (std::thread& setter : setters) setter.join();
    EXPECT_LE(largest, kHighest / 240 + 2);
}

}  // namespace
