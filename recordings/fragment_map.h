#ifndef RECORDINGS_FRAGMENT_MAP_H
#define RECORDINGS_FRAGMENT_MAP_H

#include <cstdint>
#include <vector>

#include "recordings/fragment_walk.h"

namespace recordings {

/**
 * Maps a time of a track to the fragment in which the search for a key sample starts. Filled from an index in
 * the file (`mfra` or `sidx`), whose entries the caller must verify by reading the fragments, or from the
 * descriptions of all fragments. Bounded: of very many fragments only every n-th is kept.
 */
class FragmentMap {
  public:
    struct Place {
        std::int64_t time; /**< presentation of the first key sample, in track units, without edits */
        std::uint64_t offset;
    };

    /** Reads an index at the end of the file or behind its header; stays empty when there is none. */
    void readIndexes(const FileBytes& file, const Mp4Beginning& beginning, std::uint32_t track);
    /** Reads the descriptions of all fragments. */
    void readFragments(const FileBytes& file, const Mp4Beginning& beginning, std::uint32_t track);

    /** The last place at or before `time`; null when there is none. */
    const Place* before(std::int64_t time) const;
    bool isEmpty() const { return places_.empty(); }

  private:
    void add(Place place);
    bool readTable(const FileBytes& file, BoxWindow& window, std::uint64_t firstBox, std::uint32_t track);
    bool readSegments(const FileBytes& file, BoxWindow& window, const Mp4Beginning& beginning,
                      std::uint32_t track);

    std::vector<Place> places_; /**< sorted by time */
    std::size_t stride_ = 1;    /**< every n-th place is kept */
    std::size_t offered_ = 0;   /**< places passed to add() */
};

/** File offsets of the fragment index (`mfra`) at the end of a file. */
struct FragmentIndex {
    std::uint64_t begin;  /**< of the box */
    std::uint64_t tables; /**< of the first table */
    std::uint64_t end;    /**< of the last table */
};

/** Nothing when the file does not end with an index, or the index begins before `firstBox`. */
std::optional<FragmentIndex> findFragmentIndex(const FileBytes& file, BoxWindow& window,
                                               std::uint64_t firstBox);

/** A reference of a `sidx` box to a part of the file; times in units of the box. */
struct SegmentReference {
    std::uint64_t offset;
    std::uint64_t bytes;
    std::uint64_t time;
    std::uint64_t duration;
};

/** Contents of a `sidx` box. */
struct SegmentIndex {
    std::uint32_t track = 0;
    std::uint32_t timescale = 0;
    std::vector<SegmentReference> references;
};

/** Reads the `sidx` boxes before the first fragment; stops at one larger than `maxBytes`. */
std::vector<SegmentIndex> readSegmentIndexes(const FileBytes& file, BoxWindow& window, std::uint64_t firstBox,
                                             std::uint64_t maxBytes);

/** Parses the contents of a `sidx` box that ends at `end`; nothing when they are damaged or refer to other
 * `sidx` boxes. */
std::optional<SegmentIndex> readSegmentIndex(ByteSpan contents, std::uint64_t end);

}  // namespace recordings

#endif
