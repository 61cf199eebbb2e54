#include "objects/mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using kep::host::Condition;
using kep::host::Mutex;
using kep::host::MutexLock;
using namespace std::chrono_literals;

constexpr auto kLimit = 60s;

class Gate {
  public:
    void open() {
        const MutexLock lock(mutex_);
        open_ = true;
        changed_.notifyAll();
    }
    bool pass() {
        MutexLock lock(mutex_);
        return changed_.waitFor(lock, kLimit, [this]() REQUIRES(mutex_) { return open_; });
    }
    bool passWithin(std::chrono::milliseconds time) {
        MutexLock lock(mutex_);
        return changed_.waitFor(lock, time, [this]() REQUIRES(mutex_) { return open_; });
    }
    bool isFree() {
        if (!mutex_.try_lock()) return false;
        mutex_.unlock();
        return true;
    }
    /** Whether another thread can lock the mutex only between the holder's `unlock` and `lock`. */
    bool isReleasedOnlyBetween() {
        const auto freeElsewhere = [this] {
            bool free = false;
            std::thread([&] { free = isFree(); }).join();
            return free;
        };
        MutexLock lock(mutex_);
        const bool before = freeElsewhere();
        lock.unlock();
        const bool between = freeElsewhere();
        lock.lock();
        const bool after = freeElsewhere();
        return !before && between && !after;
    }

  private:
    Mutex mutex_;
    Condition changed_;
    bool open_ GUARDED_BY(mutex_) = false;
};

TEST(MutexTest, IsHeldToTheEndOfTheScopeExceptBetweenUnlockAndLock) {
    Gate gate;
    EXPECT_TRUE(gate.isReleasedOnlyBetween());
    EXPECT_TRUE(gate.isFree());
}

TEST(MutexTest, AWaitReleasesItAndReturnsOnceThePredicateHolds) {
    Gate gate;
    std::thread opener([&] { gate.open(); });
    EXPECT_TRUE(gate.pass());
    opener.join();
    EXPECT_TRUE(gate.isFree());
}

TEST(MutexTest, AWaitTimesOut) {
    Gate gate;
    EXPECT_FALSE(gate.passWithin(1ms));
    gate.open();
    EXPECT_TRUE(gate.passWithin(0ms));
}

}  // namespace
