#ifndef VORNISA_FILE_OUTCOMES_H
#define VORNISA_FILE_OUTCOMES_H

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "step_log.h"

namespace kep::host {

using Bytes = std::vector<std::uint8_t>;

/** What a file may hold. */
struct Content {
    explicit Content(Bytes bytes);

    Bytes bytes;
    std::uint64_t hash;
};
using SharedContent = std::shared_ptr<const Content>;

/** A file before a power cut. */
struct UnsureFile {
    Bytes sure;
    std::vector<const Step*> unsure{}; /**< writes and truncations since the last sync */

    /** All that was unsure has reached the disk. */
    void settle();
};

/**
 * What a power cut may leave of a file, as PowerCut says. The first has all that was written; the second only
 * what is sure, if these differ.
 *
 * `old` is a deleted file in whose blocks this one lies; empty for blocks that hold zeroes. `draws` is how
 * many outcomes are drawn at random of each kind that is too large to walk through.
 */
std::vector<SharedContent> outcomesOf(const UnsureFile& file, std::span<const std::uint8_t> old, int draws,
                                      std::uint32_t seed);

}  // namespace kep::host

#endif
