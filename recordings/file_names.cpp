#include "recordings/file_names.h"

#include <algorithm>
#include <array>

#include "recordings/file_layer.h"

namespace recordings {
namespace {

std::size_t startOfName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? 0 : slash + 1;
}

std::string numbered(const std::string& path, int number) {
    if (number == 0) return path;
    const std::size_t name = startOfName(path);
    const std::size_t dot = path.rfind('.');
    const std::size_t at = dot == path.npos || dot <= name ? path.size() : dot;
    return path.substr(0, at) + "-" + std::to_string(number) + path.substr(at);
}

}  // namespace

FileNames::FileNames(std::string path, std::string openExtension)
    : path_(std::move(path)), openExtension_(std::move(openExtension)) {}

std::string FileNames::filled(SteadyTime first) const {
    const std::size_t start = startOfName(path_);
    if (path_.find('%', start) == path_.npos) return path_;
    const std::time_t time = wallTime(first);
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 512> text;
    const std::size_t size = std::strftime(text.data(), text.size(), path_.c_str() + start, &local);
    if (size == 0) return path_;
    std::string name(text.data(), size);
    std::replace(name.begin(), name.end(), '/', '-');
    return path_.substr(0, start) + name;
}

bool FileNames::isTaken(const std::string& path) const {
    FileLayer& layer = FileLayer::current();
    return layer.exists(path) || (!openExtension_.empty() && layer.exists(path + "." + openExtension_));
}

std::string FileNames::next(SteadyTime first) {
    const std::string name = filled(first);
    if (name != last_) {
        number_ = 0;
    } else if (used_) {
        ++number_;
    }
    last_ = name;
    used_ = false;
    std::string path = numbered(name, number_);
    while (isTaken(path)) path = numbered(name, ++number_);
    return path;
}

}  // namespace recordings
