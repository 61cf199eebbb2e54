#include "mp4_boxes.h"

#include <algorithm>
#include <limits>

namespace vncam {

namespace {

constexpr std::size_t fullBoxHeader = 4;  // version and flags

/** Reads numbers one after the other; once one is missing, `failed`, and all that follow are 0. */
class Numbers {
  public:
    explicit Numbers(ByteSpan bytes) : bytes_(bytes) {}

    std::uint64_t next(std::size_t count) {
        if (failed_ || bytes_.size() < count) {
            failed_ = true;
            return 0;
        }
        const std::uint64_t value = bigEndian(bytes_, 0, count);
        bytes_ = bytes_.subspan(count);
        return value;
    }
    std::uint32_t next32() { return static_cast<std::uint32_t>(next(4)); }
    void skip(std::size_t count) {
        if (bytes_.size() < count) failed_ = true;
        bytes_ = bytes_.subspan(std::min(count, bytes_.size()));
    }
    bool failed() const { return failed_; }
    ByteSpan rest() const { return bytes_; }

  private:
    ByteSpan bytes_;
    bool failed_ = false;
};

/** Unit and length of a header box with two times before them, `mvhd` and `mdhd`. */
struct Timing {
    std::uint32_t timescale;
    std::uint64_t duration;
};

Timing readTiming(ByteSpan contents) {
    Numbers numbers(contents);
    const bool isLong = numbers.next32() >> 24 == 1;
    numbers.skip(isLong ? 16 : 8);
    const std::uint32_t timescale = numbers.next32();
    const std::uint64_t duration = numbers.next(isLong ? 8 : 4);
    return numbers.failed() ? Timing{} : Timing{timescale, duration};
}

void readSampleEntry(ByteSpan contents, Mp4Track& track) {
    constexpr std::size_t entries = fullBoxHeader + 4;
    constexpr std::size_t pictureFields = 78;
    if (contents.size() < entries) return;
    forEachBox(contents.subspan(entries), [&](std::string_view kind, ByteSpan entry) {
        track.codec = kind;
        if ((kind != "avc1" && kind != "hvc1" && kind != "hev1") || entry.size() < pictureFields) return;
        forEachBox(entry.subspan(pictureFields), [&](std::string_view inner, ByteSpan settings) {
            const std::size_t at = inner == "avcC" ? 4 : inner == "hvcC" ? 21 : settings.size();
            if (at < settings.size()) track.lengthBytes = (settings[at] & 3U) + 1;
        });
    });
}

/** Goes down through the boxes of a track that only hold others. */
void readTrackBoxes(ByteSpan contents, std::uint32_t& number, Mp4Track& track) {
    forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "mdia" || kind == "minf" || kind == "stbl") {
            readTrackBoxes(box, number, track);
        } else if (kind == "tkhd") {
            Numbers numbers(box);
            numbers.skip(numbers.next32() >> 24 == 1 ? 16 : 8);
            number = numbers.next32();
        } else if (kind == "mdhd") {
            track.timescale = readTiming(box).timescale;
        } else if (kind == "stsd") {
            readSampleEntry(box, track);
        } else if (kind == "stsz" && box.size() >= 12) {
            track.samples = bigEndian(box, 8, 4);
        }
    });
}

void readDefaults(ByteSpan contents, Mp4Index& index) {
    forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        Numbers numbers(box);
        if (kind != "trex") return;
        numbers.skip(fullBoxHeader);
        Mp4Track& track = index.tracks[numbers.next32()];
        numbers.skip(4);
        track.sampleDuration = numbers.next32();
        track.sampleSize = numbers.next32();
    });
}

/** A fragment's part of one track. */
class TrackRun {
  public:
    TrackRun(std::uint64_t offset, const Mp4Index& index, Mp4Fragment& fragment)
        : fragmentOffset_(offset), index_(index), fragment_(fragment) {}

    bool read(ByteSpan contents) {
        bool good = true;
        const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
            if (kind == "tfhd") good = readHeader(box) && good;
            if (kind == "tfdt") good = readTime(box) && good;
            if (kind == "trun") good = readSamples(box) && good;
        });
        if (!fills || !good || !track_) return false;
        const double scale = track_->timescale;
        fragment_.begin = std::min(fragment_.begin, static_cast<double>(begin_) / scale);
        fragment_.end = std::max(fragment_.end, static_cast<double>(begin_ + length_) / scale);
        return true;
    }

  private:
    bool readHeader(ByteSpan contents) {
        Numbers numbers(contents);
        const std::uint32_t flags = numbers.next32();
        number_ = numbers.next32();
        const auto found = index_.tracks.find(number_);
        if (found == index_.tracks.end() || found->second.timescale == 0) return false;
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
        if (flags & 0x01)
            at_ = base_ + static_cast<std::uint64_t>(static_cast<std::int32_t>(numbers.next32()));
        if (flags & 0x04) numbers.skip(4);
        for (std::uint32_t i = 0; i < count && !numbers.failed(); ++i) {
            length_ += flags & 0x100 ? numbers.next32() : duration_;
            const std::uint32_t size = flags & 0x200 ? numbers.next32() : size_;
            if (flags & 0x400) numbers.skip(4);
            if (flags & 0x800) numbers.skip(4);
            fragment_.samples.push_back({number_, at_, size});
            at_ += size;
        }
        return track_ && !numbers.failed() && numbers.rest().empty();
    }

    const std::uint64_t fragmentOffset_;
    const Mp4Index& index_;
    Mp4Fragment& fragment_;
    const Mp4Track* track_ = nullptr;
    std::uint32_t number_ = 0;
    std::uint64_t base_ = 0, at_ = 0, begin_ = 0, length_ = 0;
    std::uint32_t duration_ = 0, size_ = 0;
};

}  // namespace

std::optional<BoxHeader> readBoxHeader(ByteSpan bytes, std::uint64_t room) {
    constexpr std::size_t usual = 8;
    constexpr std::size_t large = 16;
    if (bytes.size() < usual) return std::nullopt;
    BoxHeader header{{bytes.begin() + 4, bytes.begin() + usual}, usual, bigEndian(bytes, 0, 4)};
    const auto isLetter = [](unsigned char c) { return (c >= 0x20 && c < 0x7f) || c == 0xa9; };
    if (!std::ranges::all_of(header.kind, isLetter)) return std::nullopt;
    if (header.end == 1) {
        if (bytes.size() < large) return std::nullopt;
        header.contents = large;
        header.end = bigEndian(bytes, usual, 8);
    } else if (header.end == 0) {
        header.end = room;
    }
    if (header.end < header.contents || header.end > room) return std::nullopt;
    return header;
}

std::optional<Mp4Index> readIndex(ByteSpan contents) {
    Mp4Index index;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "mvhd") {
            const Timing timing = readTiming(box);
            if (timing.timescale) index.seconds = static_cast<double>(timing.duration) / timing.timescale;
        } else if (kind == "trak") {
            std::uint32_t number = 0;
            Mp4Track track;
            readTrackBoxes(box, number, track);
            Mp4Track& kept = index.tracks[number];
            track.sampleDuration = kept.sampleDuration;
            track.sampleSize = kept.sampleSize;
            kept = track;
        } else if (kind == "mvex") {
            readDefaults(box, index);
        }
    });
    if (!fills || index.tracks.empty()) return std::nullopt;
    return index;
}

std::optional<Mp4Fragment> readFragment(ByteSpan contents, std::uint64_t offset, const Mp4Index& index) {
    Mp4Fragment fragment;
    fragment.begin = std::numeric_limits<double>::max();
    bool good = true;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "traf") good = good && TrackRun(offset, index, fragment).read(box);
    });
    if (!fills || !good || fragment.samples.empty()) return std::nullopt;
    return fragment;
}

}  // namespace vncam
