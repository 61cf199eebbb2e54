#ifndef RECORDINGS_MP4_TABLES_H
#define RECORDINGS_MP4_TABLES_H

#include <cstdint>
#include <optional>

#include "recordings/mp4_fragment.h"

namespace recordings {

/** Iterates over the samples in the tables of one track. Reads entry by entry, so that wrong counts in a
 * damaged table allocate no memory. */
class Mp4TableSamples {
  public:
    /** @param index the contents of the `moov` box; they must outlive this */
    Mp4TableSamples(ByteSpan index, std::uint32_t number, const Mp4Track& track, std::uint64_t fileBytes);

    /** False when there are no more, or the next one is not in the file. */
    bool next(Mp4Sample& sample);
    /** Continues at this sample, or at the end when there are fewer. */
    void moveTo(std::uint64_t sample);
    /** Continues at the last key sample that is presented at or before `time` (track units, without edits),
     * or else at the first key sample. False when there is no key sample. */
    bool moveToKey(std::int64_t time);
    /** Continues at the first sample whose decoding time plus duration is after `time`. */
    void moveToTime(std::int64_t time);
    void moveToEnd() { moveTo(samples_); }

  private:
    /** A run-length table (`stts`, `ctts`): entries of a number of samples and their common value. */
    class Spread {
      public:
        Spread(ByteSpan index, const Mp4Table& table) : index_(index), table_(table) {}
        /** The value of the next sample; 0 past the last entry. */
        std::uint32_t next();
        /** Skips samples; returns the sum of their values. */
        std::uint64_t skip(std::uint64_t samples);
        /** The number of next samples whose values sum up to at most `sum`. */
        std::uint64_t countWithin(std::uint64_t sum);
        void rewind() { entry_ = left_ = 0; }

      private:
        bool provide();

        ByteSpan index_;
        Mp4Table table_;
        std::uint64_t entry_ = 0; /**< next to be read */
        std::uint64_t left_ = 0;  /**< samples left of the last entry read */
        std::uint32_t value_ = 0;
    };

    std::uint64_t number(const Mp4Table& table, std::uint64_t at, std::size_t count) const {
        return bigEndian(index_, table.at + at, count);
    }
    std::uint32_t sizeOf(std::uint64_t sample) const;
    /** Samples per chunk, by the current entry of `chunks`. */
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
    std::uint64_t entry_ = 0;   /**< in `chunks`, of the current chunk */
    std::uint64_t chunk_ = 0;   /**< counted from 0 */
    std::uint64_t inChunk_ = 0; /**< samples of it already passed */
    std::uint64_t at_ = 0;      /**< file offset of the next sample */
    std::uint64_t key_ = 0;     /**< position in `keys` of the next key sample */
};

}  // namespace recordings

#endif
