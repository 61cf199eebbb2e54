#include "recordings/mp4_fragment.h"

#include <algorithm>
#include <limits>

#include "recordings/mp4_boxes.h"

namespace recordings {

namespace {

/** Of a fragment: twenty seconds of samples that are not even compressed. More are a count that lies. */
constexpr std::uint64_t kMaxSamples = 1 << 20;

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
        const double scale = track_->timescale;
        const double begin = static_cast<double>(begin_) / scale;
        fragment_.begin = std::min(fragment_.begin, begin);
        fragment_.end = std::max(fragment_.end, begin + static_cast<double>(length_) / scale);
        return true;
    }

  private:
    bool readHeader(ByteSpan contents) {
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        number_ = numbers.next32();
        const auto found = index_.tracks.find(number_);
        if (found == index_.tracks.end() || !found->second.hasDefaults) return false;
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
        begin_ = numbers.next(numbers.next32() >> 24 == 1 ? 8 : 4);
        return !numbers.failed();
    }

    bool readSamples(ByteSpan contents) {
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        const std::uint32_t count = numbers.next32();
        if (!track_ || count > kMaxSamples - fragment_.samples) return false;
        if (flags & 0x01) {
            const std::int64_t distance = static_cast<std::int32_t>(numbers.next32());
            if (base_ > fileBytes_ || (distance < 0 && base_ < static_cast<std::uint64_t>(-distance)))
                return false;
            at_ = base_ + static_cast<std::uint64_t>(distance);
        }
        if (flags & 0x04) numbers.skip(4);
        for (std::uint32_t i = 0; i < count; ++i) {
            length_ += flags & 0x100 ? numbers.next32() : duration_;
            const std::uint32_t size = flags & 0x200 ? numbers.next32() : size_;
            if (flags & 0x400) numbers.skip(4);
            if (flags & 0x800) numbers.skip(4);
            // Each takes its bytes of the file, so a count that lies ends here.
            if (numbers.failed() || size == 0 || at_ > fileBytes_ || size > fileBytes_ - at_) return false;
            take({number_, at_, size});
            at_ += size;
        }
        return !numbers.failed() && numbers.rest().empty();
    }

    void take(const Mp4Sample& sample) {
        const bool first = fragment_.samples++ == 0;
        const std::uint64_t end = sample.offset + sample.size;
        fragment_.dataBegin = first ? sample.offset : std::min(fragment_.dataBegin, sample.offset);
        fragment_.dataEnd = std::max(fragment_.dataEnd, end);
        if (visit_) visit_(sample);
    }

    const std::uint64_t fragmentOffset_;
    const std::uint64_t fileBytes_;
    const Mp4Index& index_;
    const VisitSample& visit_;
    Mp4Fragment& fragment_;
    const Mp4Track* track_ = nullptr;
    std::uint32_t number_ = 0;
    std::uint64_t base_ = 0, at_ = 0, begin_ = 0, length_ = 0;
    std::uint32_t duration_ = 0, size_ = 0;
};

}  // namespace

std::optional<Mp4Fragment> readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes,
                                        const Mp4Index& index, const VisitSample& visit) {
    Mp4Fragment fragment;
    fragment.begin = std::numeric_limits<double>::max();
    bool good = true;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "traf") good = good && TrackRun(offset, fileBytes, index, visit, fragment).read(box);
    });
    if (!fills || !good || fragment.samples == 0) return std::nullopt;
    return fragment;
}

bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit) {
    Numbers numbers(contents);
    const bool isLong = numbers.next32() >> 24 == 1;
    numbers.skip(4);
    const std::uint32_t widths = numbers.next32();
    const std::size_t numbersOfSample = (widths >> 4 & 3) + (widths >> 2 & 3) + (widths & 3) + 3;
    const std::uint32_t count = numbers.next32();
    for (std::uint32_t i = 0; i < count; ++i) {
        numbers.skip(isLong ? 8 : 4);
        const std::uint64_t offset = numbers.next(isLong ? 8 : 4);
        numbers.skip(numbersOfSample);
        if (numbers.failed() || !visit(offset)) return false;
    }
    return !numbers.failed() && numbers.rest().empty();
}

}  // namespace recordings
