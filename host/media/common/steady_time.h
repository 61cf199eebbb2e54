#ifndef KEP_HOST_STEADY_TIME_H
#define KEP_HOST_STEADY_TIME_H

#include <chrono>

namespace kep::host {

/** The one clock of all captured media. */
using SteadyTime = std::chrono::steady_clock::time_point;

}  // namespace kep::host

#endif
