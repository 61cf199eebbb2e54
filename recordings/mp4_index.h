#ifndef RECORDINGS_MP4_INDEX_H
#define RECORDINGS_MP4_INDEX_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "recordings/file_bytes.h"

namespace recordings {

/** An entry of an edit list: what is shown of a track, and when. */
struct Mp4Edit {
    std::uint64_t length = 0;   /**< in units of the file; 0 goes on to the end of the track */
    std::int64_t mediaTime = 0; /**< where it begins, in units of the track; below 0 nothing is shown */
};

/** A track in the index of a file. */
struct Mp4Track {
    std::uint32_t timescale = 0; /**< units in a second */
    std::string handler;         /**< `vide`, `soun`, ... */
    std::string codec;           /**< `avc1`, `hvc1`, `hev1`, `mp4a`, ... */
    bool configured = false;     /**< the decoder configuration is complete */
    std::size_t lengthBytes = 4; /**< of the length before each unit of a picture */
    bool hasDefaults = false;    /**< fragments may have samples of it */
    std::uint32_t sampleDuration = 0;
    std::uint32_t sampleSize = 0; /**< both of samples that do not have their own */
    std::uint64_t samples = 0;    /**< listed in the index itself */
    std::uint64_t length = 0;     /**< of these */
    std::vector<Mp4Edit> edits;
};

struct Mp4Index {
    std::map<std::uint32_t, Mp4Track> tracks; /**< by their numbers */
    std::uint32_t timescale = 0;              /**< units in a second, of the file as a whole */
    double seconds = 0;                       /**< of what is listed in the index itself */
    bool usable = false;                      /**< by players: consistent, and each track is configured */
};

/** Reads the contents of a `moov` box; nothing when its boxes do not fill it or none describes a track. */
std::optional<Mp4Index> readIndex(ByteSpan contents);

}  // namespace recordings

#endif
