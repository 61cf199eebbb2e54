#include "public_sound.h"

#include <algorithm>

namespace audio_test {

Stream::Stream(int resource, int rate, int channels) {
    EXPECT_EQ(VNAcquire(resource, &id_), VNRES_SUCCEED);
    EXPECT_EQ(VNSetAudio(id_, rate, channels), VNRES_SUCCEED);
    EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
}

PublicSound::~PublicSound() {
    VNSetMicVol(100);
    VNSetMicMute(0);
    VNSetSpeakerVol(100);
    VNSetSpeakerMute(0);
}

Stream PublicSound::openPlayer(int rate, int channels, const std::string& path) {
    const ScopedEnv speaker("KEP_HOST_SPEAKER", "file:" + path);
    return {VNRES_PCM_PLAYER, rate, channels};
}

Samples PublicSound::read(const Stream& pcm, std::size_t count) {
    constexpr std::size_t kBlock =
        1920;  // samples of 20 ms at 48 kHz in stereo: a block that ends with its frame
    Samples samples;
    while (samples.size() < count) {
        const std::size_t begin = samples.size();
        samples.resize(std::min(count, begin + kBlock));
        int bytes = 0;
        const int wanted = static_cast<int>((samples.size() - begin) * sizeof samples[0]);
        const int result = VNReadPcm(pcm.id(), samples.data() + begin, wanted, &bytes);
        samples.resize(begin + static_cast<std::size_t>(bytes) / sizeof samples[0]);
        if (result != VNRES_SUCCEED) break;
    }
    return samples;
}

bool PublicSound::readUntil(const Stream& pcm, std::int16_t value) {
    return waitUntil([&] {
        const Samples block = read(pcm, 1920);
        return std::ranges::count(block, value) == 1920;
    });
}

void PublicSound::feed(const Stream& player, Samples samples) {
    EXPECT_EQ(VNFeed(player.id(), reinterpret_cast<char*>(samples.data()),
                     static_cast<int>(samples.size() * sizeof samples[0])),
              VNRES_SUCCEED);
}

}  // namespace audio_test
