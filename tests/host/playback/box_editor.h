#ifndef VORNISA_BOX_EDITOR_H
#define VORNISA_BOX_EDITOR_H

#include <cstdint>
#include <functional>
#include <string>

/** Changes the boxes of MP4 files that tests make. Paths name one box after the other, "moof/traf/trun"; a
 * number behind a name, "moof2", takes the one after so many others of the name. */
namespace box_editor {

/** A box with its header of eight bytes, from its beginning in the file. */
struct Box {
    std::size_t begin;
    std::size_t end;
    std::size_t contents() const { return begin + 8; }
};

/** Throws when there is none. */
Box find(const std::string& file, const std::string& path);

std::uint64_t number(const std::string& file, std::size_t at, std::size_t count);
void put(std::string& file, std::size_t at, std::uint64_t value, std::size_t count = 4);

/** A box around contents. */
std::string box(const std::string& kind, const std::string& contents);

/** Replaces a box and has those around it fit, except for offsets into the file. */
void replace(std::string& file, const std::string& path, const std::string& by);

/** Replaces each box of a kind in all `traf` boxes by what `change` makes of it, and each `mdat` header by
 * one of `dataHeader` bytes; samples that lie relative to their fragment are still found. */
void changeFragments(std::string& file, const std::string& kind,
                     const std::function<std::string(const std::string& box)>& change,
                     std::size_t dataHeader = 8);

}  // namespace box_editor

#endif
