#ifndef KEP_HOST_RATE_GATE_H
#define KEP_HOST_RATE_GATE_H

#include <algorithm>
#include <chrono>
#include <utility>

#include "media/common/steady_time.h"

namespace kep::host {

/** Passes at most `rate` pictures per second, evenly spaced. Used by one thread. */
class RateGate {
  public:
    bool passes(SteadyTime stamp, int rate) {
        using std::chrono::nanoseconds;
        if (std::exchange(rate_, rate) != rate) due_ = {};
        const nanoseconds period = nanoseconds(1'000'000'000) / rate;
        const nanoseconds interval = stamp - std::exchange(last_, stamp);
        // The picture nearest to a due time passes; at about the rate of the source all pass, whatever
        // their jitter.
        if (stamp + std::clamp(interval, nanoseconds(0), period) / 2 < due_) return false;
        due_ += period;
        if (due_ <= stamp) due_ = stamp + period;
        return true;
    }

  private:
    int rate_ = 0;
    SteadyTime due_;
    SteadyTime last_;
};

}  // namespace kep::host

#endif
