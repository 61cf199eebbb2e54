#include "media/audio/adts.h"

#include <algorithm>
#include <array>

namespace kep::host {
namespace {

// By index (samplingFrequencyIndex).
constexpr std::array kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
constexpr unsigned kLowComplexity = 2;  // audio object type

/** The channel configuration of a number of channels. */
unsigned channelConfig(int channels) {
    return channels == 8 ? 7 : static_cast<unsigned>(channels);
}

}  // namespace

int aacRateIndex(int hertz) {
    const auto found = std::find(kRates.begin(), kRates.end(), hertz);
    return found == kRates.end() ? -1 : static_cast<int>(found - kRates.begin());
}

int aacRate(unsigned index) {
    return index < kRates.size() ? kRates[index] : 0;
}

bool isAacChannelCount(int channels) {
    return (channels >= 1 && channels <= 6) || channels == 8;
}

std::vector<std::uint8_t> aacConfig(int rate, int channels) {
    const unsigned config =
        kLowComplexity << 11 | static_cast<unsigned>(aacRateIndex(rate)) << 7 | channelConfig(channels) << 3;
    return {static_cast<std::uint8_t>(config >> 8), static_cast<std::uint8_t>(config)};
}

std::optional<AdtsHeader> AdtsHeader::read(std::span<const std::uint8_t> bytes) {
    // Sync word of twelve ones; the layer is always 0.
    if (bytes.size() < kBytes || bytes[0] != 0xff || (bytes[1] & 0xf6) != 0xf0) return std::nullopt;
    const unsigned rateIndex = bytes[2] >> 2 & 0xf;
    const unsigned config = static_cast<unsigned>(bytes[2] & 1) << 2 | bytes[3] >> 6;
    AdtsHeader header{};
    header.headerBytes = kBytes + (bytes[1] & 1 ? 0 : 2);
    header.unitBytes = static_cast<std::size_t>(bytes[3] & 3) << 11 |
                       static_cast<std::size_t>(bytes[4]) << 3 | bytes[5] >> 5;
    header.channels = config == 7 ? 8 : static_cast<int>(config);
    if (rateIndex >= kRates.size() || header.unitBytes <= header.headerBytes) return std::nullopt;
    return header;
}

void AdtsHeader::write(std::uint8_t* header, int rate, int channels, std::size_t payload) {
    const auto rateIndex = static_cast<unsigned>(aacRateIndex(rate));
    const unsigned config = channelConfig(channels);
    const auto size = static_cast<unsigned>(payload + kBytes);
    header[0] = 0xff;
    header[1] = 0xf1;  // end of the sync word, MPEG-4, no checksum
    header[2] = static_cast<std::uint8_t>((kLowComplexity - 1) << 6 | rateIndex << 2 | config >> 2);
    header[3] = static_cast<std::uint8_t>((config & 3) << 6 | size >> 11);
    header[4] = static_cast<std::uint8_t>(size >> 3);
    header[5] = static_cast<std::uint8_t>((size & 7) << 5 | 0x1f);  // buffer fullness of a variable rate
    header[6] = 0xfc;
}

}  // namespace kep::host
