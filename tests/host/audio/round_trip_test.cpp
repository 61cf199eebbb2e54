// A tone from the microphone through the codec to the loudspeaker, checked by its pitch and level there.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <regex>

#include "public_sound.h"

namespace audio_test {
namespace {

/** An encoder or decoder acquired through the public header. */
class Codec {
  public:
    Codec(int resource, int rate, int channels) {
        EXPECT_EQ(VNAcquire(resource, &id_), VNRES_SUCCEED);
        EXPECT_EQ(VNAacCodecSet(id_, rate, channels, 1, 128'000, 0), VNRES_SUCCEED);
    }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;
    ~Codec() { VNRelease(id_); }

    /** Converts the whole input, then drains the codec. */
    std::string convert(int (*call)(int, const void*, int, int*, void*, int),
                        const std::string& input) const {
        std::string made;
        std::string room(1 << 16, '\0');
        std::size_t taken = 0;
        for (int written = 1; taken < input.size() || written > 0;) {
            int used = 0;
            written = call(id_, input.data() + taken, static_cast<int>(input.size() - taken), &used,
                           room.data(), static_cast<int>(room.size()));
            EXPECT_GE(written, 0);
            if (written < 0) break;
            taken += static_cast<std::size_t>(used);
            made.append(room.data(), static_cast<std::size_t>(written));
        }
        return made;
    }

  private:
    int id_ = 0;
};

/** A second of a sine in each channel. */
Samples toneOf(double hertz, int rate, int channels) {
    Samples samples;
    for (int i = 0; i < rate; ++i)
        samples.insert(samples.end(), static_cast<std::size_t>(channels),
                       static_cast<std::int16_t>(
                           std::lround(12000 * std::sin(2 * std::numbers::pi * hertz * i / rate))));
    return samples;
}

std::string bytesOf(const Samples& samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof samples[0]};
}

using RoundTrip = PublicSound;

TEST_F(RoundTrip, AToneKeepsItsPitchAndLevel) {
    for (const int rate : {48000, 44100, 16000}) {
        for (const int channels : {1, 2}) {
            writeFile(folder_.file("heard.wav"), wavOf(toneOf(600, rate, channels), rate, channels));
            const ScopedEnv microphone("KEP_HOST_AUDIO", "file:" + folder_.file("heard.wav"));
            Samples captured;
            {
                const Stream pcm = openPcm(rate, channels);
                captured = read(pcm, std::size_t(rate) * std::size_t(channels));
            }
            const Codec encoder(VNRES_AAC_ENCODER, rate, channels);
            const Codec decoder(VNRES_AAC_DECODER, rate, channels);
            const std::string coded = encoder.convert(VNAacEncode, bytesOf(captured));
            EXPECT_LT(coded.size(), 17'500u) << "more than 128 kbit/s";
            const std::string decoded = decoder.convert(VNAacDecode, coded);
            Samples samples(decoded.size() / sizeof(std::int16_t));
            std::memcpy(samples.data(), decoded.data(), samples.size() * sizeof samples[0]);

            const std::string wav = folder_.file("played.wav");
            {
                const Stream player = openPlayer(rate, channels, wav);
                feed(player, samples);
                ASSERT_EQ(VNStop(player.id()), VNRES_SUCCEED);
            }
            // Skips the coder's delay. A tenth of a second has whole cycles of all tones measured.
            const auto skip = std::size_t(rate / 4) * std::size_t(channels);
            const auto frames = static_cast<std::size_t>(rate / 2);
            const std::string played = contentsOf(wav).substr(44);
            ASSERT_EQ(played.size(), decoded.size());
            const auto* const first = reinterpret_cast<const std::int16_t*>(played.data()) + skip;
            for (int channel = 0; channel < channels; ++channel) {
                EXPECT_NEAR(pitchOf(first + channel, frames, channels, rate, 600, 0).amplitude, 12000, 120);
                EXPECT_LT(pitchOf(first + channel, frames, channels, rate, 630, 0).amplitude, 30);
                EXPECT_LT(pitchOf(first + channel, frames, channels, rate, 1200, 0).amplitude, 30);
            }
            const std::string judged = outputOf("ffmpeg -nostdin -ss 0.25 -t 0.5 -i " + wav +
                                                " -af volumedetect -f null - 2>&1 | grep -o 'mean_volume.*'");
            // 12000 of 32768 is -8.73 dB; the mean of a sine is 3.01 dB lower.
            EXPECT_TRUE(std::regex_match(judged, std::regex("mean_volume: -11\\.[78] dB\n"))) << judged;
        }
    }
}

TEST_F(RoundTrip, VolumesMultiply) {
    writeFile(folder_.file("heard.wav"), wavOf(toneOf(600, 48000, 2), 48000, 2));
    const ScopedEnv microphone("KEP_HOST_AUDIO", "file:" + folder_.file("heard.wav"));
    ASSERT_EQ(VNSetMicVol(50), VNRES_SUCCEED);
    ASSERT_EQ(VNSetSpeakerVol(25), VNRES_SUCCEED);
    const Stream pcm = openPcm();
    const Stream player = openPlayer(48000, 2, folder_.file("played.wav"));
    feed(player, read(pcm, 48000));
    ASSERT_EQ(VNStop(player.id()), VNRES_SUCCEED);
    const std::string played = contentsOf(folder_.file("played.wav")).substr(44);
    const auto* const first = reinterpret_cast<const std::int16_t*>(played.data());
    EXPECT_NEAR(pitchOf(first, 24000, 2, 48000, 600, 0).amplitude, 1500, 5);
}

TEST_F(RoundTrip, AMissingSpeakerIsRefusedAndPlaysOnceItAppears) {
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_PCM_PLAYER, &id), VNRES_SUCCEED);
    Samples tone = toneOf(600, 8000, 1);
    const auto push = [&] {
        return VNFeed(id, reinterpret_cast<char*>(tone.data()),
                      static_cast<int>(tone.size() * sizeof tone[0]));
    };
    ASSERT_EQ(VNSetAudio(id, 8000, 1), VNRES_SUCCEED);
    {
        const ScopedEnv speaker("KEP_HOST_SPEAKER", "alsa:nowhere");
        EXPECT_EQ(VNStart(id), VNRES_FAIL);
        EXPECT_EQ(errors_.count("cannot open speaker alsa:nowhere for 8000 Hz, 1 channels: "), 1);
        EXPECT_EQ(push(), VNRES_FAIL) << "the player must not be playing";
        // Settings need no device.
        EXPECT_EQ(VNSetSpeakerVol(50), VNRES_SUCCEED);
        EXPECT_EQ(VNSetSpeakerMute(0), VNRES_SUCCEED);
    }
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "file:" + folder_.file("played.wav"));
    EXPECT_EQ(VNStart(id), VNRES_SUCCEED);
    EXPECT_EQ(push(), VNRES_SUCCEED);
    EXPECT_EQ(VNStop(id), VNRES_SUCCEED);
    VNRelease(id);
    const std::string played = contentsOf(folder_.file("played.wav")).substr(44);
    const auto* const first = reinterpret_cast<const std::int16_t*>(played.data());
    EXPECT_NEAR(pitchOf(first, 8000, 1, 8000, 600, 0).amplitude, 6000, 10);
}

}  // namespace
}  // namespace audio_test
