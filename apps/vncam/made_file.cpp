#include "made_file.h"

#include <filesystem>

#include "recordings/failure.h"
#include "recordings/recording_check.h"
#include "recordings/recovery.h"
#include "terminal.h"

namespace vncam {

namespace {
constexpr std::string_view kScheme = "file://";
}

std::string pathOfUrl(const std::string& url) {
    return url.starts_with(kScheme) ? url.substr(kScheme.size()) : url;
}

std::string urlOfPath(const std::string& path) {
    return path.find("://") == std::string::npos ? std::string(kScheme) + path : path;
}

std::uint64_t bytesOf(const std::string& path) {
    std::error_code missing;
    for (const std::string& name : {path + recordings::kOpenExtension, path}) {
        const auto size = std::filesystem::file_size(name, missing);
        if (!missing) return size;
    }
    return 0;
}

std::optional<double> secondsOf(const std::string& path) {
    try {
        return recordings::checkRecording(path).seconds;
    } catch (const recordings::Failure&) {
        return std::nullopt;
    }
}

std::string lengthAndSize(const std::string& path, std::optional<double> seconds) {
    if (!seconds) return path + ": no longer exists";
    return path + ": " + lengthText(*seconds) + ", " + countText(bytesOf(path), "byte");
}

}  // namespace vncam
