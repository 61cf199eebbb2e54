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

/** A disk after a power cut. */
struct Disk {
    std::map<std::string, SharedContent> files; /**< by path; two paths may refer to one file */
    /** The new names of files that are left with neither their old nor their new name. */
    std::set<std::string> nameless;
};

/**
 * A loss of power after some steps of a recording, and all possible states of the disk. Only what was synced
 * is sure. Anything written after the last sync of its file may be present or missing, in any order and in
 * part: a write may be cut short, some of its sectors may still be old, and the file's size may run ahead of
 * its data. Blocks that were never written are zeroes or keep their previous contents: part of a deleted
 * file. An overwritten sector is either old or new, never a mix. A name added or removed after the last sync
 * of its folder may be present or missing, independently of other names: not every file system of a memory
 * card keeps a journal. So a file being renamed may have both names, or none.
 */
class PowerCut {
  public:
    /** `old` is a deleted file whose blocks the files reuse; empty for blocks of zeroes. */
    PowerCut(const std::vector<Step>& steps, std::size_t done, std::span<const std::uint8_t> old = {});

    /**
     * Calls `judge` with every disk that this power cut may leave. `draws` is the number of random samples,
     * seeded per cut, of each kind with too many combinations to try them all.
     */
    void forEachDisk(int draws, const std::function<void(const Disk&)>& judge) const;

  private:
    /** A name added to a file or removed from it. */
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
