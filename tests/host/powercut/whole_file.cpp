#include "whole_file.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "recorded_file.h"

namespace kep::host {
namespace {

constexpr std::size_t kBoxHeader = 8;

std::uint64_t numberAt(const Bytes& content, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | content[at + i];
    return value;
}

bool isFragmentAt(const std::vector<Box>& boxes, std::uint64_t place) {
    return std::any_of(boxes.begin(), boxes.end(),
                       [&](const Box& box) { return box.kind == "moof" && box.begin == place; });
}

/** Whether the references of a header's index lead from fragment to fragment and cover all of them. */
bool hasRightReferences(const Bytes& content, const Box& index, const std::vector<Box>& boxes) {
    constexpr std::size_t kHead = 40;
    constexpr std::size_t kReference = 12;
    const std::uint64_t count = numberAt(content, index.begin + 38, 2);
    if (index.end - index.begin != kHead + count * kReference) return false;
    std::uint64_t at = index.end + numberAt(content, index.begin + 28, 8);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (!isFragmentAt(boxes, at)) return false;
        at += numberAt(content, index.begin + kHead + i * kReference, 4);
    }
    return at == content.size() || std::any_of(boxes.begin(), boxes.end(), [&](const Box& box) {
               return box.kind == "mfra" && box.begin == at;
           });
}

/** A file with the index space of its header as it is before it is filled in. */
Bytes withoutHeadIndex(Bytes content) {
    const auto clear = [&](std::size_t begin, std::size_t end) {
        std::memcpy(content.data() + begin + 4, "free", 4);
        std::fill(content.begin() + static_cast<std::ptrdiff_t>(begin + kBoxHeader),
                  content.begin() + static_cast<std::ptrdiff_t>(end), std::uint8_t{0});
    };
    constexpr std::size_t kLengthBox = 20;
    constexpr std::size_t kMark = 16;
    std::size_t room = 0;
    for (const Box& box : boxesOf(content)) {
        if (box.kind == "moof" || box.end > content.size()) break;
        for (std::size_t at = box.begin; box.kind == "moov" && at + kLengthBox <= box.end; ++at) {
            const bool isLength = numberAt(content, at, 4) == kLengthBox &&
                                  (std::memcmp(content.data() + at + 4, "mehd", 4) == 0 ||
                                   std::memcmp(content.data() + at + 4, "free", 4) == 0);
            if (isLength) clear(at, at + kLengthBox);
        }
        if (box.kind == "free" && box.end - box.begin > kMark && room == 0) room = box.begin;
        if (room == 0 || (box.kind != "free" && box.kind != "sidx")) continue;
        for (std::size_t i = 0; i < 4; ++i)
            content[room + i] = static_cast<std::uint8_t>((box.end - room) >> (24 - 8 * i));
        clear(room, box.end);
    }
    return content;
}

}  // namespace

bool hasRightIndex(const Bytes& content) {
    const std::vector<Box> boxes = boxesOf(content);
    const auto number = [&](std::size_t at, std::size_t size) { return numberAt(content, at, size); };
    for (const Box& index : boxes) {
        if (index.kind == "sidx" && !hasRightReferences(content, index, boxes)) return false;
    }
    for (const Box& index : boxes) {
        if (index.kind != "mfra") continue;
        if (index.end != content.size()) return false;
        for (std::size_t at = index.begin + kBoxHeader; at + kBoxHeader <= index.end;) {
            const std::uint64_t size = number(at, 4);
            if (size < kBoxHeader || size > index.end - at) return false;
            const bool isTable = std::memcmp(content.data() + at + 4, "tfra", 4) == 0;
            // Version 1 has 64-bit times and offsets, followed by three numbers of 1 to 4 bytes.
            if (isTable) {
                const bool isLong = content[at + 8] == 1;
                const std::uint64_t sizes = number(at + 16, 4);
                const std::size_t entry =
                    (isLong ? 16 : 8) + 3 + (sizes >> 4 & 3) + (sizes >> 2 & 3) + (sizes & 3);
                const std::uint64_t count = number(at + 20, 4);
                if (24 + count * entry != size) return false;
                for (std::uint64_t i = 0; i < count; ++i) {
                    const std::size_t place = at + 24 + i * entry + (isLong ? 8 : 4);
                    const std::uint64_t fragment = number(place, isLong ? 8 : 4);
                    if (!isFragmentAt(boxes, fragment)) return false;
                }
            }
            at += size;
        }
    }
    return true;
}

std::vector<Box> boxesOf(const Bytes& content) {
    std::vector<Box> boxes;
    for (std::size_t at = 0; at + kBoxHeader <= content.size();) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < 4; ++i) size = size << 8 | content[at + i];
        if (size < kBoxHeader) break;
        const auto* const kind = reinterpret_cast<const char*>(content.data() + at + 4);
        boxes.push_back({std::string(kind, 4), at, at + size});
        at += size;
    }
    return boxes;
}

bool hasFragment(const Bytes& content) {
    const std::vector<Box> boxes = boxesOf(content);
    return std::any_of(boxes.begin(), boxes.end(), [](const Box& box) { return box.kind == "moof"; });
}

WholeFile::WholeFile(Bytes content, double begin)
    : content_(withoutHeadIndex(std::move(content))), packets_(read(content_)) {
    if (!packets_.fault.empty()) throw std::runtime_error("finished file: " + packets_.fault);
    if (packets_.video.empty()) throw std::runtime_error("finished file without pictures");
    const double first = packets_.video.front().time;
    for (const Packet& packet : packets_.video) pictures_.push_back(begin + packet.time - first);
    for (const Packet& packet : packets_.audio) sounds_.push_back(begin + packet.time - first);
    for (const Box& box : boxesOf(content_)) {
        if (box.kind == "moof") {
            if (header_ == 0) header_ = box.begin;
        } else {
            ends_.push_back(box.end);
        }
    }
    if (ends_.empty() || ends_.back() != content_.size())
        throw std::runtime_error("finished file does not end with a box");
}

WholeFile::Packets WholeFile::read(const Bytes& content) {
    Packets packets;
    const RecordedFile file(content);
    if (!file.errors().empty()) {
        packets.fault = file.errors().front();
        return packets;
    }
    const auto take = [](const RecordedStream& stream, std::vector<Packet>& to) {
        for (const auto& packet : stream.packets)
            to.push_back({{packet->data, packet->data + packet->size}, stream.seconds(packet->pts)});
    };
    take(file.video(), packets.video);
    take(file.audio(), packets.audio);
    return packets;
}

WholeFile::Held WholeFile::heldBy(const Bytes& content) const {
    const Packets found = read(content);
    if (!found.fault.empty()) return {found.fault};
    const auto isBeginning = [](const std::vector<Packet>& part, const std::vector<Packet>& whole) {
        return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
    };
    if (!isBeginning(found.video, packets_.video) || !isBeginning(found.audio, packets_.audio))
        return {"holds other data than captured"};
    return {"", found.video.size(), found.audio.size()};
}

std::size_t WholeFile::sameBytes(const Bytes& found, std::string& tail) const {
    const Bytes content = withoutHeadIndex(found);
    std::size_t same = 0;
    for (const std::size_t end : ends_) {
        if (end > content.size() ||
            std::memcmp(content.data() + same, content_.data() + same, end - same) != 0)
            break;
        same = end;
    }
    tail = "end";
    if (content.size() - same < kBoxHeader) return same;
    const std::uint8_t* const next = content.data() + same;
    tail.assign(next + 4, next + kBoxHeader);
    // Zeroes are not a box and end the reading.
    const bool isNothing = std::all_of(next, next + kBoxHeader, [](std::uint8_t byte) { return byte == 0; });
    if (same < header_) {
        const std::vector<Box> boxes = boxesOf(content);
        const bool plays = std::any_of(boxes.begin(), boxes.end(), [&](const Box& box) {
            return box.kind == "mdat" && box.end <= content.size();
        });
        tail = plays ? "!has playable data before the first complete fragment" : "header";
    } else if (isNothing) {
        tail = "end";
    } else if (tail != "free" && tail != "mfra") {
        tail = "!continues with damaged bytes";
    } else if (boxesOf(content).back().end > content.size()) {
        tail += ", truncated";
    }
    return same;
}

}  // namespace kep::host
