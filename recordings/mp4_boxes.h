#ifndef RECORDINGS_MP4_BOXES_H
#define RECORDINGS_MP4_BOXES_H

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "recordings/file_bytes.h"

namespace recordings {

/** The four-character code of a box. */
struct BoxKind {
    std::array<char, 4> letters;

    operator std::string_view() const { return {letters.data(), letters.size()}; }
    bool operator==(std::string_view text) const { return std::string_view(*this) == text; }
};

/** The header of a box: its kind, and the offsets of its contents and its end from its beginning. */
struct BoxHeader {
    BoxKind kind;
    std::uint64_t contents;
    std::uint64_t end;
};

/** Maximum size of a box header in bytes. */
inline constexpr std::uint64_t kLongestBoxHeader = 16;

/** Parses the box header at the beginning of `bytes`; nothing when it is invalid, or the box is larger than
 * `room`, the bytes up to the end of its container. */
std::optional<BoxHeader> readBoxHeader(ByteSpan bytes, std::uint64_t room);

/** The same, but nothing for a box of size 0, which extends to the end: it has never been finished. */
std::optional<BoxHeader> readFinishedBox(ByteSpan bytes, std::uint64_t room);

/** Calls `visit(kind, contents)` for each box in `bytes`; false when boxes do not fill them exactly. */
template <class Visit>
bool forEachBox(ByteSpan bytes, Visit&& visit) {
    while (!bytes.empty()) {
        const auto box = readBoxHeader(bytes, bytes.size());
        if (!box) return false;
        visit(std::string_view(box->kind), bytes.subspan(box->contents, box->end - box->contents));
        bytes = bytes.subspan(box->end);
    }
    return true;
}

/** The bytes of a header; a size of 2^32 or more takes the long form. */
Bytes boxHeader(std::string_view kind, std::uint64_t size);

/** Bytes of version and flags at the beginning of the contents of a full box. */
inline constexpr std::size_t kFullBoxHeader = 4;

/** Reads consecutive big-endian numbers; past the end of the bytes failed() is true and numbers are 0. */
class Numbers {
  public:
    explicit Numbers(ByteSpan bytes) : bytes_(bytes) {}

    std::uint64_t next(std::size_t count) {
        if (failed_ || bytes_.size() < count) {
            failed_ = true;
            return 0;
        }
        const std::uint64_t value = bigEndian(bytes_, 0, count);
        bytes_ = bytes_.subspan(count);
        return value;
    }
    /** Faster than next(4): a fragment has about a hundred of these. */
    std::uint32_t next32() {
        if (failed_ || bytes_.size() < 4) {
            failed_ = true;
            return 0;
        }
        const std::uint8_t* const at = bytes_.data();
        bytes_ = bytes_.subspan(4);
        return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
    }
    void skip(std::size_t count) {
        if (bytes_.size() < count) failed_ = true;
        bytes_ = bytes_.subspan(std::min(count, bytes_.size()));
    }
    bool failed() const { return failed_; }
    ByteSpan rest() const { return bytes_; }

  private:
    ByteSpan bytes_;
    bool failed_ = false;
};

}  // namespace recordings

#endif
