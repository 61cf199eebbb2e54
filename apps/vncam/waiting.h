#ifndef VNCAM_WAITING_H
#define VNCAM_WAITING_H

#include <chrono>

namespace vncam {

/** How often commands check for stop requests and messages, and update their progress. */
inline constexpr std::chrono::milliseconds kPollInterval(100);

/** For draining the write queue to a slow disk. */
inline constexpr std::chrono::seconds kEndTimeout(30);

inline double secondsSince(std::chrono::steady_clock::time_point time) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - time).count();
}

}  // namespace vncam

#endif
