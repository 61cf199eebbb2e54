#ifndef KEP_HOST_WALL_TIME_H
#define KEP_HOST_WALL_TIME_H

#include <chrono>
#include <ctime>

#include "media/audio/audio_block.h"

namespace kep::host {

/** The time of day of a capture, by what the wall clock says now: it may have been set since then. */
inline std::time_t wallTime(SteadyTime stamp) {
    using namespace std::chrono;
    const auto age = duration_cast<system_clock::duration>(steady_clock::now() - stamp);
    return system_clock::to_time_t(system_clock::now() - age);
}

}  // namespace kep::host

#endif
