#ifndef VNCAM_MP4_BOXES_H
#define VNCAM_MP4_BOXES_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "file_bytes.h"

namespace vncam {

/** The header of a box: its kind, and where its contents begin and end, counted from where it begins. */
struct BoxHeader {
    std::string kind;
    std::uint64_t contents;
    std::uint64_t end;
};

/** Reads a header at the beginning of some bytes that have `room` to the end of what holds the box; nothing
 * when there is none that fits. */
std::optional<BoxHeader> readBoxHeader(ByteSpan bytes, std::uint64_t room);

/** Calls `visit(kind, contents)` for each box in the contents of another; false when they do not fill it. */
template <class Visit>
bool forEachBox(ByteSpan bytes, Visit&& visit) {
    while (!bytes.empty()) {
        const auto box = readBoxHeader(bytes, bytes.size());
        if (!box) return false;
        visit(std::string_view(box->kind), bytes.subspan(box->contents, box->end - box->contents));
        bytes = bytes.subspan(box->end);
    }
    return true;
}

/** What the index of a file tells of a track. */
struct Mp4Track {
    std::uint32_t timescale = 0;
    std::string codec;           /**< `avc1`, `hvc1`, `hev1`, `mp4a`, ... */
    std::size_t lengthBytes = 4; /**< of the length before each unit of a picture */
    std::uint32_t sampleDuration = 0;
    std::uint32_t sampleSize = 0; /**< both of samples that do not have their own */
    std::uint64_t samples = 0;    /**< listed in the index itself */
};

struct Mp4Index {
    std::map<std::uint32_t, Mp4Track> tracks; /**< by their numbers */
    double seconds = 0;                       /**< of what is listed in the index itself */
};

/** Reads the contents of a `moov` box; nothing when they are damaged. */
std::optional<Mp4Index> readIndex(ByteSpan contents);

/** A sample that a fragment lists. */
struct Mp4Sample {
    std::uint32_t track;
    std::uint64_t offset; /**< in the file */
    std::uint32_t size;
};

struct Mp4Fragment {
    std::vector<Mp4Sample> samples;
    double begin = 0; /**< seconds, of its earliest sample */
    double end = 0;
};

/** Reads the contents of a `moof` box that begins at `offset` of its file; nothing when they are damaged. */
std::optional<Mp4Fragment> readFragment(ByteSpan contents, std::uint64_t offset, const Mp4Index& index);

}  // namespace vncam

#endif
