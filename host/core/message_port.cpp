#include "core/message_port.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

#include "core/dispatcher.h"
#include "core/log.h"

namespace kep::host {
namespace {

/** Messages that may wait for one slow callback before new ones are dropped. */
constexpr int kLongestQueue = 4096;

}  // namespace

class MessagePort::State {
  public:
    /** Returns when no call of an earlier callback is under way, or at once from within such a call. */
    void setCallback(Callback callback) {
        auto fresh = callback ? std::make_shared<Callback>(std::move(callback)) : nullptr;
        std::unique_lock lock(mutex_);
        callback_.swap(fresh);
        if (!Dispatcher::isCurrentThread()) {
            returned_.wait(lock, [this] { return !calling_ || calling_ == callback_.get(); });
        }
        lock.unlock();
        // The earlier callback is destroyed here, with no lock held: what it owns may use the port.
    }

    /** Counts a message in; false when nobody wants it or too many wait. */
    bool admit() {
        const std::lock_guard lock(mutex_);
        if (!callback_) return false;
        if (waiting_ >= kLongestQueue) {
            if (!dropping_) KEP_HOST_ERROR("a callback takes its messages too slowly: new ones are dropped");
            dropping_ = true;
            return false;
        }
        dropping_ = false;
        ++waiting_;
        return true;
    }

    void forget() {
        const std::lock_guard lock(mutex_);
        --waiting_;
    }

    void deliver(const std::string& message) {
        std::shared_ptr<Callback> callback;
        {
            const std::lock_guard lock(mutex_);
            --waiting_;
            if (!callback_) return;
            callback = callback_;
            calling_ = callback.get();
        }
        try {
            (*callback)(message);
        } catch (const std::exception& failure) {
            KEP_HOST_ERROR("a message callback failed on \"" + message + "\": " + failure.what());
        } catch (...) {
            KEP_HOST_ERROR("a message callback failed on \"" + message + "\"");
        }
        // Before the wait of setCallback ends, so that what the callback owns is gone with it.
        callback.reset();
        {
            const std::lock_guard lock(mutex_);
            calling_ = nullptr;
        }
        returned_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable returned_;
    std::shared_ptr<Callback> callback_;
    int waiting_ = 0;
    const Callback* calling_ = nullptr;
    bool dropping_ = false;
};

MessagePort::MessagePort() : state_(std::make_shared<State>()) {}

MessagePort::~MessagePort() {
    state_->setCallback(nullptr);
}

void MessagePort::setCallback(Callback callback) {
    state_->setCallback(std::move(callback));
}

void MessagePort::post(std::string message) {
    if (!state_->admit()) return;
    const bool queued = Dispatcher::instance().run(
        [state = state_, message = std::move(message)] { state->deliver(message); });
    if (!queued) state_->forget();
}

}  // namespace kep::host
