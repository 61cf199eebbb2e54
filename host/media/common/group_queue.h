#ifndef KEP_HOST_GROUP_QUEUE_H
#define KEP_HOST_GROUP_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

namespace kep::host {

/**
 * A bounded queue between two threads whose writer never waits. When it is full it drops whole groups, oldest
 * first; a group begins at a key item and nothing is kept that lacks its key. In a stream of key items alone
 * a group is one item.
 */
template <class Item>
class GroupQueue {
  public:
    struct Limits {
        std::size_t items;
        std::size_t bytes;
    };
    struct PushResult {
        std::size_t lost; /**< items dropped by this push, the pushed one perhaps among them */
        bool awaitsKey;   /**< nothing will be taken until a key item comes */
    };

    explicit GroupQueue(Limits limits) : limits_(limits) {}

    /** Empties the queue and lets items through again. */
    void open() {
        const std::lock_guard lock(mutex_);
        clear();
        open_ = true;
        awaitsKey_ = true;
    }

    /** The same with other limits from now on. */
    void open(Limits limits) {
        {
            const std::lock_guard lock(mutex_);
            limits_ = limits;
        }
        open();
    }

    /** Drops what is queued and makes every pull fail until the queue is opened again. */
    void close() {
        {
            const std::lock_guard lock(mutex_);
            clear();
            open_ = false;
        }
        filled_.notify_all();
        emptied_.notify_all();
    }

    /** Lets the reader take what is queued, then makes every pull fail. */
    void finish() {
        {
            const std::lock_guard lock(mutex_);
            open_ = false;
        }
        filled_.notify_all();
        emptied_.notify_all();
    }

    /** Blocks until an item of so many bytes has room, the queue is empty, or it is open no longer. */
    void waitForRoom(std::size_t bytes) {
        std::unique_lock lock(mutex_);
        emptied_.wait(lock, [&] { return !open_ || items_.empty() || !isFullFor(bytes); });
    }

    /** Whether an item that takes no more than half of the bytes has room. */
    bool hasRoom() {
        const std::lock_guard lock(mutex_);
        return items_.empty() || !isFullFor(limits_.bytes / 2);
    }

    /** Without `wake` a waiting reader sleeps on: somebody else is going to take the item. */
    PushResult push(Item item, bool key, std::size_t bytes, bool wake = true) {
        std::size_t lost = 0;
        {
            const std::lock_guard lock(mutex_);
            if (!open_) return {0, false};
            while (!items_.empty() && isFullFor(bytes)) {
                lost += dropOldestGroup();
                if (items_.empty()) awaitsKey_ = true;
            }
            if (awaitsKey_ && !key) return {lost + 1, true};
            awaitsKey_ = false;
            bytes_ += bytes;
            items_.push_back({std::move(item), key, bytes});
        }
        if (wake) filled_.notify_one();
        return {lost, false};
    }

    /** Takes the oldest item; with `wait` blocks until there is one. False when there is none to come. */
    bool pull(Item& item, bool wait) {
        std::unique_lock lock(mutex_);
        if (wait) filled_.wait(lock, [this] { return !items_.empty() || !open_; });
        return take(item);
    }

    /** Blocks until there is an item. False when there is none to come. */
    bool wait() {
        std::unique_lock lock(mutex_);
        filled_.wait(lock, [this] { return !items_.empty() || !open_; });
        return !items_.empty();
    }

    /** Blocks until there is an item, but no longer than `limit`. False when there is none. */
    bool waitWithin(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        filled_.wait_until(lock, std::chrono::steady_clock::now() + limit,
                           [this] { return !items_.empty() || !open_; });
        return !items_.empty();
    }

    /** Wakes a reader if there is something left that it was not woken for. */
    void wakeForRest() {
        {
            const std::lock_guard lock(mutex_);
            if (items_.empty()) return;
        }
        filled_.notify_one();
    }

    /** Whether items still come. */
    bool isOpen() {
        const std::lock_guard lock(mutex_);
        return open_;
    }

  private:
    struct Entry {
        Item item;
        bool key;
        std::size_t bytes;
    };

    bool isFullFor(std::size_t bytes) const {
        return items_.size() >= limits_.items || bytes_ + bytes > limits_.bytes;
    }

    bool take(Item& item) {
        if (items_.empty()) return false;
        item = std::move(items_.front().item);
        bytes_ -= items_.front().bytes;
        items_.pop_front();
        emptied_.notify_all();
        return true;
    }

    std::size_t dropOldestGroup() {
        std::size_t lost = 0;
        do {
            bytes_ -= items_.front().bytes;
            items_.pop_front();
            ++lost;
        } while (!items_.empty() && !items_.front().key);
        return lost;
    }

    void clear() {
        items_.clear();
        bytes_ = 0;
    }

    Limits limits_;
    std::mutex mutex_;
    std::condition_variable filled_;
    std::condition_variable emptied_;
    std::deque<Entry> items_;
    std::size_t bytes_ = 0;
    bool open_ = false;
    bool awaitsKey_ = true;
};

}  // namespace kep::host

#endif
