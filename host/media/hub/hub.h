#ifndef KEP_HOST_HUB_H
#define KEP_HOST_HUB_H

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "media/hub/group_queue.h"

namespace kep::host {

/**
 * A consumer of a hub: its bounded queue and its callbacks. A derived class chooses the items that it wants
 * and handles losses; its functions are called on the publisher's thread with no lock of the hub held.
 *
 * Either a thread of the consumer pulls from the queue, or the consumer processes items in work(), on the
 * publisher's thread: only where that takes next to no time, as it delays all other consumers.
 */
template <class Item>
class Subscription {
  public:
    using Queue = GroupQueue<Item>;

    explicit Subscription(typename Queue::Limits limits) : queue_(limits) {}
    virtual ~Subscription() = default;
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    Queue& queue() { return queue_; }

    /** Processes all queued items, unless another thread is doing so: that one processes these, too. */
    void pump() EXCLUDES(pumping_) {
        for (bool first = true;; first = false) {
            Item item;
            {
                const MutexLock lock(pumping_);
                if (first && isPumped_) return;
                isPumped_ = queue_.pull(item, false);
                if (!isPumped_) return;
            }
            work(item);
        }
    }

  protected:
    /** An item is published, whether or not this consumer wants it. */
    virtual void offered(const Item&) {}
    /** Whether to enqueue the item. Calls of this and of beginsGroup() are serialised by a lock, so they must
     * not call foreign code. */
    virtual bool wants(const Item&) { return true; }
    /** Whether the item begins a group: a full queue drops up to the next such item. */
    virtual bool beginsGroup(const Item&) { return true; }
    /** The queue has dropped these items, as the consumer was too slow. */
    virtual void lost(const std::vector<Item>&) {}
    /** The item was dropped because its group lacks its key item; request one. */
    virtual void lacksKey(const Item&) {}
    /** The hub publishes nothing more. */
    virtual void ended() {}
    /** A message of Hub::tell(). */
    virtual void told(const std::string& /*message*/) {}
    /** Whether work() processes items on the publisher's thread. */
    virtual bool worksAtOnce() const { return false; }
    virtual void work(const Item&) {}

  private:
    template <class, class>
    friend class Hub;

    void receive(const Item& item) {
        enqueue(item);
        if (worksAtOnce()) pump();
    }
    void enqueue(const Item& item) EXCLUDES(entry_) {
        offered(item);
        typename Queue::PushResult pushed;
        {
            const MutexLock lock(entry_);
            if (!wants(item)) return;
            pushed = queue_.push(item, beginsGroup(item), weightOf(item));
        }
        if (pushed.awaitsKey) lacksKey(item);
        if (!pushed.dropped.empty()) lost(pushed.dropped);
    }
    void end() {
        ended();
        queue_.finish();
    }

    Queue queue_;
    Mutex entry_; /**< serialises enqueue() */
    Mutex pumping_;
    bool isPumped_ GUARDED_BY(pumping_) = false;
};

/** Makes calls until it is closed; close() waits for those in progress. */
class CallGate {
  public:
    /** Calls `call` without holding the lock, unless the gate is closed. */
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

    /** Lets no further call begin and waits for those in progress. Deadlocks if called from within one. */
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

/** What a hub keeps for later consumers: nothing. */
template <class Item>
struct NoPast {
    void push(const Item&) {}
    template <class Function>
    void forEach(const Function&) const {}
    void clear() {}
};

/** Keeps the newest item for later consumers. */
template <class Item>
struct NewestOnly {
    void push(const Item& item) { newest = item; }
    template <class Function>
    void forEach(const Function& function) const {
        if (newest) function(newest);
    }
    void clear() { newest = {}; }

    Item newest;
};

/**
 * One source and its consumers. Each has its own queue: a slow one loses its own oldest groups and
 * delays nobody. One thread publishes at a time, and consumers are called with no lock held.
 */
template <class Item, class Past = NoPast<Item>>
class Hub {
  public:
    explicit Hub(Past past = {}) : past_(std::move(past)) {}

    /** Opens the consumer's queue and enqueues the past, then all that is published; pump() processes the
     * past. False when the hub has ended. */
    bool subscribe(Subscription<Item>& consumer) EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        if (hasEnded_) return false;
        consumer.queue().open();
        // Only enqueue under the lock, no work(). The past fits into the queue, so nothing is lost.
        past_.forEach([&](const Item& item) { consumer.enqueue(item); });
        auto list = std::make_shared<List>(*list_);
        list->push_back(std::make_shared<Entry>(consumer));
        list_ = std::move(list);
        return true;
    }

    /** Waits for a call in progress; afterwards the hub no longer touches the consumer, whose queue keeps its
     * items. False if it was not subscribed. Must not be called from a consumer's callback. */
    bool unsubscribe(const Subscription<Item>& consumer) EXCLUDES(mutex_) {
        std::shared_ptr<Entry> gone;
        {
            const MutexLock lock(mutex_);
            auto list = std::make_shared<List>(*list_);
            const auto found = std::find_if(list->begin(), list->end(),
                                            [&](const auto& entry) { return &entry->consumer == &consumer; });
            if (found == list->end()) return false;
            gone = *found;
            list->erase(found);
            list_ = std::move(list);
        }
        gone->gate.close();
        return true;
    }

    void publish(const Item& item) EXCLUDES(mutex_) {
        std::shared_ptr<const List> list;
        {
            const MutexLock lock(mutex_);
            past_.push(item);
            list = list_;
        }
        each(*list, [&](Subscription<Item>& consumer) { consumer.receive(item); });
    }

    /** Passes a message to all consumers. */
    void tell(const std::string& message) EXCLUDES(mutex_) {
        each(*consumers(), [&](Subscription<Item>& consumer) { consumer.told(message); });
    }

    /** Notifies all consumers that nothing more is published, and refuses new ones. */
    void end() EXCLUDES(mutex_) {
        std::shared_ptr<const List> list;
        {
            const MutexLock lock(mutex_);
            if (hasEnded_) return;
            hasEnded_ = true;
            past_.clear();
            list = list_;
        }
        each(*list, [](Subscription<Item>& consumer) { consumer.end(); });
    }

    bool hasEnded() const EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return hasEnded_;
    }

    /** Calls `function` with the past, under the lock. */
    template <class Function>
    auto withPast(const Function& function) EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return function(past_);
    }

  private:
    struct Entry {
        explicit Entry(Subscription<Item>& one) : consumer(one) {}
        Subscription<Item>& consumer;
        CallGate gate;
    };
    using List = std::vector<std::shared_ptr<Entry>>;

    std::shared_ptr<const List> consumers() const EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return list_;
    }

    template <class Function>
    static void each(const List& list, const Function& function) {
        for (const auto& entry : list) entry->gate.pass([&] { function(entry->consumer); });
    }

    mutable Mutex mutex_;
    Past past_ GUARDED_BY(mutex_);
    std::shared_ptr<const List> list_ GUARDED_BY(mutex_) = std::make_shared<List>();
    bool hasEnded_ GUARDED_BY(mutex_) = false;
};

}  // namespace kep::host

#endif
