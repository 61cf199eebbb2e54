#ifndef VORNISA_BOX_EDITOR_H
#define VORNISA_BOX_EDITOR_H

#include <cstdint>
#include <functional>
#include <string>

/**
 * Edits the boxes of MP4 files. Paths name one box inside the other, "moof/traf/trun"; a number after a name,
 * as in "moof2", skips that many boxes of the name.
 */
namespace box_editor {

/** A box with an eight-byte header; offsets in the file. */
struct Box {
    std::size_t begin;
    std::size_t end;
    std::size_t contents() const { return begin + 8; }
};

/** Throws if there is no such box. */
Box find(const std::string& file, const std::string& path);

std::uint64_t number(const std::string& file, std::size_t at, std::size_t count);
void put(std::string& file, std::size_t at, std::uint64_t value, std::size_t count = 4);

/** Puts contents into a box. */
std::string box(const std::string& kind, const std::string& contents);

/** Replaces a box and adapts the sizes of its parents, but not offsets into the file. */
void replace(std::string& file, const std::string& path, const std::string& by);

/**
 * Replaces each box of a kind in all `traf` boxes by the result of `change`, and each `mdat` header by one of
 * `dataHeader` bytes; adapts sample offsets that are relative to their fragment.
 */
void changeFragments(std::string& file, const std::string& kind,
                     const std::function<std::string(const std::string& box)>& change,
                     std::size_t dataHeader = 8);

}  // namespace box_editor

#endif
