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
 * A callback that has run for so long counts as blocked. Longer holds up other messages for longer; shorter
 * starts threads for callbacks that are only slow.
 */
constexpr std::chrono::milliseconds kBlockedAfter(50);
/** An additional thread ends after so long without a message: long enough not to be started over and over. */
constexpr std::chrono::seconds kIdleTimeout(1);
/** Messages that may wait for one callback before new ones are dropped. */
constexpr int kQueueLimit = 4096;

/** Destroyed after everything that can post and before the code is gone. */
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
    bool called = false;                   /**< a call is under way */
    std::deque<std::string> held;          /**< what was next while a call was under way */
    int waiting = 0;                       /**< messages that were posted and not delivered */
    bool dropping = false;                 /**< the queue is full, which a line has told */
    const Registration* awaited = nullptr; /**< the one whose end its call waits for */
};

namespace {

/** The registration whose callback the thread is in. */
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
    // Never destroyed: objects with static storage may still post when this library's own are gone.
    static Dispatcher* const dispatcher = new Dispatcher;
    return *dispatcher;
}

std::shared_ptr<Dispatcher::Registration> Dispatcher::registerCallback(Callback callback) {
    return std::make_shared<Registration>(std::move(callback));
}

/** Starts a worker unless one is available. False when there is none at all. */
bool Dispatcher::provideWorker() {
    if (available_ > 0) return true;
    joinEnded();
    // Signals are the application's; its handlers shall run on its own threads.
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
        KEP_HOST_ERROR(std::string("cannot start a thread that delivers messages: ") + failure.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return !workers_.empty();
}

/** With the mutex held: a worker that has ended has nothing left to do but return. */
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
        KEP_HOST_ERROR("a callback takes its messages too slowly: new ones are dropped");
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

/** What a registration has been kept from goes before everything that was posted later. */
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
    // Destroyed with no lock held: what it owns may use the dispatcher.
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

/** False when an additional thread is idle. */
bool Dispatcher::waitForMessages(MutexLock& lock) {
    const auto isWanted = [this]() REQUIRES(mutex_) { return stopping_ || !queue_.empty(); };
    if (available_ > 1) return changed_.waitFor(lock, kIdleTimeout, isWanted) || available_ == 1;
    changed_.wait(lock, isWanted);
    return true;
}

/** Waits for the delivery under way, which keeps the messages in order, unless its callback blocks. */
void Dispatcher::waitForDelivery(MutexLock& lock) {
    const std::uint64_t awaited = current_;
    const bool over = changed_.waitUntil(lock, currentSince_ + kBlockedAfter,
                                         [&]() REQUIRES(mutex_) { return stopping_ || current_ != awaited; });
    if (!over) current_ = 0;
}

/** Takes the next message out; none when its registration has ended, or its callback is running. */
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
    // Somebody must notice when this callback blocks.
    if (!queue_.empty()) provideWorker();
    return entry;
}

void Dispatcher::deliver(const Entry& entry) {
    ownCall = entry.to.get();
    call(entry.to->callback, entry.message);
    ownCall = nullptr;
    // Gone before those who wait for the end of the call go on.
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
    // What is left runs callbacks that do not return, or the one in which the process ends.
    for (Worker& worker : workers_) {
        if (worker.thread.joinable()) worker.thread.detach();
    }
}

}  // namespace kep::host
