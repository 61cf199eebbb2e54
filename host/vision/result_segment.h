#ifndef KEP_HOST_RESULT_SEGMENT_H
#define KEP_HOST_RESULT_SEGMENT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>

#include "kep/shared_memory.h"
#include "media/common/ffmpeg.h"
#include "media/pipeline/media_packet.h"
#include "objects/mutex.h"

namespace kep::host {

/** When a picture was captured, in milliseconds since 1970. */
inline std::int64_t millisecondsOf(const Picture& picture) {
    return std::chrono::floor<std::chrono::milliseconds>(wallTimeOf(picture.stamp).time_since_epoch())
        .count();
}

/**
 * A record in shared memory with a sequence lock: its first member `sequence` is odd while the rest is
 * written, and grows by 2 with each record. Detectors of one process may share it.
 */
template <class Record>
class ResultSegment {
  public:
    /** Attaches the segment. On failure, writes an error line, and publish() does nothing. */
    void open(const char* name) {
        memory_.emplace(1);
        if (!memory_->ShmName(name)) memory_.reset();
    }

    void publish(const Record& record) {
        if (!memory_) return;
        const MutexLock lock(writing_);
        Record& shown = *memory_->Record();
        const std::atomic_ref<std::uint32_t> sequence(shown.sequence);
        const std::uint32_t before = sequence.load() & ~1U;
        sequence.exchange(before + 1);  // writes below cannot move before it
        constexpr std::size_t skipped = sizeof shown.sequence;
        std::memcpy(reinterpret_cast<char*>(&shown) + skipped,
                    reinterpret_cast<const char*>(&record) + skipped, sizeof record - skipped);
        sequence.store(before + 2);
    }

  private:
    static inline Mutex writing_;
    std::optional<stream::TSharedMemory<Record>> memory_;
};

}  // namespace kep::host

#endif
