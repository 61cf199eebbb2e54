#include "text/convert.h"

#include <charconv>
#include <limits>
#include <string>
#include <string_view>

#include "kep/attr_set.h"
#include "text/attr_text.h"

namespace kep::host {
namespace {

template <class T>
bool readInteger(const char* text, T& value) {
    if (!text) return false;
    std::string_view digits = trimmed(text);
    const bool negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
    int radix = 10;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        radix = 16;
        digits.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, failure] =
        std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, radix);
    if (failure != std::errc() || end != digits.data() + digits.size()) return false;
    const std::uint64_t largest = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
    if (magnitude > largest + (negative ? 1u : 0u)) return false;
    value = static_cast<T>(negative ? 0 - magnitude : magnitude);
    return true;
}

bool sameWord(std::string_view text, std::string_view lowerCase) {
    if (text.size() != lowerCase.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char letter =
            text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + ('a' - 'A')) : text[i];
        if (letter != lowerCase[i]) return false;
    }
    return true;
}

}  // namespace

bool convert(const char* text, int& value) {
    return readInteger(text, value);
}

bool convert(const char* text, std::int64_t& value) {
    return readInteger(text, value);
}

bool convert(const char* text, bool& value) {
    if (!text) return false;
    const std::string_view word = trimmed(text);
    for (const std::string_view yes : {"true", "yes", "on", "1"}) {
        if (sameWord(word, yes)) return value = true;
    }
    for (const std::string_view no : {"false", "no", "off", "0"}) {
        if (sameWord(word, no)) return !(value = false);
    }
    return false;
}

}  // namespace kep::host

namespace kep::base {
namespace {

/** Callers silently fall back to their default: only this line reports the bad text. */
template <class T>
bool convertOrReport(const char* text, T& value, const char* fault) {
    if (host::convert(text, value)) return true;
    const std::string shown = text ? text : "";
    host::tellTextError(shown, {0, fault});
    return false;
}

}  // namespace

bool ConvertToImpl(const char* text, int& value) {
    return convertOrReport(text, value, "not a 32-bit integer");
}

bool ConvertToImpl(const char* text, std::int64_t& value) {
    return convertOrReport(text, value, "not a 64-bit integer");
}

bool ConvertToImpl(const char* text, bool& value) {
    return convertOrReport(text, value, "neither true nor false");
}

}  // namespace kep::base
