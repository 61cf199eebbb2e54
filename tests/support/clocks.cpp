#include "clocks.h"

#include <time.h>

#include <atomic>
#include <chrono>

#include "script.h"

namespace {

bool frozen = false;
std::time_t frozenTime = 0;
std::function<void(int)> sleepAction;
std::atomic<int> sleeps{0};

}  // namespace

namespace scripted {

void setTimeOfDay(std::time_t time) {
    frozen = true;
    frozenTime = time;
}

void resetTimeOfDay() {
    frozen = false;
}

void atSleep(const std::function<void(int)>& action) {
    sleepAction = action;
    sleeps = 0;
}

std::int64_t steadyTime() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

bool SteadyInterval::contains(const std::string& digits, std::int64_t unit) const {
    if (digits.empty() || digits.size() > 19 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const std::int64_t value = std::stoll(digits);
    return value >= begin_ / unit && value <= steadyTime() / unit;
}

}  // namespace scripted

// The linker's --wrap redirects calls of time and nanosleep here.
extern "C" time_t __real_time(time_t* out);
extern "C" time_t __wrap_time(time_t* out) {
    if (!frozen) return __real_time(out);
    if (out) *out = frozenTime;
    return frozenTime;
}

extern "C" int __real_nanosleep(const timespec* wanted, timespec* left);
extern "C" int __wrap_nanosleep(const timespec* wanted, timespec* left) {
    if (!sleepAction) return __real_nanosleep(wanted, left);
    scripted::Script::instance().note(
        "sleep " + std::to_string(wanted->tv_sec * 1000 + wanted->tv_nsec / 1000000) + "ms");
    sleepAction(++sleeps);
    return 0;
}
