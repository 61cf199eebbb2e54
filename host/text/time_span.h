#ifndef KEP_HOST_TIME_SPAN_H
#define KEP_HOST_TIME_SPAN_H

#include <chrono>
#include <string>
#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** Parses a time span of a description, a whole number with its unit: `10s`, `250ms`, `2m`. Returns false,
 * with `reason` filled, for anything else, a negative span, or one above 2147483647 s. */
KEP_API bool readTimeSpan(std::string_view text, std::chrono::milliseconds& span, std::string& reason);

}  // namespace kep::host

#endif
