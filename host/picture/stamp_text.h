#ifndef KEP_HOST_STAMP_TEXT_H
#define KEP_HOST_STAMP_TEXT_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/**
 * The lines of a stamp at a time: strftime fields of the pattern in local time, and `%3N` as milliseconds.
 * Other text stays unchanged; each byte of invalid UTF-8 becomes U+FFFD; a tab becomes a space; other control
 * characters except the new line are dropped.
 */
KEP_API std::vector<std::u32string> stampLines(std::string_view pattern,
                                               std::chrono::system_clock::time_point time);

}  // namespace kep::host

#endif
