#include "recordings/mp4_length.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "recordings/box_window.h"
#include "recordings/failure.h"
#include "recordings/mp4_fragment.h"
#include "recordings/mp4_header.h"

namespace recordings {

namespace {

/** That of a fragmented file has no tables: with three tracks it is below 4 KiB. */
constexpr std::uint64_t kMaxIndexSize = 2 << 20;
/** A fragment's description is below 2 KiB for half a second. */
constexpr std::uint64_t kMaxFragmentSize = 1 << 20;
/** Of fragments, each track has begun long before. */
constexpr int kMaxBeginning = 64;

/** A track's presentation, in units of the track. */
struct TrackTimes {
    bool begun = false;
    double begin = 0;
    double end = 0;
    std::uint64_t next = 0; /**< where a run begins that does not say so */
};

class LengthReader {
  public:
    explicit LengthReader(const FileBytes& file) : file_(file), window_(file) {}

    std::int64_t milliseconds() {
        readHeader();
        takeListed();
        if (!readIndexed()) {
            times_.clear();
            takeListed();
            walk(firstBox_, file_.size(), [] { return true; });
        }
        if (times_.empty()) throw Failure(file_.path() + ": no fragment of this MP4 is whole");
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
        if (!(length < kBeyond)) throw Failure(file_.path() + ": its times are beyond reason");
        return std::llround(length);
    }

  private:
    /** Goes over the boxes up to the index, and over that. */
    void readHeader() {
        bool isFragmented = false;
        std::uint64_t at = 0;
        auto box = window_.boxAt(at);
        if (!box || (box->kind != "ftyp" && box->kind != "moov" && box->kind != "styp"))
            throw Failure(file_.path() + ": not an MP4 file");
        for (; box && box->kind != "moov"; box = window_.boxAt(at)) {
            isFragmented = isFragmented || box->kind == "moof";
            at += box->end;
        }
        if (!box) throw Failure(file_.path() + ": the index of this MP4 is missing or damaged");
        if (box->end > kMaxIndexSize)
            throw Failure(file_.path() + ": an MP4 without fragments, or with an index of " +
                          std::to_string(box->end) + " bytes");
        const std::uint64_t contents = at + box->contents;
        auto index = recordings::readIndex(window_.view(contents, box->end - box->contents));
        if (!index) throw Failure(file_.path() + ": the index of this MP4 is damaged");
        index_ = std::move(*index);
        const bool expected =
            std::ranges::any_of(index_.tracks, [](const auto& track) { return track.second.hasDefaults; });
        if (!expected) throw Failure(file_.path() + ": an MP4 without fragments");
        at += box->end;
        mark_ = markAt(file_, at);
        firstBox_ = isFragmented ? 0 : at;
    }

    /** Reads the fragments between two places while `goesOn()`; returns where it ended. */
    template <class GoesOn>
    std::uint64_t walk(std::uint64_t at, std::uint64_t end, GoesOn&& goesOn) {
        while (at < end && goesOn()) {
            const auto box = window_.boxAt(at);
            if (!box) break;
            const std::uint64_t next = at + box->end;
            if (box->kind == "moof" && box->end <= kMaxFragmentSize) {
                const ByteSpan contents = window_.view(at + box->contents, box->end - box->contents);
                const bool whole = readFragment(contents, at, file_.size(), index_, fragment_);
                if (whole && isForeign(next)) break;
                if (whole) take();
            }
            at = next;
        }
        return at;
    }

    /** Whether the data box at `data` is followed by the mark of another file: it is what is left of a
     * deleted one in the same blocks. */
    bool isForeign(std::uint64_t data) {
        if (!mark_) return false;
        const auto box = window_.boxAt(data);
        if (!box || box->kind != "mdat") return false;
        const std::uint64_t at = data + box->end;
        const auto behind = window_.boxAt(at);
        if (!behind || behind->kind != "free" || behind->end != behind->contents + mark_->size())
            return false;
        return !std::ranges::equal(window_.view(at + behind->contents, mark_->size()), *mark_);
    }

    /** The samples before the first fragment, which the index lists itself. */
    void takeListed() {
        for (const auto& [number, track] : index_.tracks) {
            if (track.samples > 0 && track.timescale > 0)
                times_[number] = {true, 0, static_cast<double>(track.length), track.length};
        }
    }

    void take() {
        for (const Mp4Run& run : fragment_.runs) {
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

    /** What is shown of a track, in seconds of the file. Its last edit does not end it: fragments follow that
     * the list did not know of when it was written. */
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

    /** Reads the first fragments and those that the index at the end of a file has as the last ones. False
     * when there is no such index or it does not lead to what there is. */
    bool readIndexed() {
        constexpr std::uint64_t kEndBox = 16;  // says how large the index is in its last number
        if (firstBox_ == 0 || file_.size() < firstBox_ + kEndBox) return false;
        const ByteSpan last = window_.view(file_.size() - kEndBox, kEndBox);
        const auto end = readBoxHeader(last, kEndBox);
        if (!end || end->kind != "mfro" || end->end != kEndBox) return false;
        const std::uint64_t size = bigEndian(last, kEndBox - 4, 4);
        if (size > file_.size() - firstBox_) return false;
        const std::uint64_t begin = file_.size() - size;
        const auto box = window_.boxAt(begin);
        if (!box || box->kind != "mfra" || box->end != size) return false;

        std::map<std::uint32_t, std::uint64_t> lastOf;
        if (!readTables(begin + box->contents, file_.size() - kEndBox, lastOf)) return false;
        int fragments = 0;
        walk(firstBox_, begin, [&] { return !hasBegun(lastOf) && ++fragments < kMaxBeginning; });
        if (!hasBegun(lastOf)) return false;
        std::vector<std::uint64_t> places;
        for (const auto& [track, offset] : lastOf) places.push_back(offset);
        std::ranges::sort(places);
        if (places.empty()) return false;
        for (const std::uint64_t place : places) {
            const auto moof = place >= firstBox_ ? window_.boxAt(place) : std::nullopt;
            if (!moof || moof->kind != "moof") return false;
            walk(place, place + 1, [] { return true; });
            for (const auto& [track, offset] : lastOf) {
                const bool isIn = std::ranges::any_of(fragment_.runs, [number = track](const Mp4Run& run) {
                    return run.track == number && run.begin;
                });
                if (offset == place && !isIn) return false;
            }
        }
        return walk(places.back(), begin, [] { return true; }) == begin;
    }

    /** Where the last fragment of each track begins; false when a table is damaged or a track has none. */
    bool readTables(std::uint64_t at, std::uint64_t end, std::map<std::uint32_t, std::uint64_t>& lastOf) {
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

    bool hasBegun(const std::map<std::uint32_t, std::uint64_t>& lastOf) const {
        return std::ranges::all_of(lastOf, [this](const auto& last) { return times_.contains(last.first); });
    }

    const FileBytes& file_;
    BoxWindow window_;
    Mp4Index index_;
    std::optional<Bytes> mark_;
    std::uint64_t firstBox_ = 0;
    Mp4Fragment fragment_;
    std::map<std::uint32_t, TrackTimes> times_;
};

}  // namespace

std::int64_t fragmentedLength(const std::string& path) {
    const FileBytes file(path);
    return LengthReader(file).milliseconds();
}

}  // namespace recordings
