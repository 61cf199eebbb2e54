#include "captured_pictures.h"

namespace kep::host {
namespace {

bool isSlice(std::uint8_t unitHeader) {
    const int type = unitHeader & 0x1f;
    return type == 1 || type == 5;
}

/** The slices of a byte stream, without the parameter sets, which a file keeps elsewhere. */
Bytes slicesOfByteStream(const std::uint8_t* data, std::size_t size) {
    Bytes slices;
    const auto startCode = [&](std::size_t at) {
        return at + 3 <= size && !data[at] && !data[at + 1] && data[at + 2] == 1;
    };
    for (std::size_t at = 0; at + 3 < size; ++at) {
        if (!startCode(at)) continue;
        const std::size_t begin = at + 3;
        std::size_t end = begin;
        while (end < size && !startCode(end)) ++end;
        at = end - 1;
        if (!isSlice(data[begin])) continue;
        while (end > begin && data[end - 1] == 0) --end;
        slices.insert(slices.end(), data + begin, data + end);
    }
    return slices;
}

/** The slices of a picture in a file, where NAL units have a length prefix. */
Bytes slicesOfFile(const Bytes& picture) {
    Bytes slices;
    for (std::size_t at = 0; at + 4 < picture.size();) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i) length = length << 8 | picture[at + i];
        const auto begin = picture.begin() + static_cast<std::ptrdiff_t>(at) + 4;
        if (length == 0 || length > picture.size() - at - 4) return {};
        if (isSlice(*begin)) slices.insert(slices.end(), begin, begin + static_cast<std::ptrdiff_t>(length));
        at += 4 + length;
    }
    return slices;
}

}  // namespace

void CapturedPictures::add(const MediaPacket& packet) {
    const Bytes slices = slicesOfByteStream(packet.bytes.get(), static_cast<std::size_t>(packet.size));
    numbers_.emplace(Content(slices).hash, stamps_.size());
    stamps_.push_back(packet.stamp);
}

std::optional<std::size_t> CapturedPictures::find(const Bytes& picture) const {
    const auto found = numbers_.find(Content(slicesOfFile(picture)).hash);
    if (found == numbers_.end()) return std::nullopt;
    return found->second;
}

double CapturedPictures::time(std::size_t number) const {
    return std::chrono::duration<double>(stamps_.at(number) - stamps_.front()).count();
}

}  // namespace kep::host
