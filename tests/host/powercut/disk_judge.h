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
 * Says whether a disk is as good as it must be after a power cut.
 *
 * A file with its final name is whole to the last byte, and is there once that has been told. What the others
 * hold plays as it lies there, and once it has been recovered holds, byte for byte, what was captured; from
 * the first picture on nothing is missing but at the end, and there no more than a second. This is for files
 * whose beginnings are known; of others that are still open nothing is promised.
 */
class DiskJudge {
  public:
    /** What recovery makes of a file that has not got its final name; nothing when there is nothing to keep.
     */
    using Recover = std::function<std::optional<Bytes>(const Bytes&)>;

    DiskJudge(const Recorded& recorded, Recover recover);

    /** What is wrong with a disk after so many steps; empty when nothing is. */
    std::string faultOf(const Disk& disk, std::size_t done);

    double mostLost() const { return mostLost_; } /**< seconds, of all disks judged so far */
    std::size_t filesSeen() const { return seen_.size(); }

    struct Version {
        std::size_t renamed; /**< how many steps had been done when it had its name */
        SharedContent content;
    };
    /** What was ever given each final name. */
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
    /** What a player makes of a file that nobody has recovered. */
    const Held& heldAsItIs(const File& file, const Content& content);
    /** Judges either the pictures or the sounds of all files. */
    std::string faultOfTimes(const std::vector<Held>& held, double captured, const char* what,
                             const std::vector<double>& (WholeFile::*times)() const,
                             std::size_t Held::*count);

    const Recorded& recorded_;
    const Recover recover_;
    std::vector<File> files_; /**< those that are protected, in their order */
    const std::map<std::string, std::vector<Version>> versions_;
    std::unordered_map<std::string, Held> seen_;
    std::unordered_map<std::string, Held> asTheyAre_;
    std::unordered_map<std::string, Held> recovered_;
    double mostLost_ = 0;
};

}  // namespace kep::host

#endif
