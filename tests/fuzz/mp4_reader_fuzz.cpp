// Any bytes as an MP4 file: its samples are read or refused, in time and memory that its size justifies, and
// after a seek the samples of at least one track begin with a key frame.
#include "memory_file.h"
#include "recordings/failure.h"
#include "recordings/mp4_reader.h"

namespace {

/** Reads up to the end; returns the bytes of all samples. */
std::uint64_t readAll(recordings::Mp4Reader& reader) {
    std::uint64_t bytes = 0;
    while (const auto packet = reader.next()) {
        require(!packet->data.empty(), "a packet without data");
        bytes += packet->data.size();
    }
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.fill(data, size);
    try {
        recordings::Mp4Reader reader(file.path());
        require(reader.milliseconds() >= 0, "a negative length");
        try {
            require(readAll(reader) <= 2 * size, "more samples than the file holds");
        } catch (const recordings::Failure&) {
            // Refused, with a reason; a seek may reach a readable part.
        }
        for (const int part : {0, 1, 3, 4}) {
            const std::int64_t asked = reader.milliseconds() / 4 * part;
            if (!reader.seek(asked)) continue;
            std::set<std::uint32_t> begun;
            bool anyKey = false;
            for (int i = 0; i < 20; ++i) {
                const auto packet = reader.next();
                if (!packet) break;
                if (begun.insert(packet->track).second) anyKey = anyKey || packet->key;
            }
            require(begun.empty() || anyKey, "no track begins with a key frame");
        }
    } catch (const recordings::Failure&) {
        // Refused, with a reason.
    }
    return 0;
}
