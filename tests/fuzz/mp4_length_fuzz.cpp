// Any bytes as a fragmented MP4 file: its length is given or refused, in time and memory that its size
// justifies, and what the check of recordings finds in it has a place in it.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "recordings/failure.h"
#include "recordings/mp4_length.h"
#include "recordings/recording_check.h"

namespace {

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

/** A file in memory that bears a name. */
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("fuzz.mp4", MFD_CLOEXEC)) {
        require(descriptor_ >= 0, "no file in memory");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    void fill(const std::uint8_t* data, std::size_t size) const {
        require(ftruncate(descriptor_, 0) == 0 &&
                    pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
                "the file in memory cannot be written");
    }

  private:
    const int descriptor_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.fill(data, size);
    try {
        require(recordings::fragmentedLength(file.path()) >= 0, "a length below 0");
    } catch (const recordings::Failure&) {
        // It has said why.
    }
    const recordings::RecordingCheck check = recordings::checkRecording(file.path());
    require(check.end <= size, "the playable part ends beyond the file");
    for (const recordings::Damage& damage : check.damages)
        require(damage.begin <= damage.end && damage.end <= size, "a damage lies beyond the file");
    for (const recordings::Repair& repair : check.repairs)
        require(repair.offset + (repair.count - 1) * repair.stride + repair.bytes.size() <= size,
                "a repair lies beyond the file");
    return 0;
}
