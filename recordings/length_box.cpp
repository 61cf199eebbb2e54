#include "recordings/length_box.h"

#include <algorithm>

#include "recordings/mp4_length.h"

namespace recordings {

namespace {

constexpr std::size_t kHeader = 8;
/** The smallest piece that every disk writes whole. */
constexpr std::uint64_t kSector = 512;
/** That of a fragmented file has no tables: with three tracks it is below 4 KiB. */
constexpr std::uint64_t kMaxIndexSize = 2 << 20;

void write32(Bytes& bytes, std::size_t at, std::uint64_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes[at++] = static_cast<std::uint8_t>(value >> shift);
}

/** The first box of a kind; empty when there is none. Its header is of eight bytes. */
ByteSpan boxOf(ByteSpan boxes, std::string_view wanted) {
    ByteSpan found;
    forEachBox(boxes, [&](std::string_view kind, ByteSpan contents) {
        if (kind == wanted && found.empty()) found = {contents.data() - kHeader, contents.size() + kHeader};
    });
    return found;
}

}  // namespace

Bytes lengthPlace() {
    Bytes box = boxHeader("free", kLengthBoxSize);
    box.resize(kLengthBoxSize);
    return box;
}

bool moveLengthPlace(Bytes& header) {
    const ByteSpan boxes(header);
    const ByteSpan moov = boxOf(boxes, "moov");
    if (moov.empty() || moov.data() + moov.size() + kLengthBoxSize != boxes.data() + boxes.size())
        return false;
    const ByteSpan mvex = boxOf(moov.subspan(kHeader), "mvex");
    if (mvex.empty()) return false;
    const auto begin = static_cast<std::size_t>(mvex.data() - boxes.data());
    for (const ByteSpan grown : {moov, mvex})
        write32(header, static_cast<std::size_t>(grown.data() - boxes.data()), grown.size() + kLengthBoxSize);
    std::rotate(header.begin() + static_cast<std::ptrdiff_t>(begin + kHeader),
                header.end() - static_cast<std::ptrdiff_t>(kLengthBoxSize), header.end());
    return true;
}

std::optional<LengthBox> lengthBoxOf(const FileBytes& file) {
    BoxWindow window(file);
    const Mp4Beginning beginning = readBeginning(file, window, kMaxIndexSize);
    const ByteSpan contents(beginning.contents);
    const ByteSpan mvex = boxOf(contents, "mvex");
    if (mvex.empty() || beginning.index.timescale == 0) return std::nullopt;
    const ByteSpan free = boxOf(mvex.subspan(kHeader), "free");
    const ByteSpan place = free.empty() ? boxOf(mvex.subspan(kHeader), "mehd") : free;
    if (place.size() != kLengthBoxSize) return std::nullopt;
    const std::uint64_t offset =
        beginning.contentsAt + static_cast<std::uint64_t>(place.data() - contents.data());
    // A power cut must not leave half of the kind, by which players would no longer pass the box over.
    if ((offset + kHeader / 2) / kSector != (offset + kHeader - 1) / kSector) return std::nullopt;
    const auto length = static_cast<std::uint64_t>(fragmentedLength(file, beginning));
    const std::uint64_t units =
        length / 1000 * beginning.index.timescale + length % 1000 * beginning.index.timescale / 1000;
    LengthBox box{offset, boxHeader("mehd", kLengthBoxSize)};
    box.bytes.resize(kLengthBoxSize);
    box.bytes[kHeader] = 1;  // the version with a length of eight bytes
    write32(box.bytes, kHeader + kFullBoxHeader, units >> 32);
    write32(box.bytes, kHeader + kFullBoxHeader + 4, units);
    return box;
}

}  // namespace recordings
