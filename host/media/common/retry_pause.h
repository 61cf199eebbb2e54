#ifndef KEP_HOST_RETRY_PAUSE_H
#define KEP_HOST_RETRY_PAUSE_H

#include <algorithm>
#include <chrono>
#include <utility>

namespace kep::host {

/** The pauses between attempts at what may stay away for long: a second at first, eight at last. */
class RetryPause {
  public:
    /** How long to wait before the next attempt; twice as long each time. */
    std::chrono::seconds next() { return std::exchange(pause_, std::min(pause_ * 2, kLast)); }
    /** An attempt has succeeded. */
    void reset() { pause_ = kFirst; }

  private:
    static constexpr std::chrono::seconds kFirst{1};
    static constexpr std::chrono::seconds kLast{8};
    std::chrono::seconds pause_ = kFirst;
};

}  // namespace kep::host

#endif
