#ifndef VORNISA_REPLAY_H
#define VORNISA_REPLAY_H

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "disk_judge.h"

namespace kep::host {

/** Judges a power cut after each step; at most one fault per kind and step. */
struct Replay {
    /** @param old a deleted file whose blocks the files reuse; empty for blocks of zeroes */
    Replay(const Recorded& recorded, DiskJudge& judge, int draws, std::span<const std::uint8_t> old = {});

    /** The first faults, one per line. */
    std::string text() const;
    /** Whether a fault contains this text. */
    bool has(const std::string& fault) const;

    std::size_t disks = 0;
    std::vector<std::string> faults;
};

/** The number of random samples of each kind; POWERCUT_DRAWS in the environment overrides `usual`. */
int draws(int usual);

/** Runs the recovery on a file; nothing if the file is refused. */
std::optional<Bytes> recovered(const Bytes& content);

}  // namespace kep::host

#endif
