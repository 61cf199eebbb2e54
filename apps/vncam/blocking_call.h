#ifndef VNCAM_BLOCKING_CALL_H
#define VNCAM_BLOCKING_CALL_H

#include <atomic>
#include <chrono>

namespace vncam {

/** Measures calls that may block: one thread makes them, others ask how long the current one has lasted. */
class BlockingCall {
  public:
    template <class Call>
    auto make(const Call& call) {
        since_ = Clock::now().time_since_epoch().count();
        const auto result = call();
        since_ = 0;
        return result;
    }

    /** Duration of the current call so far; zero between two calls. */
    std::chrono::steady_clock::duration lasting() const {
        const Clock::rep since = since_;
        return since == 0 ? Clock::duration::zero()
                          : Clock::now().time_since_epoch() - Clock::duration(since);
    }

  private:
    using Clock = std::chrono::steady_clock;
    std::atomic<Clock::rep> since_{0};
};

}  // namespace vncam

#endif
