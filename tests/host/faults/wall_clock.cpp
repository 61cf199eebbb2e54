#include "wall_clock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "kep/visibility.h"

namespace {

std::atomic<time_t> ahead{0};

}  // namespace

namespace kep::host {

void setWallClock(std::chrono::seconds by) {
    ahead = static_cast<time_t>(by.count());
}

}  // namespace kep::host

extern "C" KEP_API int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) time->tv_sec += ahead;
    return result;
}

extern "C" KEP_API time_t time(time_t* out) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (out) *out = now.tv_sec;
    return now.tv_sec;
}

extern "C" KEP_API int gettimeofday(timeval* time, void*) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}
