#include "recordings/mp4_header.h"

#include <algorithm>

namespace recordings {
namespace {

constexpr std::uint64_t kSearchStep = 1 << 20;
constexpr std::uint64_t kMarkBoxSize = 16;
/** Size of the length field before the kind of a box. */
constexpr std::uint64_t kSizeField = 4;

/** Reads the boxes from `begin` up to the index. In a copy it must follow `ftyp` directly. */
std::optional<Mp4Header> headerAt(const FileBytes& file, std::uint64_t begin) {
    const auto first = boxAt(file, begin);
    if (!first || first->kind != "ftyp") return std::nullopt;
    std::uint64_t at = begin + first->end;
    auto box = boxAt(file, at);
    while (box && box->kind != "moov" && begin == 0) {
        at += box->end;
        box = boxAt(file, at);
    }
    if (!box || box->kind != "moov" || box->end > kMaxIndexSize) return std::nullopt;
    auto index = readIndex(file.read(at + box->contents, box->end - box->contents));
    if (!index || !index->usable) return std::nullopt;
    const std::uint64_t end = at + box->end;
    auto mark = markAt(file, end);
    return Mp4Header{begin, mark ? end + kMarkBoxSize : end, std::move(*index), std::move(mark)};
}

}  // namespace

bool forEachPlaceOf(const FileBytes& file, std::string_view kind, std::uint64_t begin,
                    const std::function<bool(std::uint64_t offset)>& visit) {
    const std::uint64_t overlap = kind.size() - 1;
    for (std::uint64_t at = begin + kSizeField; at < file.size(); at += kSearchStep) {
        const Bytes bytes = file.read(at, kSearchStep + overlap);
        for (auto found = bytes.begin();; ++found) {
            found = std::search(found, bytes.end(), kind.begin(), kind.end());
            if (found == bytes.end()) break;
            if (visit(at + static_cast<std::uint64_t>(found - bytes.begin()) - kSizeField)) return true;
        }
    }
    return false;
}

std::optional<BoxHeader> boxAt(const FileBytes& file, std::uint64_t offset) {
    if (offset >= file.size()) return std::nullopt;
    return readFinishedBox(file.read(offset, kLongestBoxHeader), file.size() - offset);
}

std::optional<Bytes> markAt(const FileBytes& file, std::uint64_t offset) {
    const auto box = boxAt(file, offset);
    if (!box || box->kind != "free" || box->end != kMarkBoxSize) return std::nullopt;
    return file.read(offset + box->contents, kMarkBoxSize - box->contents);
}

std::optional<Mp4Header> findHeader(const FileBytes& file) {
    if (auto header = headerAt(file, 0)) return header;
    std::optional<Mp4Header> copy;
    forEachPlaceOf(file, "ftyp", 0, [&](std::uint64_t offset) {
        copy = headerAt(file, offset);
        // It must fit into the place of the damaged header.
        if (copy && copy->end - copy->begin > offset) copy.reset();
        return copy.has_value();
    });
    return copy;
}

}  // namespace recordings
