#ifndef RECORDINGS_MP4_READER_H
#define RECORDINGS_MP4_READER_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "recordings/fragment_map.h"
#include "recordings/mp4_tables.h"

namespace recordings {

/** One sample with its data. */
struct Mp4Packet {
    std::uint32_t track = 0;
    std::int64_t time = 0;     /**< of presentation, in nanoseconds */
    std::int64_t duration = 0; /**< in nanoseconds */
    bool key = true;
    ByteSpan data; /**< valid until the reader's next call */
};

/**
 * Reads the samples of an MP4 file, fragmented or plain, and seeks to key samples. The samples of a track
 * come in file order; tracks are interleaved so that none is more than a second ahead of another, except
 * where the file has them in separate fragments.
 *
 * Times are decoding time plus composition offset, shifted by the empty edits and by the start of the first
 * other edit. Later edits are ignored: each sample is read once.
 *
 * Memory: the index, the description of one fragment, a buffer of 256 KiB or of the largest sample, and at
 * most 16 MiB for the map of fragments that the first seek makes. Damaged fragments are skipped.
 */
class Mp4Reader {
  public:
    /** Throws Failure for a file that cannot be read, is not an MP4 or lists no samples. */
    explicit Mp4Reader(const std::string& path);

    const std::map<std::uint32_t, Mp4Track>& tracks() const { return beginning_.index.tracks; }
    /** Length of the file. */
    std::int64_t milliseconds() const { return milliseconds_; }
    const FileBytes& file() const { return file_; }
    const Mp4Beginning& beginning() const { return beginning_; }
    /** Reads only these tracks from now on. */
    void select(std::set<std::uint32_t> tracks);

    /** Nothing at the end of the file. Throws Failure when the file cannot be read further. */
    std::optional<Mp4Packet> next();
    /**
     * Continues at the last key sample whose time, rounded down to milliseconds, is at or before
     * `milliseconds`, or at the first key sample. It is searched in the first selected video track, or else
     * in the first selected track. The other tracks continue with the sample due at its time. False when
     * there is no key sample; reading then restarts at the beginning.
     */
    bool seek(std::int64_t milliseconds);

  private:
    using Times = std::map<std::uint32_t, std::uint64_t>;

    /** The remaining samples of one track; `head` is the first of them, with its time in the track. */
    struct TableLane {
        Mp4TableSamples samples;
        std::optional<Mp4Sample> head{};
        void advance();
    };
    struct RunLane {
        Mp4RunSamples samples;
        std::uint64_t begin;
        std::optional<Mp4Sample> head{};
        void advance();
    };
    /** A key sample in a fragment. */
    struct Key {
        std::uint64_t fragment; /**< its offset */
        std::uint64_t data;     /**< offset of the sample */
        std::int64_t time;      /**< of presentation, in track units, without edits */
        Times begins;           /**< start of the runs in this fragment that state none */
    };

    void begin();
    bool isSelected(std::uint32_t track) const { return selected_.contains(track); }
    const Mp4Track& track(std::uint32_t number) const { return tracks().at(number); }
    std::int64_t editShift(const Mp4Track& track) const;
    std::int64_t nanoseconds(const Mp4Track& track, std::int64_t time) const;
    std::optional<Mp4Sample> nextSample();
    bool nextFragment();
    bool isSkipped(const Mp4Sample& sample);
    std::optional<std::uint32_t> seekTrack() const;
    std::optional<Key> findKey(std::uint32_t number, std::int64_t time);
    std::optional<Key> findKeyFrom(std::uint64_t offset, std::uint32_t number, std::int64_t time);
    ByteSpan data(const Mp4Sample& sample);
    Times listedTimes() const;
    template <class Lane>
    Lane* nextLane(std::vector<Lane>& lanes) const;

    const FileBytes file_;
    const Mp4Beginning beginning_;
    FragmentWalk walk_;
    std::int64_t milliseconds_ = 0;
    std::set<std::uint32_t> selected_;
    std::vector<TableLane> tables_;
    std::vector<RunLane> runs_;
    Times begins_; /**< start of the next run of each track if that states none */
    std::uint64_t bytesRead_ = 0;

    std::optional<FragmentMap> map_;
    bool isMapRead_ = false; /**< `map_` is from all fragments, not from an index */
    /** By track: samples in front of the one at this file offset are skipped. */
    std::map<std::uint32_t, std::uint64_t> skipToData_;
    /** By track: samples that end at or before this time, in nanoseconds, are skipped. */
    std::map<std::uint32_t, std::int64_t> skipToTime_;

    Bytes block_; /**< the part of the file read last */
    std::uint64_t blockBegin_ = 0;
};

}  // namespace recordings

#endif
