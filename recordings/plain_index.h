#ifndef RECORDINGS_PLAIN_INDEX_H
#define RECORDINGS_PLAIN_INDEX_H

#include <optional>
#include <vector>

#include "recordings/file_bytes.h"
#include "recordings/h264_units.h"

namespace recordings {

/** A picture in the data of a file: units with their lengths before them. */
struct FoundPicture {
    std::uint64_t offset;
    std::uint64_t bytes;
    bool isKey;
};

/** An index (`moov`) for pictures of one rate, in the form that players read. */
Bytes plainIndex(const SequenceSet& set, ByteSpan sequenceSet, ByteSpan pictureSet,
                 const std::vector<FoundPicture>& pictures);

/**
 * The beginning of a file's data, for a header of their own of 8 or 16 bytes, or one of 8 bytes behind an
 * empty box of as many: `room` bytes, after which the data go on. They have `size` bytes with that. Empty
 * when a header of 8 bytes has no place for the size.
 */
Bytes dataHeader(std::uint64_t room, std::uint64_t size);

/** What is needed to play a plain MP4 file that was cut short, and has no index. */
struct RebuiltIndex {
    Bytes index;              /**< for the end of the file */
    std::uint64_t dataAt = 0; /**< where the header of the data is to be replaced once that is on the disk */
    Bytes dataHeader;         /**< as the data then ends where the index begins */
    std::uint64_t pictures = 0;
    double rate = 0; /**< pictures in a second */
    bool hasOther =
        false; /**< there is more than pictures: sound, of which only the lost index tells the borders */
};

/**
 * Finds the pictures in the data of a file without an index. They must be H.264 with parameter sets before
 * key frames that tell their rate, as the recordings of the workstation have them. Nothing when there are
 * none.
 */
std::optional<RebuiltIndex> rebuildIndex(const FileBytes& file);

}  // namespace recordings

#endif
