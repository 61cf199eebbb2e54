#ifndef RECORDINGS_PLAIN_INDEX_H
#define RECORDINGS_PLAIN_INDEX_H

#include <optional>
#include <vector>

#include "recordings/file_bytes.h"
#include "recordings/h264_units.h"

namespace recordings {

/** A picture in the media data of a file: NAL units with their lengths in front. */
struct FoundPicture {
    std::uint64_t offset;
    std::uint64_t bytes;
    bool isKey;
};

/** An index (`moov` box) for pictures at a constant rate. */
Bytes plainIndex(const SequenceSet& set, ByteSpan sequenceSet, ByteSpan pictureSet,
                 const std::vector<FoundPicture>& pictures);

/**
 * A header for the media data (`mdat`) that fills `room` bytes: 8, or 16 with a long header or with an empty
 * `free` box in front of a short one. `size` is that of the data including `room`. Empty when `room` is 8 and
 * `size` needs a long header.
 */
Bytes dataHeader(std::uint64_t room, std::uint64_t size);

/** What makes a plain MP4 file playable that was cut short before its index was written. */
struct RebuiltIndex {
    Bytes index;              /**< to append to the file */
    std::uint64_t dataAt = 0; /**< where to write `dataHeader` once `index` is on the disk */
    Bytes dataHeader;         /**< ends the data where the index begins */
    std::uint64_t pictures = 0;
    double rate = 0; /**< pictures per second */
    /** There is more than pictures: audio, whose packet boundaries only the lost index had. */
    bool hasOther = false;
};

/**
 * Finds the pictures in the media data of a file without an index. They must be H.264 with in-band parameter
 * sets that contain the frame rate, as in recordings of the workstation. Nothing when none is found.
 */
std::optional<RebuiltIndex> rebuildIndex(const FileBytes& file);

}  // namespace recordings

#endif
