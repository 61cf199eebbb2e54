#ifndef KEP_HOST_STEADY_TIME_H
#define KEP_HOST_STEADY_TIME_H

#include <chrono>

namespace kep::host {

/** Time stamp of captured media; all share the steady clock. */
using SteadyTime = std::chrono::steady_clock::time_point;

}  // namespace kep::host

#endif
