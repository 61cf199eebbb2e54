#include "recordings/mp4_fragment.h"

#include <algorithm>
#include <bit>

#include "recordings/mp4_boxes.h"

namespace recordings {

namespace {

/** Of a fragment: twenty seconds of samples that are not even compressed. More are a count that lies. */
constexpr std::uint64_t kMaxSamples = 1 << 20;

/** Flags of a `trun` box, for the fields that it has. */
namespace run_flags {
constexpr std::uint32_t kOffset = 0x01;
constexpr std::uint32_t kFirstFlags = 0x04;
constexpr std::uint32_t kDuration = 0x100;
constexpr std::uint32_t kSize = 0x200;
constexpr std::uint32_t kFlags = 0x400;
constexpr std::uint32_t kComposition = 0x800;
constexpr std::uint32_t kOfEach = kDuration | kSize | kFlags | kComposition;
}  // namespace run_flags

/** A fragment's part of one track. */
class TrackRun {
  public:
    TrackRun(std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index, const VisitSample& visit,
             Mp4Fragment& fragment)
        : fragmentOffset_(offset), fileBytes_(fileBytes), index_(index), visit_(visit), fragment_(fragment) {}

    bool read(ByteSpan contents) {
        bool good = true;
        const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
            if (kind == "tfhd") good = readHeader(box) && good;
            if (kind == "tfdt") good = readTime(box) && good;
            if (kind == "trun") good = readSamples(box) && good;
        });
        if (!fills || !good || !track_) return false;
        if (hasSamples_) fragment_.runs.push_back(run_);
        return true;
    }

  private:
    bool readHeader(ByteSpan contents) {
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        run_.track = numbers.next32();
        const auto found = index_.tracks.find(run_.track);
        if (found == index_.tracks.end() || !found->second.hasDefaults || found->second.timescale == 0)
            return false;
        track_ = &found->second;
        base_ = flags & 0x01 ? numbers.next(8) : fragmentOffset_;
        if (flags & 0x02) numbers.skip(4);
        duration_ = flags & 0x08 ? numbers.next32() : track_->sampleDuration;
        size_ = flags & 0x10 ? numbers.next32() : track_->sampleSize;
        at_ = base_;
        return !numbers.failed();
    }

    bool readTime(ByteSpan contents) {
        Numbers numbers(contents);
        const std::size_t width = numbers.next32() >> 24 == 1 ? 8 : 4;
        run_.begin = numbers.next(width);
        return !numbers.failed();
    }

    bool readSamples(ByteSpan contents) {
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        const std::uint32_t count = numbers.next32();
        if (!track_ || count > kMaxSamples - fragment_.samples) return false;
        if (flags & run_flags::kOffset) {
            const std::int64_t distance = static_cast<std::int32_t>(numbers.next32());
            if (base_ > fileBytes_ || (distance < 0 && base_ < static_cast<std::uint64_t>(-distance)))
                return false;
            at_ = base_ + static_cast<std::uint64_t>(distance);
        }
        if (flags & run_flags::kFirstFlags) numbers.skip(4);
        const auto fields = static_cast<std::uint32_t>(std::popcount(flags & run_flags::kOfEach));
        if (numbers.failed() || numbers.rest().size() != std::size_t{4} * fields * count) return false;
        return fields ? readListed(numbers, flags, count) : takeEqual(count);
    }

    bool readListed(Numbers numbers, std::uint32_t flags, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t duration = flags & run_flags::kDuration ? numbers.next32() : duration_;
            const std::uint32_t size = flags & run_flags::kSize ? numbers.next32() : size_;
            if (flags & run_flags::kFlags) numbers.skip(4);
            // Of version 0 they are unsigned, but nobody means one beyond a signed number's.
            const auto shift =
                flags & run_flags::kComposition ? static_cast<std::int32_t>(numbers.next32()) : 0;
            if (!isInFile(size)) return false;
            takeTime(duration, shift);
            if (!take(size)) return false;
        }
        return true;
    }

    /** Samples that have no fields of their own, of which a few bytes may state very many. */
    bool takeEqual(std::uint32_t count) {
        if (count == 0) return true;
        const std::uint64_t bytes = std::uint64_t{size_} * count;
        if (size_ == 0 || !isInFile(bytes)) return false;
        takeTime(std::uint64_t{duration_} * count, 0);
        if (visit_) {
            for (std::uint32_t i = 0; i < count; ++i)
                if (!take(size_)) return false;
            return true;
        }
        if (!take(bytes)) return false;
        fragment_.samples += count - 1;
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

    bool take(std::uint64_t bytes) {
        const bool first = fragment_.samples++ == 0;
        fragment_.hasEmptySample = fragment_.hasEmptySample || bytes == 0;
        fragment_.dataBegin = first ? at_ : std::min(fragment_.dataBegin, at_);
        const Mp4Sample sample{run_.track, at_, static_cast<std::uint32_t>(bytes)};
        at_ += bytes;
        fragment_.dataEnd = std::max(fragment_.dataEnd, at_);
        return !visit_ || visit_(sample);
    }

    const std::uint64_t fragmentOffset_;
    const std::uint64_t fileBytes_;
    const Mp4Index& index_;
    const VisitSample& visit_;
    Mp4Fragment& fragment_;
    const Mp4Track* track_ = nullptr;
    Mp4Run run_;
    bool hasSamples_ = false;
    std::uint64_t base_ = 0, at_ = 0;
    std::uint32_t duration_ = 0, size_ = 0;
};

}  // namespace

bool readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index,
                  Mp4Fragment& fragment, const VisitSample& visit) {
    fragment.samples = 0;
    fragment.hasEmptySample = false;
    fragment.dataBegin = fragment.dataEnd = 0;
    fragment.runs.clear();
    bool good = true;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "traf") good = good && TrackRun(offset, fileBytes, index, visit, fragment).read(box);
    });
    return fills && good && fragment.samples > 0;
}

std::optional<FragmentTable> readFragmentTable(ByteSpan contents) {
    Numbers numbers(contents);
    FragmentTable table{};
    table.width = numbers.next32() >> 24 == 1 ? 8 : 4;
    table.track = numbers.next32();
    const std::uint32_t widths = numbers.next32();
    // Behind time and offset the numbers of track, run and sample, each of its own width.
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
