#include "killed_files.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "recorded_file.h"

namespace {

namespace fs = std::filesystem;

/**
 * Seconds. The test camera captures on a fixed grid with a key frame at each second, so only the rounding of
 * the file's times remains.
 */
constexpr double kRounding = 0.002;

struct Part {
    std::string name;
    bool isFinal;
    std::int64_t first;
    std::int64_t last;
    bool hasBegun = true; /**< holds anything playable */
};

/** Whether no captured picture lies between the two. */
bool follows(std::int64_t next, std::int64_t before, const std::set<std::int64_t>& captured) {
    if (captured.empty()) return next == before + 1;
    const auto following = captured.upper_bound(before);
    return next > before && (following == captured.end() || *following >= next);
}

/** Describes what is wrong with a file; fills in which pictures it holds. */
std::string faultOf(const fs::path& path, int secondsOfFile, const std::set<std::int64_t>& captured,
                    Part& part) {
    RecordedFile file(path.string());
    const std::vector<RecordedPicture> pictures = file.decodePictures();
    file.decodeSound();
    if (!file.errors().empty()) return file.errors().front();
    part.hasBegun = file.video().packets.size() + file.audio().packets.size() > 0;
    if (!part.hasBegun) return {};
    if (pictures.empty()) return "has no picture";
    if (!pictures.front().key) return "does not begin with a key frame";
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (!pictures[i].number) return "picture " + std::to_string(i) + " has no readable number";
        if (i > 0 && !follows(*pictures[i].number, *pictures[i - 1].number, captured))
            return "picture " + std::to_string(i) + " does not follow the previous one";
    }
    part.first = *pictures.front().number;
    part.last = *pictures.back().number;
    const double length = file.video().end() - file.video().begin();
    if (part.isFinal && secondsOfFile > 0 && std::abs(length - secondsOfFile) > kRounding)
        return "is " + std::to_string(length) + " s long";
    return {};
}

}  // namespace

KilledFiles::KilledFiles(const std::string& folder, int secondsOfFile,
                         const std::set<std::int64_t>& captured) {
    std::vector<Part> parts;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        Part part = {entry.path().filename().string(), entry.path().extension() == ".mp4", -1, -1};
        part.hasBegun = entry.file_size() > 0;
        const std::string fault =
            part.hasBegun ? faultOf(entry.path(), secondsOfFile, captured, part) : std::string();
        part.isFinal ? ++finished : ++open;
        if (!part.hasBegun) ++empty;
        if (!fault.empty()) faults.push_back(part.name + ": " + fault);
        if (part.isFinal && !part.hasBegun && secondsOfFile > 0) faults.push_back(part.name + ": is empty");
        if (part.last >= 0) parts.push_back(part);
    }
    std::sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.first < b.first; });
    for (std::size_t i = 1; i < parts.size(); ++i) {
        if (!follows(parts[i].first, parts[i - 1].last, captured))
            faults.push_back(parts[i].name + ": does not go on where the one before it ends");
    }
    if (!parts.empty()) last = parts.back().last;
}
