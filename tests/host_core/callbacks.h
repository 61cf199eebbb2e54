#ifndef KEP_TESTS_CALLBACKS_H
#define KEP_TESTS_CALLBACKS_H

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "objects/message_port.h"
#include "objects/text_message.h"
#include "wait_until.h"

/** A callback that collects messages. */
class Messages {
  public:
    kep::host::MessagePort::Callback callback() {
        return [this](const std::string& message) { take(message); };
    }
    /** The same for objects, whose callbacks return bool. */
    std::function<bool(kep::base::Message&)> processor() {
        return [this](kep::base::Message& message) { return take(message.ToString()), true; };
    }
    void take(const std::string& message) {
        const std::lock_guard lock(mutex_);
        texts_.push_back(message);
    }
    std::vector<std::string> all() const {
        const std::lock_guard lock(mutex_);
        return texts_;
    }
    /** Waits until the newest message is `last`. */
    bool waitFor(const std::string& last) const {
        return waitUntil([&] {
            const std::vector<std::string> texts = all();
            return !texts.empty() && texts.back() == last;
        });
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

/** A callback that blocks until open() is called, the gate is destroyed or `limit` has passed. */
class Gate {
  public:
    static constexpr std::chrono::seconds limit{30};

    ~Gate() { open(); }
    kep::host::MessagePort::Callback callback() {
        return [this](const std::string&) { pass(); };
    }
    void pass() {
        entered_ = true;
        opened_.wait_for(limit);
        left_ = true;
    }
    bool waitEntered() const {
        return waitUntil([this] { return entered_.load(); });
    }
    void open() {
        if (!isOpen_.exchange(true)) open_.set_value();
    }
    bool isLeft() const { return left_; }

  private:
    std::promise<void> open_;
    std::shared_future<void> opened_ = open_.get_future().share();
    std::atomic<bool> isOpen_{false};
    std::atomic<bool> entered_{false};
    std::atomic<bool> left_{false};
};

#endif
