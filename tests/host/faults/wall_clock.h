#ifndef VORNISA_WALL_CLOCK_H
#define VORNISA_WALL_CLOCK_H

#include <chrono>

namespace kep::host {

/**
 * Sets the time of day for this program and all of its libraries: so much ahead of the machine's. The program
 * has functions of the system's names that tell the time, which the dynamic loader takes before the system's
 * own. All other clocks are as they were.
 */
void setWallClock(std::chrono::seconds ahead);

}  // namespace kep::host

#endif
