// Any bytes as a fragmented MP4 file: its length is read or refused, in time and memory that its size
// justifies; the damages and repairs that the check of recordings finds, and the completed header, lie within
// the file.
#include "memory_file.h"
#include "recordings/failure.h"
#include "recordings/fragment_walk.h"
#include "recordings/head_index.h"
#include "recordings/mp4_length.h"
#include "recordings/recording_check.h"

namespace {

/** Accepts writes within a file of `bytes`. */
class Limited final : public recordings::FileLayer::File {
  public:
    explicit Limited(std::uint64_t bytes) : bytes_(bytes) {}
    bool write(std::uint64_t offset, const void*, std::size_t size, std::string&) override {
        require(offset <= bytes_ && size <= bytes_ - offset, "a header is written beyond the file");
        return true;
    }
    bool sync(std::string&) override { return true; }
    bool close(std::string&) override { return true; }

  private:
    const std::uint64_t bytes_;
};

void completeHeader(const std::string& path) {
    constexpr std::uint64_t kMaxHead = 256 << 10;
    const recordings::FileBytes bytes(path);
    recordings::HeadIndex index(bytes.read(0, kMaxHead));
    recordings::BoxWindow window(bytes);
    const auto beginning = recordings::readBeginning(bytes, window, kMaxHead);
    recordings::FragmentWalk walk(bytes, beginning);
    while (walk.next(bytes.size())) index.add(walk.offset(), walk.fragment());
    Limited file(bytes.size());
    std::string reason;
    index.write(
        file, bytes.size(), [](std::string&) { return true; }, reason);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.fill(data, size);
    try {
        require(recordings::fragmentedLength(file.path()) >= 0, "a negative length");
    } catch (const recordings::Failure&) {
        // Refused, with a reason.
    }
    try {
        completeHeader(file.path());
    } catch (const recordings::Failure&) {
        // Not an MP4 file.
    }
    const recordings::RecordingCheck check = recordings::checkRecording(file.path());
    require(check.end <= size, "the playable part ends beyond the file");
    for (const recordings::Damage& damage : check.damages)
        require(damage.begin <= damage.end && damage.end <= size, "a damage beyond the file");
    // A rebuilt index is appended.
    for (const recordings::Repair& repair : check.repairs)
        require(repair.offset == size ||
                    repair.offset + (repair.count - 1) * repair.stride + repair.bytes.size() <= size,
                "a repair beyond the file");
    return 0;
}
