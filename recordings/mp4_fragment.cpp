#include "recordings/mp4_fragment.h"

#include <algorithm>
#include <bit>

namespace recordings {

namespace {

/** Samples of a fragment: twenty seconds of uncompressed audio. A larger count is damaged. */
constexpr std::uint64_t kMaxSamples = 1 << 20;

/** Flags of a `tfhd` box: which fields it has, and the base of its offsets. */
namespace head_flags {
constexpr std::uint32_t kBase = 0x01;
constexpr std::uint32_t kDescription = 0x02;
constexpr std::uint32_t kDuration = 0x08;
constexpr std::uint32_t kSize = 0x10;
constexpr std::uint32_t kFlags = 0x20;
constexpr std::uint32_t kBaseIsFragment = 0x20000;
}  // namespace head_flags

/** Flags of a `trun` box: which fields it has. */
namespace run_flags {
constexpr std::uint32_t kOffset = 0x01;
constexpr std::uint32_t kFirstFlags = 0x04;
constexpr std::uint32_t kDuration = 0x100;
constexpr std::uint32_t kSize = 0x200;
constexpr std::uint32_t kFlags = 0x400;
constexpr std::uint32_t kComposition = 0x800;
constexpr std::uint32_t kOfEach = kDuration | kSize | kFlags | kComposition;
}  // namespace run_flags

/** In a sample's flags: not a sync sample. */
constexpr std::uint32_t kNoSyncSample = 0x10000;

/** Reads the part of a fragment that belongs to one track (`traf`). */
class TrackRun {
  public:
    /** @param implied default offset of the samples: behind those of the previous run */
    TrackRun(std::uint64_t offset, std::uint64_t implied, std::uint64_t fileBytes, const Mp4Index& index,
             Mp4Fragment& fragment)
        : fragmentOffset_(offset),
          implied_(implied),
          fileBytes_(fileBytes),
          index_(index),
          fragment_(fragment) {}

    bool read(ByteSpan contents) {
        run_.contents = contents;
        bool good = true;
        const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
            if (kind == "tfhd") good = readHeader(box) && good;
            if (kind == "tfdt") good = readTime(box) && good;
            if (kind == "trun") good = readSamples(box) && good;
        });
        if (!fills || !good || !known_) return false;
        if (hasSamples_) fragment_.runs.push_back(run_);
        return true;
    }
    std::uint64_t end() const { return at_; }

  private:
    bool readHeader(ByteSpan contents) {
        if (known_) return false;
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        run_.track = numbers.next32();
        const auto found = index_.tracks.find(run_.track);
        if (found == index_.tracks.end() || !found->second.hasDefaults || found->second.timescale == 0)
            return false;
        const Mp4Track& track = found->second;
        known_ = true;
        run_.base = flags & head_flags::kBaseIsFragment ? fragmentOffset_ : implied_;
        if (flags & head_flags::kBase) run_.base = numbers.next(8);
        if (flags & head_flags::kDescription) numbers.skip(4);
        run_.duration = flags & head_flags::kDuration ? numbers.next32() : track.sampleDuration;
        run_.size = flags & head_flags::kSize ? numbers.next32() : track.sampleSize;
        run_.flags = flags & head_flags::kFlags ? numbers.next32() : track.sampleFlags;
        at_ = run_.base;
        return !numbers.failed();
    }

    bool readTime(ByteSpan contents) {
        Numbers numbers(contents);
        const std::size_t width = numbers.next32() >> 24 == 1 ? 8 : 4;
        run_.begin = numbers.next(width);
        return !numbers.failed();
    }

    bool readSamples(ByteSpan contents) {
        auto box = RunBox::read(contents);
        if (!known_ || !box || box->count > kMaxSamples - fragment_.samples) return false;
        if (box->distance) {
            const std::int64_t distance = *box->distance;
            if (run_.base > fileBytes_ || (distance < 0 && run_.base < static_cast<std::uint64_t>(-distance)))
                return false;
            at_ = run_.base + static_cast<std::uint64_t>(distance);
        }
        if (box->isUniform()) return takeUniform(box->count);
        if (!(box->flags & run_flags::kComposition)) return takeInOrder(*box);
        Mp4Sample sample;
        for (std::uint32_t i = 0; i < box->count; ++i) {
            box->next(run_, sample);
            if (!isInFile(sample.size)) return false;
            takeTime(sample.duration, sample.shift);
            take(1, sample.size);
        }
        return true;
    }

    /** Samples without fields of their own: a few bytes may declare very many, so none is visited. */
    bool takeUniform(std::uint32_t count) {
        if (count == 0) return true;
        const std::uint64_t bytes = std::uint64_t{run_.size} * count;
        if (run_.size == 0 || !isInFile(bytes)) return false;
        takeTime(std::uint64_t{run_.duration} * count, 0);
        take(count, bytes);
        return true;
    }

    /** Samples presented in decoding order, of which only the sums matter. */
    bool takeInOrder(RunBox& box) {
        if (box.count == 0) return true;
        std::uint64_t length = 0;
        std::uint64_t bytes = 0;
        Mp4Sample sample;
        for (std::uint32_t i = 0; i < box.count; ++i) {
            box.next(run_, sample);
            length += sample.duration;
            bytes += sample.size;
            fragment_.hasEmptySample |= sample.size == 0;
        }
        if (!isInFile(bytes)) return false;
        takeTime(length, 0);
        take(box.count, bytes);
        return true;
    }

    bool isInFile(std::uint64_t bytes) const { return at_ <= fileBytes_ && bytes <= fileBytes_ - at_; }

    void takeTime(std::uint64_t length, std::int32_t shift) {
        const std::int64_t begin = static_cast<std::int64_t>(run_.length) + shift;
        const std::int64_t end = static_cast<std::int64_t>(run_.length + length) + shift;
        run_.earliest = hasSamples_ ? std::min(run_.earliest, begin) : begin;
        run_.latest = hasSamples_ ? std::max(run_.latest, end) : end;
        run_.length += length;
        hasSamples_ = true;
    }

    void take(std::uint32_t samples, std::uint64_t bytes) {
        fragment_.hasEmptySample = fragment_.hasEmptySample || bytes == 0;
        fragment_.dataBegin = fragment_.samples == 0 ? at_ : std::min(fragment_.dataBegin, at_);
        fragment_.samples += samples;
        at_ += bytes;
        fragment_.dataEnd = std::max(fragment_.dataEnd, at_);
    }

    const std::uint64_t fragmentOffset_;
    const std::uint64_t implied_;
    const std::uint64_t fileBytes_;
    const Mp4Index& index_;
    Mp4Fragment& fragment_;
    Mp4Run run_;
    bool known_ = false; /**< the track and the defaults of its samples */
    bool hasSamples_ = false;
    std::uint64_t at_ = 0;
};

}  // namespace

bool readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index,
                  Mp4Fragment& fragment) {
    fragment.samples = 0;
    fragment.hasEmptySample = false;
    fragment.dataBegin = fragment.dataEnd = 0;
    fragment.runs.clear();
    bool good = true;
    std::uint64_t implied = offset;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind != "traf" || !good) return;
        TrackRun run(offset, implied, fileBytes, index, fragment);
        good = run.read(box);
        implied = run.end();
    });
    return fills && good && fragment.samples > 0;
}

std::optional<RunBox> RunBox::read(ByteSpan contents) {
    RunBox box;
    Numbers numbers(contents);
    box.flags = numbers.next32();
    box.count = numbers.next32();
    if (box.flags & run_flags::kOffset) box.distance = static_cast<std::int32_t>(numbers.next32());
    if (box.flags & run_flags::kFirstFlags) box.firstFlags = numbers.next32();
    const auto fields = static_cast<std::uint32_t>(std::popcount(box.flags & run_flags::kOfEach));
    if (numbers.failed() || numbers.rest().size() != std::size_t{4} * fields * box.count) return std::nullopt;
    box.fields = numbers;
    return box;
}

bool RunBox::isUniform() const {
    return (flags & run_flags::kOfEach) == 0;
}

void RunBox::next(const Mp4Run& run, Mp4Sample& sample) {
    sample.track = run.track;
    sample.duration = flags & run_flags::kDuration ? fields.next32() : run.duration;
    sample.size = flags & run_flags::kSize ? fields.next32() : run.size;
    std::uint32_t own = flags & run_flags::kFlags ? fields.next32() : run.flags;
    if (firstFlags) own = *firstFlags;
    firstFlags.reset();
    sample.key = (own & kNoSyncSample) == 0;
    // Unsigned in version 0, but real values fit into a signed number.
    sample.shift = flags & run_flags::kComposition ? static_cast<std::int32_t>(fields.next32()) : 0;
}

/** Enters the next box with samples left; false when there is none. */
bool Mp4RunSamples::enterBox() {
    while (box_.count == 0) {
        const auto header = readBoxHeader(rest_, rest_.size());
        if (!header) return false;
        const ByteSpan contents = rest_.subspan(header->contents, header->end - header->contents);
        rest_ = rest_.subspan(header->end);
        if (header->kind != "trun") continue;
        box_ = RunBox::read(contents).value_or(RunBox());
        if (box_.distance) at_ = run_.base + static_cast<std::uint64_t>(std::int64_t{*box_.distance});
    }
    return true;
}

bool Mp4RunSamples::next(Mp4Sample& sample) {
    if (!enterBox()) return false;
    --box_.count;
    box_.next(run_, sample);
    sample.offset = at_;
    sample.time = time_;
    at_ += sample.size;
    time_ += sample.duration;
    return true;
}

bool Mp4RunSamples::nextKey(Mp4Sample& sample) {
    while (enterBox()) {
        if (box_.isUniform() && !box_.firstFlags && (run_.flags & kNoSyncSample)) {
            at_ += std::uint64_t{box_.count} * run_.size;
            time_ += std::uint64_t{box_.count} * run_.duration;
            box_.count = 0;
        } else if (next(sample) && sample.key) {
            return true;
        }
    }
    return false;
}

std::optional<FragmentTable> readFragmentTable(ByteSpan contents) {
    Numbers numbers(contents);
    FragmentTable table{};
    table.width = numbers.next32() >> 24 == 1 ? 8 : 4;
    table.track = numbers.next32();
    const std::uint32_t widths = numbers.next32();
    // Time and offset are followed by the numbers of traf, trun and sample, each of 1 to 4 bytes.
    table.entry = 2 * table.width + (widths >> 4 & 3) + (widths >> 2 & 3) + (widths & 3) + 3;
    table.count = numbers.next32();
    return numbers.failed() ? std::nullopt : std::optional(table);
}

bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit) {
    const auto table = readFragmentTable(contents);
    if (!table || contents.size() - kFragmentTableHead != table->entry * table->count) return false;
    for (std::size_t at = kFragmentTableHead; at < contents.size(); at += table->entry) {
        if (!visit(bigEndian(contents, at + table->width, table->width))) return false;
    }
    return true;
}

}  // namespace recordings
