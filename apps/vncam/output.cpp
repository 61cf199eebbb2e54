#include "output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "command.h"
#include "interrupt.h"

namespace vncam {
namespace {

constexpr int kPollMilliseconds = 100;
constexpr int kPollsAtEnd = 10;
constexpr std::size_t kPieceSize = 64 << 10;

}  // namespace

Output::Output(std::string path) : name_(std::move(path)) {
    if (name_ == "-") {
        name_ = "standard output";
        if (isatty(STDOUT_FILENO))
            throw Failure("standard output is a terminal; redirect the stream to a pipe or a file");
        descriptor_ = STDOUT_FILENO;
    } else {
        descriptor_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (descriptor_ < 0) fail("cannot open", errno);
    }
    struct stat status {};
    regular_ = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

Output::~Output() {
    try {
        writeGathered();
    } catch (...) {
        // The cause of the failure has been reported already.
    }
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

void Output::write(const char* data, std::size_t size) {
    gathered_.insert(gathered_.end(), data, data + size);
    bytes_ += size;
    if (!regular_ || gathered_.size() >= kPieceSize) writeGathered();
}

void Output::seek(std::uint64_t position) {
    writeGathered();
    if (lseek(descriptor_, static_cast<off_t>(position), SEEK_SET) < 0) fail("cannot seek", errno);
}

void Output::writeOut(const char* data, std::size_t size) {
    // A pipe that is said to be writable takes this much without blocking.
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
    // No retry of a failed write.
    const std::vector<char> pending = std::exchange(gathered_, {});
    writeOut(pending.data(), pending.size());
}

void Output::close() {
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

}  // namespace vncam
