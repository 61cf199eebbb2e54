#ifndef VORNISA_DISK_JUDGE_H
#define VORNISA_DISK_JUDGE_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "power_cut.h"
#include "recorded.h"
#include "whole_file.h"

namespace kep::host {

/**
 * Judges whether a disk is in an acceptable state after a power cut. A file with its final name must be
 * complete, and must exist once it was reported. Open files must play as they are and, once recovered, hold
 * what was captured, byte for byte, with nothing missing except up to a second at the end. This applies to
 * files with known beginnings; about other open files nothing is promised.
 */
class DiskJudge {
  public:
    /** Recovers a file without its final name; returns nothing if there is nothing to keep. */
    using Recover = std::function<std::optional<Bytes>(const Bytes&)>;

    DiskJudge(const Recorded& recorded, Recover recover);

    /** What is wrong with a disk after `done` steps; empty if it is fine. */
    std::string faultOf(const Disk& disk, std::size_t done);

    double mostLost() const { return mostLost_; } /**< largest loss of all disks judged so far, in seconds */
    std::size_t filesSeen() const { return seen_.size(); }

    struct Version {
        std::size_t renamed; /**< number of steps done when it was renamed */
        SharedContent content;
    };
    /** All versions of each file with a final name. */
    static std::map<std::string, std::vector<Version>> versionsOf(const Recorded& recorded);

  private:
    struct File {
        std::string path;
        WholeFile whole;
    };
    using Held = WholeFile::Held;

    std::string faultOfNames(const Disk& disk, std::size_t done) const;
    Held heldOn(const Disk& disk, std::size_t done, const File& file);
    const Held& heldBy(const File& file, const Content& content);
    Held examine(const File& file, const Content& content);
    /** What a player gets from a file before recovery. */
    const Held& heldAsItIs(const File& file, const Content& content);
    /** Judges either the pictures or the sound of all files. */
    std::string faultOfTimes(const std::vector<Held>& held, double captured, const char* what,
                             const std::vector<double>& (WholeFile::*times)() const,
                             std::size_t Held::*count);

    const Recorded& recorded_;
    const Recover recover_;
    std::vector<File> files_; /**< the protected ones, in their order */
    const std::map<std::string, std::vector<Version>> versions_;
    std::unordered_map<std::string, Held> seen_;
    std::unordered_map<std::string, Held> asTheyAre_;
    std::unordered_map<std::string, Held> recovered_;
    double mostLost_ = 0;
};

}  // namespace kep::host

#endif
