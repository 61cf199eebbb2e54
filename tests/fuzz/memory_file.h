#ifndef TESTS_FUZZ_MEMORY_FILE_H
#define TESTS_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

/** A file in memory that has a path. */
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("fuzz.mp4", MFD_CLOEXEC)) {
        require(descriptor_ >= 0, "cannot create a file in memory");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    void fill(const std::uint8_t* data, std::size_t size) const {
        require(ftruncate(descriptor_, 0) == 0 &&
                    pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
                "cannot write the file in memory");
    }

  private:
    const int descriptor_;
};

#endif
