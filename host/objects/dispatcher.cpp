#include "objects/dispatcher.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <system_error>
#include <utility>

#include "objects/log.h"

namespace kep::host {
namespace {

/** A callback that never returns must not keep the process from ending. */
constexpr std::chrono::seconds kShutdownTimeout(2);
/**
 * A callback that runs longer counts as blocked. A larger value delays other messages longer; a smaller one
 * starts threads for callbacks that are only slow.
 */
constexpr std::chrono::milliseconds kBlockedAfter(50);
/** Idle time after which an additional thread ends: long enough not to restart it over and over. */
constexpr std::chrono::seconds kIdleTimeout(1);
/** Messages that may wait for one callback before new ones are dropped. */
constexpr int kQueueLimit = 4096;

/** Destroyed after everything that can post and before the library is unloaded. */
struct AtUnload {
    ~AtUnload() { Dispatcher::instance().stop(); }
} atUnload;

}  // namespace

class Dispatcher::Registration {
  public:
    explicit Registration(Callback function) : callback(std::move(function)) {}

    // Guarded by the dispatcher's mutex, but for the callback while it is called.
    Callback callback;
    bool ended = false;
    bool called = false;                   /**< its callback runs */
    std::deque<std::string> held;          /**< messages dequeued while the callback runs */
    int waiting = 0;                       /**< messages posted and not delivered */
    bool dropping = false;                 /**< the queue is full; an error line has been written */
    const Registration* awaited = nullptr; /**< whose end its callback waits for */
};

namespace {

/** The registration whose callback this thread runs. */
thread_local Dispatcher::Registration* ownCall = nullptr;

void call(const Dispatcher::Callback& callback, const std::string& message) {
    try {
        callback(message);
    } catch (const std::exception& failure) {
        KEP_HOST_ERROR("a message callback failed on \"" + message + "\": " + failure.what());
    } catch (...) {
        KEP_HOST_ERROR("a message callback failed on \"" + message + "\"");
    }
}

}  // namespace

Dispatcher& Dispatcher::instance() {
    // Never destroyed: objects with static storage may post after this library's own are destroyed.
    static Dispatcher* const dispatcher = new Dispatcher;
    return *dispatcher;
}

std::shared_ptr<Dispatcher::Registration> Dispatcher::registerCallback(Callback callback) {
    return std::make_shared<Registration>(std::move(callback));
}

/** Starts a worker unless one is idle. False when there is none at all. */
bool Dispatcher::provideWorker() {
    if (available_ > 0) return true;
    joinEnded();
    // Block all signals: the application's handlers run on its own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    Worker& worker = workers_.emplace_back();
    try {
        worker.thread = std::thread([this, &worker] { work(worker); });
        pthread_setname_np(worker.thread.native_handle(), "kep-messages");
        ++available_;
    } catch (const std::system_error& failure) {
        workers_.pop_back();
        KEP_HOST_ERROR(std::string("cannot start the message thread: ") + failure.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return !workers_.empty();
}

/** Joins ended workers, with the mutex held: all they still do is return. */
void Dispatcher::joinEnded() {
    std::erase_if(workers_, [](Worker& worker) {
        if (worker.ended && worker.thread.joinable()) worker.thread.join();
        return worker.ended;
    });
}

void Dispatcher::post(const std::shared_ptr<Registration>& to, std::string message) {
    bool full = false;
    {
        const MutexLock lock(mutex_);
        if (stopping_ || to->ended) return;
        full = to->waiting >= kQueueLimit;
        if (full && std::exchange(to->dropping, true)) return;
        if (!full) {
            to->dropping = false;
            if (!provideWorker()) return;
            ++to->waiting;
            queue_.push_back({to, std::move(message)});
        }
    }
    if (full) {
        KEP_HOST_ERROR("a message callback is too slow: dropping new messages");
    } else {
        changed_.notifyAll();
    }
}

void Dispatcher::redirect(const std::shared_ptr<Registration>& from,
                          const std::shared_ptr<Registration>& to) {
    {
        const MutexLock lock(mutex_);
        for (Entry& entry : queue_) {
            if (entry.to == from) entry.to = to;
        }
        requeueHeld(from, to);
        to->waiting += std::exchange(from->waiting, 0);
        if (!queue_.empty() && !stopping_) provideWorker();
    }
    changed_.notifyAll();
}

/** Puts the held messages of a registration before everything posted later. */
void Dispatcher::requeueHeld(const std::shared_ptr<Registration>& from,
                             const std::shared_ptr<Registration>& to) {
    for (; !from->held.empty(); from->held.pop_back()) queue_.push_front({to, std::move(from->held.back())});
}

bool Dispatcher::isOwnCall(const Registration& registration) {
    for (const Registration* at = &registration; at && at->called; at = at->awaited) {
        if (at == ownCall) return true;
    }
    return false;
}

void Dispatcher::end(Registration& registration) {
    Callback unused;
    MutexLock lock(mutex_);
    registration.ended = true;
    registration.held.clear();
    if (!isOwnCall(registration)) {
        if (ownCall) ownCall->awaited = &registration;
        changed_.wait(lock, [&] { return !registration.called; });
        if (ownCall) ownCall->awaited = nullptr;
    }
    // Destroyed outside the lock: what it owns may use the dispatcher.
    if (!registration.called) unused.swap(registration.callback);
    lock.unlock();
}

void Dispatcher::work(Worker& self) {
    MutexLock lock(mutex_);
    while (!stopping_) {
        if (queue_.empty()) {
            if (!waitForMessages(lock)) break;
        } else if (current_ != 0) {
            waitForDelivery(lock);
        } else if (const Entry entry = begin(); entry.to) {
            const std::uint64_t delivery = deliveries_;
            lock.unlock();
            deliver(entry);
            lock.lock();
            finish(entry, delivery);
        }
    }
    self.ended = true;
    --available_;
    changed_.notifyAll();
}

/** False when an additional thread has been idle for kIdleTimeout. */
bool Dispatcher::waitForMessages(MutexLock& lock) {
    const auto isWanted = [this]() REQUIRES(mutex_) { return stopping_ || !queue_.empty(); };
    if (available_ > 1) return changed_.waitFor(lock, kIdleTimeout, isWanted) || available_ == 1;
    changed_.wait(lock, isWanted);
    return true;
}

/** Waits for the current delivery, which keeps the messages in order, unless its callback blocks. */
void Dispatcher::waitForDelivery(MutexLock& lock) {
    const std::uint64_t awaited = current_;
    const bool over = changed_.waitUntil(lock, currentSince_ + kBlockedAfter,
                                         [&]() REQUIRES(mutex_) { return stopping_ || current_ != awaited; });
    if (!over) current_ = 0;
}

/** Dequeues the next message; none when its registration has ended or its callback runs. */
Dispatcher::Entry Dispatcher::begin() {
    Entry entry = std::move(queue_.front());
    queue_.pop_front();
    Registration& registration = *entry.to;
    if (registration.ended) return {};
    if (registration.called) {
        registration.held.push_back(std::move(entry.message));
        return {};
    }
    --registration.waiting;
    registration.called = true;
    current_ = ++deliveries_;
    currentSince_ = Clock::now();
    --available_;
    // Another worker must notice when this callback blocks.
    if (!queue_.empty()) provideWorker();
    return entry;
}

void Dispatcher::deliver(const Entry& entry) {
    ownCall = entry.to.get();
    call(entry.to->callback, entry.message);
    ownCall = nullptr;
    // Destroyed before the threads that wait in end() wake.
    Callback unused;
    const MutexLock lock(mutex_);
    if (entry.to->ended) unused.swap(entry.to->callback);
}

void Dispatcher::finish(const Entry& entry, std::uint64_t delivery) {
    ++available_;
    entry.to->called = false;
    if (current_ == delivery) current_ = 0;
    requeueHeld(entry.to, entry.to);
    changed_.notifyAll();
}

void Dispatcher::stop() {
    std::deque<Entry> dropped;
    MutexLock lock(mutex_);
    if (std::exchange(stopping_, true)) return;
    dropped.swap(queue_);
    changed_.notifyAll();
    const std::ptrdiff_t own = ownCall ? 1 : 0;
    changed_.waitFor(lock, kShutdownTimeout, [this, own]() REQUIRES(mutex_) {
        return std::count_if(workers_.begin(), workers_.end(),
                             [](const Worker& worker) { return !worker.ended; }) <= own;
    });
    joinEnded();
    // The remaining threads run callbacks that do not return, or the one that called exit().
    for (Worker& worker : workers_) {
        if (worker.thread.joinable()) worker.thread.detach();
    }
}

}  // namespace kep::host
