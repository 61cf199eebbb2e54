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
    std::uint64_t time = 0; /**< of decoding; in a fragment relative to the start of its run */
    std::uint32_t duration = 0;
    std::int32_t shift = 0; /**< from decoding to presentation */
    bool key = true;
};

/** In bytes; larger samples count as damaged, as no encoder makes them: a wrong size allocates no memory. */
inline constexpr std::uint32_t kMaxSampleSize = 64 << 20;

/** The samples of one track in a fragment; times in units of the track. */
struct Mp4Run {
    std::uint32_t track = 0;
    std::optional<std::uint64_t> begin; /**< decoding time of the first sample; without one, the run
                                             continues the track's previous run */
    std::uint64_t length = 0;           /**< of all samples together */
    /** Earliest start and latest end of presentation of any sample, relative to `begin`. */
    std::int64_t earliest = 0;
    std::int64_t latest = 0;

    // What Mp4RunSamples reads.
    ByteSpan contents;          /**< of the `traf` box */
    std::uint64_t base = 0;     /**< file offset of samples whose box has none */
    std::uint32_t duration = 0; /**< all three: defaults of the samples */
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

/** The description of a fragment, without a list of its samples: a short box may declare very many. */
struct Mp4Fragment {
    std::uint64_t samples = 0;
    bool hasEmptySample = false;
    std::uint64_t dataBegin = 0; /**< file offset of the first byte of a sample */
    std::uint64_t dataEnd = 0;
    std::vector<Mp4Run> runs;
};

/**
 * Parses the contents of a `moof` box that begins at `offset` of a file of `fileBytes`. False when they are
 * damaged, or list a sample beyond the end of the file; `fragment` is then incomplete. Its runs refer to
 * `contents`.
 */
bool readFragment(ByteSpan contents, std::uint64_t offset, std::uint64_t fileBytes, const Mp4Index& index,
                  Mp4Fragment& fragment);

/** The contents of a `trun` box: its samples and their common fields. */
struct RunBox {
    std::uint32_t flags = 0;
    std::uint32_t count = 0;                 /**< samples */
    std::optional<std::int32_t> distance;    /**< of the first sample from the base of the run */
    std::optional<std::uint32_t> firstFlags; /**< of the first sample */
    Numbers fields{ByteSpan()};              /**< of the samples, in their order */

    /** Nothing when the size of the box does not match its flags and its count. */
    static std::optional<RunBox> read(ByteSpan contents);
    /** Whether the samples have no fields of their own. */
    bool isUniform() const;
    /** Fills in the next sample from the box, and what that leaves out from the run. */
    void next(const Mp4Run& run, Mp4Sample& sample);
};

/** Iterates over the samples of a run that readFragment() has accepted. */
class Mp4RunSamples {
  public:
    explicit Mp4RunSamples(const Mp4Run& run) : run_(run), rest_(run.contents), at_(run.base) {}

    /** False at the end. */
    bool next(Mp4Sample& sample);
    /** The next key sample; false at the end. Skips a uniform box without key samples in one step. */
    bool nextKey(Mp4Sample& sample);

  private:
    bool enterBox();

    Mp4Run run_;
    ByteSpan rest_; /**< boxes not read yet */
    RunBox box_;
    std::uint64_t at_;
    std::uint64_t time_ = 0;
};

/** The head of a `tfra` box, in front of its entries. */
struct FragmentTable {
    std::uint32_t track;
    std::uint64_t width; /**< bytes of the time, and of the offset, in an entry */
    std::uint64_t entry; /**< bytes of an entry */
    std::uint64_t count;
};

/** Bytes of that head. */
inline constexpr std::size_t kFragmentTableHead = 16;

/** Parses the contents of a `tfra` box; nothing when they are too short. */
std::optional<FragmentTable> readFragmentTable(ByteSpan contents);

/** Calls `visit` with the fragment's offset for each entry of a `tfra` box until it returns false. False
 * then, and when the entries do not fill the box. */
bool forEachEntry(ByteSpan contents, const std::function<bool(std::uint64_t offset)>& visit);

}  // namespace recordings

#endif
