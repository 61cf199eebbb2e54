#ifndef KEP_HOST_DEVICE_ELEMENT_H
#define KEP_HOST_DEVICE_ELEMENT_H

#include <memory>
#include <thread>

#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/element.h"
#include "media/threads.h"

namespace kep::host {

/**
 * A source that reads its share of a device on a thread of its own. It tries to reopen a lost device, so that
 * a recording continues when the device is back; with `retry=false` the stream ends.
 */
template <class Lease>
class DeviceElement : public SourceElement {
  protected:
    DeviceElement(Thread thread, Media::Kind kind) : threadKind_(thread), kind_(kind) {
        filmingBegins();
        properties().add("retry", retries_);
    }

    /** A share of the device; null, with an error line, when it cannot be opened. */
    virtual std::shared_ptr<Lease> open() = 0;
    /** Whether it starts without a device and retries to open it; with `retry=false` it never does. */
    virtual bool startsWithout() const = 0;
    /** Gives all items until the lease is closed or its device is lost. */
    virtual void giveAll(Lease& lease) = 0;

    bool up(State target) override {
        if (target != State::play) return true;
        std::shared_ptr<Lease> lease;
        if (!(retries_ && startsWithout()) && !(lease = open())) return false;
        {
            const MutexLock lock(mutex_);
            lease_ = std::move(lease);
            isStopping_ = false;
        }
        thread_ = startThread(threadKind_, [this] { work(); });
        return true;
    }

    bool down(State) override {
        std::shared_ptr<Lease> lease;
        {
            const MutexLock lock(mutex_);
            isStopping_ = true;
            lease.swap(lease_);
            changed_.notifyAll();
        }
        if (lease) lease->close();
        if (thread_.joinable()) thread_.join();
        return true;
    }

    std::shared_ptr<Lease> lease() {
        const MutexLock lock(mutex_);
        return lease_;
    }
    void tellDropped(std::size_t count) { tellLost(kind_, count); }

  private:
    void work() {
        RetryPause pause;
        do {
            const std::shared_ptr<Lease> current = provide();
            if (!current) continue;
            pause.reset();
            giveAll(*current);
            if (current->isLost()) tellDeviceLost(kind_, current->device());
            current->close();
            const MutexLock lock(mutex_);
            lease_.reset();
        } while (retries_ && !waitToStop(pause.next()));
    }

    /** The share of the device, opened if necessary; null when that fails or the element is stopping. */
    std::shared_ptr<Lease> provide() {
        if (std::shared_ptr<Lease> current = lease()) return current;
        if (waitToStop(std::chrono::seconds(0))) return nullptr;
        std::shared_ptr<Lease> found = open();
        const MutexLock lock(mutex_);
        if (isStopping_) return nullptr;
        return lease_ = std::move(found);
    }

    bool waitToStop(std::chrono::seconds limit) {
        MutexLock lock(mutex_);
        return changed_.waitFor(lock, limit, [this]() REQUIRES(mutex_) { return isStopping_; });
    }

    const Thread threadKind_;
    const Media::Kind kind_;
    std::atomic<bool> retries_{true};

    Mutex mutex_;
    Condition changed_;
    bool isStopping_ GUARDED_BY(mutex_) = false;
    std::shared_ptr<Lease> lease_ GUARDED_BY(mutex_);
    std::thread thread_;
};

}  // namespace kep::host

#endif
