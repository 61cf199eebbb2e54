#include "recordings/head_index.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace recordings {

namespace {

constexpr std::size_t kHeader = 8;
/** Bytes that every disk writes atomically. */
constexpr std::uint64_t kSector = 512;
/** Bytes of the box with the length. */
constexpr std::size_t kLengthBox = 20;
/**
 * Bytes reserved for references. With audio and video they suffice for five and a half minutes of half-second
 * fragments; of an hour each reference covers five seconds, which a player may have to decode on a seek. A
 * larger place would inflate short clips.
 */
constexpr std::size_t kRoom = 16 << 10;
/** Minimum bytes that stay free in front of the references. Other `free` boxes in a header are smaller. */
constexpr std::size_t kMinSpacer = 32;
/** Bytes of a `sidx` box without its references, and of a reference. */
constexpr std::size_t kReferencesHead = 40;
constexpr std::size_t kReference = 12;

void write32(Bytes& bytes, std::size_t at, std::uint64_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes[at++] = static_cast<std::uint8_t>(value >> shift);
}

void add32(Bytes& bytes, std::uint64_t value) {
    bytes.resize(bytes.size() + 4);
    write32(bytes, bytes.size() - 4, value);
}

void add64(Bytes& bytes, std::uint64_t value) {
    add32(bytes, value >> 32);
    add32(bytes, value);
}

/** The first box of a kind, with its header; empty when there is none. */
ByteSpan boxOf(ByteSpan boxes, std::string_view wanted) {
    ByteSpan found;
    forEachBox(boxes, [&](std::string_view kind, ByteSpan contents) {
        if (kind == wanted && found.empty()) found = {contents.data() - kHeader, contents.size() + kHeader};
    });
    return found;
}

/** Whether a power cut leaves all or none of these bytes written. */
bool isInSector(std::uint64_t begin, std::uint64_t end) {
    return begin / kSector == (end - 1) / kSector;
}

}  // namespace

Bytes HeadIndex::lengthPlace() {
    Bytes box = boxHeader("free", kLengthBox);
    box.resize(kLengthBox);
    return box;
}

bool HeadIndex::moveLengthPlace(Bytes& header) {
    const ByteSpan boxes(header);
    const ByteSpan moov = boxOf(boxes, "moov");
    if (moov.empty() || moov.data() + moov.size() + kLengthBox != boxes.data() + boxes.size()) return false;
    const ByteSpan mvex = boxOf(moov.subspan(kHeader), "mvex");
    if (mvex.empty()) return false;
    const auto begin = static_cast<std::size_t>(mvex.data() - boxes.data());
    for (const ByteSpan grown : {moov, mvex})
        write32(header, static_cast<std::size_t>(grown.data() - boxes.data()), grown.size() + kLengthBox);
    std::rotate(header.begin() + static_cast<std::ptrdiff_t>(begin + kHeader),
                header.end() - static_cast<std::ptrdiff_t>(kLengthBox), header.end());
    return true;
}

Bytes HeadIndex::referencePlace() {
    // The header of the box behind it is written last and atomically: the place must not move it across
    // sectors.
    static_assert(kRoom % kSector == 0);
    Bytes box = boxHeader("free", kRoom);
    box.resize(kRoom);
    return box;
}

HeadIndex::HeadIndex(ByteSpan head) {
    for (std::uint64_t at = 0;;) {
        const auto box = readBoxHeader(head.subspan(at), head.size() - at);
        if (!box) break;
        if (box->kind == "moov") {
            const ByteSpan contents = head.subspan(at + box->contents, box->end - box->contents);
            index_ = readIndex(contents);
            findLength(at + box->contents, contents);
        } else if (index_ && box->kind == "free" && box->end >= kMinSpacer && !room_ &&
                   isInSector(at, at + kHeader)) {
            room_ = {at, at + box->end};
        } else if (room_ && room_->end == at && box->kind == "sidx") {
            room_->end = at + box->end;
            room_->isFilled = true;
        } else if (room_ || box->kind == "moof") {
            break;
        }
        at += box->end;
    }
    if (room_ && room_->end - room_->begin != kRoom) room_.reset();
    if (!index_) return;
    for (const auto& [number, track] : index_->tracks) {
        if (track.timescale == 0 || !track.edits.empty() || track.samples > 0) index_.reset();
        if (!index_) return;
        if (leading_ == 0 || (track.handler == "vide" && index_->tracks.at(leading_).handler != "vide"))
            leading_ = number;
    }
}

void HeadIndex::findLength(std::uint64_t moov, ByteSpan contents) {
    const ByteSpan mvex = boxOf(contents, "mvex");
    if (mvex.empty()) return;
    const ByteSpan free = boxOf(mvex.subspan(kHeader), "free");
    const ByteSpan place = free.empty() ? boxOf(mvex.subspan(kHeader), "mehd") : free;
    const std::uint64_t begin = moov + static_cast<std::uint64_t>(place.data() - contents.data());
    // A power cut must not leave half of the box type written: players would no longer skip the box.
    if (place.size() == kLengthBox && isInSector(begin + kHeader / 2, begin + kHeader))
        length_ = {begin, begin + kLengthBox, free.empty()};
}

void HeadIndex::add(std::uint64_t offset, const Mp4Fragment& fragment) {
    if (!index_) return;
    // State before this fragment: a track without samples in it continues at its previous end.
    const auto before = times_;
    for (const Mp4Run& run : fragment.runs) {
        const bool isFirst = !times_.contains(run.track);
        TrackTimes& times = times_[run.track];
        const std::uint64_t first = run.begin.value_or(times.next);
        if (first > kMaxTime || run.length > kMaxTime - first) {
            isRegular_ = false;
            return;
        }
        const std::int64_t begin = static_cast<std::int64_t>(first) + run.earliest;
        const std::int64_t end = static_cast<std::int64_t>(first) + run.latest;
        times.begin = isFirst ? begin : std::min(times.begin, begin);
        times.end = isFirst ? end : std::max(times.end, end);
        times.next = first + run.length;
    }
    const bool isKey = beginsWithKey(fragment);
    if (!isKey && offered_ > 0) return;
    addReference(offset, isKey);
    if (references_.empty() || references_.back().offset != offset) return;
    std::map<std::uint32_t, std::int64_t>& at = references_.back().times;
    for (const auto& [track, times] : before) at[track] = times.end;
    for (auto run = fragment.runs.rbegin(); run != fragment.runs.rend(); ++run) {
        const auto found = before.find(run->track);
        const std::uint64_t next = found == before.end() ? 0 : found->second.next;
        at[run->track] = static_cast<std::int64_t>(run->begin.value_or(next)) + run->earliest;
    }
}

bool HeadIndex::beginsWithKey(const Mp4Fragment& fragment) const {
    for (const Mp4Run& run : fragment.runs) {
        Mp4Sample sample;
        if (run.track == leading_) return Mp4RunSamples(run).next(sample) && sample.key;
    }
    return false;
}

void HeadIndex::addReference(std::uint64_t offset, bool isKey) {
    if (maxReferences() == 0 || offered_++ % stride_ != 0) return;
    if (references_.size() == maxReferences()) {
        for (std::size_t i = 1; 2 * i < references_.size(); ++i)
            references_[i] = std::move(references_[2 * i]);
        references_.resize((references_.size() + 1) / 2);
        stride_ *= 2;
        if ((offered_ - 1) % stride_ != 0) return;
    }
    references_.push_back({offset, isKey, {}});
}

std::size_t HeadIndex::maxReferences() const {
    if (!room_ || !index_) return 0;
    const std::size_t each = (kRoom - kMinSpacer) / index_->tracks.size();
    return each > kReferencesHead ? (each - kReferencesHead) / kReference : 0;
}

/** From the start of the earliest sample to the end of the latest, in units of the file; 0, which means an
 * unknown length, when out of range. */
std::uint64_t HeadIndex::lengthUnits() const {
    double begin = std::numeric_limits<double>::max();
    double end = 0;
    for (const auto& [number, times] : times_) {
        const double scale = index_->tracks.at(number).timescale;
        begin = std::min(begin, static_cast<double>(times.begin) / scale);
        end = std::max(end, static_cast<double>(times.end) / scale);
    }
    const double units = std::max(0.0, end - begin) * index_->timescale;
    return units < static_cast<double>(kMaxTime) ? static_cast<std::uint64_t>(std::llround(units)) : 0;
}

/** The `sidx` boxes for the end of the reserved place; empty when the times or sizes do not fit into them. */
Bytes HeadIndex::references(std::uint64_t end) const {
    Bytes boxes;
    if (references_.empty() || !isRegular_) return boxes;
    const std::size_t size = kReferencesHead + references_.size() * kReference;
    std::size_t left = times_.size();
    for (const auto& [track, times] : times_) {
        if (!addBox(track, end, --left * size, boxes)) return {};
    }
    return boxes;
}

/** @param distance from the end of the box to the first part, in bytes */
bool HeadIndex::addBox(std::uint32_t track, std::uint64_t end, std::uint64_t distance, Bytes& boxes) const {
    constexpr std::uint64_t kMaxBytes = 0x7fffffff;
    constexpr std::uint32_t kBeginsWithKey = 0x90000000;
    // Players refuse a file with an index whose time scale is negative as a signed number.
    constexpr std::uint32_t kMaxTimescale = 0x7fffffff;
    const TrackTimes& times = times_.at(track);
    const auto timeOf = [&](std::size_t i) {
        if (i == references_.size()) return times.end;
        const auto found = references_[i].times.find(track);
        return found == references_[i].times.end() ? times.begin : found->second;
    };
    const Bytes header = boxHeader("sidx", kReferencesHead + references_.size() * kReference);
    boxes.insert(boxes.end(), header.begin(), header.end());
    add32(boxes, 1U << 24);
    add32(boxes, track);
    add32(boxes, index_->tracks.at(track).timescale);
    if (timeOf(0) < 0 || index_->tracks.at(track).timescale > kMaxTimescale) return false;
    add64(boxes, static_cast<std::uint64_t>(timeOf(0)));
    add64(boxes, distance);
    add32(boxes, references_.size());
    std::uint64_t at = room_->end;
    for (std::size_t i = 0; i < references_.size(); ++i) {
        const std::uint64_t next = i + 1 < references_.size() ? references_[i + 1].offset : end;
        const std::int64_t length = timeOf(i + 1) - timeOf(i);
        if (next <= at || next - at > kMaxBytes || length < 0 ||
            length > std::numeric_limits<std::uint32_t>::max())
            return false;
        add32(boxes, next - at);
        add32(boxes, static_cast<std::uint64_t>(length));
        add32(boxes, track != leading_ || references_[i].isKey ? kBeginsWithKey : 0);
        at = next;
    }
    return true;
}

bool HeadIndex::write(FileLayer::File& file, std::uint64_t end, const Sync& sync, std::string& reason) const {
    if (!index_ || times_.empty()) return true;
    std::vector<Patch> hidden;
    std::vector<Patch> contents;
    std::vector<Patch> headers;
    if (length_) {
        Bytes length;
        add32(length, 1U << 24);  // version 1: a length of eight bytes
        add64(length, lengthUnits());
        const auto kind = [this](const char* name) {
            return Patch{length_->begin + kHeader / 2, {name, name + kHeader / 2}};
        };
        if (length_->isFilled) hidden.push_back(kind("free"));
        contents.push_back({length_->begin + kHeader, std::move(length)});
        headers.push_back(kind("mehd"));
    }
    if (room_) {
        const std::uint64_t size = room_->end - room_->begin;
        Bytes boxes = references(end);
        if (room_->isFilled) hidden.push_back({room_->begin, boxHeader("free", size)});
        if (!boxes.empty()) {
            headers.push_back({room_->begin, boxHeader("free", size - boxes.size())});
            contents.push_back({room_->end - boxes.size(), std::move(boxes)});
        }
    }
    const auto put = [&](const std::vector<Patch>& patches) {
        return std::ranges::all_of(patches, [&](const Patch& patch) {
            return file.write(patch.offset, patch.bytes.data(), patch.bytes.size(), reason);
        });
    };
    const bool isHidden = put(hidden) && (hidden.empty() || sync(reason));
    return isHidden && put(contents) && sync(reason) && put(headers);
}

}  // namespace recordings
