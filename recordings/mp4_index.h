#ifndef RECORDINGS_MP4_INDEX_H
#define RECORDINGS_MP4_INDEX_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "recordings/file_bytes.h"

namespace recordings {

/** An entry of an edit list: which part of a track is shown, and when. */
struct Mp4Edit {
    std::uint64_t length = 0;   /**< in units of the file; 0: up to the end of the track */
    std::int64_t mediaTime = 0; /**< start, in units of the track; negative: nothing is shown */
};

/** The entries of a table in the contents of an index. The kind of the table fixes the size of an entry. */
struct Mp4Table {
    std::uint64_t at = 0; /**< offset of the first entry in the contents */
    std::uint64_t count = 0;
};

/** The sample tables of a track. Each lies within the index. */
struct Mp4Tables {
    Mp4Table durations; /**< `stts` */
    Mp4Table shifts;    /**< `ctts`; empty when presentation times equal decoding times */
    Mp4Table chunks;    /**< `stsc` */
    Mp4Table offsets;   /**< `stco` or `co64`, of chunks */
    std::size_t offsetBytes = 4;
    Mp4Table sizes;               /**< `stsz`; empty when all samples have `sampleSize` */
    std::uint32_t sampleSize = 0; /**< of all samples; 0 when each has its own */
    std::optional<Mp4Table> keys; /**< `stss`; without it every sample is a key sample */
};

/** A track in the index of a file. */
struct Mp4Track {
    std::uint32_t timescale = 0; /**< units per second */
    std::string handler;         /**< `vide`, `soun`, ... */
    std::string codec;           /**< `avc1`, `hvc1`, `hev1`, `mp4a`, ... */
    bool configured = false;     /**< the decoder configuration is complete */
    std::size_t lengthBytes = 4; /**< bytes of the length before each NAL unit */
    bool hasDefaults = false;    /**< fragments may contain its samples */
    std::uint32_t sampleDuration = 0;
    std::uint32_t sampleSize = 0; /**< all three: defaults of samples in fragments */
    std::uint32_t sampleFlags = 0;
    std::uint64_t samples = 0; /**< in its tables */
    std::uint64_t length = 0;  /**< of these, in units of the track */
    std::vector<Mp4Edit> edits;
    int width = 0; /**< of pictures */
    int height = 0;
    int sampleRate = 0; /**< of sound, in hertz */
    int channels = 0;
    /** Decoder configuration: the contents of `avcC` or `hvcC`, or for AAC the AudioSpecificConfig. */
    Bytes settings;
    Mp4Tables tables;
};

struct Mp4Index {
    std::map<std::uint32_t, Mp4Track> tracks; /**< by track number */
    std::uint32_t timescale = 0;              /**< units of the file per second */
    double seconds = 0;                       /**< length of the samples in the tables */
    bool usable = false; /**< players accept it: consistent, and each track is configured */
};

/** In units of any track. Arithmetic on larger times could overflow; such times are treated as damage. */
inline constexpr std::uint64_t kMaxTime = std::uint64_t{1} << 62;

/** In bytes. An index with tables for a day of video and audio takes a quarter of it. */
inline constexpr std::uint64_t kMaxIndexSize = 256 << 20;

/** Parses the contents of a `moov` box; nothing when boxes do not fill them or none describes a track. */
std::optional<Mp4Index> readIndex(ByteSpan contents);

}  // namespace recordings

#endif
