#ifndef RECORDINGS_MP4_FRAGMENT_H
#define RECORDINGS_MP4_FRAGMENT_H

#include <functional>
#include <optional>
#include <vector>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_index.h"

namespace recordings {

/** A sample of a file; times in units of its track. */
struct Mp4Sample {
    std::uint32_t track = 0;
    std::uint64_t offset = 0; /**< in the file */
    std::uint32_t size = 0;
    std::uint64_t time = 0; /**< of decoding; in a fragment counted from the beginning of its run */
    std::uint32_t duration = 0;
    std::int32_t shift = 0; /**< from decoding to presentation */
    bool key = true;
};

/** In bytes. No encoder makes a larger sample; memory for it would be asked for before its data is read. */
inline constexpr std::uint32_t kMaxSampleSize = 64 << 20;

/** The samples of one track in a fragment; times in units of the track. */
struct Mp4Run {
    std::uint32_t track = 0;
    std::optional<std::uint64_t> begin; /**< decoding time of the first sample; without one, the end of the
                                             track's run before */
    std::uint64_t length = 0;           /**< of all samples together */
    /** Presentation of the earliest sample and end of that of the latest, counted from `begin`. */
    std::int64_t earliest = 0;
    std::int64_t latest = 0;

    // What Mp4RunSamples reads.
    ByteSpan contents;          /**< of the `traf` box */
    std::uint64_t base = 0;     /**< in the file; where samples lie whose box does not say so */
    std::uint32_t duration = 0; /**< these three of samples that do not have their own */
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

/** The description of a fragment. It has no list of its samples: a short box may state very many. */
struct Mp4Fragment {
    std::uint64_t samples = 0;
    bool hasEmptySample = false;
    std::uint64_t dataBegin = 0; /**< in the file, of the first byte of a sample */
    std::uint64_t dataEnd = 0;
    std::vector<Mp4Run> runs;
};

/**
 * Reads the contents of a `moof` box that begins at `offset` of a file of so many bytes. False when they are
 * damaged, or list a sample that is beyond the end of the file; `fragment` is then incomplete. Its runs refer
 * to the contents.
 */
bool readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index,
                  Mp4Fragment& fragment);

/** The contents of a `trun` box: its samples and what all of them have in common. */
struct RunBox {
    std::uint32_t flags = 0;
    std::uint32_t count = 0;                 /**< samples */
    std::optional<std::int32_t> distance;    /**< of the first sample from the base of the run */
    std::optional<std::uint32_t> firstFlags; /**< of the first sample */
    Numbers fields{ByteSpan()};              /**< of one sample after the other */

    /** Nothing when the box does not hold what its flags and its count state. */
    static std::optional<RunBox> read(ByteSpan contents);
    /** Whether the samples have no fields, so that all are alike. */
    bool isUniform() const;
    /** Fills what the box says of the next sample, and the rest from the run. */
    void next(const Mp4Run& run, Mp4Sample& sample);
};

/** Goes over the samples of a run that readFragment() has found good. */
class Mp4RunSamples {
  public:
    explicit Mp4RunSamples(const Mp4Run& run) : run_(run), rest_(run.contents), at_(run.base) {}

    /** False when there are no more. */
    bool next(Mp4Sample& sample);
    /** Goes on to the next key sample; many alike that are none are passed over at once. */
    bool nextKey(Mp4Sample& sample);

  private:
    bool enterBox();

    Mp4Run run_;
    ByteSpan rest_; /**< boxes that have not been begun */
    RunBox box_;
    std::uint64_t at_;
    std::uint64_t time_ = 0;
};

/** What stands before the entries of a `tfra` box. */
struct FragmentTable {
    std::uint32_t track;
    std::uint64_t width; /**< of the time and of the offset in an entry, in bytes */
    std::uint64_t entry; /**< of an entry, in bytes */
    std::uint64_t count;
};

/** Size of what stands before the entries, in bytes. */
inline constexpr std::size_t kFragmentTableHead = 16;

/** Reads it from the contents of the box; nothing when they are shorter. */
std::optional<FragmentTable> readFragmentTable(ByteSpan contents);

/** Calls `visit` with where a fragment begins for each entry of the contents of a `tfra` box, until it is
 * false; false, too, when the entries do not fill the box. */
bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit);

}  // namespace recordings

#endif
