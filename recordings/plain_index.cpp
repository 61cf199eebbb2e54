#include "recordings/plain_index.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "recordings/mp4_boxes.h"

namespace recordings {
namespace {

constexpr std::size_t kBoxSizeBytes = 4;

/** Appends numbers, text and boxes to bytes. */
class Writer {
  public:
    void number(std::uint64_t value, int bytes) {
        while (bytes-- > 0) bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * bytes));
    }
    void zeros(std::size_t bytes) { bytes_.resize(bytes_.size() + bytes); }
    void text(std::string_view text) {
        for (const char letter : text) bytes_.push_back(static_cast<std::uint8_t>(letter));
    }
    void bytes(ByteSpan bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

    /** A box with what `fill` writes. */
    template <class Fill>
    void box(std::string_view kind, Fill&& fill) {
        const std::size_t begin = bytes_.size();
        zeros(4);
        text(kind);
        fill();
        const std::size_t size = bytes_.size() - begin;
        for (std::size_t i = 0; i < kBoxSizeBytes; ++i)
            bytes_[begin + i] = static_cast<std::uint8_t>(size >> 8 * (kBoxSizeBytes - 1 - i));
    }
    template <class Fill>
    void fullBox(std::string_view kind, int version, std::uint32_t flags, Fill&& fill) {
        box(kind, [&] {
            number(static_cast<std::uint64_t>(version), 1);
            number(flags, 3);
            fill();
        });
    }
    void matrix() {
        for (const std::uint32_t value : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U})
            number(value, 4);
    }
    Bytes take() { return std::move(bytes_); }

  private:
    Bytes bytes_;
};

/** ISO/IEC 14496-12, 8.2.2; creation and modification times are 0. */
void writeMovieHeader(Writer& out, const SequenceSet& set, std::uint64_t length) {
    out.fullBox("mvhd", 1, 0, [&] {
        out.zeros(16);
        out.number(set.timescale, 4);
        out.number(length, 8);
        out.number(0x10000, 4);  // rate 1
        out.number(0x100, 2);    // volume 1
        out.zeros(10);
        out.matrix();
        out.zeros(24);
        out.number(2, 4);  // next_track_ID
    });
}

void writeTrackHeader(Writer& out, const SequenceSet& set, std::uint64_t length) {
    constexpr std::uint32_t kEnabled = 3;
    out.fullBox("tkhd", 1, kEnabled, [&] {
        out.zeros(16);
        out.number(1, 4);  // track_ID
        out.zeros(4);
        out.number(length, 8);
        out.zeros(16);
        out.matrix();
        out.number(static_cast<std::uint64_t>(set.width) << 16, 4);
        out.number(static_cast<std::uint64_t>(set.height) << 16, 4);
    });
}

/** ISO/IEC 14496-15, 5.3.3.1: `avcC`. */
void writeSettings(Writer& out, ByteSpan sequenceSet, ByteSpan pictureSet) {
    out.box("avcC", [&] {
        out.number(1, 1);
        out.bytes(sequenceSet.subspan(1, 3));
        out.number(0xff, 1);  // lengths of four bytes
        out.number(0xe1, 1);
        out.number(sequenceSet.size(), 2);
        out.bytes(sequenceSet);
        out.number(1, 1);
        out.number(pictureSet.size(), 2);
        out.bytes(pictureSet);
    });
}

void writeDescription(Writer& out, const SequenceSet& set, ByteSpan sequenceSet, ByteSpan pictureSet) {
    constexpr std::uint32_t kDotsPerInch = 72 << 16;
    out.fullBox("stsd", 0, 0, [&] {
        out.number(1, 4);
        out.box("avc1", [&] {
            out.zeros(6);
            out.number(1, 2);
            out.zeros(16);
            out.number(static_cast<std::uint64_t>(set.width), 2);
            out.number(static_cast<std::uint64_t>(set.height), 2);
            out.number(kDotsPerInch, 4);
            out.number(kDotsPerInch, 4);
            out.zeros(4);
            out.number(1, 2);
            out.zeros(32);
            out.number(24, 2);  // bits per pixel
            out.number(0xffff, 2);
            writeSettings(out, sequenceSet, pictureSet);
        });
    });
}

/** Each picture is a chunk of its own: audio lies between them. */
void writeTables(Writer& out, const SequenceSet& set, const std::vector<FoundPicture>& pictures) {
    out.fullBox("stts", 0, 0, [&] {
        out.number(1, 4);
        out.number(pictures.size(), 4);
        out.number(set.duration, 4);
    });
    out.fullBox("stss", 0, 0, [&] {
        out.number(static_cast<std::uint64_t>(std::ranges::count(pictures, true, &FoundPicture::isKey)), 4);
        for (std::size_t i = 0; i < pictures.size(); ++i)
            if (pictures[i].isKey) out.number(i + 1, 4);
    });
    out.fullBox("stsc", 0, 0, [&] {
        for (int i = 0; i < 4; ++i) out.number(1, 4);
    });
    out.fullBox("stsz", 0, 0, [&] {
        out.zeros(4);
        out.number(pictures.size(), 4);
        for (const FoundPicture& picture : pictures) out.number(picture.bytes, 4);
    });
    out.fullBox("co64", 0, 0, [&] {
        out.number(pictures.size(), 4);
        for (const FoundPicture& picture : pictures) out.number(picture.offset, 8);
    });
}

}  // namespace

Bytes plainIndex(const SequenceSet& set, ByteSpan sequenceSet, ByteSpan pictureSet,
                 const std::vector<FoundPicture>& pictures) {
    constexpr std::uint32_t kNoLanguage = 0x55c4;
    constexpr std::uint32_t kInThisFile = 1;
    const std::uint64_t length = std::uint64_t{set.duration} * pictures.size();
    Writer out;
    out.box("moov", [&] {
        writeMovieHeader(out, set, length);
        out.box("trak", [&] {
            writeTrackHeader(out, set, length);
            out.box("mdia", [&] {
                out.fullBox("mdhd", 1, 0, [&] {
                    out.zeros(16);
                    out.number(set.timescale, 4);
                    out.number(length, 8);
                    out.number(kNoLanguage, 2);
                    out.zeros(2);
                });
                out.fullBox("hdlr", 0, 0, [&] {
                    out.zeros(4);
                    out.text("vide");
                    out.zeros(13);
                });
                out.box("minf", [&] {
                    out.fullBox("vmhd", 0, 1, [&] { out.zeros(8); });
                    out.box("dinf", [&] {
                        out.fullBox("dref", 0, 0, [&] {
                            out.number(1, 4);
                            out.fullBox("url ", 0, kInThisFile, [] {});
                        });
                    });
                    out.box("stbl", [&] {
                        writeDescription(out, set, sequenceSet, pictureSet);
                        writeTables(out, set, pictures);
                    });
                });
            });
        });
    });
    return out.take();
}

Bytes dataHeader(std::uint64_t room, std::uint64_t size) {
    constexpr std::uint64_t kShort = 8;
    Bytes header = boxHeader("mdat", size);
    if (header.size() > room) return {};
    // Only a long size or an empty box can fill the room: players accept both, but nothing else there.
    if (header.size() < room) {
        header = boxHeader("free", kShort);
        const Bytes data = boxHeader("mdat", size - kShort);
        header.insert(header.end(), data.begin(), data.end());
    }
    return header;
}

}  // namespace recordings
