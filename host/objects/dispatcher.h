#ifndef KEP_HOST_DISPATCHER_H
#define KEP_HOST_DISPATCHER_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "objects/mutex.h"

namespace kep::host {

/**
 * Delivers messages to callbacks on threads of its own, outside every lock. The messages of a registration
 * are delivered in the order of posting, one at a time. A callback that blocks does not delay other
 * registrations: normally one thread delivers; while its callback blocks, another thread delivers the
 * messages queued behind it. Additional threads end when they are idle.
 */
class Dispatcher {
  public:
    using Callback = std::function<void(const std::string& message)>;
    class Registration;

    /** The instance of the process. It outlives every other object and stops delivering at process end. */
    static Dispatcher& instance();

    static std::shared_ptr<Registration> registerCallback(Callback callback);

    /** Queues a message. Never waits for a callback. */
    void post(const std::shared_ptr<Registration>& to, std::string message);

    /** Moves the queued messages of `from` to `to`. */
    void redirect(const std::shared_ptr<Registration>& from, const std::shared_ptr<Registration>& to);

    /**
     * Drops the messages queued for the registration and destroys its callback. Blocks while the callback
     * runs, but not within that callback or one that it waits for in the same way.
     */
    void end(Registration& registration);

    /** Drops all messages and ends the threads. Waits for running callbacks, with a timeout. */
    void stop();

  private:
    using Clock = std::chrono::steady_clock;

    struct Entry {
        std::shared_ptr<Registration> to;
        std::string message;
    };
    struct Worker {
        std::thread thread;
        bool ended = false;
    };

    bool provideWorker() REQUIRES(mutex_);
    void joinEnded() REQUIRES(mutex_);
    void requeueHeld(const std::shared_ptr<Registration>& from, const std::shared_ptr<Registration>& to)
        REQUIRES(mutex_);
    void work(Worker& self) EXCLUDES(mutex_);
    bool waitForMessages(MutexLock& lock) REQUIRES(mutex_);
    void waitForDelivery(MutexLock& lock) REQUIRES(mutex_);
    Entry begin() REQUIRES(mutex_);
    void deliver(const Entry& entry) EXCLUDES(mutex_);
    void finish(const Entry& entry, std::uint64_t delivery) REQUIRES(mutex_);
    static bool isOwnCall(const Registration& registration);

    Mutex mutex_;
    Condition changed_;
    std::deque<Entry> queue_ GUARDED_BY(mutex_);
    std::list<Worker> workers_ GUARDED_BY(mutex_);
    int available_ GUARDED_BY(mutex_) = 0;            /**< idle workers */
    std::uint64_t deliveries_ GUARDED_BY(mutex_) = 0; /**< begun so far */
    /** Number of the delivery that the other workers wait for; 0 for none. */
    std::uint64_t current_ GUARDED_BY(mutex_) = 0;
    Clock::time_point currentSince_ GUARDED_BY(mutex_); /**< when it began */
    bool stopping_ GUARDED_BY(mutex_) = false;
};

}  // namespace kep::host

#endif
