#ifndef KEP_HOST_MUTEX_H
#define KEP_HOST_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

/*
 * Clang's thread-safety annotations, by the names that its documentation uses. The `clang` preset turns a
 * violation into an error; other compilers ignore them.
 *
 *     Mutex mutex_;
 *     std::vector<Item> items_ GUARDED_BY(mutex_);
 *     void trim() REQUIRES(mutex_);      callers hold the mutex
 *     void publish() EXCLUDES(mutex_);   callers must not hold it: calls foreign code, or locks it itself
 */
#if defined(__clang__)
#define KEP_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define KEP_THREAD_ANNOTATION(attribute)
#endif

#define CAPABILITY(name) KEP_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY KEP_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(mutex) KEP_THREAD_ANNOTATION(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) KEP_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define ACQUIRED_BEFORE(...) KEP_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) KEP_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define REQUIRES(...) KEP_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) KEP_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) KEP_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KEP_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) KEP_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(mutex) KEP_THREAD_ANNOTATION(assert_capability(mutex))
#define RETURN_CAPABILITY(mutex) KEP_THREAD_ANNOTATION(lock_returned(mutex))
/** Where the analysis cannot follow the locking. Give the reason beside each use. */
#define NO_THREAD_SAFETY_ANALYSIS KEP_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace kep::host {

/** A std::mutex that the analysis knows. */
class CAPABILITY("mutex") Mutex {
  public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

  private:
    friend class MutexLock;
    std::mutex mutex_;
};

/** Holds a Mutex for its scope. `unlock` and `lock` release it in between, for foreign work. */
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() RELEASE() {}

    void lock() ACQUIRE() { lock_.lock(); }
    void unlock() RELEASE() { lock_.unlock(); }

  private:
    friend class Condition;
    std::unique_lock<std::mutex> lock_;
};

/**
 * A std::condition_variable for a MutexLock. A predicate that reads guarded state names the mutex itself, as
 * the analysis looks at each lambda alone:
 *
 *     ready_.wait(lock, [this]() REQUIRES(mutex_) { return !items_.empty(); });
 */
class Condition {
  public:
    void notifyOne() noexcept { condition_.notify_one(); }
    void notifyAll() noexcept { condition_.notify_all(); }

    void wait(MutexLock& lock) { condition_.wait(lock.lock_); }
    // The predicates below are called with the lock held, but by the standard library, where the analysis
    // loses it.
    template <class Predicate>
    void wait(MutexLock& lock, Predicate holds) NO_THREAD_SAFETY_ANALYSIS {
        condition_.wait(lock.lock_, holds);
    }

    /** False on timeout. */
    template <class Clock, class Duration>
    bool waitUntil(MutexLock& lock, const std::chrono::time_point<Clock, Duration>& time) {
        return condition_.wait_until(lock.lock_, time) == std::cv_status::no_timeout;
    }
    /** Waits until `holds` or `time`; whether it holds. */
    template <class Clock, class Duration, class Predicate>
    bool waitUntil(MutexLock& lock, const std::chrono::time_point<Clock, Duration>& time,
                   Predicate holds) NO_THREAD_SAFETY_ANALYSIS {
        return condition_.wait_until(lock.lock_, time, holds);
    }
    template <class Rep, class Period>
    bool waitFor(MutexLock& lock, const std::chrono::duration<Rep, Period>& time) {
        return waitUntil(lock, std::chrono::steady_clock::now() + time);
    }
    template <class Rep, class Period, class Predicate>
    bool waitFor(MutexLock& lock, const std::chrono::duration<Rep, Period>& time, Predicate holds) {
        return waitUntil(lock, std::chrono::steady_clock::now() + time, holds);
    }

  private:
    std::condition_variable condition_;
};

}  // namespace kep::host

#endif
