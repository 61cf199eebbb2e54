#ifndef RECORDINGS_LENGTH_BOX_H
#define RECORDINGS_LENGTH_BOX_H

#include <optional>

#include "recordings/file_bytes.h"

namespace recordings {

/**
 * The length of a fragmented file in its header (`mehd`, ISO/IEC 14496-12, 8.8.2): without it some players
 * show only what they have read so far. It is known when the file is closed; until then its place is a `free`
 * box.
 */
struct LengthBox {
    std::uint64_t offset; /**< in the file */
    Bytes bytes;          /**< of the whole box */
};

/** Size of the box in bytes. */
inline constexpr std::size_t kLengthBoxSize = 20;

/** The place kept for it. */
Bytes lengthPlace();
/** Moves the place, which follows the `moov` box at the end of `header`, into that. False, and nothing has
 * changed, when the header has no room for fragments. */
bool moveLengthPlace(Bytes& header);

/** The box with the length of a file, and where it belongs; nothing when the file keeps no place for it.
 * Throws Failure when the file cannot be read or nothing of it plays. */
std::optional<LengthBox> lengthBoxOf(const FileBytes& file);

}  // namespace recordings

#endif
