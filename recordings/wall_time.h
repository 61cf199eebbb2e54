#ifndef RECORDINGS_WALL_TIME_H
#define RECORDINGS_WALL_TIME_H

#include <chrono>
#include <ctime>

namespace recordings {

using SteadyTime = std::chrono::steady_clock::time_point;

/** The time of day of a capture, by what the wall clock says now: it may have been set since then. */
inline std::time_t wallTime(SteadyTime stamp) {
    using namespace std::chrono;
    const auto age = duration_cast<system_clock::duration>(steady_clock::now() - stamp);
    return system_clock::to_time_t(system_clock::now() - age);
}

}  // namespace recordings

#endif
