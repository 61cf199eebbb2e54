#ifndef KEP_HOST_KEY_FRAME_REQUESTS_H
#define KEP_HOST_KEY_FRAME_REQUESTS_H

#include <algorithm>
#include <utility>
#include <vector>

#include "media/common/steady_time.h"
#include "objects/mutex.h"

namespace kep::host {

/**
 * The times at or after which key frames are wanted. One key frame answers all requests up to its time, so
 * that an element that lacks one may request it with every packet until it arrives.
 */
class KeyFrameRequests {
  public:
    /** Requests the next picture, whatever the time of the last key frame. */
    static constexpr SteadyTime kNextPicture = SteadyTime::min();

    void add(SteadyTime at) {
        const MutexLock lock(mutex_);
        if (at <= answered_ && at != kNextPicture) return;
        if (times_.size() == kMost) times_.erase(times_.begin());
        times_.push_back(at);
    }

    /** Whether the picture that covers the time up to `reach` must be a key frame. */
    bool isDue(SteadyTime reach) {
        const MutexLock lock(mutex_);
        // Time stamps may jump back.
        answered_ = std::min(answered_, reach);
        return std::any_of(times_.begin(), times_.end(), [reach](SteadyTime at) { return at <= reach; });
    }

    /** A key frame that covers the time up to `reach` has been encoded. */
    void answer(SteadyTime reach) {
        const MutexLock lock(mutex_);
        answered_ = reach;
        std::erase_if(times_, [reach](SteadyTime at) { return at <= reach; });
    }

    /** Takes all requests, to pass them upstream. */
    std::vector<SteadyTime> takeAll() {
        const MutexLock lock(mutex_);
        return std::exchange(times_, {});
    }

    void clear() {
        const MutexLock lock(mutex_);
        times_.clear();
        answered_ = SteadyTime::min();
    }

  private:
    /** Bounds the requests of a stalled stream; the oldest are dropped. */
    static constexpr std::size_t kMost = 64;

    Mutex mutex_;
    std::vector<SteadyTime> times_ GUARDED_BY(mutex_);
    SteadyTime answered_ GUARDED_BY(mutex_) = SteadyTime::min();
};

}  // namespace kep::host

#endif
