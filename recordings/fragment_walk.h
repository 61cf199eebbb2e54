#ifndef RECORDINGS_FRAGMENT_WALK_H
#define RECORDINGS_FRAGMENT_WALK_H

#include <cstdint>
#include <optional>

#include "recordings/box_window.h"
#include "recordings/mp4_fragment.h"

namespace recordings {

/** What a reader of an MP4 file begins with. */
struct Mp4Beginning {
    Mp4Index index;
    Bytes contents;               /**< of the `moov` box, which the tables of the index lie in */
    std::uint64_t contentsAt = 0; /**< where these lie in the file */
    /** Where fragments may begin: behind the index, or at 0 when it comes last. */
    std::uint64_t firstBox = 0;
    std::optional<Bytes> mark; /**< of the file; behind its fragments, too, if it has one */

    /** Whether fragments may have samples. */
    bool expectsFragments() const;
};

/** Reads it. Throws Failure for a file that is no MP4, or whose index is damaged or larger than `maxIndex`.
 */
Mp4Beginning readBeginning(const FileBytes& file, BoxWindow& window, std::uint64_t maxIndex);

/** Goes over the whole fragments of a file. Damaged ones are skipped, and it ends at those that are left over
 * from a deleted file in the same blocks. Both arguments outlive it. */
class FragmentWalk {
  public:
    FragmentWalk(const FileBytes& file, const Mp4Beginning& beginning)
        : file_(file), beginning_(beginning), window_(file), at_(beginning.firstBox) {}

    /** Goes on at the box that begins there. */
    void moveTo(std::uint64_t offset) { at_ = offset; }
    /** Whether a box that begins at `offset` describes a fragment. */
    bool isFragment(std::uint64_t offset);
    /** Reads the next fragment that begins before `end`; false when there is none. */
    bool next(std::uint64_t end);
    /** Passes over the next description of a fragment that begins before `end`, whole or not; false when
     * there is none. */
    bool skip(std::uint64_t end);

    /** The one that was read last, valid until the next is. */
    const Mp4Fragment& fragment() const { return fragment_; }
    /** Where the one begins that was read or passed over. */
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
    Bytes contents_; /**< which the fragment refers to */
    Mp4Fragment fragment_;
};

}  // namespace recordings

#endif
