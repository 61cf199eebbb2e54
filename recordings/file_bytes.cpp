#include "recordings/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "recordings/failure.h"

namespace recordings {

FileBytes::FileBytes(std::string path) : path_(std::move(path)) {
    // O_NONBLOCK: opening a pipe without a writer would block.
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    const bool opened = descriptor_ >= 0 && fstat(descriptor_, &status) == 0;
    const int reason = errno;
    if (opened && S_ISREG(status.st_mode)) {
        size_ = static_cast<std::uint64_t>(status.st_size);
        return;
    }
    if (descriptor_ >= 0) close(descriptor_);
    if (opened && !S_ISDIR(status.st_mode)) throw Failure(path_ + ": cannot open: not a regular file");
    throw Failure(path_ + ": cannot open: " + std::strerror(opened ? EISDIR : reason));
}

FileBytes::~FileBytes() {
    close(descriptor_);
}

Bytes FileBytes::read(std::uint64_t offset, std::uint64_t count) const {
    Bytes bytes(offset < size_ ? std::min(count, size_ - offset) : 0);
    bytes.resize(read(offset, std::span(bytes)));
    return bytes;
}

std::size_t FileBytes::read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    const std::uint64_t wanted = offset < size_ ? std::min<std::uint64_t>(bytes.size(), size_ - offset) : 0;
    std::size_t filled = 0;
    while (filled < wanted) {
        const ssize_t got =
            pread(descriptor_, bytes.data() + filled, wanted - filled, static_cast<off_t>(offset + filled));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Failure(path_ + ": cannot read: " + std::strerror(errno));
        if (got == 0) break;  // truncated in the meantime
        filled += static_cast<std::size_t>(got);
    }
    return filled;
}

}  // namespace recordings
