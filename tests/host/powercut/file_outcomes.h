#ifndef VORNISA_FILE_OUTCOMES_H
#define VORNISA_FILE_OUTCOMES_H

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "step_log.h"

namespace kep::host {

using Bytes = std::vector<std::uint8_t>;

/** A possible content of a file. */
struct Content {
    explicit Content(Bytes bytes);

    Bytes bytes;
    std::uint64_t hash;
};
using SharedContent = std::shared_ptr<const Content>;

/** A file at the moment of a power cut. */
struct UnsureFile {
    Bytes sure;
    std::vector<const Step*> unsure{}; /**< writes and truncations since the last sync */

    /** Moves all unsure steps to the sure content. */
    void settle();
};

/**
 * The possible contents of a file after a power cut, under the rules of PowerCut. The first has everything
 * written; the second, if it differs, only what is sure. `old` is a deleted file whose blocks this one
 * reuses; empty for blocks of zeroes. `draws` is the number of random samples of each kind with too many
 * combinations to try them all.
 */
std::vector<SharedContent> outcomesOf(const UnsureFile& file, std::span<const std::uint8_t> old, int draws,
                                      std::uint32_t seed);

}  // namespace kep::host

#endif
