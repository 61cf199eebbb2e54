#include "output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "command.h"
#include "interrupt.h"

namespace vncam {
namespace {

constexpr int kPollMilliseconds = 100;
/** A second, after which a full pipe is given up. */
constexpr int kPollsAtEnd = 10;
constexpr std::size_t kPieceSize = 64 << 10;
/** Symbolic links followed in a path; Linux allows as many. */
constexpr int kMostLinks = 40;

/** The error of opening a file for writing, determined without touching it; 0 for none. */
int refusalOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return EISDIR;
        return access(path.c_str(), W_OK) == 0 ? 0 : errno;
    }
    if (errno != ENOENT) return errno;
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

bool isRegular(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

Output::Output(std::string path) : name_(std::move(path)) {
    if (name_ == "-") {
        name_ = "standard output";
        if (isatty(STDOUT_FILENO))
            throw Failure("standard output is a terminal; redirect the stream to a pipe or a file");
        descriptor_ = STDOUT_FILENO;
        regular_ = isRegular(descriptor_);
    } else if (const int error = refusalOf(name_)) {
        fail("cannot open", error);
    }
}

Output::Output(std::string name, int descriptor)
    : name_(std::move(name)), descriptor_(descriptor), regular_(isRegular(descriptor)) {}

Output::~Output() {
    try {
        writeGathered();
    } catch (...) {
        // The cause of the failure has been reported already.
    }
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

void Output::openOnce() {
    if (descriptor_ >= 0) return;
    descriptor_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ < 0) fail("cannot open", errno);
    regular_ = isRegular(descriptor_);
}

bool Output::isSeekable() {
    openOnce();
    return regular_;
}

void Output::write(const char* data, std::size_t size) {
    openOnce();
    gathered_.insert(gathered_.end(), data, data + size);
    bytes_ += size;
    if (!regular_ || gathered_.size() >= kPieceSize) writeGathered();
}

void Output::seek(std::uint64_t position) {
    openOnce();
    writeGathered();
    if (lseek(descriptor_, static_cast<off_t>(position), SEEK_SET) < 0) fail("cannot seek", errno);
}

void Output::writeOut(const char* data, std::size_t size) {
    // A pipe that poll() reports as writable takes this much without blocking.
    const std::size_t most = regular_ ? size : static_cast<std::size_t>(PIPE_BUF);
    while (size > 0) {
        if (!regular_ && !waitWritable()) throw ClosedPipe();
        const ssize_t written = ::write(descriptor_, data, std::min(size, most));
        if (written < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            if (errno == EPIPE) throw ClosedPipe();
            fail("cannot write", errno);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void Output::writeGathered() {
    if (gathered_.empty()) return;
    // Clears the buffer first: a failed write is not retried.
    const std::vector<char> pending = std::exchange(gathered_, {});
    writeOut(pending.data(), pending.size());
}

void Output::close() {
    openOnce();
    writeGathered();
    const int descriptor = std::exchange(descriptor_, -1);
    if (::close(descriptor) != 0 && errno != EINTR) fail("cannot close", errno);
}

bool Output::waitWritable() const {
    pollfd state{descriptor_, POLLOUT, 0};
    for (int polls = 0; polls < kPollsAtEnd;) {
        if (poll(&state, 1, kPollMilliseconds) > 0) return true;
        if (stopRequested() || abandoned_) ++polls;
    }
    return false;
}

void Output::fail(const char* what, int error) const {
    throw Failure(name_ + ": " + what + ": " + std::strerror(error));
}

bool isSameOutput(const std::string& one, const std::string& other) {
    namespace fs = std::filesystem;
    const auto pathOf = [](const std::string& name) { return fs::path(name == "-" ? "/dev/stdout" : name); };
    std::error_code error;
    if (fs::is_character_file(pathOf(one), error)) return false;
    if (fs::equivalent(pathOf(one), pathOf(other), error)) return true;
    // A file may not exist yet: compare the paths, with links to it resolved.
    const auto resolved = [&](const std::string& name) {
        fs::path path = fs::absolute(pathOf(name));
        for (int links = 0; links < kMostLinks && fs::is_symlink(path, error); ++links)
            path = path.parent_path() / fs::read_symlink(path, error);
        return fs::weakly_canonical(path, error);
    };
    return resolved(one) == resolved(other);
}

}  // namespace vncam
