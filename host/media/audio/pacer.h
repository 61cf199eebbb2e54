#ifndef KEP_HOST_PACER_H
#define KEP_HOST_PACER_H

#include <condition_variable>
#include <mutex>

#include "media/audio/audio_block.h"

namespace kep::host {

/** Waits for points in time; another thread can end the waiting for good. */
class Pacer {
  public:
    /** False when it was interrupted, now or before. */
    bool waitUntil(SteadyTime time) {
        std::unique_lock lock(mutex_);
        return !interrupted_.wait_until(lock, time, [this] { return ended_; });
    }

    void interrupt() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        interrupted_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable interrupted_;
    bool ended_ = false;
};

}  // namespace kep::host

#endif
