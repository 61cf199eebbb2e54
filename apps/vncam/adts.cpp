#include "adts.h"

#include <algorithm>
#include <array>

namespace vncam {
namespace {

constexpr std::size_t kHeaderBytes = 7;
constexpr std::array kRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                            22050, 16000, 12000, 11025, 8000,  7350};
/** By channel_configuration; 0: the access unit itself describes its channels. */
constexpr std::array kChannels{0, 1, 2, 3, 4, 5, 6, 8};

}  // namespace

std::optional<AdtsUnit> readAdts(std::span<const char> bytes) {
    if (bytes.size() < kHeaderBytes) return std::nullopt;
    const auto byte = [&](std::size_t i) {
        return static_cast<unsigned>(static_cast<unsigned char>(bytes[i]));
    };
    // The sync word, the ID bit (MPEG-2 or MPEG-4, both valid) and the layer, which is 0.
    if (byte(0) != 0xff || (byte(1) & 0xf6) != 0xf0) return std::nullopt;
    const unsigned rate = byte(2) >> 2 & 0xf;
    const std::size_t size = (byte(3) & 3) << 11 | byte(4) << 3 | byte(5) >> 5;
    if (rate >= kRates.size() || size < kHeaderBytes) return std::nullopt;
    const unsigned channels = (byte(2) & 1) << 2 | byte(3) >> 6;
    const unsigned objectType = (byte(2) >> 6) + 1;
    const unsigned config = objectType << 11 | rate << 7 | channels << 3;
    const bool hasChecksum = (byte(1) & 1) == 0;
    return AdtsUnit{kRates[rate],
                    kChannels[channels],
                    size,
                    kHeaderBytes + (hasChecksum ? 2 : 0),
                    {static_cast<std::uint8_t>(config >> 8), static_cast<std::uint8_t>(config)}};
}

void AdtsFollower::add(std::span<const char> bytes) {
    while (!bytes.empty()) {
        if (unit_ == 0) {
            header_.push_back(bytes.front());
            bytes = bytes.subspan(1);
            if (const auto unit = readAdts(header_)) {
                present_ = header_.size();
                unit_ = unit->bytes;
                header_.clear();
            } else if (header_.size() == kHeaderBytes) {
                header_.erase(header_.begin());  // not a header
            }
        }
        const std::size_t count = std::min(unit_ - present_, bytes.size());
        present_ += count;
        bytes = bytes.subspan(count);
        if (present_ == unit_) present_ = unit_ = 0;
    }
}

}  // namespace vncam
