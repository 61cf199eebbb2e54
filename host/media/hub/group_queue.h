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
 * A bounded queue between two threads whose writer never waits, unless it asks to. When it is full it drops
 * whole groups, oldest first; a group begins at a key item and nothing is kept that lacks its key. In a
 * stream of key items alone a group is one item.
 */
template <class Item>
class GroupQueue {
  public:
    struct Limits {
        std::size_t items;
        std::size_t bytes;
    };
    struct PushResult {
        std::vector<Item> dropped; /**< by this push, the pushed item perhaps among them */
        bool awaitsKey = false;    /**< nothing will be taken until a key item comes */
        bool wasOpen = true;       /**< otherwise nothing was taken */
    };

    explicit GroupQueue(Limits limits) : limits_(limits) {}

    /** Empties the queue and lets items through again. */
    void open() { reset(true); }
    /** To be called while it is closed. */
    void setLimits(Limits limits) {
        const MutexLock lock(mutex_);
        limits_ = limits;
    }
    /** Drops what is queued and makes every pull fail until the queue is opened again. */
    void close() { reset(false); }
    /** Lets the reader take what is queued, then makes every pull fail. */
    void finish() {
        const MutexLock lock(mutex_);
        open_ = false;
        changed_.notifyAll();
    }

    /** Blocks until an item of so many bytes has room, the queue is empty, or it is open no longer. */
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

    /** Takes the oldest item; with `wait` blocks until there is one. False when there is none to come. */
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

    /** Blocks until there is an item, but no longer than `limit`. False when there is none. */
    bool waitWithin(std::chrono::milliseconds limit) {
        MutexLock lock(mutex_);
        changed_.waitFor(lock, limit, [this]() REQUIRES(mutex_) { return !items_.empty() || !open_; });
        return !items_.empty();
    }

    /** How many items wait. */
    std::size_t size() {
        const MutexLock lock(mutex_);
        return items_.size();
    }

    /** Whether items still come. */
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
        std::deque<Entry> freed;  // outside the lock
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
