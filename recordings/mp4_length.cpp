#include "recordings/mp4_length.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <vector>

#include "recordings/failure.h"
#include "recordings/fragment_map.h"

namespace recordings {

namespace {

/** Bytes of the index of a fragmented file. It has no tables: with three tracks it takes less than 4 KiB. */
constexpr std::uint64_t kMaxSizeWithoutTables = 2 << 20;
/** Number of fragments that normally include one of each track. */
constexpr int kEachTrack = 64;
/** Bytes of a `sidx` box; reading a larger one takes longer than walking through the file. */
constexpr std::uint64_t kMaxSegmentIndex = 64 << 10;

/** A track's presentation, in units of the track. */
struct TrackTimes {
    bool begun = false;
    double begin = 0;
    double end = 0;
    std::uint64_t next = 0; /**< start of the next run if that states none */
};

class LengthReader {
  public:
    LengthReader(const FileBytes& file, const Mp4Beginning& beginning)
        : file_(file),
          index_(beginning.index),
          firstBox_(beginning.firstBox),
          window_(file),
          walk_(file, beginning) {}

    std::int64_t milliseconds() {
        if (!readIndexed() && !readFirstAndLast()) {
            restart();
            while (walk_.next(file_.size())) take();
        }
        if (times_.empty()) throw Failure(file_.path() + ": no complete fragment in this MP4");
        double begin = std::numeric_limits<double>::max();
        double end = std::numeric_limits<double>::lowest();
        for (const auto& [number, times] : times_) {
            const auto [shownFrom, shownTo] = shown(index_.tracks.at(number), times);
            if (shownFrom > shownTo) continue;
            begin = std::min(begin, shownFrom);
            end = std::max(end, shownTo);
        }
        const double length = std::max(0.0, end - begin) * 1000;
        constexpr double kBeyond = 9e18;
        if (!(length < kBeyond)) throw Failure(file_.path() + ": time stamps out of range");
        return std::llround(length);
    }

  private:
    using Places = std::map<std::uint32_t, std::uint64_t>; /**< of fragments in the file, by tracks */

    /** Adds the samples in the tables of the index, which precede the first fragment. */
    void takeListed() {
        for (const auto& [number, track] : index_.tracks) {
            if (track.samples > 0 && track.timescale > 0)
                times_[number] = {true, 0, static_cast<double>(track.length), track.length};
        }
    }

    void take() {
        for (const Mp4Run& run : walk_.fragment().runs) {
            TrackTimes& times = times_[run.track];
            const std::uint64_t first = run.begin.value_or(times.next);
            const double begin = static_cast<double>(first) + static_cast<double>(run.earliest);
            const double end = static_cast<double>(first) + static_cast<double>(run.latest);
            times.begin = times.begun ? std::min(times.begin, begin) : begin;
            times.end = times.begun ? std::max(times.end, end) : end;
            times.begun = true;
            times.next = first + run.length;
        }
    }

    /** What is shown of a track, in seconds of the file. Its last edit does not end it: the edit list was
     * written before the fragments. */
    std::pair<double, double> shown(const Mp4Track& track, const TrackTimes& times) const {
        if (track.edits.empty()) return {times.begin / track.timescale, times.end / track.timescale};
        double at = 0;
        std::pair<double, double> range{std::numeric_limits<double>::max(),
                                        std::numeric_limits<double>::lowest()};
        for (const Mp4Edit& edit : track.edits) {
            const bool isLast = &edit == &track.edits.back();
            const double length =
                index_.timescale ? static_cast<double>(edit.length) / index_.timescale : 0.0;
            if (edit.mediaTime >= 0) {
                const auto from = static_cast<double>(edit.mediaTime);
                const double begin = std::max(0.0, (times.begin - from) / track.timescale);
                const double rest = (times.end - from) / track.timescale;
                const double end = edit.length > 0 && !isLast ? std::min(length, rest) : rest;
                if (end > begin) {
                    range.first = std::min(range.first, at + begin);
                    range.second = std::max(range.second, at + end);
                }
            }
            at += length;
        }
        return range;
    }

    void restart() {
        times_.clear();
        takeListed();
        walk_.moveTo(firstBox_);
    }

    /** By an index at the end of the file or behind its header; false without one, or when it is wrong. */
    bool readIndexed() {
        Places lastOf;
        const auto found = findFragmentIndex(file_, window_, firstBox_);
        if (found) return readTables(found->tables, found->end, lastOf) && readEnds(lastOf, found->begin);
        for (const SegmentIndex& index : readSegmentIndexes(file_, window_, firstBox_, kMaxSegmentIndex)) {
            const SegmentReference& last = index.references.back();
            if (last.offset + last.bytes != file_.size() || !index_.tracks.contains(index.track))
                return false;
            lastOf[index.track] = last.offset;
        }
        return lastOf.size() == index_.tracks.size() && readEnds(lastOf, file_.size());
    }

    /** Reads the first fragments, and those from the last one of each track up to `end`; false when a track's
     * last fragment does not contain it, or none begins at its offset. */
    bool readEnds(const Places& lastOf, std::uint64_t end) {
        restart();
        for (int i = 0; i < kEachTrack && !hasBegun(lastOf) && walk_.next(end); ++i) take();
        if (!hasBegun(lastOf)) return false;
        std::vector<std::uint64_t> places;
        for (const auto& [track, offset] : lastOf) places.push_back(offset);
        std::ranges::sort(places);
        if (places.empty()) return false;
        for (const std::uint64_t place : places) {
            if (place < firstBox_) return false;
            walk_.moveTo(place);
            if (!walk_.isFragment(place) || !walk_.next(place + 1)) return false;
            take();
            for (const auto& [track, offset] : lastOf) {
                const auto& runs = walk_.fragment().runs;
                const bool isIn = std::ranges::any_of(
                    runs, [number = track](const Mp4Run& run) { return run.track == number && run.begin; });
                if (offset == place && !isIn) return false;
            }
        }
        while (walk_.next(end)) take();
        return walk_.at() == end;
    }

    /** Reads the first and the last fragments and skips those between, as fragments state where their samples
     * begin. False when the last ones do not, or have other tracks than the first ones. */
    bool readFirstAndLast() {
        restart();
        for (int i = 0; i < kEachTrack; ++i) {
            if (!walk_.next(file_.size())) return true;
            take();
        }
        std::array<std::uint64_t, kEachTrack> last{};
        std::size_t passed = 0;
        while (walk_.skip(file_.size())) last[passed++ % last.size()] = walk_.offset();
        if (passed == 0) return true;
        const bool isGap = passed > last.size();
        walk_.moveTo(last[isGap ? passed % last.size() : 0]);
        std::set<std::uint32_t> ended;
        while (walk_.next(file_.size())) {
            for (const Mp4Run& run : walk_.fragment().runs) {
                if (isGap && (!run.begin || !times_.contains(run.track))) return false;
                ended.insert(run.track);
            }
            take();
        }
        return !isGap || ended.size() == times_.size();
    }

    /** Where the last fragment of each track begins; false when a table is damaged or a track has none. */
    bool readTables(std::uint64_t at, std::uint64_t end, Places& lastOf) {
        std::size_t tables = 0;
        for (; at < end; ++tables) {
            const auto box = window_.boxAt(at);
            if (!box || box->kind != "tfra" || tables >= index_.tracks.size()) return false;
            const auto table = readFragmentTable(window_.view(at + box->contents, kFragmentTableHead));
            if (!table || box->end != box->contents + kFragmentTableHead + table->count * table->entry)
                return false;
            at += box->end;
            if (table->count == 0) continue;
            const ByteSpan offset = window_.view(at - table->entry + table->width, table->width);
            lastOf[table->track] = Numbers(offset).next(table->width);
        }
        return at == end && tables == index_.tracks.size();
    }

    bool hasBegun(const Places& lastOf) const {
        return std::ranges::all_of(lastOf, [this](const auto& last) { return times_.contains(last.first); });
    }

    const FileBytes& file_;
    const Mp4Index& index_;
    const std::uint64_t firstBox_;
    BoxWindow window_;
    FragmentWalk walk_;
    std::map<std::uint32_t, TrackTimes> times_;
};

}  // namespace

std::int64_t fragmentedLength(const std::string& path) {
    const FileBytes file(path);
    BoxWindow window(file);
    const Mp4Beginning beginning = readBeginning(file, window, kMaxSizeWithoutTables);
    if (!beginning.expectsFragments()) throw Failure(path + ": not a fragmented MP4");
    return fragmentedLength(file, beginning);
}

std::int64_t fragmentedLength(const FileBytes& file, const Mp4Beginning& beginning) {
    return LengthReader(file, beginning).milliseconds();
}

}  // namespace recordings
