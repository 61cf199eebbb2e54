// Any bytes as a fragmented MP4 file: its length is given or refused, in time and memory that its size
// justifies, and what the check of recordings finds in it has a place in it.
#include "memory_file.h"
#include "recordings/failure.h"
#include "recordings/mp4_length.h"
#include "recordings/recording_check.h"

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
