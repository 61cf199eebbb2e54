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

/** A table in the contents of an index: its entries, of a size that its kind fixes. */
struct Mp4Table {
    std::uint64_t at = 0; /**< of the first entry, counted from the beginning of the contents */
    std::uint64_t count = 0;
};

/** The tables of the samples that the index lists itself. Each lies within the index. */
struct Mp4Tables {
    Mp4Table durations; /**< `stts` */
    Mp4Table shifts;    /**< `ctts`; empty when samples are presented when they are decoded */
    Mp4Table chunks;    /**< `stsc` */
    Mp4Table offsets;   /**< `stco` or `co64`, of chunks */
    std::size_t offsetBytes = 4;
    Mp4Table sizes;               /**< `stsz`; empty when all have `sampleSize` */
    std::uint32_t sampleSize = 0; /**< of all; 0 when each has its own */
    std::optional<Mp4Table> keys; /**< `stss`; without one each sample is a key */
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
    std::uint32_t sampleSize = 0; /**< all three of samples that do not have their own */
    std::uint32_t sampleFlags = 0;
    std::uint64_t samples = 0; /**< listed in the index itself */
    std::uint64_t length = 0;  /**< of these */
    std::vector<Mp4Edit> edits;
    int width = 0; /**< of pictures */
    int height = 0;
    int sampleRate = 0; /**< of sound, in hertz */
    int channels = 0;
    /** For its decoder: the contents of `avcC` or `hvcC`, or of AAC the AudioSpecificConfig. */
    Bytes settings;
    Mp4Tables tables;
};

struct Mp4Index {
    std::map<std::uint32_t, Mp4Track> tracks; /**< by their numbers */
    std::uint32_t timescale = 0;              /**< units in a second, of the file as a whole */
    double seconds = 0;                       /**< of what is listed in the index itself */
    bool usable = false;                      /**< by players: consistent, and each track is configured */
};

/** Times beyond it, in units of any track, leave no room to calculate with. */
inline constexpr std::uint64_t kMaxTime = std::uint64_t{1} << 62;

/** In bytes. An index with tables of a day of pictures and sound is a quarter of it. */
inline constexpr std::uint64_t kMaxIndexSize = 256 << 20;

/** Reads the contents of a `moov` box; nothing when its boxes do not fill it or none describes a track. */
std::optional<Mp4Index> readIndex(ByteSpan contents);

}  // namespace recordings

#endif
