#include "media/playback/annex_b.h"

#include <algorithm>

namespace kep::host {
namespace {

std::size_t number(Span bytes, std::size_t count) {
    std::size_t value = 0;
    for (const std::uint8_t byte : bytes.first(count)) value = value << 8 | byte;
    return value;
}

void append(std::vector<std::uint8_t>& stream, Span unit) {
    stream.insert(stream.end(), std::begin(kStartCode), std::end(kStartCode));
    stream.insert(stream.end(), unit.begin(), unit.end());
}

/** Position of the next 3-byte start code; the end of the stream without one. */
std::size_t nextStart(Span stream, std::size_t from) {
    const auto code = Span(kStartCode).last(3);
    const auto found = std::search(stream.begin() + static_cast<std::ptrdiff_t>(from), stream.end(),
                                   code.begin(), code.end());
    return static_cast<std::size_t>(found - stream.begin());
}

UnitKind kindOf(std::uint8_t header) {
    return static_cast<UnitKind>(header & 0x1f);
}

}  // namespace

std::optional<std::size_t> byteStreamSize(Span sample, std::size_t lengthBytes) {
    std::size_t size = 0;
    while (!sample.empty()) {
        if (sample.size() < lengthBytes) return std::nullopt;
        const std::size_t length = number(sample, lengthBytes);
        sample = sample.subspan(lengthBytes);
        if (length > sample.size()) return std::nullopt;
        sample = sample.subspan(length);
        if (length > 0) size += sizeof kStartCode + length;
    }
    return size > 0 ? std::optional(size) : std::nullopt;
}

void writeByteStream(Span sample, std::size_t lengthBytes, std::uint8_t* stream) {
    while (!sample.empty()) {
        const std::size_t length = number(sample, lengthBytes);
        const Span unit = sample.subspan(lengthBytes, length);
        sample = sample.subspan(lengthBytes + length);
        if (unit.empty()) continue;
        stream = std::copy(std::begin(kStartCode), std::end(kStartCode), stream);
        stream = std::copy(unit.begin(), unit.end(), stream);
    }
}

std::vector<std::uint8_t> parameterSetsOf(Span configuration) {
    constexpr std::size_t kHead = 5;
    std::vector<std::uint8_t> stream;
    if (configuration.size() < kHead) return {};
    Span rest = configuration.subspan(kHead);
    for (const unsigned mask : {0x1fU, 0xffU}) {
        if (rest.empty()) return {};
        std::size_t count = rest[0] & mask;
        for (rest = rest.subspan(1); count > 0; --count) {
            if (rest.size() < 2) return {};
            const std::size_t length = number(rest, 2);
            rest = rest.subspan(2);
            if (length > rest.size()) return {};
            append(stream, rest.first(length));
            rest = rest.subspan(length);
        }
    }
    return stream;
}

std::size_t delimiterSize(Span stream) {
    const std::size_t begin = nextStart(stream, 0) + 3;
    if (begin >= stream.size() || kindOf(stream[begin]) != UnitKind::delimiter) return 0;
    const std::size_t next = nextStart(stream, begin);
    // The next start code may have four bytes.
    return next < stream.size() && stream[next - 1] == 0 ? next - 1 : next;
}

bool hasParameterSets(Span stream) {
    constexpr std::uint8_t kLastSlice = 5;
    bool sequence = false;
    bool picture = false;
    for (std::size_t at = nextStart(stream, 0); at + 3 < stream.size(); at = nextStart(stream, at + 3)) {
        const UnitKind kind = kindOf(stream[at + 3]);
        sequence = sequence || kind == UnitKind::sequenceSet;
        picture = picture || kind == UnitKind::pictureSet;
        // Sets behind a slice are too late for it, and searching slices is slow.
        if (static_cast<std::uint8_t>(kind) >= 1 && static_cast<std::uint8_t>(kind) <= kLastSlice) break;
    }
    return sequence && picture;
}

}  // namespace kep::host
