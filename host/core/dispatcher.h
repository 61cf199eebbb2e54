#ifndef KEP_HOST_DISPATCHER_H
#define KEP_HOST_DISPATCHER_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace kep::host {

/** Runs tasks one after the other on one thread, which starts with the first task. */
class Dispatcher {
  public:
    using Task = std::function<void()>;

    /** The process's own. It outlives every other object and runs nothing more once the process ends. */
    static Dispatcher& instance();

    /** Queues a task; false, the task dropped, when the thread cannot be started or has ended. */
    bool run(Task task);

    /** Whether a task runs on the calling thread. */
    static bool isCurrentThread();

    /** Lets the task under way finish, drops the others and ends the thread. Bounded in time. */
    void stop();

  private:
    bool start();
    void loop();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Task> tasks_;
    std::thread thread_;
    bool stopping_ = false;
    bool ended_ = false;
};

}  // namespace kep::host

#endif
