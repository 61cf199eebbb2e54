#include "objects/process_end.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "objects/dispatcher.h"
#include "objects/log.h"
#include "objects/mutex.h"
#include "objects/object_impl.h"

namespace kep::host {
namespace {

/** Longer keeps a user waiting for the prompt; shorter cuts off a slow disk, which takes seconds to drain its
 * queue.
 */
constexpr std::chrono::seconds kProcessEndTimeout(10);

class End {
  public:
    static End& instance() {
        // Never destroyed: objects with static storage unregister in their destructors.
        static End* const end = new End;
        return *end;
    }

    void add(ObjectImpl& object) {
        const MutexLock lock(mutex_);
        arm();
        std::erase(playing_, &object);
        playing_.push_back(&object);
    }

    void remove(const ObjectImpl& object) {
        MutexLock lock(mutex_);
        std::erase(playing_, &object);
        changed_.wait(lock, [&]() REQUIRES(mutex_) { return stopping_ != &object; });
    }

    void addStep(std::function<void()> step) {
        const MutexLock lock(mutex_);
        arm();
        steps_.push_back(std::move(step));
    }

    bool hasBegun() const { return begun_; }

    void run() {
        // After fork() without exec() the child has none of the threads.
        if (getpid() != process_ || begun_.exchange(true)) return;
        Dispatcher::instance().stop();
        if (!startThread()) return;
        MutexLock lock(mutex_);
        if (changed_.waitFor(lock, kProcessEndTimeout, [this]() REQUIRES(mutex_) { return done_; })) return;
        lock.unlock();
        KEP_HOST_ERROR("shutdown not complete after " + std::to_string(kProcessEndTimeout.count()) +
                       " s: files may be incomplete");
    }

  private:
    /** Exit handlers run in reverse order of registration: register late, run early. */
    void arm() REQUIRES(mutex_) {
        if (std::exchange(armed_, true)) return;
        process_ = getpid();
        std::atexit([] { instance().run(); });
    }

    /** Runs stopAll() on a separate thread, which can be abandoned. */
    bool startThread() {
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        bool started = true;
        try {
            std::thread([this] { stopAll(); }).detach();
        } catch (const std::system_error& failure) {
            KEP_HOST_ERROR(std::string("cannot start the shutdown thread: ") + failure.what());
            started = false;
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return started;
    }

    void stopAll() {
        MutexLock lock(mutex_);
        while (!playing_.empty()) {
            ObjectImpl* const newest = playing_.back();
            playing_.pop_back();
            stopping_ = newest;
            lock.unlock();
            newest->changeDown(State::null);
            lock.lock();
            stopping_ = nullptr;
            changed_.notifyAll();
        }
        while (!steps_.empty()) {
            const std::function<void()> step = std::move(steps_.back());
            steps_.pop_back();
            lock.unlock();
            step();
            lock.lock();
        }
        done_ = true;
        changed_.notifyAll();
    }

    Mutex mutex_;
    Condition changed_;
    std::vector<ObjectImpl*> playing_ GUARDED_BY(mutex_);
    std::vector<std::function<void()>> steps_ GUARDED_BY(mutex_);
    const ObjectImpl* stopping_ GUARDED_BY(mutex_) = nullptr;
    bool armed_ GUARDED_BY(mutex_) = false;
    bool done_ GUARDED_BY(mutex_) = false;
    std::atomic<pid_t> process_{0};
    std::atomic<bool> begun_{false};
};

}  // namespace

void ProcessEnd::add(ObjectImpl& object) {
    End::instance().add(object);
}

void ProcessEnd::remove(const ObjectImpl& object) {
    End::instance().remove(object);
}

void ProcessEnd::addStep(std::function<void()> step) {
    End::instance().addStep(std::move(step));
}

bool ProcessEnd::hasBegun() {
    return End::instance().hasBegun();
}

}  // namespace kep::host
