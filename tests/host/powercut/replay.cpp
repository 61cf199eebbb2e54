#include "replay.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "file_contents.h"
#include "noted_disk.h"
#include "recordings/recovery.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kShown = 10;

/** A temporary folder per process. */
class Folder {
  public:
    Folder() {
        std::string pattern = fs::temp_directory_path() / "powercutXXXXXX";
        if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create folder " + pattern);
        path_ = pattern;
    }
    ~Folder() { fs::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

}  // namespace

Replay::Replay(const Recorded& recorded, DiskJudge& judge, int draws, std::span<const std::uint8_t> old) {
    for (std::size_t done = 0; done <= recorded.steps.size(); ++done) {
        std::set<std::string> found;
        PowerCut(recorded.steps, done, old).forEachDisk(draws, [&](const Disk& disk) {
            ++disks;
            const std::string fault = judge.faultOf(disk, done);
            if (!fault.empty()) found.insert(fault);
        });
        for (const std::string& fault : found)
            faults.push_back("after " + std::to_string(done) + " steps: " + fault);
    }
}

std::string Replay::text() const {
    std::string joined;
    for (std::size_t i = 0; i < std::min(faults.size(), kShown); ++i) joined += faults[i] + "\n";
    return joined;
}

bool Replay::has(const std::string& fault) const {
    return std::any_of(faults.begin(), faults.end(),
                       [&](const std::string& each) { return each.find(fault) != each.npos; });
}

int draws(int usual) {
    const char* const wanted = std::getenv("POWERCUT_DRAWS");
    return wanted ? std::atoi(wanted) : usual;
}

std::optional<Bytes> recovered(const Bytes& content) {
    static const Folder folder;
    const fs::path final = folder.path() / "rec.mp4";
    const fs::path open = folder.path() / "rec.mp4.part";
    fs::remove(final);
    std::ofstream(open, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    NotedDisk disk(folder.path());
    const InUse inUse(disk);
    const bool isRecovered = recordings::recoverFile(open).recovered();
    if (fs::exists(final) != isRecovered || fs::exists(open) == isRecovered)
        throw std::runtime_error("the files left by the recovery contradict its result");
    if (!isRecovered) return std::nullopt;
    return contentsOf<Bytes>(final);
}

}  // namespace kep::host
