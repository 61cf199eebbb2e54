#include "disk_judge.h"

#include <algorithm>
#include <stdexcept>

namespace kep::host {
namespace {

/** Limit of the loss, in seconds of what was captured. */
constexpr double kMostLost = 1;
constexpr double kRounding = 1e-6;
constexpr std::string_view kOpen = ".part";
constexpr const char* kWrongIndex = "has a wrong index";

}  // namespace

std::map<std::string, std::vector<DiskJudge::Version>> DiskJudge::versionsOf(const Recorded& recorded) {
    std::map<std::string, std::vector<Version>> versions;
    std::vector<UnsureFile> files;
    for (std::size_t i = 0; i < recorded.steps.size(); ++i) {
        const Step& step = recorded.steps[i];
        if (step.kind == Step::Kind::syncFolder) continue;
        files.resize(std::max(files.size(), static_cast<std::size_t>(step.file) + 1));
        UnsureFile& file = files[static_cast<std::size_t>(step.file)];
        if (step.kind == Step::Kind::write || step.kind == Step::Kind::truncate) {
            file.unsure.push_back(&step);
            file.settle();
        } else if (step.kind == Step::Kind::rename && !step.to.ends_with(kOpen)) {
            versions[step.to].push_back({i + 1, std::make_shared<const Content>(file.sure)});
        }
    }
    return versions;
}

DiskJudge::DiskJudge(const Recorded& recorded, Recover recover)
    : recorded_(recorded), recover_(std::move(recover)), versions_(versionsOf(recorded)) {
    for (const auto& [path, begin] : recorded.begins) {
        const auto found = versions_.find(path);
        if (found == versions_.end()) throw std::runtime_error(path + " was never renamed to its final name");
        files_.push_back({path, WholeFile(found->second.back().content->bytes, begin)});
    }
    std::sort(files_.begin(), files_.end(), [](const File& one, const File& other) {
        return one.whole.pictures().front() < other.whole.pictures().front();
    });
}

std::string DiskJudge::faultOf(const Disk& disk, std::size_t done) {
    std::string fault = faultOfNames(disk, done);
    std::vector<Held> held;
    for (const File& file : files_) {
        if (!fault.empty()) return fault;
        held.push_back(heldOn(disk, done, file));
        if (!held.back().fault.empty()) fault = file.path + ": " + held.back().fault;
    }
    // More is captured until the next step is done.
    const double captured = recorded_.steps[std::min(done, recorded_.steps.size() - 1)].captured;
    if (fault.empty())
        fault = faultOfTimes(held, captured, "pictures", &WholeFile::pictures, &Held::pictures);
    if (fault.empty()) fault = faultOfTimes(held, captured, "sounds", &WholeFile::sounds, &Held::sounds);
    return fault;
}

std::string DiskJudge::faultOfNames(const Disk& disk, std::size_t done) const {
    for (const Recorded::Told& told : recorded_.told) {
        if (!versions_.count(told.path)) return told.path + ": reported complete but never renamed";
    }
    for (const auto& [path, versions] : versions_) {
        const auto found = disk.files.find(path);
        std::size_t version = 0;
        if (found != disk.files.end()) {
            // The newest version with these bytes: two pictures of the same moment are identical.
            const auto newest = std::find_if(versions.rbegin(), versions.rend(), [&](const auto& each) {
                return each.content->hash == found->second->hash;
            });
            if (newest == versions.rend()) return path + ": has its final name but is incomplete";
            version = static_cast<std::size_t>(versions.rend() - newest) - 1;
        }
        for (const Recorded::Told& told : recorded_.told) {
            if (told.path != path || told.steps > done) continue;
            if (found == disk.files.end()) return path + ": is missing though reported complete";
            if (version + 1 < versions.size() && versions[version + 1].renamed <= told.steps)
                return path + ": is older than the version reported complete";
        }
    }
    return "";
}

DiskJudge::Held DiskJudge::heldOn(const Disk& disk, std::size_t done, const File& file) {
    const Held whole = {"", file.whole.pictures().size(), file.whole.sounds().size()};
    const auto finished = disk.files.find(file.path);
    const auto open = disk.files.find(file.path + std::string(kOpen));
    if (open != disk.files.end()) {
        if (finished == disk.files.end()) return heldBy(file, *open->second);
        // Both names refer to the file.
        return finished->second == open->second ? whole
                                                : Held{"exists under both names with different contents"};
    }
    if (finished != disk.files.end()) return whole;
    // During the rename itself a file may lose its name, until the folder is synced right after.
    const bool isBeingRenamed = done > 0 && recorded_.steps[done - 1].kind == Step::Kind::rename &&
                                recorded_.steps[done - 1].to == file.path;
    return disk.nameless.count(file.path) && isBeingRenamed ? whole : Held{};
}

const DiskJudge::Held& DiskJudge::heldBy(const File& file, const Content& content) {
    const auto [known, isNew] = seen_.try_emplace(file.path + std::to_string(content.hash));
    Held& held = known->second;
    if (!isNew) return held;
    const Held& asItIs = heldAsItIs(file, content);
    if (!asItIs.fault.empty()) return held = asItIs;
    const std::optional<Bytes> bytes = recover_(content.bytes);
    if (bytes) {
        const Content recovered(*bytes);
        const auto [before, isOther] = recovered_.try_emplace(file.path + std::to_string(recovered.hash));
        if (isOther) before->second = examine(file, recovered);
        held = before->second;
        if (!held.fault.empty()) {
            held.fault = "recovered: " + held.fault;
        } else if (held.pictures == 0) {
            held.fault = "recovered: has no picture";
        }
    }
    if (held.fault.empty() && (held.pictures < asItIs.pictures || held.sounds < asItIs.sounds))
        held.fault = "recovered: lacks packets that were playable before";
    return held;
}

const DiskJudge::Held& DiskJudge::heldAsItIs(const File& file, const Content& content) {
    std::string tail;
    const std::size_t same = file.whole.sameBytes(content.bytes, tail);
    std::string key = file.path + std::to_string(same) + tail;
    // Players skip the box after the same bytes; only an index there depends on the contents.
    if (tail.starts_with("mfra")) key += std::to_string(content.hash);
    const auto [known, isNew] = asTheyAre_.try_emplace(key);
    if (!isNew) return known->second;
    Held& held = known->second;
    if (tail.starts_with("!")) {
        held.fault = tail.substr(1);
    } else if (!hasRightIndex(content.bytes)) {
        held.fault = kWrongIndex;
    } else if (hasFragment(content.bytes)) {
        held = file.whole.heldBy(content.bytes);
    }
    return held;
}

DiskJudge::Held DiskJudge::examine(const File& file, const Content& content) {
    const std::vector<Box> boxes = boxesOf(content.bytes);
    if (boxes.empty() || boxes.back().end != content.bytes.size()) return {"does not end with a box"};
    if (!hasRightIndex(content.bytes)) return {kWrongIndex};
    return file.whole.heldBy(content.bytes);
}

std::string DiskJudge::faultOfTimes(const std::vector<Held>& held, double captured, const char* what,
                                    const std::vector<double>& (WholeFile::*times)() const,
                                    std::size_t Held::*count) {
    double lost = 0;
    bool isComplete = true;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        const std::vector<double>& begins = (files_[i].whole.*times)();
        if (begins.size() < 2) continue;
        const auto behind = std::upper_bound(begins.begin(), begins.end(), captured + kRounding);
        const auto given = static_cast<std::size_t>(behind - begins.begin());
        const std::size_t here = held[i].*count;
        if (here > 0 && !isComplete) return std::string(what) + " are missing between files";
        isComplete = isComplete && here == begins.size();
        // What was never recorded, as between two files while a disk was full, was not lost to the power cut.
        if (given > here) lost += static_cast<double>(given - here) * (begins[1] - begins[0]);
    }
    mostLost_ = std::max(mostLost_, lost);
    if (lost > kMostLost + kRounding) return std::to_string(lost) + " s of " + what + " are lost";
    return "";
}

}  // namespace kep::host
