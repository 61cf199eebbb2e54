#ifndef VORNISA_POWER_CUT_H
#define VORNISA_POWER_CUT_H

#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "file_outcomes.h"

namespace kep::host {

/** What is found after a power cut. */
struct Disk {
    std::map<std::string, SharedContent> files; /**< by path; two paths may lead to one file */
    /** The names that files were being given which have none now, neither the old one nor the new one. */
    std::set<std::string> nameless;
};

/**
 * A loss of power after some steps of a recording, and all that the disk may hold then.
 *
 * Sure is only what was synced. What was written after the last sync of its file is there, or is not, in any
 * order and in part: a write may end in its middle, sectors of it may be the old ones, and the file's size
 * may run ahead of its bytes. Bytes that never reached their blocks are zeroes, or what the blocks held
 * before: part of a file that has been deleted. A sector that is written over is the old one or the new one,
 * never part of each.
 *
 * A name that was given or taken away after the last sync of its folder is there or is not, each independent
 * of the others: not every file system of a memory card keeps a journal. So a file that is being renamed may
 * have both names, or none.
 */
class PowerCut {
  public:
    /** `old` is the deleted file in whose blocks the files lie; empty for blocks that hold zeroes. */
    PowerCut(const std::vector<Step>& steps, std::size_t done, std::span<const std::uint8_t> old = {});

    /**
     * Calls `judge` with every disk that this power cut may leave. `draws` is how many outcomes are drawn at
     * random, by a seed of the cut's own, of each kind that is too large to walk through.
     */
    void forEachDisk(int draws, const std::function<void(const Disk&)>& judge) const;

  private:
    /** A name that was given to a file or taken from it. */
    struct NameChange {
        bool gives;
        std::string path;
        const Step* step;
    };
    using Names = std::map<std::string, int>;

    void settleFolder(const std::string& folder);
    static void apply(Names& names, const NameChange& change);
    std::vector<Names> possibleNames() const;
    std::set<std::string> namelessIn(const Names& names) const;

    const std::span<const std::uint8_t> old_;
    std::vector<UnsureFile> files_;
    Names sureNames_;
    std::vector<NameChange> unsureNames_;
    std::size_t done_;
};

}  // namespace kep::host

#endif
