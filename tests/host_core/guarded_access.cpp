// Only compiled, by tests: reads guarded state with its mutex held or, with WITHOUT_LOCK defined, without it.
#include "objects/mutex.h"

class Counter {
  public:
    int value() {
#if !defined(WITHOUT_LOCK)
        const kep::host::MutexLock lock(mutex_);
#endif
        return value_;
    }

  private:
    kep::host::Mutex mutex_;
    int value_ GUARDED_BY(mutex_) = 0;
};

int valueOf(Counter& counter) {
    return counter.value();
}
