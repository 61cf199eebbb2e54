#ifndef RECORDINGS_MP4_HEADER_H
#define RECORDINGS_MP4_HEADER_H

#include <functional>
#include <optional>
#include <string_view>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_index.h"

namespace recordings {

/** Calls `visit(offset)` for each place from `begin` on where a box of `kind` might begin, until it returns
 * true. Returns whether it did. */
bool forEachPlaceOf(const FileBytes& file, std::string_view kind, std::uint64_t begin,
                    const std::function<bool(std::uint64_t offset)>& visit);

/** The header of the box at `offset`; nothing when it is invalid, exceeds the file, or has size 0: it then
 * extends to the end of the file and has never been finished. */
std::optional<BoxHeader> boxAt(const FileBytes& file, std::uint64_t offset);

/** The boxes in front of the fragments of a file: `ftyp` and `moov`. */
struct Mp4Header {
    std::uint64_t begin; /**< file offset; not 0 for a copy */
    std::uint64_t end;
    Mp4Index index;
    std::optional<Bytes> mark; /**< random mark of the file, repeated behind each fragment */
};

/** The mark of a file in the box at `offset`; nothing when that is another box. */
std::optional<Bytes> markAt(const FileBytes& file, std::uint64_t offset);

/** The header at the beginning of a file; when that is damaged, the copy that recordings have further on. */
std::optional<Mp4Header> findHeader(const FileBytes& file);

}  // namespace recordings

#endif
