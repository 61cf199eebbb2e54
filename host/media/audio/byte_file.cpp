#include "media/audio/byte_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kep::host {

namespace {

constexpr int kBufferBytes = 32768;

}  // namespace

std::unique_ptr<ByteFile> ByteFile::open(const std::string& path, std::string& reason) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0 || S_ISDIR(status.st_mode)) {
        reason = std::strerror(file >= 0 && S_ISDIR(status.st_mode) ? EISDIR : errno);
        if (file >= 0) ::close(file);
        return nullptr;
    }
    const int wake = eventfd(0, EFD_CLOEXEC);
    if (wake < 0) {
        reason = std::strerror(errno);
        ::close(file);
        return nullptr;
    }
    return std::unique_ptr<ByteFile>(new ByteFile(file, wake, S_ISREG(status.st_mode)));
}

ByteFile::ByteFile(int file, int wake, bool seekable) : file_(file), wake_(wake), seekable_(seekable) {
    io_ = avio_alloc_context(
        static_cast<unsigned char*>(av_malloc(kBufferBytes)), kBufferBytes, 0, this,
        [](void* self, unsigned char* buffer, int size) {
            return static_cast<ByteFile*>(self)->read(buffer, size);
        },
        nullptr,
        seekable ? [](void* self, std::int64_t offset,
                      int whence) { return static_cast<ByteFile*>(self)->seek(offset, whence); }
                 : static_cast<std::int64_t (*)(void*, std::int64_t, int)>(nullptr));
}

ByteFile::~ByteFile() {
    if (io_) av_freep(&io_->buffer);
    avio_context_free(&io_);
    ::close(wake_);
    ::close(file_);
}

void ByteFile::interrupt() {
    const std::uint64_t one = 1;
    // Cannot fail: the counter is far from its limit.
    if (::write(wake_, &one, sizeof one) < 0) return;
}

int ByteFile::read(unsigned char* buffer, int size) {
    for (;;) {
        if (timedOut_) return AVERROR(ETIMEDOUT);
        pollfd waiting[] = {{file_, POLLIN, 0}, {wake_, POLLIN, 0}};
        const int ready = poll(waiting, 2, waitLimit_);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return AVERROR(errno);
        if (ready == 0) {
            timedOut_ = true;
            return AVERROR(ETIMEDOUT);
        }
        if (waiting[1].revents) return AVERROR_EXIT;
        const ssize_t got = ::read(file_, buffer, static_cast<std::size_t>(size));
        if (got > 0) return static_cast<int>(got);
        if (got == 0) return AVERROR_EOF;
        if (errno != EAGAIN && errno != EINTR) return AVERROR(errno);
    }
}

std::int64_t ByteFile::seek(std::int64_t offset, int whence) {
    if (whence & AVSEEK_SIZE) {
        struct stat status {};
        return fstat(file_, &status) == 0 ? status.st_size : AVERROR(errno);
    }
    const off_t position = lseek(file_, offset, whence & ~AVSEEK_FORCE);
    return position < 0 ? AVERROR(errno) : position;
}

}  // namespace kep::host
