#include "recordings/temporary_file.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>

#include "recordings/failure.h"
#include "recordings/file_layer.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSuffix = ".part";
/** In a name: process id, time and count. */
constexpr int kNumbers = 3;

/** Removes "_" and a number from the end of a name. */
std::optional<long long> takeNumber(std::string_view& name) {
    const std::size_t line = name.rfind('_');
    if (line == name.npos) return std::nullopt;
    const std::string_view digits = name.substr(line + 1);
    long long number = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    if (error != std::errc() || end != digits.end() || number < 0) return std::nullopt;
    name.remove_suffix(digits.size() + 1);
    return number;
}

/** The process id in a temporary name; nothing for any other name. */
std::optional<pid_t> processOf(std::string_view name) {
    if (!name.starts_with('.') || !name.ends_with(kSuffix)) return std::nullopt;
    name.remove_suffix(kSuffix.size());
    std::optional<long long> number;
    for (int i = 0; i < kNumbers; ++i) {
        number = takeNumber(name);
        if (!number) return std::nullopt;
    }
    const auto process = static_cast<pid_t>(*number);
    // For kill(), 0 and negative numbers are process groups.
    const bool isKind = name == ".picture" || name == ".rest";
    return isKind && process > 0 && process == *number ? std::optional(process) : std::nullopt;
}

bool isRunning(pid_t process) {
    return kill(process, 0) == 0 || errno != ESRCH;
}

}  // namespace

std::string temporaryPath(const std::string& folder, std::string_view kind) {
    static std::atomic<unsigned> count{0};
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return folder + "/." + std::string(kind) + "_" + std::to_string(getpid()) + "_" + std::to_string(now) +
           "_" + std::to_string(count++) + std::string(kSuffix);
}

std::vector<std::string> abandonedIn(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error) throw Failure(folder + ": cannot read the folder: " + error.message());
    for (const auto& entry : entries) {
        const auto process = processOf(entry.path().filename().native());
        if (process && !isRunning(*process) && fs::is_regular_file(entry.symlink_status(error)))
            found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool removeAbandoned(const std::string& path, bool planned) {
    // The process may run in another PID namespace, where it has another id.
    if (isBeingWritten(path)) return false;
    std::string reason;
    if (!planned && !FileLayer::current().remove(path, reason)) throw Failure("cannot remove " + reason);
    return true;
}

bool isBeingWritten(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) throw Failure("cannot open " + path + ": " + std::strerror(errno));
    // The kernel refuses a read lease on a file that is open for writing.
    const bool refused = fcntl(file, F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
    close(file);
    return refused;
}

}  // namespace recordings
