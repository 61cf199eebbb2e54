#ifndef RECORDINGS_FRAGMENT_WALK_H
#define RECORDINGS_FRAGMENT_WALK_H

#include <cstdint>
#include <optional>

#include "recordings/box_window.h"
#include "recordings/mp4_fragment.h"

namespace recordings {

/** The index of an MP4 file, and where its fragments begin. */
struct Mp4Beginning {
    Mp4Index index;
    Bytes contents;               /**< of the `moov` box; the tables of `index` refer to them */
    std::uint64_t contentsAt = 0; /**< their file offset */
    /** Where fragments may begin: behind the index, or at 0 when it comes last. */
    std::uint64_t firstBox = 0;
    std::optional<Bytes> mark; /**< random mark of the file, repeated behind each fragment */

    /** Whether any track may have samples in fragments. */
    bool expectsFragments() const;
};

/** Throws Failure for a file that is not an MP4, or whose index is missing, damaged or larger than `maxIndex`
 * bytes. */
Mp4Beginning readBeginning(const FileBytes& file, BoxWindow& window, std::uint64_t maxIndex);

/** Iterates over the complete fragments of a file. Skips damaged ones, and stops at the remains of a deleted
 * file in the same disk blocks. Both arguments must outlive it. */
class FragmentWalk {
  public:
    FragmentWalk(const FileBytes& file, const Mp4Beginning& beginning)
        : file_(file), beginning_(beginning), window_(file), at_(beginning.firstBox) {}

    /** Continues at the box that begins at `offset`. */
    void moveTo(std::uint64_t offset) { at_ = offset; }
    /** Whether a box that begins at `offset` describes a fragment. */
    bool isFragment(std::uint64_t offset);
    /** Reads the next fragment that begins before `end`; false when there is none. */
    bool next(std::uint64_t end);
    /** Skips the next fragment description (`moof`) that begins before `end`, without checking it; false when
     * there is none. */
    bool skip(std::uint64_t end);

    /** The fragment read last; valid until the next one is read. */
    const Mp4Fragment& fragment() const { return fragment_; }
    /** Where the fragment read or skipped last begins. */
    std::uint64_t offset() const { return offset_; }
    /** Where the next box begins. */
    std::uint64_t at() const { return at_; }

  private:
    std::optional<BoxHeader> nextDescription(std::uint64_t end);
    bool isForeign();

    const FileBytes& file_;
    const Mp4Beginning& beginning_;
    BoxWindow window_;
    std::uint64_t at_;
    std::uint64_t offset_ = 0;
    Bytes contents_; /**< `fragment_` refers to them */
    Mp4Fragment fragment_;
};

}  // namespace recordings

#endif
