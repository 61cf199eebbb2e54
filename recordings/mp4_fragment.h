#ifndef RECORDINGS_MP4_FRAGMENT_H
#define RECORDINGS_MP4_FRAGMENT_H

#include <functional>
#include <optional>

#include "recordings/mp4_index.h"

namespace recordings {

/** A sample listed in a fragment. */
struct Mp4Sample {
    std::uint32_t track;
    std::uint64_t offset; /**< in the file */
    std::uint32_t size;
};

/** The description of a fragment. Samples are visited, not stored: a short box may list very many. */
struct Mp4Fragment {
    std::uint64_t samples = 0;
    std::uint64_t dataBegin = 0; /**< in the file, of the first byte of a sample */
    std::uint64_t dataEnd = 0;
    double begin = 0; /**< seconds, of its earliest sample */
    double end = 0;
};

using VisitSample = std::function<void(const Mp4Sample&)>;

/**
 * Reads the contents of a `moof` box that begins at `offset` of a file of so many bytes, and calls `visit`
 * with each sample. Nothing when they are damaged, or list a sample that is empty or beyond the end of the
 * file.
 */
std::optional<Mp4Fragment> readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes,
                                        const Mp4Index& index, const VisitSample& visit = nullptr);

/** Calls `visit` with where a fragment begins for each entry of the contents of a `tfra` box, until it is
 * false; false, too, when the entries do not fill the box. */
bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit);

}  // namespace recordings

#endif
