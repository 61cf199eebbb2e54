#ifndef VORNISA_REPLAY_H
#define VORNISA_REPLAY_H

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "disk_judge.h"

namespace kep::host {

/** What is wrong after a power cut behind any of the steps; each fault once for each step. */
struct Replay {
    /** @param old the deleted file in whose blocks the files lie; empty for blocks of zeroes */
    Replay(const Recorded& recorded, DiskJudge& judge, int draws, std::span<const std::uint8_t> old = {});

    /** The first of the faults. */
    std::string text() const;
    /** Whether there is a fault with this in it. */
    bool has(const std::string& fault) const;

    std::size_t disks = 0;
    std::vector<std::string> faults;
};

/** How many outcomes of each kind are drawn; a number in the environment makes a longer run. */
int draws(int usual);

/** Recovery as its users have it. */
std::optional<Bytes> recovered(const Bytes& content);

}  // namespace kep::host

#endif
