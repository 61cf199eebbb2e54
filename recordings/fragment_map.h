#ifndef RECORDINGS_FRAGMENT_MAP_H
#define RECORDINGS_FRAGMENT_MAP_H

#include <cstdint>
#include <vector>

#include "recordings/fragment_walk.h"

namespace recordings {

/**
 * Where to begin to look for a key sample of a track: a fragment at or before it. Taken from an index that
 * the file has (`mfra` or `sidx`), which is not believed until what it leads to has been read, or from the
 * descriptions of all fragments. Bounded: of a file with very many fragments only some are kept.
 */
class FragmentMap {
  public:
    struct Place {
        std::int64_t time; /**< of the first key sample, in units of the track and without its edits */
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

    std::vector<Place> places_; /**< by their times */
    std::size_t stride_ = 1;    /**< one of so many places is kept */
    std::size_t offered_ = 0;
};

/** An index of fragments at the end of a file: where its tables are. */
struct FragmentIndex {
    std::uint64_t begin;  /**< of its box */
    std::uint64_t tables; /**< of the first table */
    std::uint64_t end;    /**< of the last one */
};

/** Finds it; nothing when the file ends with none, or one that does not lie behind `firstBox`. */
std::optional<FragmentIndex> findFragmentIndex(const FileBytes& file, BoxWindow& window,
                                               std::uint64_t firstBox);

/** A reference of a `sidx` box to a part of the file; times in units of the box. */
struct SegmentReference {
    std::uint64_t offset;
    std::uint64_t bytes;
    std::uint64_t time;
    std::uint64_t duration;
};

/** What a `sidx` box says of the file. */
struct SegmentIndex {
    std::uint32_t track = 0;
    std::uint32_t timescale = 0;
    std::vector<SegmentReference> references;
};

/** Reads the `sidx` boxes before the first fragment, each of at most so many bytes. */
std::vector<SegmentIndex> readSegmentIndexes(const FileBytes& file, BoxWindow& window, std::uint64_t firstBox,
                                             std::uint64_t maxBytes);

/** Reads the contents of a `sidx` box that ends at `end`; nothing when they are damaged or refer to other
 * boxes of the kind. */
std::optional<SegmentIndex> readSegmentIndex(ByteSpan contents, std::uint64_t end);

}  // namespace recordings

#endif
