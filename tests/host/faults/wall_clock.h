#ifndef VORNISA_WALL_CLOCK_H
#define VORNISA_WALL_CLOCK_H

#include <chrono>

namespace kep::host {

/**
 * Sets the time of day of this program and all of its libraries `ahead` of the machine's. The program defines
 * the system's time functions itself, and the dynamic loader prefers its definitions. All other clocks are
 * unaffected.
 */
void setWallClock(std::chrono::seconds ahead);

}  // namespace kep::host

#endif
