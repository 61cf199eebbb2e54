#include "text/time_span.h"

#include <charconv>
#include <cstdint>
#include <limits>

#include "text/attr_text.h"

namespace kep::host {

bool readTimeSpan(std::string_view text, std::chrono::milliseconds& span, std::string& reason) {
    constexpr std::int64_t longest = std::int64_t{std::numeric_limits<std::int32_t>::max()} * 1000;
    const std::string_view shown = trimmed(text);
    std::int64_t number = 0;
    const auto [end, failure] = std::from_chars(shown.data(), shown.data() + shown.size(), number);
    const std::string_view unit = shown.substr(static_cast<std::size_t>(end - shown.data()));
    const std::int64_t scale = unit == "ms" ? 1 : unit == "s" ? 1000 : unit == "m" ? 60'000 : 0;
    const bool numeric = failure != std::errc::invalid_argument;
    if (!numeric || scale == 0) {
        reason = "is not a valid time: expected a whole number with unit s, ms or m";
    } else if (shown.front() == '-') {
        reason = "is negative";
    } else if (failure == std::errc::result_out_of_range || number > longest / scale) {
        reason = "is more than " + std::to_string(longest / 1000) + " s";
    } else {
        span = std::chrono::milliseconds(number * scale);
        return true;
    }
    return false;
}

}  // namespace kep::host
