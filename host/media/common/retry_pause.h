#ifndef KEP_HOST_RETRY_PAUSE_H
#define KEP_HOST_RETRY_PAUSE_H

#include <algorithm>
#include <chrono>
#include <utility>

namespace kep::host {

/** Back-off between attempts to open something that may be missing for long: 1 s, doubling up to 8 s. */
class RetryPause {
  public:
    /** The pause before the next attempt. */
    std::chrono::seconds next() { return std::exchange(pause_, std::min(pause_ * 2, kLast)); }
    /** After a successful attempt: the next pause is 1 s again. */
    void reset() { pause_ = kFirst; }

  private:
    static constexpr std::chrono::seconds kFirst{1};
    static constexpr std::chrono::seconds kLast{8};
    std::chrono::seconds pause_ = kFirst;
};

}  // namespace kep::host

#endif
