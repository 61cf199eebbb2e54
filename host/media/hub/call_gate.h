#ifndef KEP_HOST_CALL_GATE_H
#define KEP_HOST_CALL_GATE_H

#include "objects/mutex.h"

namespace kep::host {

/** Lets calls through until it is closed, and knows when the last of them is over. */
class CallGate {
  public:
    /** Makes `call` unless the gate is closed. The lock is not held meanwhile. */
    template <class Call>
    void pass(const Call& call) EXCLUDES(mutex_) {
        {
            const MutexLock lock(mutex_);
            if (closed_) return;
            ++inside_;
        }
        call();
        const MutexLock lock(mutex_);
        --inside_;
        idle_.notifyAll();
    }

    /** Waits until no call is under way; none begins after that. Not to be called from within one. */
    void close() EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        closed_ = true;
        idle_.wait(lock, [this]() REQUIRES(mutex_) { return inside_ == 0; });
    }

  private:
    Mutex mutex_;
    Condition idle_;
    int inside_ GUARDED_BY(mutex_) = 0;
    bool closed_ GUARDED_BY(mutex_) = false;
};

}  // namespace kep::host

#endif
