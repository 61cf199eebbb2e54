#ifndef RECORDINGS_WALL_TIME_H
#define RECORDINGS_WALL_TIME_H

#include <chrono>
#include <ctime>

namespace recordings {

using SteadyTime = std::chrono::steady_clock::time_point;

/** The wall time of a capture, by the current setting of the wall clock, which may have changed since. */
inline std::time_t wallTime(SteadyTime stamp) {
    using namespace std::chrono;
    const auto age = duration_cast<system_clock::duration>(steady_clock::now() - stamp);
    return system_clock::to_time_t(system_clock::now() - age);
}

}  // namespace recordings

#endif
