#ifndef KEP_HOST_GROUP_QUEUE_H
#define KEP_HOST_GROUP_QUEUE_H

#include <chrono>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include "objects/mutex.h"

namespace kep::host {

/**
 * A bounded queue between two threads. push() never blocks; waitForRoom() is there for a writer that wants
 * back-pressure. A full queue drops whole groups, oldest first. A group begins at a key item; items whose key
 * item is missing are dropped. In a stream of key items only, each is a group.
 */
template <class Item>
class GroupQueue {
  public:
    struct Limits {
        std::size_t items;
        std::size_t bytes;
    };
    struct PushResult {
        std::vector<Item> dropped; /**< by this push; may include the pushed item */
        bool awaitsKey = false;    /**< items are dropped until the next key item */
        bool wasOpen = true;       /**< otherwise the item was ignored */
    };

    explicit GroupQueue(Limits limits) : limits_(limits) {}

    /** Empties the queue and accepts items again. */
    void open() { reset(true); }
    /** Only while the queue is closed. */
    void setLimits(Limits limits) {
        const MutexLock lock(mutex_);
        limits_ = limits;
    }
    /** Drops what is queued and makes every pull fail until the queue is opened again. */
    void close() { reset(false); }
    /** Accepts no more items. The reader can drain the queue; after that every pull fails. */
    void finish() {
        const MutexLock lock(mutex_);
        open_ = false;
        changed_.notifyAll();
    }

    /** Blocks until an item of `bytes` fits, the queue is empty, or it is closed. */
    void waitForRoom(std::size_t bytes) {
        MutexLock lock(mutex_);
        changed_.wait(lock, [&]() REQUIRES(mutex_) { return !open_ || items_.empty() || !isFullFor(bytes); });
    }

    PushResult push(Item item, bool key, std::size_t bytes) {
        PushResult result;
        const MutexLock lock(mutex_);
        result.wasOpen = open_;
        if (!open_) return result;
        while (!items_.empty() && isFullFor(bytes)) {
            dropOldestGroup(result.dropped);
            awaitsKey_ = awaitsKey_ || items_.empty();
        }
        if (awaitsKey_ && !key) {
            result.dropped.push_back(std::move(item));
            result.awaitsKey = true;
            return result;
        }
        awaitsKey_ = false;
        bytes_ += bytes;
        items_.push_back({std::move(item), key, bytes});
        changed_.notifyAll();
        return result;
    }

    /** Takes the oldest item; with `wait` blocks for one. False when the queue is empty; with `wait` only
     * once it is closed. */
    bool pull(Item& item, bool wait) {
        MutexLock lock(mutex_);
        if (wait) changed_.wait(lock, [this]() REQUIRES(mutex_) { return !items_.empty() || !open_; });
        if (items_.empty()) return false;
        item = std::move(items_.front().item);
        bytes_ -= items_.front().bytes;
        items_.pop_front();
        changed_.notifyAll();
        return true;
    }

    /** Blocks until there is an item or the queue is closed, at most `limit`. False when it is empty. */
    bool waitWithin(std::chrono::milliseconds limit) {
        MutexLock lock(mutex_);
        changed_.waitFor(lock, limit, [this]() REQUIRES(mutex_) { return !items_.empty() || !open_; });
        return !items_.empty();
    }

    std::size_t size() {
        const MutexLock lock(mutex_);
        return items_.size();
    }

    /** Whether the queue still accepts items. */
    bool isOpen() {
        const MutexLock lock(mutex_);
        return open_;
    }

  private:
    struct Entry {
        Item item;
        bool key;
        std::size_t bytes;
    };

    bool isFullFor(std::size_t bytes) const REQUIRES(mutex_) {
        return items_.size() >= limits_.items || bytes_ + bytes > limits_.bytes;
    }

    void dropOldestGroup(std::vector<Item>& dropped) REQUIRES(mutex_) {
        do {
            bytes_ -= items_.front().bytes;
            dropped.push_back(std::move(items_.front().item));
            items_.pop_front();
        } while (!items_.empty() && !items_.front().key);
    }

    void reset(bool open) {
        std::deque<Entry> freed;  // destroyed after the lock is released
        const MutexLock lock(mutex_);
        freed.swap(items_);
        bytes_ = 0;
        open_ = open;
        awaitsKey_ = true;
        changed_.notifyAll();
    }

    Mutex mutex_;
    Condition changed_;
    Limits limits_ GUARDED_BY(mutex_);
    std::deque<Entry> items_ GUARDED_BY(mutex_);
    std::size_t bytes_ GUARDED_BY(mutex_) = 0;
    bool open_ GUARDED_BY(mutex_) = false;
    bool awaitsKey_ GUARDED_BY(mutex_) = true;
};

}  // namespace kep::host

#endif
