#ifndef RECORDINGS_BOX_WINDOW_H
#define RECORDINGS_BOX_WINDOW_H

#include <array>
#include <optional>

#include "recordings/mp4_boxes.h"

namespace recordings {

/** Reads the boxes of a file through a small buffer, so that one file access covers several boxes. */
class BoxWindow {
  public:
    explicit BoxWindow(const FileBytes& file) : file_(file) {}

    std::uint64_t fileBytes() const { return file_.size(); }

    /** The header of the box at `offset`; nothing unless a finished box is there that fits into the file. */
    std::optional<BoxHeader> boxAt(std::uint64_t offset);

    /** Reads about `bytes` at once from now on, at most kStep. Bytes read in vain are mostly media data, and
     * copying them takes longer than the file access. */
    void expect(std::uint64_t bytes) { step_ = std::min<std::uint64_t>(bytes, kStep); }

    /** `count` bytes, fewer at the end of the file; valid until the next call. */
    ByteSpan view(std::uint64_t offset, std::size_t count);

  private:
    /** Bytes; larger views are read into `large_`. */
    static constexpr std::size_t kWindow = 4096;
    /** Bytes. */
    static constexpr std::size_t kStep = 1024;

    const FileBytes& file_;
    std::array<std::uint8_t, kWindow> window_;
    std::uint64_t begin_ = 0;
    std::size_t filled_ = 0;
    std::size_t step_ = kStep;
    Bytes large_;
};

}  // namespace recordings

#endif
