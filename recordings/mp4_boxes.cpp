#include "recordings/mp4_boxes.h"

#include <limits>

namespace recordings {

std::optional<BoxHeader> readBoxHeader(ByteSpan bytes, std::uint64_t room) {
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kLargeHeader = 16;
    if (bytes.size() < kHeader) return std::nullopt;
    BoxHeader header{{}, kHeader, bigEndian(bytes, 0, 4)};
    std::copy_n(bytes.begin() + 4, header.kind.letters.size(), header.kind.letters.begin());
    const auto isLetter = [](unsigned char c) { return (c >= 0x20 && c < 0x7f) || c == 0xa9; };
    if (!std::ranges::all_of(header.kind.letters, isLetter)) return std::nullopt;
    if (header.end == 1) {
        if (bytes.size() < kLargeHeader) return std::nullopt;
        header.contents = kLargeHeader;
        header.end = bigEndian(bytes, kHeader, 8);
    } else if (header.end == 0) {
        header.end = room;
    }
    if (header.end < header.contents || header.end > room) return std::nullopt;
    return header;
}

std::optional<BoxHeader> readFinishedBox(ByteSpan bytes, std::uint64_t room) {
    constexpr std::size_t kSizeField = 4;
    if (bytes.size() < kSizeField || bigEndian(bytes, 0, kSizeField) == 0) return std::nullopt;
    return readBoxHeader(bytes, room);
}

Bytes boxHeader(std::string_view kind, std::uint64_t size) {
    const bool isLong = size > std::numeric_limits<std::uint32_t>::max();
    Bytes header;
    const auto add = [&](std::uint64_t value, int count) {
        while (count-- > 0) header.push_back(static_cast<std::uint8_t>(value >> 8 * count));
    };
    add(isLong ? 1 : size, 4);
    for (const char letter : kind) header.push_back(static_cast<std::uint8_t>(letter));
    if (isLong) add(size, 8);
    return header;
}

}  // namespace recordings
