#ifndef VORNISA_TESTS_CLOCKS_H
#define VORNISA_TESTS_CLOCKS_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

namespace scripted {

/** Freezes the time of day at `time`. */
void setTimeOfDay(std::time_t time);
/** Ends the freeze. */
void resetTimeOfDay();

/**
 * From now on each sleep of the plug-in is recorded and calls `action` with its number, from 1, instead of
 * sleeping. Null restores real sleeps.
 */
void atSleep(const std::function<void(int)>& action);

/** Nanoseconds of the steady clock. */
std::int64_t steadyTime();

/** An interval of the steady clock that begins with this object, to check time stamps taken since. */
class SteadyInterval {
  public:
    /** Whether the time in `digits`, counted in units of `unit` nanoseconds, lies between the begin and now.
     */
    bool contains(const std::string& digits, std::int64_t unit) const;

  private:
    const std::int64_t begin_ = steadyTime();
};

}  // namespace scripted

#endif
