#ifndef RECORDINGS_MP4_TABLES_H
#define RECORDINGS_MP4_TABLES_H

#include <cstdint>
#include <optional>

#include "recordings/mp4_fragment.h"

namespace recordings {

/** The samples of one track that the index of a file lists in tables. They are read entry by entry; whatever
 * the tables state, this takes no more memory than they do. */
class Mp4TableSamples {
  public:
    /** @param index the contents of the `moov` box, which outlive this */
    Mp4TableSamples(ByteSpan index, std::uint32_t number, const Mp4Track& track, std::uint64_t fileBytes);

    /** False when there are no more, or the next one is not in the file. */
    bool next(Mp4Sample& sample);
    /** Goes on at this sample, or at the end when there are not as many. */
    void moveTo(std::uint64_t sample);
    /** Goes on at the last key sample that is presented at or before `time`, in units of the track and
     * without its edits; at the first key sample when there is none. False when there is no key sample. */
    bool moveToKey(std::int64_t time);
    /** Goes on at the first sample that ends behind `time`, as they are decoded. */
    void moveToTime(std::int64_t time);
    /** Leaves no samples. */
    void moveToEnd() { moveTo(samples_); }

  private:
    /** Entries of a count and a value that apply to so many samples in a row. */
    class Spread {
      public:
        Spread(ByteSpan index, const Mp4Table& table) : index_(index), table_(table) {}
        /** The value of the next sample; 0 behind the last entry. */
        std::uint32_t next();
        /** Passes over samples; returns their values summed up. */
        std::uint64_t skip(std::uint64_t samples);
        /** How many of the next samples have values that sum up to no more than this. */
        std::uint64_t countWithin(std::uint64_t sum);
        void rewind() { entry_ = left_ = 0; }

      private:
        bool provide();

        ByteSpan index_;
        Mp4Table table_;
        std::uint64_t entry_ = 0; /**< the next */
        std::uint64_t left_ = 0;  /**< samples of the last one read */
        std::uint32_t value_ = 0;
    };

    std::uint64_t number(const Mp4Table& table, std::uint64_t at, std::size_t count) const {
        return bigEndian(index_, table.at + at, count);
    }
    std::uint32_t sizeOf(std::uint64_t sample) const;
    /** How many samples a chunk has, from the entry of `chunks` that it belongs to. */
    std::uint32_t samplesInChunk() const;
    std::uint64_t chunkLimit() const;
    bool enterChunk();
    void rewind();
    std::optional<std::uint64_t> keyAt(std::uint64_t place) const;

    ByteSpan index_;
    const std::uint32_t track_;
    const Mp4Tables tables_;
    const std::uint64_t samples_;
    const std::uint64_t fileBytes_;
    Spread durations_;
    Spread shifts_;
    std::uint64_t sample_ = 0;
    std::uint64_t time_ = 0;
    std::uint64_t entry_ = 0;   /**< of `chunks`, which the chunk belongs to */
    std::uint64_t chunk_ = 0;   /**< counted from 0 */
    std::uint64_t inChunk_ = 0; /**< samples of it that have been passed */
    std::uint64_t at_ = 0;      /**< in the file */
    std::uint64_t key_ = 0;     /**< place in `keys` of the next key sample */
};

}  // namespace recordings

#endif
