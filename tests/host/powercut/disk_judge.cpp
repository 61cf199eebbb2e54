#include "disk_judge.h"

#include <algorithm>
#include <string_view>

#include "recorded_file.h"

namespace kep::host {
namespace {

/** Of what was captured, in seconds. */
constexpr double kMostLost = 1;
constexpr std::size_t kAdtsHeader = 7;

bool isSlice(std::uint8_t unitHeader) {
    const int type = unitHeader & 0x1f;
    return type == 1 || type == 5;
}

/** The coded pictures of a byte stream, without the parameter sets, which a file keeps elsewhere. */
Bytes slicesOfByteStream(const std::uint8_t* data, std::size_t size) {
    Bytes slices;
    const auto startCode = [&](std::size_t at) {
        return at + 3 <= size && !data[at] && !data[at + 1] && data[at + 2] == 1;
    };
    for (std::size_t at = 0; at + 3 < size; ++at) {
        if (!startCode(at)) continue;
        const std::size_t begin = at + 3;
        std::size_t end = begin;
        while (end < size && !startCode(end)) ++end;
        if (isSlice(data[begin])) {
            while (end < size && end > begin && data[end - 1] == 0) --end;
            slices.insert(slices.end(), data + begin, data + end);
        }
        at = end - 1;
    }
    return slices;
}

/** The same of a packet in a file, whose units have their length before them. */
Bytes slicesOfFile(const std::uint8_t* data, std::size_t size) {
    Bytes slices;
    for (std::size_t at = 0; at + 4 < size;) {
        const std::size_t length = static_cast<std::size_t>(data[at]) << 24 |
                                   static_cast<std::size_t>(data[at + 1]) << 16 |
                                   static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3];
        const std::size_t begin = at + 4;
        if (length == 0 || length > size - begin) return {};
        if (isSlice(data[begin])) slices.insert(slices.end(), data + begin, data + begin + length);
        at = begin + length;
    }
    return slices;
}

}  // namespace

DiskJudge::DiskJudge(const SampleRecording& recording, Recover recover)
    : recording_(recording), recover_(std::move(recover)), picturesBefore_{0} {
    const SteadyTime begin = recording.stream.packets.front()->stamp;
    for (const SharedPacket& packet : recording.stream.packets) {
        const double end = std::chrono::duration<double>(packet->stamp + packet->duration - begin).count();
        const std::uint8_t* const data = packet->bytes.get();
        const auto size = static_cast<std::size_t>(packet->size);
        if (packet->isVideo()) {
            pictureNumbers_.emplace(slicesOfByteStream(data, size), pictureEnds_.size());
            pictureEnds_.push_back(end);
        } else {
            soundNumbers_.emplace(Bytes(data + kAdtsHeader, data + size), soundEnds_.size());
            soundEnds_.push_back(end);
        }
        picturesBefore_.push_back(pictureEnds_.size());
    }
    // After the last step nothing is unsure.
    PowerCut(recording.steps, recording.steps.size()).forEachDisk(0, [this](const Disk& disk) {
        for (const auto& [path, content] : disk) wholeFiles_[path] = *content;
    });
}

std::string DiskJudge::faultOf(const Disk& disk, std::size_t captured) {
    std::vector<Run> pictures;
    std::vector<Run> sounds;
    for (const auto& [path, content] : disk) {
        const auto segment = std::find_if(recording_.segments.begin(), recording_.segments.end(),
                                          [&path = path](const auto& each) { return each.path == path; });
        const bool isFinal = segment != recording_.segments.end();
        const Holding& holding = holdingOf(content, isFinal);
        if (!holding.fault.empty()) return path + ": " + holding.fault;
        if (isFinal && *content != wholeFiles_.at(path))
            return path + ": has its final name and is not whole";
        if (isFinal && (holding.pictures.begin != picturesBefore_[segment->begin] ||
                        holding.pictures.end != picturesBefore_[segment->end] ||
                        holding.sounds.begin != segment->begin - picturesBefore_[segment->begin] ||
                        holding.sounds.end != segment->end - picturesBefore_[segment->end]))
            return path + ": does not hold what was captured for it";
        if (holding.pictures.begin != holding.pictures.end) pictures.push_back(holding.pictures);
        if (holding.sounds.begin != holding.sounds.end) sounds.push_back(holding.sounds);
    }
    const auto judge = [&](std::vector<Run>& runs, const std::vector<double>& ends, std::size_t given,
                           const char* what) {
        std::sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) { return a.begin < b.begin; });
        std::size_t next = 0;
        for (const Run& run : runs) {
            if (run.begin != next) return std::string(what) + " are missing between files";
            next = run.end;
        }
        const double lost = (given ? ends[given - 1] : 0) - (next ? ends[next - 1] : 0);
        worstLoss_ = std::max(worstLoss_, lost);
        // The packet whose coming ended the fragment is not in it yet.
        const double packet = given ? ends[1] - ends[0] : 0;
        if (lost > kMostLost + packet + 1e-9) return std::to_string(lost) + " s of " + what + " are lost";
        return std::string();
    };
    const std::size_t givenPictures = picturesBefore_[captured];
    std::string fault = judge(pictures, pictureEnds_, givenPictures, "pictures");
    if (fault.empty()) fault = judge(sounds, soundEnds_, captured - givenPictures, "sounds");
    return fault;
}

const DiskJudge::Holding& DiskJudge::holdingOf(const SharedBytes& content, bool isFinal) {
    const std::string_view text(reinterpret_cast<const char*>(content->data()), content->size());
    const std::string key = std::to_string(std::hash<std::string_view>{}(text)) + "/" +
                            std::to_string(content->size()) + (isFinal ? "/final" : "");
    const auto known = seen_.find(key);
    if (known != seen_.end()) return known->second;
    Holding holding;
    if (isFinal) {
        holding = examine(*content);
    } else if (const std::optional<Bytes> recovered = recover_(*content)) {
        holding = examine(*recovered);
        if (holding.fault.empty() && holding.pictures.begin == holding.pictures.end)
            holding.fault = "is kept without a picture in it";
    }
    return seen_.emplace(key, std::move(holding)).first->second;
}

DiskJudge::Holding DiskJudge::examine(const Bytes& content) {
    RecordedFile file(content);
    Holding holding;
    if (!file.errors().empty()) {
        holding.fault = file.errors().front();
        return holding;
    }
    std::vector<std::size_t> all;
    const auto follow = [&](const RecordedStream& stream, const std::map<Bytes, std::size_t>& numbers,
                            Run& run, const auto& payload) {
        for (const auto& packet : stream.packets) {
            const auto found = numbers.find(payload(packet->data, static_cast<std::size_t>(packet->size)));
            if (found == numbers.end()) {
                holding.fault = "holds something that was not captured";
                return;
            }
            if (run.begin == run.end) run = {found->second, found->second};
            if (found->second != run.end) {
                holding.fault = "has a gap";
                return;
            }
            ++run.end;
            all.push_back(found->second);
        }
    };
    follow(file.video(), pictureNumbers_, holding.pictures, slicesOfFile);
    follow(file.audio(), soundNumbers_, holding.sounds,
           [](const std::uint8_t* data, std::size_t size) { return Bytes(data, data + size); });
    if (!holding.fault.empty()) return holding;
    // The same packets decode in the same way.
    all.push_back(holding.pictures.end - holding.pictures.begin);
    const auto [known, isNew] = decoded_.emplace(all, "");
    if (isNew) {
        const std::size_t pictures = file.decodePictures().size();
        file.decodeSound();
        if (!file.errors().empty()) known->second = file.errors().front();
        if (pictures != file.video().packets.size()) known->second = "shows fewer pictures than it has";
    }
    holding.fault = known->second;
    return holding;
}

}  // namespace kep::host
