#ifndef RECORDINGS_BOX_WINDOW_H
#define RECORDINGS_BOX_WINDOW_H

#include <array>
#include <optional>

#include "recordings/mp4_boxes.h"

namespace recordings {

/** Reads boxes of a file one after another, most of them with one access to the file for several. */
class BoxWindow {
  public:
    explicit BoxWindow(const FileBytes& file) : file_(file) {}

    std::uint64_t fileBytes() const { return file_.size(); }

    /** The header of the box at `offset`; nothing when there is none that fits into the file. */
    std::optional<BoxHeader> boxAt(std::uint64_t offset);

    /** Reads about so many bytes at once from now on. What is read in vain is mostly media data, and to copy
     * it takes longer than the access itself. */
    void expect(std::uint64_t bytes) { step_ = std::min<std::uint64_t>(bytes, kStep); }

    /** So many bytes, fewer at the end of the file; valid until the next call. */
    ByteSpan view(std::uint64_t offset, std::size_t count);

  private:
    static constexpr std::size_t kWindow = 4096;
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
