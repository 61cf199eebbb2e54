#ifndef KEP_HOST_STAMP_TEXT_H
#define KEP_HOST_STAMP_TEXT_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/**
 * The lines of a stamp at a time: the pattern's fields of strftime in local time, `%3N` in milliseconds. What
 * is no field stays as it is; what is no UTF-8 becomes U+FFFD, byte by byte; other control characters than
 * the new line are left out.
 */
KEP_API std::vector<std::u32string> stampLines(std::string_view pattern,
                                               std::chrono::system_clock::time_point time);

}  // namespace kep::host

#endif
