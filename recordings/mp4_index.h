#ifndef RECORDINGS_MP4_INDEX_H
#define RECORDINGS_MP4_INDEX_H

#include <map>
#include <optional>
#include <string>

#include "recordings/file_bytes.h"

namespace recordings {

/** A track in the index of a file. */
struct Mp4Track {
    std::uint32_t timescale = 0;
    std::string handler;         /**< `vide`, `soun`, ... */
    std::string codec;           /**< `avc1`, `hvc1`, `hev1`, `mp4a`, ... */
    bool configured = false;     /**< the decoder configuration is complete */
    std::size_t lengthBytes = 4; /**< of the length before each unit of a picture */
    bool hasDefaults = false;    /**< fragments may have samples of it */
    std::uint32_t sampleDuration = 0;
    std::uint32_t sampleSize = 0; /**< both of samples that do not have their own */
    std::uint64_t samples = 0;    /**< listed in the index itself */
};

struct Mp4Index {
    std::map<std::uint32_t, Mp4Track> tracks; /**< by their numbers */
    double seconds = 0;                       /**< of what is listed in the index itself */
};

/** Reads the contents of a `moov` box; nothing when they are damaged or a player could not use a track. */
std::optional<Mp4Index> readIndex(ByteSpan contents);

}  // namespace recordings

#endif
