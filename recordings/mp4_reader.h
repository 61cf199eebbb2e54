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
 * Reads the samples of an MP4 file, with fragments or without, and finds key samples. A track's samples come
 * in the order of the file; the tracks take turns so that none is more than a second ahead of another where
 * the file does not hold them apart.
 *
 * Times are those of the file: decoding time and composition offset, shifted by the empty edit and by the
 * beginning of the first other one. Later edits are ignored: each sample is read once.
 *
 * Memory: the index, the description of one fragment, 256 KiB or the largest sample of data, and 16 MiB at
 * most of what the first seek finds out. Damaged fragments are skipped.
 */
class Mp4Reader {
  public:
    /** Throws Failure for a file that cannot be read, is no MP4 or lists no samples. */
    explicit Mp4Reader(const std::string& path);

    const std::map<std::uint32_t, Mp4Track>& tracks() const { return beginning_.index.tracks; }
    /** Length of the file. */
    std::int64_t milliseconds() const { return milliseconds_; }
    const FileBytes& file() const { return file_; }
    const Mp4Beginning& beginning() const { return beginning_; }
    /** Reads only these tracks from now on. */
    void select(std::set<std::uint32_t> tracks);

    /** Nothing at the end of the file. Throws Failure when it cannot be read any further. */
    std::optional<Mp4Packet> next();
    /**
     * Goes on at the last key sample whose time in whole milliseconds is at or before `milliseconds`, or at
     * the first one: of the first track of pictures that has been selected, or of the first of sound. The
     * other tracks go on with the sample that is due then. False when there is no key sample; it then begins
     * again.
     */
    bool seek(std::int64_t milliseconds);

  private:
    using Times = std::map<std::uint32_t, std::uint64_t>;

    /** The samples of one track that come next; `head` is the first of them, its time that of the track. */
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
        std::int64_t time;      /**< of presentation, in units of the track and without its edits */
        Times begins;           /**< where runs of this fragment begin that do not say so */
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
    Times begins_; /**< where the next run of a track begins that does not say so */
    std::uint64_t bytesRead_ = 0;

    std::optional<FragmentMap> map_;
    bool isMapRead_ = false; /**< from all fragments, not from an index */
    std::map<std::uint32_t, std::uint64_t>
        skipToData_; /**< samples are left out up to the one that lies there */
    std::map<std::uint32_t, std::int64_t> skipToTime_; /**< or that end by then, in nanoseconds */

    Bytes block_; /**< of the file */
    std::uint64_t blockBegin_ = 0;
};

}  // namespace recordings

#endif
