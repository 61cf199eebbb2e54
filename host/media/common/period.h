#ifndef KEP_HOST_PERIOD_H
#define KEP_HOST_PERIOD_H

#include <chrono>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace kep::host {

/** Time from one picture to the next at `rate` pictures per second, rounded to the nearest nanosecond. */
inline std::chrono::nanoseconds periodOf(AVRational rate) {
    return std::chrono::nanoseconds(av_rescale(1'000'000'000, rate.den, rate.num));
}

}  // namespace kep::host

#endif
