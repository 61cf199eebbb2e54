// AAC coding of buffers in memory through the public header, compared with other programs.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <span>

#include "kep/entry_points.h"
#include "support.h"
#include "vornisa_api.h"

namespace {

using audio_test::ScopedFolder;
using audio_test::writeFile;
using Samples = std::vector<std::int16_t>;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::size_t kUnit = 1024;         // samples per channel
constexpr std::size_t kDelay = kUnit;       // of the encoder, in samples per channel
constexpr std::size_t kMostUnit = 768 + 7;  // largest unit in bytes with an ADTS header, for one channel

struct Format {
    int rate = 48000;
    int channels = 1;
    int bitRate = 128'000;
    bool adts = true;
};

/** A codec acquired through the public header. */
class Codec {
  public:
    Codec(int resource, const Format& format) : Codec(resource) {
        EXPECT_EQ(VNAacCodecSet(id_, format.rate, format.channels, format.adts, format.bitRate, 0),
                  VNRES_SUCCEED);
    }
    explicit Codec(int resource) { EXPECT_EQ(VNAcquire(resource, &id_), VNRES_SUCCEED); }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;
    ~Codec() { VNRelease(id_); }
    int id() const { return id_; }

  private:
    int id_ = 0;
};

/** The output of several calls, in order; `sizes` are the results of the calls. */
struct Coded {
    std::string bytes;
    std::vector<int> sizes;
};

using Convert = int (*)(int, const void*, int, int*, void*, int);

/** Passes `input` to a codec in pieces of `pieceSize()` bytes, repeating what was not consumed. */
template <class PieceSize>
Coded convert(Convert call, int id, const std::string& input, PieceSize pieceSize, std::size_t room = 65536) {
    Coded coded;
    std::string out(room, 0);
    for (std::size_t at = 0; at < input.size();) {
        const std::size_t size = std::min<std::size_t>(pieceSize(), input.size() - at);
        int consumed = -1;
        const int made = call(id, input.data() + at, static_cast<int>(size), &consumed, out.data(),
                              static_cast<int>(out.size()));
        if (made < 0 || consumed < 0 || (made == 0 && consumed == 0)) {
            ADD_FAILURE() << "result " << made << ", " << consumed << " of " << size << " bytes at " << at;
            return coded;
        }
        coded.bytes.append(out, 0, static_cast<std::size_t>(made));
        if (made > 0) coded.sizes.push_back(made);
        at += static_cast<std::size_t>(consumed);
    }
    return coded;
}

/** As convert(), then drains the encoder. */
template <class PieceSize>
Coded encode(int id, const std::string& pcm, PieceSize pieceSize, std::size_t room = 65536) {
    Coded coded = convert(VNAacEncode, id, pcm, pieceSize, room);
    std::string out(room, 0);
    for (;;) {
        const int made = VNAacEncode(id, nullptr, 0, nullptr, out.data(), static_cast<int>(out.size()));
        EXPECT_GE(made, 0);
        if (made <= 0) return coded;
        coded.bytes.append(out, 0, static_cast<std::size_t>(made));
        coded.sizes.push_back(made);
    }
}

auto always(std::size_t size) {
    return [size] { return size; };
}

std::string bytesOf(const Samples& samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof samples[0]};
}
Samples samplesOf(const std::string& bytes) {
    Samples samples(bytes.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof samples[0]);
    return samples;
}

/** A distinct pitch per channel, well below half of every sample rate. */
double pitchOfChannel(int channel) {
    return 300.0 + 100.0 * channel;
}

/** A steady tone of a quarter of full scale in each channel. */
Samples tones(const Format& format, std::size_t frames) {
    Samples samples;
    for (std::size_t i = 0; i < frames; ++i) {
        for (int channel = 0; channel < format.channels; ++channel)
            samples.push_back(
                static_cast<std::int16_t>(8192 * std::sin(2 * std::numbers::pi * pitchOfChannel(channel) *
                                                          static_cast<double>(i) / format.rate)));
    }
    return samples;
}

/** Changing chords with some noise, which a codec cannot reproduce exactly. */
Samples music(int rate, int channels, std::size_t frames) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-200, 200);
    Samples samples;
    for (std::size_t i = 0; i < frames; ++i) {
        const double time = static_cast<double>(i) / rate;
        const double root = 110 * std::pow(2, static_cast<int>(time * 4) % 12 / 12.0);
        for (int channel = 0; channel < channels; ++channel) {
            double value = noise(random);
            for (int harmonic = 1; harmonic < 12; ++harmonic)
                value += 6000.0 / harmonic *
                         std::sin(2 * std::numbers::pi * root * harmonic * time + harmonic * channel);
            samples.push_back(static_cast<std::int16_t>(std::clamp(value, -32768.0, 32767.0)));
        }
    }
    return samples;
}

/** Signal-to-noise ratio in dB of `result`, which has `delay` more samples per channel at its beginning. */
double signalToNoise(const Samples& original, const Samples& result, std::size_t delay, int channels) {
    const std::size_t skipped = delay * static_cast<std::size_t>(channels);
    double signal = 0;
    double noise = 0;
    for (std::size_t i = 0; i < original.size() && i + skipped < result.size(); ++i) {
        const double wanted = original[i];
        const double off = result[i + skipped] - wanted;
        signal += wanted * wanted;
        noise += off * off;
    }
    return 10 * std::log10(signal / noise);
}

class AacCodecTest : public testing::Test {
  protected:
    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string ffmpeg(const std::string& arguments) const {
        return outputOf("ffmpeg -nostdin -hide_banner -loglevel error -y " + arguments + " 2>&1");
    }
    static std::string rawFormat(int rate, int channels) {
        return "-f s16le -ar " + std::to_string(rate) + " -ac " + std::to_string(channels);
    }

    ScopedFolder folder_;
};

class AacFormats : public testing::TestWithParam<std::tuple<int, int, bool>> {};

TEST_P(AacFormats, EachChannelComesBack) {
    constexpr std::size_t kFrames = 20 * kUnit;
    const auto [rate, channels, adts] = GetParam();
    const Format format = {rate, channels, 96'000 * channels, adts};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Codec decoder(VNRES_AAC_DECODER, format);
    const Samples original = tones(format, kFrames);
    const std::size_t block = kUnit * sizeof(std::int16_t) * static_cast<std::size_t>(channels);
    // With room for only one unit per call, the sizes are those of the units.
    const Coded coded =
        encode(encoder.id(), bytesOf(original), always(block), 768 * static_cast<std::size_t>(channels) + 7);
    std::string decoded;
    std::string out(block, 0);
    std::size_t at = 0;
    for (const int size : coded.sizes) {
        int consumed = 0;
        const int made = VNAacDecode(decoder.id(), coded.bytes.data() + at, size, &consumed, out.data(),
                                     static_cast<int>(out.size()));
        ASSERT_GE(made, 0);
        ASSERT_EQ(consumed, size);
        decoded.append(out, 0, static_cast<std::size_t>(made));
        at += static_cast<std::size_t>(size);
    }
    const Samples samples = samplesOf(decoded);
    ASSERT_GE(samples.size(), original.size() + kDelay * static_cast<std::size_t>(channels));
    for (int channel = 0; channel < channels; ++channel) {
        const auto first = (kDelay + kUnit) * static_cast<std::size_t>(channels);
        const double start = static_cast<double>(kUnit) / rate;
        const auto place = first + static_cast<std::size_t>(channel);
        // The fourth of six or eight channels is the low-frequency channel.
        const double low = channel == 3 && channels >= 6 ? 0 : 0.9;
        const auto pitch = audio_test::pitchOf(samples.data() + place, kFrames - 2 * kUnit, channels, rate,
                                               pitchOfChannel(channel), start);
        EXPECT_GE(pitch.amplitude, 8192 * low) << "amplitude of channel " << channel;
        EXPECT_LE(pitch.amplitude, 8192 * 1.1) << "amplitude of channel " << channel;
    }
}

INSTANTIATE_TEST_SUITE_P(OfAac, AacFormats,
                         testing::Combine(testing::Values(96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                          22050, 16000, 12000, 11025, 8000, 7350),
                                          testing::Values(1, 2, 3, 4, 5, 6, 8), testing::Bool()),
                         [](const auto& format) {
                             return std::to_string(std::get<0>(format.param)) + "x" +
                                    std::to_string(std::get<1>(format.param)) +
                                    (std::get<2>(format.param) ? "Adts" : "Bare");
                         });

TEST_F(AacCodecTest, PiecesOfAnyLengthMakeTheSameStream) {
    const Format format = {44100, 2, 96'000, true};
    const std::string pcm = bytesOf(music(format.rate, format.channels, 44100 * 2 + 321));
    std::mt19937 random(1);
    const auto anySize = [&random] { return 1 + random() % 9000; };
    const Codec whole(VNRES_AAC_ENCODER, format);
    const Codec pieces(VNRES_AAC_ENCODER, format);
    const Coded expected = encode(whole.id(), pcm, always(pcm.size()));
    EXPECT_EQ(encode(pieces.id(), pcm, anySize, kMostUnit * 2).bytes, expected.bytes);

    const Codec decoder(VNRES_AAC_DECODER, format);
    const Codec inPieces(VNRES_AAC_DECODER, format);
    const Coded decoded = convert(VNAacDecode, decoder.id(), expected.bytes, always(expected.bytes.size()));
    EXPECT_EQ(convert(
                  VNAacDecode, inPieces.id(), expected.bytes, [&] { return 1 + random() % 700; }, 4096)
                  .bytes,
              decoded.bytes);
    EXPECT_EQ(decoded.bytes.size() % (kUnit * 4), 0U);
    // The encoder's delay, and the last unit padded with silence.
    EXPECT_EQ(decoded.bytes.size() / (kUnit * 4), (pcm.size() / 4 + kUnit - 1) / kUnit + 1);
}

TEST_F(AacCodecTest, AnOutputBufferThatIsTooSmallLosesNothing) {
    const Format format = {48000, 1, 64'000, true};
    const std::string pcm = bytesOf(tones(format, kUnit * 8));
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Codec reference(VNRES_AAC_ENCODER, format);
    const ErrorLines lines;
    std::string out(kMostUnit, 0);
    int consumed = -5;
    EXPECT_EQ(VNAacEncode(encoder.id(), pcm.data(), static_cast<int>(pcm.size()), &consumed, out.data(),
                          static_cast<int>(out.size()) - 1),
              VNRES_UNSUPPORTED);
    EXPECT_EQ(consumed, -5);
    const Coded expected = encode(reference.id(), pcm, always(pcm.size()));
    EXPECT_EQ(encode(encoder.id(), pcm, always(pcm.size()), kMostUnit).bytes, expected.bytes);

    const Codec decoder(VNRES_AAC_DECODER, format);
    const Codec other(VNRES_AAC_DECODER, format);
    std::string samples(kUnit * 2, 0);
    EXPECT_EQ(VNAacDecode(decoder.id(), expected.bytes.data(), 7, &consumed, samples.data(), 0), 0);
    EXPECT_EQ(consumed, 7);
    consumed = -5;
    const std::string rest = expected.bytes.substr(7);
    EXPECT_EQ(VNAacDecode(decoder.id(), rest.data(), static_cast<int>(rest.size()), &consumed, samples.data(),
                          static_cast<int>(samples.size()) - 1),
              VNRES_UNSUPPORTED);
    EXPECT_EQ(consumed, -5);
    EXPECT_EQ(convert(VNAacDecode, decoder.id(), rest, always(rest.size()), samples.size()).bytes,
              convert(VNAacDecode, other.id(), expected.bytes, always(expected.bytes.size())).bytes);
    EXPECT_THAT(lines.raw(),
                HasSubstr("AacCodec \"aacEncoder\": output buffer of 774 bytes: an access unit may "
                          "take 775"));
    EXPECT_THAT(
        lines.raw(),
        HasSubstr("AacCodec \"aacDecoder\": output buffer of 2047 bytes: the next samples take 2048"));
}

TEST_F(AacCodecTest, AnotherProgramDecodesTheStreamAsWellAsItsOwn) {
    for (const int channels : {1, 2}) {
        const Format format = {48000, channels, 64'000 * channels, true};
        const Samples original = music(format.rate, channels, 48000 * 4);
        const Codec encoder(VNRES_AAC_ENCODER, format);
        writeFile(file("in.pcm"), bytesOf(original));
        writeFile(file("ours.aac"), encode(encoder.id(), bytesOf(original), always(4096)).bytes);
        const std::string raw = rawFormat(format.rate, channels);
        ffmpeg(raw + " -i " + file("in.pcm") + " -c:a aac -b:a " + std::to_string(format.bitRate) + " " +
               file("theirs.aac"));
        double decibels[2] = {};
        int index = 0;
        for (const std::string name : {"ours", "theirs"}) {
            ffmpeg("-i " + file(name + ".aac") + " " + raw + " " + file(name + ".pcm"));
            decibels[index++] =
                signalToNoise(original, samplesOf(contentsOf(file(name + ".pcm"))), kDelay, channels);
        }
        EXPECT_GT(decibels[1], 10) << channels;
        EXPECT_NEAR(decibels[0], decibels[1], 1) << channels;
    }
}

TEST_F(AacCodecTest, DecodesAnotherProgramsStreamAsWellAsItself) {
    const Format format = {44100, 2, 128'000, true};
    const Samples original = music(format.rate, 2, 44100 * 4);
    writeFile(file("in.pcm"), bytesOf(original));
    const std::string raw = rawFormat(format.rate, 2);
    ffmpeg(raw + " -i " + file("in.pcm") + " -c:a aac -b:a 128k " + file("theirs.aac"));
    ffmpeg("-i " + file("theirs.aac") + " " + raw + " " + file("theirs.pcm"));
    const Codec decoder(VNRES_AAC_DECODER, format);
    const std::string coded = contentsOf(file("theirs.aac"));
    const Samples ours = samplesOf(convert(VNAacDecode, decoder.id(), coded, always(1000)).bytes);
    const Samples theirs = samplesOf(contentsOf(file("theirs.pcm")));
    ASSERT_EQ(ours.size(), theirs.size());
    EXPECT_NEAR(signalToNoise(original, ours, kDelay, 2), signalToNoise(original, theirs, kDelay, 2), 1);
}

TEST_F(AacCodecTest, AStreamMayFollowAnother) {
    const Format format = {16000, 1, 32'000, true};
    const std::string pcm = bytesOf(tones(format, 5000));
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const std::string first = encode(encoder.id(), pcm, always(500)).bytes;
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(encode(encoder.id(), pcm, always(500)).bytes, first);
    // Other settings while samples of a unit are still buffered: the new stream must not contain them.
    std::string out(4096, 0);
    EXPECT_EQ(VNAacEncode(encoder.id(), pcm.data(), 100, nullptr, out.data(), 4096), 0);
    ASSERT_EQ(VNAacCodecSet(encoder.id(), 8000, 1, 1, 32'000, 0), VNRES_SUCCEED);
    const Codec fresh(VNRES_AAC_ENCODER, {8000, 1, 32'000, true});
    EXPECT_EQ(encode(encoder.id(), pcm, always(500)).bytes, encode(fresh.id(), pcm, always(500)).bytes);
}

TEST_F(AacCodecTest, BandwidthCutsHigherFrequencies) {
    const Format format = {48000, 1, 128'000, true};
    Samples high;
    for (std::size_t i = 0; i < 48000; ++i)
        high.push_back(static_cast<std::int16_t>(
            8192 * std::sin(2 * std::numbers::pi * 9000 * static_cast<double>(i) / format.rate)));
    double amplitudes[2] = {};
    int index = 0;
    for (const int bandWidth : {0, 4000}) {
        const Codec encoder(VNRES_AAC_ENCODER);
        ASSERT_EQ(VNAacCodecSet(encoder.id(), 48000, 1, 1, 128'000, bandWidth), VNRES_SUCCEED);
        const Codec decoder(VNRES_AAC_DECODER, format);
        const Samples samples =
            samplesOf(convert(VNAacDecode, decoder.id(),
                              encode(encoder.id(), bytesOf(high), always(2048)).bytes, always(9999))
                          .bytes);
        ASSERT_GT(samples.size(), 40000U);
        amplitudes[index++] =
            audio_test::pitchOf(samples.data() + 4096, 32768, 1, format.rate, 9000, 0).amplitude;
    }
    EXPECT_GT(amplitudes[0], 8000);
    EXPECT_LT(amplitudes[1], 100);
}

TEST_F(AacCodecTest, SettingsThatAacDoesNotHaveAreRefused) {
    const Codec encoder(VNRES_AAC_ENCODER);
    const ErrorLines lines;
    EXPECT_EQ(VNAacCodecSet(encoder.id(), 44000, 2, 1, 64'000, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(VNAacCodecSet(encoder.id(), 44100, 7, 1, 64'000, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(VNAacCodecSet(encoder.id(), 44100, 2, 1, -1, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(VNAacCodecSet(encoder.id(), 44100, 2, 1, 64'000, 48'001), VNRES_INVALID_ARG);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\": rate=44000 is not a sample rate of AAC: 96000,"), 1);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\": ch=7 is not from 1 to 6, or 8"), 1);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\": br=-1 is not from 0 to 2000000"), 1);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\": bw=48001 is not from 0 to 48000"), 1);
    EXPECT_EQ(VNAacCodecSet(encoder.id(), 7350, 8, 0, 0, 48'000), VNRES_SUCCEED);
}

TEST_F(AacCodecTest, HandlesOfAnotherKindOrDirectionAreRefused) {
    const Codec encoder(VNRES_AAC_ENCODER);
    const Codec decoder(VNRES_AAC_DECODER);
    int other = 0;
    ASSERT_EQ(VNAcquire(VNRES_REC_MAN, &other), VNRES_SUCCEED);
    char bytes[4096] = {};
    // From here on both functions have been looked up.
    EXPECT_EQ(VNAacEncode(encoder.id(), bytes, 10, nullptr, bytes, 4096), 0);
    EXPECT_EQ(VNAacDecode(decoder.id(), bytes, 10, nullptr, bytes, 4096), 0);
    const ErrorLines lines;
    int consumed = -5;
    EXPECT_EQ(VNAacEncode(decoder.id(), bytes, 10, &consumed, bytes, 4096), VNRES_UNSUPPORTED);
    EXPECT_EQ(VNAacDecode(encoder.id(), bytes, 10, &consumed, bytes, 4096), VNRES_UNSUPPORTED);
    EXPECT_EQ(VNAacDecode(other, bytes, 10, &consumed, bytes, 4096), VNRES_UNSUPPORTED);
    EXPECT_EQ(consumed, -5);
    EXPECT_EQ(lines.count("AacCodec \"aacDecoder\" is not an AAC encoder"), 1);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\" is not an AAC decoder"), 1);
    EXPECT_EQ(lines.count("the object of this handle is not an AAC decoder"), 1);
    VNRelease(other);
}

TEST_F(AacCodecTest, InvalidBuffersAreRefused) {
    const Codec encoder(VNRES_AAC_ENCODER);
    const Codec decoder(VNRES_AAC_DECODER);
    char bytes[4096] = {};
    const ErrorLines lines;
    EXPECT_EQ(VNAacEncode(encoder.id(), nullptr, 1, nullptr, bytes, 4096), VNRES_UNSUPPORTED);
    EXPECT_EQ(VNAacEncode(encoder.id(), bytes, -1, nullptr, bytes, 4096), VNRES_UNSUPPORTED);
    EXPECT_EQ(VNAacEncode(encoder.id(), bytes, 10, nullptr, nullptr, 1), VNRES_UNSUPPORTED);
    EXPECT_EQ(VNAacDecode(decoder.id(), bytes, 10, nullptr, bytes, -1), VNRES_UNSUPPORTED);
    EXPECT_EQ(lines.count("AacCodec \"aacEncoder\": invalid buffers: input of 1 bytes at null, output buffer "
                          "of 4096 bytes"),
              1);
    EXPECT_EQ(lines.count("output buffer of 1 bytes at null"), 1);
    EXPECT_EQ(
        lines.count("AacCodec \"aacDecoder\": invalid buffers: input of 10 bytes, output buffer of -1 bytes"),
        1);
}

TEST_F(AacCodecTest, GarbageBetweenUnitsIsSkipped) {
    const Format format = {48000, 1, 64'000, true};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Coded coded = encode(encoder.id(), bytesOf(tones(format, 48000)), always(2048), kMostUnit);
    std::string noisy = "ID3 and more that is no AAC";
    std::size_t at = 0;
    for (const int size : coded.sizes) {
        noisy += coded.bytes.substr(at, static_cast<std::size_t>(size));
        noisy += "noise";
        at += static_cast<std::size_t>(size);
    }
    const Codec decoder(VNRES_AAC_DECODER, format);
    const Codec reference(VNRES_AAC_DECODER, format);
    const ErrorLines lines;
    EXPECT_EQ(convert(VNAacDecode, decoder.id(), noisy, always(noisy.size()), 1 << 20).bytes,
              convert(VNAacDecode, reference.id(), coded.bytes, always(1000)).bytes);
    const std::size_t passed = noisy.size() - coded.bytes.size();
    EXPECT_EQ(lines.count("AacCodec \"aacDecoder\": skipped " + std::to_string(passed) +
                          " bytes that are not an access unit"),
              1);
}

TEST_F(AacCodecTest, ADamagedBareUnitDoesNotAffectTheNext) {
    const Format format = {48000, 1, 64'000, false};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Coded coded = encode(encoder.id(), bytesOf(tones(format, 48000)), always(2048), kMostUnit);
    ASSERT_GT(coded.sizes.size(), 10U);
    const Codec decoder(VNRES_AAC_DECODER, format);
    const ErrorLines lines;
    std::string out(2048, 0);
    int consumed = -5;
    const std::string damage(40, '\xff');
    EXPECT_EQ(VNAacDecode(decoder.id(), damage.data(), 40, &consumed, out.data(), 2048), VNRES_UNSUPPORTED);
    EXPECT_EQ(consumed, -5);
    EXPECT_EQ(VNAacDecode(decoder.id(), coded.bytes.data(), coded.sizes[0], &consumed, out.data(), 2048),
              2048);
    EXPECT_EQ(consumed, coded.sizes[0]);
}

TEST_F(AacCodecTest, ABareUnitWithADamagedEndKeepsItsSamples) {
    const Format format = {48000, 1, 64'000, false};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Coded coded = encode(encoder.id(), bytesOf(tones(format, 4800)), always(2048), kMostUnit);
    const std::string unit =
        coded.bytes.substr(0, static_cast<std::size_t>(coded.sizes.at(0))) + std::string(40, '\xff');
    const Codec decoder(VNRES_AAC_DECODER, format);
    const ErrorLines lines;
    std::string out(8192, 0);
    for (int round = 0; round < 2; ++round) {
        int consumed = -5;
        EXPECT_EQ(VNAacDecode(decoder.id(), unit.data(), static_cast<int>(unit.size()), &consumed, out.data(),
                              8192),
                  2048);
        EXPECT_EQ(consumed, static_cast<int>(unit.size()));
    }
}

TEST_F(AacCodecTest, AUnitOfManyBlocksNeedsNoLargerBuffer) {
    const Format format = {48000, 1, 64'000, false};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const Coded coded = encode(encoder.id(), bytesOf(tones(format, 4800)), always(2048), kMostUnit);
    std::string unit;
    for (int block = 0; block < 100; ++block)
        unit += coded.bytes.substr(0, static_cast<std::size_t>(coded.sizes.at(0)));
    const Codec decoder(VNRES_AAC_DECODER, format);
    std::string out(2048, 0);
    int consumed = -5;
    EXPECT_EQ(
        VNAacDecode(decoder.id(), unit.data(), static_cast<int>(unit.size()), &consumed, out.data(), 2048),
        2048);
    EXPECT_EQ(consumed, static_cast<int>(unit.size()));
    // Four blocks, the maximum that an ADTS header can express.
    for (int block = 1; block < 4; ++block)
        EXPECT_EQ(VNAacDecode(decoder.id(), nullptr, 0, &consumed, out.data(), 2048), 2048);
    EXPECT_EQ(VNAacDecode(decoder.id(), nullptr, 0, &consumed, out.data(), 2048), 0);
}

TEST_F(AacCodecTest, PendingSamplesSurviveADamagedBareUnit) {
    // One channel of silence with spectral band replication, which doubles the samples.
    const std::vector<std::uint8_t> doubled = {0x00, 0xc8, 0x00, 0x06, 0xbd, 0xd6, 0x40, 0x00,
                                               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0e};
    const std::vector<std::uint8_t> damaged(40, 0xff);
    const Codec decoder(VNRES_AAC_DECODER, {24000, 1, 64'000, false});
    const ErrorLines lines;
    const auto decode = [&](const std::vector<std::uint8_t>& unit, int room, int& consumed) {
        std::string out(static_cast<std::size_t>(room), 0);
        return VNAacDecode(decoder.id(), unit.data(), static_cast<int>(unit.size()), &consumed, out.data(),
                           room);
    };
    int consumed = -5;
    EXPECT_EQ(decode(doubled, 2048, consumed), 2048);
    EXPECT_EQ(consumed, static_cast<int>(doubled.size()));
    const int samples = decode(damaged, 16384, consumed);
    EXPECT_GE(samples, 2048);
    EXPECT_EQ(consumed, 0);
    EXPECT_EQ(decode(damaged, 16384, consumed), VNRES_UNSUPPORTED);
}

TEST_F(AacCodecTest, HostileInputCrashesNothing) {
    std::mt19937 random(3);
    const Format format = {48000, 2, 64'000, true};
    const Codec encoder(VNRES_AAC_ENCODER, format);
    const std::string good = encode(encoder.id(), bytesOf(music(48000, 2, 48000)), always(4096)).bytes;
    const ErrorLines lines;
    for (const bool adts : {true, false}) {
        const Codec decoder(VNRES_AAC_DECODER, {48000, 2, 64'000, adts});
        std::string out(65536, 0);
        for (int round = 0; round < 400; ++round) {
            std::string bytes = good.substr(random() % good.size());
            for (int flips = static_cast<int>(random() % 30); flips > 0; --flips)
                bytes[random() % bytes.size()] = static_cast<char>(random());
            int consumed = 0;
            const int made = VNAacDecode(decoder.id(), bytes.data(), static_cast<int>(bytes.size()),
                                         &consumed, out.data(), static_cast<int>(out.size()));
            if (made < 0) {
                EXPECT_EQ(made, VNRES_UNSUPPORTED);
            } else {
                EXPECT_LE(consumed, static_cast<int>(bytes.size()));
                EXPECT_LE(made, static_cast<int>(out.size()));
            }
        }
    }
}

TEST_F(AacCodecTest, ADescriptionSaysTheDirection) {
    const ErrorLines lines;
    EXPECT_EQ(kepCreate("type=AacCodec,name=x"), nullptr);
    EXPECT_EQ(kepCreate("type=AacCodec,name=x,isEncoder=yes"), nullptr);
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("AacCodec \"x\": isEncoder= is neither true nor false"),
                            HasSubstr("AacCodec \"x\": isEncoder=yes is neither true nor false")));
}

}  // namespace
