#include "core/dispatcher.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <utility>

#include "core/log.h"

namespace kep::host {
namespace {

/** A callback that never returns must not keep the process from ending. */
constexpr std::chrono::seconds kLongestGoodbye(2);

thread_local bool dispatching = false;

/** Made at load, so that it goes after everything that can post and before the code is gone. */
struct AtUnload {
    ~AtUnload() { Dispatcher::instance().stop(); }
} atUnload;

}  // namespace

Dispatcher& Dispatcher::instance() {
    // Never destroyed: objects with static storage may still post when this library's own are gone.
    static Dispatcher* const dispatcher = new Dispatcher;
    return *dispatcher;
}

bool Dispatcher::start() {
    if (thread_.joinable()) return true;
    // Signals are the application's; its handlers shall run on its own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        thread_ = std::thread([this] { loop(); });
        pthread_setname_np(thread_.native_handle(), "kep-messages");
    } catch (const std::system_error& failure) {
        KEP_HOST_ERROR(std::string("cannot start the thread that delivers messages: ") + failure.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread_.joinable();
}

bool Dispatcher::run(Task task) {
    {
        const std::lock_guard lock(mutex_);
        if (stopping_ || !start()) return false;
        tasks_.push_back(std::move(task));
    }
    changed_.notify_all();
    return true;
}

bool Dispatcher::isCurrentThread() {
    return dispatching;
}

void Dispatcher::loop() {
    dispatching = true;
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (stopping_) break;
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
    }
    ended_ = true;
    changed_.notify_all();
}

void Dispatcher::stop() {
    std::deque<Task> dropped;
    std::unique_lock lock(mutex_);
    stopping_ = true;
    dropped.swap(tasks_);
    if (!thread_.joinable()) return;
    changed_.notify_all();
    if (dispatching || !changed_.wait_for(lock, kLongestGoodbye, [this] { return ended_; })) {
        thread_.detach();
        return;
    }
    std::thread ended = std::move(thread_);
    lock.unlock();
    ended.join();
}

}  // namespace kep::host
