#ifndef VORNISA_DISK_JUDGE_H
#define VORNISA_DISK_JUDGE_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "power_cut.h"
#include "sample_recording.h"

namespace kep::host {

/**
 * Says whether a disk is as good as it must be after a power cut: files with their final name are whole to
 * the last byte; what the others give, once they have been recovered, decodes and is byte for byte what was
 * captured; from the first picture on nothing is missing but at the end, and there no more than a second.
 */
class DiskJudge {
  public:
    /** What recovery makes of a file that has not got its final name; nothing when there is nothing to keep.
     */
    using Recover = std::function<std::optional<Bytes>(const Bytes&)>;

    DiskJudge(const SampleRecording& recording, Recover recover);

    /** What is wrong with the disk when so many packets had been captured; empty when nothing is. */
    std::string faultOf(const Disk& disk, std::size_t captured);

    double worstLoss() const { return worstLoss_; } /**< seconds, of all disks judged so far */
    std::size_t filesSeen() const { return seen_.size(); }

  private:
    /** What a file holds, as numbers of the recording's packets: from its first to the one after its last. */
    struct Run {
        std::size_t begin = 0;
        std::size_t end = 0;
    };
    struct Holding {
        std::string fault;
        Run pictures;
        Run sounds;
    };

    const Holding& holdingOf(const SharedBytes& content, bool isFinal);
    Holding examine(const Bytes& content);

    const SampleRecording& recording_;
    const Recover recover_;
    std::map<Bytes, std::size_t> pictureNumbers_;
    std::map<Bytes, std::size_t> soundNumbers_;
    std::vector<double> pictureEnds_; /**< seconds from the beginning, of each packet captured */
    std::vector<double> soundEnds_;
    std::vector<std::size_t> picturesBefore_; /**< how many pictures there are among so many packets */
    std::map<std::string, Bytes> wholeFiles_; /**< by their final names */
    std::unordered_map<std::string, Holding> seen_;
    std::map<std::vector<std::size_t>, std::string> decoded_;
    double worstLoss_ = 0;
};

}  // namespace kep::host

#endif
