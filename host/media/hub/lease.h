#ifndef KEP_HOST_LEASE_H
#define KEP_HOST_LEASE_H

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "media/hub/capture_session.h"
#include "media/hub/hub.h"

namespace kep::host {

/** Callbacks of a consumer, either may be null. Called with no lock held, on the capture thread; for a
 * stalled device on the thread of a consumer. */
struct LeaseListener {
    /** How many items the device or the consumer's queue has dropped. */
    std::function<void(std::size_t)> lost;
    /** The device is lost. */
    std::function<void(const std::string& device)> ended;
};

/** One consumer's share of a device: its queue, and the session that it keeps open. A derived class calls
 * close() in its destructor: until then the capture thread calls its functions. */
template <class Session>
class Lease : protected Subscription<typename Session::Item> {
  public:
    using Item = typename Session::Item;

    const std::string& device() const { return session_->device().text; }

    /** Takes the next item; with `wait` blocks until there is one. False once the lease is closed, or the
     * device is lost and the queue is empty. */
    bool pull(Item& item, bool wait) {
        while (!this->queue().pull(item, false)) {
            if (!wait) return false;
            if (this->queue().waitWithin(kStallCheck)) continue;
            if (!this->queue().isOpen()) return this->queue().pull(item, false);
            session_->loseIfStalled();
        }
        return true;
    }

    /** Whether the device has been lost. */
    bool isLost() const { return isLost_; }

    /** Leaves the session, drops the queued items and ends the calls to `lost` and `ended`. Must not be
     * called from a callback of the hub. */
    void close() {
        if (isOpen_.exchange(false)) {
            session_->hub().unsubscribe(*this);
            session_->leave();
        }
        this->queue().close();
    }

  protected:
    /** Takes over a session whose join() has succeeded. */
    Lease(std::shared_ptr<Session> session, typename GroupQueue<Item>::Limits limits, LeaseListener listener)
        : Subscription<Item>(limits), session_(std::move(session)), listener_(std::move(listener)) {}

    /** Called once. False when the device has just been lost. */
    bool subscribe() {
        isOpen_ = session_->hub().subscribe(*this);
        if (isOpen_) {
            session_->begin();
        } else {
            session_->leave();
        }
        return isOpen_;
    }

    Session& session() const { return *session_; }
    void tellLost(std::size_t count) {
        if (listener_.lost) listener_.lost(count);
    }

  private:
    /** How often a waiting consumer checks whether the device has stalled. */
    static constexpr std::chrono::seconds kStallCheck{1};

    void lost(const std::vector<Item>& dropped) override { tellLost(dropped.size()); }
    void ended() override {
        isLost_ = true;
        if (listener_.ended) listener_.ended(device());
    }

    const std::shared_ptr<Session> session_;
    const LeaseListener listener_;
    std::atomic<bool> isOpen_{false};
    std::atomic<bool> isLost_{false};
};

}  // namespace kep::host

#endif
