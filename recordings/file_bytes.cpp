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
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0)
        throw Failure(path_ + ": cannot open: " + std::strerror(errno));
    size_ = static_cast<std::uint64_t>(status.st_size);
}

FileBytes::~FileBytes() {
    close(descriptor_);
}

Bytes FileBytes::read(std::uint64_t offset, std::uint64_t count) const {
    Bytes bytes(offset < size_ ? std::min(count, size_ - offset) : 0);
    for (std::size_t filled = 0; filled < bytes.size();) {
        const ssize_t got = pread(descriptor_, bytes.data() + filled, bytes.size() - filled,
                                  static_cast<off_t>(offset + filled));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Failure(path_ + ": cannot read: " + std::strerror(errno));
        if (got == 0) bytes.resize(filled);
        filled += static_cast<std::size_t>(got);
    }
    return bytes;
}

std::uint64_t bigEndian(ByteSpan bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes.subspan(at, count)) value = value << 8 | byte;
    return value;
}

}  // namespace recordings
