#ifndef RECORDINGS_MP4_HEADER_H
#define RECORDINGS_MP4_HEADER_H

#include <functional>
#include <optional>
#include <string_view>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_index.h"

namespace recordings {

/** Calls `visit(offset)` for each place from `begin` on where a box of a kind might begin, until it is true.
 */
bool forEachPlaceOf(const FileBytes& file, std::string_view kind, std::uint64_t begin,
                    const std::function<bool(std::uint64_t offset)>& visit);

/** The header of the box that begins at `offset`; nothing when there is none that fits into the file, or one
 * that goes on to its end, as one does that has never been finished. */
std::optional<BoxHeader> boxAt(const FileBytes& file, std::uint64_t offset);

/** What stands before the fragments of a file: `ftyp` and `moov`. */
struct Mp4Header {
    std::uint64_t begin; /**< where it lies: not at 0 when it is a copy */
    std::uint64_t end;
    Mp4Index index;
    std::optional<Bytes> mark; /**< that of the file; behind its fragments, too, if it has one */
};

/** The mark of a file in the box at `offset`; nothing when it is another. */
std::optional<Bytes> markAt(const FileBytes& file, std::uint64_t offset);

/** The header at the beginning of a file, or the copy that recordings have further on, for when that is
 * damaged. */
std::optional<Mp4Header> findHeader(const FileBytes& file);

}  // namespace recordings

#endif
