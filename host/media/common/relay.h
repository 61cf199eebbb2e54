#ifndef KEP_HOST_RELAY_H
#define KEP_HOST_RELAY_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

#include "media/common/group_queue.h"

namespace kep::host {

/** About what it takes to wake another thread and have it find its data. */
constexpr std::chrono::microseconds kBriefly(200);

/**
 * A queue and the work on its items, one at a time and in their order. A thread of its own waits for items;
 * whoever brings one does the work himself where he has the time and need not wait for anybody: what he
 * brings is still in the caches of his processor, and to wake another thread often costs more than such work.
 */
template <class Item>
class Relay {
  public:
    using Queue = GroupQueue<Item>;
    using Duration = std::chrono::nanoseconds;
    using Work = std::function<void(Item& item)>;
    /** Whether the work on an item would be done now without waiting for another thread. */
    using Prompt = std::function<bool()>;

    explicit Relay(typename Queue::Limits limits) : queue_(limits) {}

    Queue& queue() { return queue_; }

    /** Works on what comes until there is nothing left and the queue is no longer open. */
    void serve(const Work& work, const Prompt& isPrompt) {
        serve(work, isPrompt, [this] { return queue_.wait(); });
    }
    /** The same with a wait of its own, which is false at the end. */
    void serve(const Work& work, const Prompt& isPrompt, const std::function<bool()>& wait) {
        const Service service = {work, isPrompt};
        setService(&service);
        while (wait()) workOnce(std::unique_lock(working_));
        setService(nullptr);
    }

    /** How long the last item took; for ever while nothing is known of it. */
    Duration lastTook() const { return took_; }

    /** Queues an item and works on it when that is likely to take no longer than `time`. */
    typename Queue::PushResult bring(Item item, bool key, std::size_t bytes, Duration time) {
        const bool helps = lastTook() <= time;
        const auto result = queue_.push(std::move(item), key, bytes, !helps);
        if (helps) help();
        return result;
    }

    /** After a push without waking: works on the item that has waited longest, or wakes the one who will. */
    void help() {
        {
            std::unique_lock working(working_, std::try_to_lock);
            if (working && service_ && service_->isPrompt()) workOnce(std::move(working));
        }
        queue_.wakeForRest();
    }

  private:
    struct Service {
        const Work& work;
        const Prompt& isPrompt;
    };

    void setService(const Service* service) {
        const std::lock_guard lock(working_);
        service_ = service;
        took_ = kUnknown;
    }

    void workOnce([[maybe_unused]] std::unique_lock<std::mutex> working) {
        Item item;
        if (!queue_.pull(item, false)) return;
        const auto begin = std::chrono::steady_clock::now();
        service_->work(item);
        took_ = std::chrono::steady_clock::now() - begin;
    }

    /** Also when it is doubled. */
    static constexpr Duration kUnknown = Duration::max() / 4;

    Queue queue_;
    std::mutex working_; /**< held while an item is worked on */
    const Service* service_ = nullptr;
    std::atomic<Duration> took_{kUnknown};
};

}  // namespace kep::host

#endif
