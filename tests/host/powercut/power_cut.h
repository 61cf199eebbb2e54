#ifndef VORNISA_POWER_CUT_H
#define VORNISA_POWER_CUT_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "step_log.h"

namespace kep::host {

using Bytes = std::vector<std::uint8_t>;

using SharedBytes = std::shared_ptr<const Bytes>;

/** The files that are found on a disk, by path. */
using Disk = std::map<std::string, SharedBytes>;

/**
 * A loss of power after some steps of a recording, and all that the disk may hold then.
 *
 * Sure is only what was synced. What was written after the last sync of its file is there, or is not, in any
 * order and in part: a write may end in its middle, sectors of it may be the old ones, and the file's size
 * may run ahead of its bytes, which are then zeroes. A file that was made, renamed or removed after the last
 * sync of its folder bears the new name or the old one, each independent of the others: not every file system
 * of a memory card keeps a journal.
 */
class PowerCut {
  public:
    PowerCut(const std::vector<Step>& steps, std::size_t done);

    /**
     * Calls `judge` with every disk that this power cut may leave. `draws` is how many outcomes are drawn at
     * random, by a seed of the cut's own, of each kind that is too large to walk through.
     */
    void forEachDisk(int draws, const std::function<void(const Disk&)>& judge) const;

  private:
    struct FileState {
        Bytes sure;
        std::vector<const Step*> unsure; /**< writes since the last sync */
    };

    using Names = std::map<std::string, int>;

    std::vector<Names> possibleNames() const;
    /** The first has all that was written; the second only what is sure, if these differ. */
    std::vector<SharedBytes> possibleContents(const FileState& file, int draws, std::uint32_t seed) const;

    std::vector<FileState> files_;
    Names sureNames_;
    std::vector<const Step*> unsureNames_;
    std::size_t done_;
};

}  // namespace kep::host

#endif
