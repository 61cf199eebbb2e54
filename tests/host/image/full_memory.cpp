#include "full_memory.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> isFull{false};

}  // namespace

FullMemory::FullMemory() {
    isFull = true;
}

FullMemory::~FullMemory() {
    isFull = false;
}

/** Overrides the system's posix_fallocate in this program. */
extern "C" __attribute__((visibility("default"))) int posix_fallocate(int fd, off_t offset, off_t len) {
    if (isFull) return ENOSPC;
    return reinterpret_cast<int (*)(int, off_t, off_t)>(dlsym(RTLD_NEXT, "posix_fallocate"))(fd, offset, len);
}
