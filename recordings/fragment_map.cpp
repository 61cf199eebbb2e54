#include "recordings/fragment_map.h"

#include <algorithm>

#include "recordings/wide_integer.h"

namespace recordings {

namespace {

/** 16 MiB. A day of half-second fragments takes a sixth of it. */
constexpr std::size_t kMaxPlaces = 1 << 20;
/** Bytes; larger tables are ignored. That of a day of half-second fragments takes a sixth. */
constexpr std::uint64_t kMaxTable = 16 << 20;

}  // namespace

void FragmentMap::add(Place place) {
    if (offered_++ % stride_ != 0) return;
    if (places_.size() == kMaxPlaces) {
        for (std::size_t i = 0; i < kMaxPlaces / 2; ++i) places_[i] = places_[2 * i];
        places_.resize(kMaxPlaces / 2);
        stride_ *= 2;
    }
    places_.push_back(place);
}

const FragmentMap::Place* FragmentMap::before(std::int64_t time) const {
    const auto behind = std::ranges::upper_bound(places_, time, {}, &Place::time);
    return behind == places_.begin() ? nullptr : &*std::prev(behind);
}

void FragmentMap::readFragments(const FileBytes& file, const Mp4Beginning& beginning, std::uint32_t track) {
    *this = {};
    FragmentWalk walk(file, beginning);
    std::uint64_t next = 0;
    Mp4Sample sample;
    while (walk.next(file.size())) {
        for (const Mp4Run& run : walk.fragment().runs) {
            if (run.track != track) continue;
            const std::uint64_t begin = run.begin.value_or(next);
            next = begin + run.length;
            if (begin > kMaxTime) continue;
            Mp4RunSamples samples(run);
            if (samples.nextKey(sample))
                add({static_cast<std::int64_t>(begin + sample.time) + sample.shift, walk.offset()});
        }
    }
    std::ranges::stable_sort(places_, {}, &Place::time);
}

void FragmentMap::readIndexes(const FileBytes& file, const Mp4Beginning& beginning, std::uint32_t track) {
    *this = {};
    BoxWindow window(file);
    if (readTable(file, window, beginning.firstBox, track) || readSegments(file, window, beginning, track)) {
        std::ranges::stable_sort(places_, {}, &Place::time);
    } else {
        *this = {};
    }
}

bool FragmentMap::readTable(const FileBytes& file, BoxWindow& window, std::uint64_t firstBox,
                            std::uint32_t track) {
    const auto index = findFragmentIndex(file, window, firstBox);
    if (!index) return false;
    for (std::uint64_t at = index->tables; at < index->end;) {
        const auto box = window.boxAt(at);
        if (!box || box->kind != "tfra") return false;
        const auto table = readFragmentTable(window.view(at + box->contents, kFragmentTableHead));
        const std::uint64_t bytes = table ? table->entry * table->count : 0;
        if (!table || box->end != box->contents + kFragmentTableHead + bytes) return false;
        const std::uint64_t entries = at + box->contents + kFragmentTableHead;
        at += box->end;
        if (table->track != track || bytes > kMaxTable) continue;
        const Bytes read = file.read(entries, bytes);
        for (std::size_t i = 0; i + table->entry <= read.size(); i += table->entry) {
            const std::uint64_t time = bigEndian(read, i, table->width);
            const std::uint64_t offset = bigEndian(read, i + table->width, table->width);
            if (time <= kMaxTime) add({static_cast<std::int64_t>(time), offset});
        }
        return !places_.empty();
    }
    return false;
}

bool FragmentMap::readSegments(const FileBytes& file, BoxWindow& window, const Mp4Beginning& beginning,
                               std::uint32_t track) {
    const auto indexes = readSegmentIndexes(file, window, beginning.firstBox, kMaxTable);
    const auto found = beginning.index.tracks.find(track);
    if (indexes.empty() || found == beginning.index.tracks.end()) return false;
    const auto own = std::ranges::find(indexes, track, &SegmentIndex::track);
    const SegmentIndex& index = own == indexes.end() ? indexes.front() : *own;
    const std::uint64_t scale = found->second.timescale;
    for (const SegmentReference& reference : index.references) {
        const WideInteger time = static_cast<WideInteger>(reference.time) * scale / index.timescale;
        if (time <= static_cast<WideInteger>(kMaxTime))
            add({static_cast<std::int64_t>(time), reference.offset});
    }
    // A `sidx` in front of each segment does not cover the others: it is no index of the file.
    const SegmentReference& last = index.references.back();
    const auto behind = window.boxAt(last.offset + last.bytes);
    return last.offset + last.bytes == file.size() || (behind && behind->kind == "mfra");
}

std::vector<SegmentIndex> readSegmentIndexes(const FileBytes& file, BoxWindow& window, std::uint64_t firstBox,
                                             std::uint64_t maxBytes) {
    std::vector<SegmentIndex> indexes;
    std::uint64_t at = firstBox;
    for (auto box = window.boxAt(at); box; box = window.boxAt(at)) {
        const std::uint64_t contents = at + box->contents;
        at += box->end;
        if (box->kind == "free" || box->kind == "styp") continue;
        if (box->kind != "sidx" || box->end > maxBytes) break;
        auto index = readSegmentIndex(file.read(contents, at - contents), at);
        if (index && index->timescale > 0) indexes.push_back(std::move(*index));
    }
    return indexes;
}

std::optional<FragmentIndex> findFragmentIndex(const FileBytes& file, BoxWindow& window,
                                               std::uint64_t firstBox) {
    constexpr std::uint64_t kEndBox = 16;  // `mfro`, whose last field is the size of the index
    if (firstBox == 0 || file.size() < firstBox + kEndBox) return std::nullopt;
    const ByteSpan last = window.view(file.size() - kEndBox, kEndBox);
    const auto end = readBoxHeader(last, last.size());
    if (last.size() != kEndBox || !end || end->kind != "mfro" || end->end != kEndBox) return std::nullopt;
    const std::uint64_t size = bigEndian(last, kEndBox - 4, 4);
    if (size > file.size() - firstBox) return std::nullopt;
    const std::uint64_t begin = file.size() - size;
    const auto box = window.boxAt(begin);
    if (!box || box->kind != "mfra" || box->end != size || size < box->contents + kEndBox)
        return std::nullopt;
    return FragmentIndex{begin, begin + box->contents, file.size() - kEndBox};
}

std::optional<SegmentIndex> readSegmentIndex(ByteSpan contents, std::uint64_t end) {
    constexpr std::size_t kEntry = 12;
    constexpr std::uint32_t kToOther = 0x80000000;
    Numbers numbers(contents);
    const std::size_t width = numbers.next32() >> 24 == 0 ? 4 : 8;
    SegmentIndex index;
    index.track = numbers.next32();
    index.timescale = numbers.next32();
    std::uint64_t time = numbers.next(width);
    std::uint64_t at = end;
    const std::uint64_t distance = numbers.next(width);
    const std::uint64_t count = numbers.next32() & 0xffff;
    if (numbers.failed() || count == 0 || numbers.rest().size() != count * kEntry || time > kMaxTime ||
        distance > kMaxTime - end)
        return std::nullopt;
    at += distance;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint32_t bytes = numbers.next32();
        const std::uint32_t duration = numbers.next32();
        numbers.skip(4);
        if (bytes & kToOther) return std::nullopt;
        index.references.push_back({at, bytes, time, duration});
        at += bytes;
        time += duration;
    }
    return index;
}

}  // namespace recordings
