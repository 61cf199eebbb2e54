#ifndef VORNISA_TESTS_CLOCKS_H
#define VORNISA_TESTS_CLOCKS_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

namespace scripted {

/** From now on the time of day stands still at `time`. */
void setTimeOfDay(std::time_t time);
/** The time of day goes again. */
void resetTimeOfDay();

/**
 * From now on a sleep of the plug-in is recorded and takes no time but that of `action`, which is given the
 * number of the sleep, from 1; null for real sleeps again.
 */
void atSleep(const std::function<void(int)>& action);

/** Nanoseconds of the steady clock. */
std::int64_t steadyTime();

/** Readings of the steady clock around the time it lives, for values that were read meanwhile. */
class SteadyInterval {
  public:
    /** Whether the number in `digits`, of that many nanoseconds each, is of this interval, which ends now. */
    bool contains(const std::string& digits, std::int64_t unit) const;

  private:
    const std::int64_t begin_ = steadyTime();
};

}  // namespace scripted

#endif
