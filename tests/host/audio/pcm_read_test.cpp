// Reads samples in blocks of the caller's size, from microphones of every format.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <mutex>
#include <numbers>
#include <random>
#include <thread>

#include "public_sound.h"

namespace audio_test {
namespace {

constexpr int kMostBytes = 131072;

Samples noiseOf(std::size_t count) {
    std::mt19937 random(1);
    Samples samples(count);
    for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(random());
    return samples;
}

/** Reads `bytes` bytes in blocks of random valid sizes, most of them small. */
std::string readInAnySizes(const Stream& pcm, std::size_t bytes, unsigned seed) {
    std::mt19937 random(seed);
    std::string read;
    std::string block(kMostBytes, '\0');
    while (read.size() < bytes) {
        const unsigned bits = random() % 18;
        const int size = static_cast<int>(std::min<unsigned>(1 + random() % (1U << bits), kMostBytes));
        int length = -1;
        if (VNReadPcm(pcm.id(), block.data(), size, &length) != VNRES_SUCCEED) break;
        EXPECT_GT(length, 0);
        EXPECT_LE(length, size);
        read.append(block.data(), static_cast<std::size_t>(length));
    }
    return read;
}

class PcmRead : public PublicSound {
  protected:
    /** Makes the microphone repeat this sound. */
    void hear(const Samples& samples, int rate, int channels) {
        const std::string path = folder_.file("heard.wav");
        writeFile(path, wavOf(samples, rate, channels));
        microphone_.emplace("KEP_HOST_AUDIO", "file:" + path);
    }

  private:
    std::optional<ScopedEnv> microphone_;
};

TEST_F(PcmRead, ReadsEveryByteOnceInBlocksOfAnySize) {
    const Samples heard = noiseOf(48000 * 2);
    hear(heard, 48000, 2);
    const Stream pcm = openPcm();
    const std::string read = readInAnySizes(pcm, heard.size() * 2 * 3, 7);
    std::string expected(reinterpret_cast<const char*>(heard.data()), heard.size() * 2);
    while (expected.size() < read.size()) expected += expected;
    EXPECT_TRUE(read == expected.substr(0, read.size()));
}

TEST_F(PcmRead, TwoHandlesAreReadByTwoThreads) {
    const Samples heard = noiseOf(48000 * 2);
    hear(heard, 48000, 2);
    const Stream streams[] = {openPcm(), openPcm()};
    // The first reads create the handles' buffers, in a table that both share.
    std::string read[2];
    for (int i = 0; i < 2; ++i) read[i] = readInAnySizes(streams[i], 1, 1);
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back(
            [&, i] { read[i] += readInAnySizes(streams[i], heard.size() * 2, unsigned(i) + 2); });
    for (std::thread& reader : readers) reader.join();
    // They began at different blocks of the same sound.
    std::string expected(reinterpret_cast<const char*>(heard.data()), heard.size() * 2);
    expected += expected + expected;
    for (const std::string& each : read) EXPECT_NE(expected.find(each), std::string::npos);
}

TEST_F(PcmRead, TwoThreadsShareAHandleWithALock) {
    const Samples heard = noiseOf(48000 * 2);
    hear(heard, 48000, 2);
    const Stream pcm = openPcm();
    std::mutex mutex;
    std::string whole;
    std::vector<std::thread> readers;
    for (unsigned seed = 0; seed < 2; ++seed)
        readers.emplace_back([&, seed] {
            for (int i = 0; i < 20; ++i) {
                const std::lock_guard lock(mutex);
                whole += readInAnySizes(pcm, 1000, seed * 100 + unsigned(i));
            }
        });
    for (std::thread& reader : readers) reader.join();
    std::string expected(reinterpret_cast<const char*>(heard.data()), heard.size() * 2);
    while (expected.size() < whole.size()) expected += expected;
    EXPECT_TRUE(whole == expected.substr(0, whole.size()));
}

TEST_F(PcmRead, AStopEndsARead) {
    const Stream pcm = openPcm();
    std::atomic<int> blocks{0};
    std::thread reader([&] {
        char block[1000];
        while (VNReadPcm(pcm.id(), block, sizeof block, nullptr) == VNRES_SUCCEED) ++blocks;
    });
    EXPECT_TRUE(waitUntil([&] { return blocks > 10; }));
    EXPECT_EQ(VNStop(pcm.id()), VNRES_SUCCEED);
    reader.join();
    EXPECT_EQ(errors_.count(":pull frame fail!"), 1);
}

TEST_F(PcmRead, BufferedSamplesAreReadAfterAStop) {
    hear(Samples(48000 * 2, 3), 48000, 2);
    const Stream pcm = openPcm();
    char block[3840];
    ASSERT_EQ(VNReadPcm(pcm.id(), block, 840, nullptr), VNRES_SUCCEED);
    ASSERT_EQ(VNStop(pcm.id()), VNRES_SUCCEED);
    int length = 0;
    EXPECT_EQ(VNReadPcm(pcm.id(), block, 3840, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 3000);
}

TEST_F(PcmRead, RefusesInvalidReads) {
    std::string block(kMostBytes + 1, '\0');
    int length = 17;
    EXPECT_EQ(VNReadPcm(0, block.data(), 10, &length), VNRES_INVALID_ARG);
    EXPECT_EQ(errors_.count("!id"), 1);

    int idle = 0;
    ASSERT_EQ(VNAcquire(VNRES_PCM_SOURCE, &idle), VNRES_SUCCEED);
    EXPECT_EQ(VNReadPcm(idle, block.data(), 10, &length), VNRES_FAIL);
    EXPECT_EQ(errors_.count("!output->PullFrame(frm)," + std::to_string(idle) + ":pull frame fail!"), 1);
    EXPECT_EQ(VNReadPcm(idle, block.data(), kMostBytes + 1, &length), VNRES_INVALID_ARG);
    EXPECT_EQ(errors_.count("buf_size>buff->Max(),131073>131072"), 1);
    VNRelease(idle);

    for (const auto& [resource, name] :
         {std::pair{VNRES_PCM_PLAYER, "player"}, {VNRES_AAC_ENCODER, "codec"}}) {
        int id = 0;
        ASSERT_EQ(VNAcquire(resource, &id), VNRES_SUCCEED);
        EXPECT_EQ(VNReadPcm(id, block.data(), 10, &length), VNRES_WRONG_DEVICE) << name;
        EXPECT_EQ(errors_.count("!output," + std::to_string(id) + ":this dev can not output frame!"), 1);
        VNRelease(id);
    }
    EXPECT_EQ(length, 17) << "changed by a failed call";

    const Stream pcm = openPcm();
    EXPECT_EQ(VNReadPcm(pcm.id(), block.data(), kMostBytes, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 3840);
    EXPECT_EQ(errors_.count("len!=buf_size,3840<>131072"), 1);
}

TEST_F(PcmRead, AnEmptyBlockBuffersFramesUntilOneNoLongerFits) {
    const Samples heard = noiseOf(48000 * 2);
    hear(heard, 48000, 2);
    const Stream pcm = openPcm();
    std::string block(kMostBytes, '\0');
    int length = 17;
    EXPECT_EQ(VNReadPcm(pcm.id(), block.data(), 0, &length), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(errors_.count("buf size is not enough.131072,130560+3840"), 1);
    EXPECT_EQ(length, 17);
    // The buffered frames remain: 34 frames of 20 ms.
    EXPECT_EQ(VNReadPcm(pcm.id(), block.data(), kMostBytes, &length), VNRES_SUCCEED);
    ASSERT_EQ(length, 34 * 3840);
    EXPECT_EQ(std::memcmp(block.data(), heard.data(), 34 * 3840), 0);
}

TEST_F(PcmRead, AMicrophoneThatIsLostAndReturnsIsHeardAgainAtItsVolume) {
    const std::string sign = folder_.file("away");
    const ScopedEnv microphone("KEP_HOST_AUDIO", "test:lost=" + sign);
    VNSetMicVol(50);
    const Stream pcm = openPcm(48000, 1);
    ASSERT_EQ(read(pcm, 4800).size(), 4800u);
    writeFile(sign, "");
    // Buffered samples are still readable; then the stream ends.
    EXPECT_TRUE(waitUntil([&] { return read(pcm, 960).size() < 960; }));
    EXPECT_EQ(errors_.count("microphone test:lost=" + sign + " is lost"), 1);
    EXPECT_NE(VNStart(pcm.id()), VNRES_SUCCEED);
    std::remove(sign.c_str());
    EXPECT_EQ(VNStart(pcm.id()), VNRES_SUCCEED);
    const Samples heard = read(pcm, 48000);
    ASSERT_EQ(heard.size(), 48000u);
    EXPECT_NEAR(*std::max_element(heard.begin(), heard.end()), 4096, 40);
}

struct Conversion {
    int rate; /**< of the microphone */
    int channels;
    int wantedRate;
    int wantedChannels;
};

/** 500 Hz on the left and 900 Hz on the right, or 500 Hz on a single channel. */
Samples tonesOf(int rate, int channels) {
    Samples samples;
    for (int i = 0; i < rate; ++i)
        for (int channel = 0; channel < channels; ++channel)
            samples.push_back(static_cast<std::int16_t>(
                std::lround(10000 * std::sin(2 * std::numbers::pi * (channel == 0 ? 500 : 900) * i / rate))));
    return samples;
}

class PcmFormats : public PcmRead, public testing::WithParamInterface<Conversion> {};

TEST_P(PcmFormats, ItsTonesArriveAtTheirPitchAndLevel) {
    const Conversion& as = GetParam();
    hear(tonesOf(as.rate, as.channels), as.rate, as.channels);
    const Stream pcm = openPcm(as.wantedRate, as.wantedChannels);
    const auto frames = static_cast<std::size_t>(as.wantedRate);
    const auto channels = static_cast<std::size_t>(as.wantedChannels);
    const std::string bytes = readInAnySizes(pcm, frames * channels * sizeof(std::int16_t), 3);
    Samples samples(bytes.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
    ASSERT_GE(samples.size(), frames * channels);
    // Skips the start of the resampler's filter; half a second has whole cycles of both tones.
    const std::size_t skipped = frames / 20;
    const auto levelOf = [&](std::size_t channel, double hertz) {
        return pitchOf(samples.data() + skipped * channels + channel, frames / 2, as.wantedChannels,
                       as.wantedRate, hertz, 0)
            .amplitude;
    };
    const bool isMixed = as.channels == 2 && channels == 1;
    EXPECT_NEAR(levelOf(0, 500), isMixed ? 5000 : 10000, 150);
    EXPECT_NEAR(levelOf(0, 900), isMixed ? 5000 : 0, 150);
    if (channels == 2) {
        EXPECT_NEAR(levelOf(1, 500), as.channels == 2 ? 0 : 10000, 150);
        EXPECT_NEAR(levelOf(1, 900), as.channels == 2 ? 10000 : 0, 150);
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, PcmFormats,
                         testing::Values(Conversion{48000, 2, 48000, 2}, Conversion{48000, 2, 8000, 1},
                                         Conversion{48000, 1, 16000, 2}, Conversion{44100, 2, 48000, 2},
                                         Conversion{44100, 1, 11025, 1}, Conversion{8000, 1, 48000, 2},
                                         Conversion{8000, 2, 44100, 1}, Conversion{96000, 2, 22050, 2},
                                         Conversion{16000, 1, 32000, 1}, Conversion{22050, 2, 24000, 2}),
                         [](const auto& conversion) {
                             const Conversion& each = conversion.param;
                             return std::to_string(each.rate) + "x" + std::to_string(each.channels) + "to" +
                                    std::to_string(each.wantedRate) + "x" +
                                    std::to_string(each.wantedChannels);
                         });

}  // namespace
}  // namespace audio_test
