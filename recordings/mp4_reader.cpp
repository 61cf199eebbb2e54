#include "recordings/mp4_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "recordings/failure.h"
#include "recordings/mp4_length.h"
#include "recordings/wide_integer.h"

namespace recordings {

namespace {

/** Bytes read from the file at once. Larger blocks do not fit into the processor's cache. */
constexpr std::size_t kReadSize = 256 << 10;
/** Seconds by which one track may be ahead of another. With less, tracks stored in long separate pieces are
 * read alternately all the time. */
constexpr double kMaxLead = 1;
/** How often each byte may be part of a sample. A damaged file could list the same bytes over and over. */
constexpr std::uint64_t kMaxUsesOfByte = 2;
constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::int64_t shown(const Mp4Sample& sample) {
    return static_cast<std::int64_t>(sample.time) + sample.shift;
}

bool isRead(const Mp4Sample& sample) {
    return sample.size > 0 && sample.size <= kMaxSampleSize;
}

Mp4Beginning open(const FileBytes& file) {
    BoxWindow window(file);
    return readBeginning(file, window, kMaxIndexSize);
}

}  // namespace

void Mp4Reader::TableLane::advance() {
    Mp4Sample sample;
    head = samples.next(sample) && sample.time <= kMaxTime ? std::optional(sample) : std::nullopt;
}

void Mp4Reader::RunLane::advance() {
    Mp4Sample sample;
    head = samples.next(sample) ? std::optional(sample) : std::nullopt;
    if (head) head->time += begin;
}

Mp4Reader::Mp4Reader(const std::string& path)
    : file_(path), beginning_(open(file_)), walk_(file_, beginning_) {
    const bool isListed =
        std::ranges::any_of(tracks(), [](const auto& track) { return track.second.samples > 0; });
    if (beginning_.expectsFragments()) {
        milliseconds_ = fragmentedLength(file_, beginning_);
    } else if (isListed && beginning_.index.seconds < static_cast<double>(kMaxTime) / kNanoseconds) {
        milliseconds_ = std::llround(beginning_.index.seconds * 1000);
    } else {
        throw Failure(path + ": no samples in this MP4");
    }
    for (const auto& [number, track] : tracks()) selected_.insert(number);
    begin();
}

void Mp4Reader::select(std::set<std::uint32_t> tracks) {
    selected_ = std::move(tracks);
    map_.reset();
    begin();
}

/** Restarts at the first samples. */
void Mp4Reader::begin() {
    tables_.clear();
    runs_.clear();
    for (const auto& [number, track] : tracks()) {
        if (track.samples == 0 || track.timescale == 0 || !isSelected(number)) continue;
        tables_.push_back({Mp4TableSamples(beginning_.contents, number, track, file_.size())});
        tables_.back().advance();
    }
    walk_.moveTo(beginning_.firstBox);
    begins_ = listedTimes();
    skipToData_.clear();
    skipToTime_.clear();
    bytesRead_ = 0;
}

/** By track: end of the samples in the tables, where the runs of fragments continue. */
Mp4Reader::Times Mp4Reader::listedTimes() const {
    Times times;
    for (const auto& [number, track] : tracks())
        if (track.samples > 0) times[number] = track.length;
    return times;
}

/** What an edit list adds to the times of a track, in its units. */
std::int64_t Mp4Reader::editShift(const Mp4Track& track) const {
    double delay = 0;
    for (const Mp4Edit& edit : track.edits) {
        if (edit.mediaTime >= 0) {
            const double moved = std::round(delay) - static_cast<double>(edit.mediaTime);
            return std::abs(moved) < static_cast<double>(kMaxTime) ? static_cast<std::int64_t>(moved) : 0;
        }
        if (beginning_.index.timescale)
            delay += static_cast<double>(edit.length) * track.timescale / beginning_.index.timescale;
    }
    return 0;
}

std::int64_t Mp4Reader::nanoseconds(const Mp4Track& track, std::int64_t time) const {
    const WideInteger result = static_cast<WideInteger>(time) * kNanoseconds / track.timescale;
    if (result > std::numeric_limits<std::int64_t>::max() / 2 ||
        result < std::numeric_limits<std::int64_t>::min() / 2)
        throw Failure(file_.path() + ": time stamps out of range");
    return static_cast<std::int64_t>(result);
}

/** The lane whose next sample is first in the file, of those not too far ahead; null at the end of all. */
template <class Lane>
Lane* Mp4Reader::nextLane(std::vector<Lane>& lanes) const {
    const auto seconds = [this](const Lane& lane) {
        return static_cast<double>(lane.head->time) / track(lane.head->track).timescale;
    };
    double earliest = std::numeric_limits<double>::max();
    for (const Lane& lane : lanes)
        if (lane.head) earliest = std::min(earliest, seconds(lane));
    Lane* found = nullptr;
    for (Lane& lane : lanes) {
        if (!lane.head || seconds(lane) > earliest + kMaxLead) continue;
        if (!found || lane.head->offset < found->head->offset) found = &lane;
    }
    return found;
}

bool Mp4Reader::nextFragment() {
    if (!walk_.next(file_.size())) return false;
    for (const Mp4Run& run : walk_.fragment().runs) {
        const std::uint64_t begin = run.begin.value_or(begins_[run.track]);
        begins_[run.track] = begin + run.length;
        if (begin > kMaxTime || !isSelected(run.track)) continue;
        runs_.push_back({Mp4RunSamples(run), begin});
        runs_.back().advance();
    }
    return true;
}

std::optional<Mp4Sample> Mp4Reader::nextSample() {
    const auto take = [](auto& lane) {
        const auto sample = lane.head;
        lane.advance();
        return sample;
    };
    if (TableLane* const lane = nextLane(tables_)) return take(*lane);
    for (;;) {
        if (RunLane* const lane = nextLane(runs_)) return take(*lane);
        runs_.clear();
        if (!nextFragment()) return std::nullopt;
    }
}

bool Mp4Reader::isSkipped(const Mp4Sample& sample) {
    if (const auto to = skipToData_.find(sample.track); to != skipToData_.end()) {
        if (sample.offset != to->second) return true;
        skipToData_.erase(to);
    }
    if (const auto to = skipToTime_.find(sample.track); to != skipToTime_.end()) {
        const Mp4Track& of = track(sample.track);
        if (nanoseconds(of, shown(sample) + editShift(of) + sample.duration) <= to->second) return true;
        skipToTime_.erase(to);
    }
    return false;
}

std::optional<Mp4Packet> Mp4Reader::next() {
    while (const auto sample = nextSample()) {
        if (isSkipped(*sample) || !isRead(*sample)) continue;
        bytesRead_ += sample->size;
        if (bytesRead_ > kMaxUsesOfByte * file_.size()) throw Failure(file_.path() + ": samples overlap");
        const Mp4Track& of = track(sample->track);
        return Mp4Packet{sample->track, nanoseconds(of, shown(*sample) + editShift(of)),
                         nanoseconds(of, sample->duration), sample->key, data(*sample)};
    }
    return std::nullopt;
}

ByteSpan Mp4Reader::data(const Mp4Sample& sample) {
    const std::uint64_t end = sample.offset + sample.size;
    if (sample.offset < blockBegin_ || end > blockBegin_ + block_.size()) {
        block_.resize(std::max<std::size_t>(kReadSize, sample.size));
        blockBegin_ = sample.offset;
        block_.resize(file_.read(sample.offset, std::span(block_)));
        if (block_.size() < sample.size)
            throw Failure(file_.path() + ": truncated while being read: the sample at byte " +
                          std::to_string(sample.offset) + " is incomplete");
    }
    return ByteSpan(block_).subspan(sample.offset - blockBegin_, sample.size);
}

/** The track whose key samples a seek goes to. */
std::optional<std::uint32_t> Mp4Reader::seekTrack() const {
    std::optional<std::uint32_t> found;
    for (const auto& [number, track] : tracks()) {
        if (!isSelected(number) || track.timescale == 0) continue;
        if (track.handler == "vide") return number;
        if (!found) found = number;
    }
    return found;
}

bool Mp4Reader::seek(std::int64_t milliseconds) {
    const auto number = seekTrack();
    if (!number) return false;
    const Mp4Track& leading = track(*number);
    const std::int64_t moved = editShift(leading);
    // Times are reported in whole milliseconds: include samples within the last one.
    const WideInteger asked = (static_cast<WideInteger>(milliseconds) + 1) * leading.timescale;
    const auto time = static_cast<std::int64_t>(std::clamp<WideInteger>(
        (asked + 999) / 1000 - 1 - moved, -static_cast<WideInteger>(kMaxTime), kMaxTime));

    std::optional<Key> key = beginning_.expectsFragments() ? findKey(*number, time) : std::nullopt;
    std::optional<Mp4Sample> listed;
    if (leading.samples > 0 && (!key || key->time > time)) {
        Mp4TableSamples samples(beginning_.contents, *number, leading, file_.size());
        if (Mp4Sample sample; samples.moveToKey(time) && samples.next(sample) && sample.time <= kMaxTime)
            listed = sample;
    }
    if (!key && !listed) {
        begin();
        return false;
    }
    const std::int64_t due = nanoseconds(leading, (listed ? shown(*listed) : key->time) + moved);
    begin();
    for (const auto& [other, track] : tracks())
        if (other != *number && isSelected(other)) skipToTime_[other] = due;
    if (!listed) {
        tables_.clear();
        walk_.moveTo(key->fragment);
        begins_ = std::move(key->begins);
        skipToData_[*number] = key->data;
        return true;
    }
    for (TableLane& lane : tables_) {
        const std::uint32_t of = lane.head ? lane.head->track : *number;
        const Mp4Track& its = track(of);
        if (of == *number) {
            lane.samples.moveToKey(time);
        } else {
            const WideInteger units =
                static_cast<WideInteger>(due) * its.timescale / kNanoseconds - editShift(its);
            lane.samples.moveToTime(static_cast<std::int64_t>(
                std::clamp<WideInteger>(units, 0, static_cast<WideInteger>(kMaxTime))));
        }
        lane.advance();
    }
    return true;
}

/** The last key sample in a fragment at or before `time`, or the first of all. */
std::optional<Mp4Reader::Key> Mp4Reader::findKey(std::uint32_t number, std::int64_t time) {
    if (!map_) {
        map_.emplace().readIndexes(file_, beginning_, number);
        isMapRead_ = false;
    }
    for (;;) {
        if (map_->isEmpty() && !isMapRead_) {
            map_->readFragments(file_, beginning_, number);
            isMapRead_ = true;
        }
        const FragmentMap::Place* const place = map_->before(time);
        if (!place) return findKeyFrom(beginning_.firstBox, number, time);
        auto key = walk_.isFragment(place->offset) ? findKeyFrom(place->offset, number, time) : std::nullopt;
        if (key && key->time <= time) return key;
        if (isMapRead_) return findKeyFrom(beginning_.firstBox, number, time);
        // The index of the file is wrong: build the map from all fragments.
        *map_ = {};
    }
}

/** The same in the fragments from `offset` on; nothing, too, when the start of a run is unknown. */
std::optional<Mp4Reader::Key> Mp4Reader::findKeyFrom(std::uint64_t offset, std::uint32_t number,
                                                     std::int64_t time) {
    std::optional<Key> best;
    const bool isFirst = offset == beginning_.firstBox;
    Times begins = isFirst ? listedTimes() : Times();
    std::uint64_t visited = 0;
    walk_.moveTo(offset);
    Mp4Sample sample;
    while (walk_.next(file_.size())) {
        const Times before = begins;
        for (const Mp4Run& run : walk_.fragment().runs) {
            if (!run.begin && !isFirst && !begins.contains(run.track)) return std::nullopt;
            const std::uint64_t begin = run.begin.value_or(begins[run.track]);
            begins[run.track] = begin + run.length;
            if (run.track != number || begin > kMaxTime) continue;
            for (Mp4RunSamples samples(run); samples.nextKey(sample);) {
                if (!isRead(sample)) continue;
                sample.time += begin;
                if ((shown(sample) > time && best) || ++visited > kMaxUsesOfByte * file_.size()) return best;
                best = Key{walk_.offset(), sample.offset, shown(sample), before};
                if (shown(sample) > time) return best;
            }
        }
    }
    return best;
}

}  // namespace recordings
