#ifndef RECORDINGS_MP4_FRAGMENT_H
#define RECORDINGS_MP4_FRAGMENT_H

#include <functional>
#include <optional>
#include <vector>

#include "recordings/mp4_index.h"

namespace recordings {

/** A sample listed in a fragment. */
struct Mp4Sample {
    std::uint32_t track;
    std::uint64_t offset; /**< in the file */
    std::uint32_t size;
};

/** The samples of one track in a fragment; times in units of the track. */
struct Mp4Run {
    std::uint32_t track = 0;
    std::optional<std::uint64_t> begin; /**< decoding time of the first sample; without one, the end of the
                                             track's run before */
    std::uint64_t length = 0;           /**< of all samples together */
    /** Presentation of the earliest sample and end of that of the latest, counted from `begin`. */
    std::int64_t earliest = 0;
    std::int64_t latest = 0;
};

/** The description of a fragment. Samples are visited, not stored: a short box may list very many. */
struct Mp4Fragment {
    std::uint64_t samples = 0;
    bool hasEmptySample = false;
    std::uint64_t dataBegin = 0; /**< in the file, of the first byte of a sample */
    std::uint64_t dataEnd = 0;
    std::vector<Mp4Run> runs;
};

/** False ends the reading of the fragment. */
using VisitSample = std::function<bool(const Mp4Sample&)>;

/**
 * Reads the contents of a `moof` box that begins at `offset` of a file of so many bytes, and calls `visit`
 * with each sample. False when they are damaged, or list a sample that is beyond the end of the file, or
 * `visit` was false; `fragment` is then incomplete.
 */
bool readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index,
                  Mp4Fragment& fragment, const VisitSample& visit = nullptr);

/** What stands before the entries of a `tfra` box. */
struct FragmentTable {
    std::uint32_t track;
    std::uint64_t width; /**< of the time and of the offset in an entry, in bytes */
    std::uint64_t entry; /**< of an entry, in bytes */
    std::uint64_t count;
};

/** Size of what stands before the entries, in bytes. */
inline constexpr std::size_t kFragmentTableHead = 16;

/** Reads it from the contents of the box; nothing when they are shorter. */
std::optional<FragmentTable> readFragmentTable(ByteSpan contents);

/** Calls `visit` with where a fragment begins for each entry of the contents of a `tfra` box, until it is
 * false; false, too, when the entries do not fill the box. */
bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit);

}  // namespace recordings

#endif
