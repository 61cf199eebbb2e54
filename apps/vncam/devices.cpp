#include "devices.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <string_view>

namespace vncam {
namespace {

namespace fs = std::filesystem;

std::string firstLine(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/** The number after "video"; -1 for other names. */
int cameraNumber(const std::string& name) {
    constexpr std::string_view kPrefix = "video";
    const bool digits = name.size() > kPrefix.size() && name.size() < kPrefix.size() + 6 &&
                        name.starts_with(kPrefix) &&
                        std::all_of(name.begin() + kPrefix.size(), name.end(),
                                    [](unsigned char c) { return std::isdigit(c) != 0; });
    return digits ? std::stoi(name.substr(kPrefix.size())) : -1;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/** The devices of proc/asound/pcm whose line has `direction`: "00-03: id : name : playback 1 : capture 1". */
std::vector<Device> findAlsa(const fs::path& root, const std::string& direction) {
    std::vector<Device> found;
    std::ifstream list(root / "proc/asound/pcm");
    for (std::string line; std::getline(list, line);) {
        int card = 0;
        int device = 0;
        if (std::sscanf(line.c_str(), "%d-%d:", &card, &device) != 2) continue;
        if (line.find(": " + direction) == std::string::npos) continue;
        const std::size_t id = line.find(':') + 1;
        found.push_back({"alsa:plughw:" + std::to_string(card) + "," + std::to_string(device),
                         trimmed(line.substr(id, line.find(':', id) - id))});
    }
    return found;
}

}  // namespace

std::vector<Device> findCameras(const fs::path& root) {
    std::vector<int> numbers;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(root / "dev", none))
        if (const int number = cameraNumber(entry.path().filename().string()); number >= 0)
            numbers.push_back(number);
    std::sort(numbers.begin(), numbers.end());
    std::vector<Device> found;
    for (const int number : numbers) {
        const std::string node = "video" + std::to_string(number);
        found.push_back({"v4l2:/dev/" + node, firstLine(root / "sys/class/video4linux" / node / "name")});
    }
    return found;
}

std::vector<Device> findMicrophones(const fs::path& root) {
    return findAlsa(root, "capture");
}

std::vector<Device> findSpeakers(const fs::path& root) {
    return findAlsa(root, "playback");
}

}  // namespace vncam
