#include "values.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "command.h"

namespace vncam {
namespace {

constexpr int kMinEdge = 16;
constexpr int kMaxEdge = 8192;
constexpr double kMaxSeconds = 1e7;
constexpr double kMaxBytes = 1e18;
constexpr double kMaxDays = 36500;
constexpr double kSecondsPerDay = 86400;

[[noreturn]] void refuse(const char* option, const std::string& text, const std::string& why) {
    throw UsageError(std::string(option) + " '" + text + "': " + why);
}

/** Parses the whole text as a number; false when it is not one. */
template <class Number>
bool readNumber(const std::string& text, Number& value) {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && rest == end;
}

bool readEdge(const std::string& text, int& edge) {
    return readNumber(text, edge) && edge >= kMinEdge && edge <= kMaxEdge && edge % 2 == 0;
}

bool readSize(const std::string& text, Size& size) {
    const std::size_t x = text.find('x');
    return x != std::string::npos && readEdge(text.substr(0, x), size.width) &&
           readEdge(text.substr(x + 1), size.height);
}

bool readSeconds(const std::string& text, double& seconds) {
    return readNumber(text, seconds) && std::isfinite(seconds) && seconds >= 0 && seconds <= kMaxSeconds;
}

/** A whole number, which may have a suffix k, M or G: 500k, 0.5M. */
bool readWithUnit(const std::string& text, double& value) {
    const double unit = text.ends_with('k') ? 1e3 : text.ends_with('M') ? 1e6 : text.ends_with('G') ? 1e9 : 1;
    if (!readNumber(unit > 1 ? text.substr(0, text.size() - 1) : text, value)) return false;
    value *= unit;
    return value == std::floor(value);
}

std::string edgeRule() {
    return "width and height are even numbers from " + std::to_string(kMinEdge) + " to " +
           std::to_string(kMaxEdge);
}

}  // namespace

std::string Size::text() const {
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string SizeSwitch::text() const {
    char number[32];
    std::snprintf(number, sizeof number, "@%g", second);
    return size.text() + number;
}

int parseInteger(const char* option, const std::string& text, int least, int most) {
    int value = 0;
    if (!readNumber(text, value) || value < least || value > most)
        refuse(option, text,
               "not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return value;
}

int parseBitRate(const char* option, const std::string& text, int least, int most) {
    double value = 0;
    if (text.ends_with('G') || !readWithUnit(text, value) || value < least || value > most)
        refuse(option, text,
               "not a bit rate from " + std::to_string(least) + " to " + std::to_string(most) +
                   "; examples: 2000000, 2M, 500k");
    return static_cast<int>(value);
}

std::int64_t parseBytes(const char* option, const std::string& text) {
    double value = 0;
    if (!readWithUnit(text, value) || value < 1 || value > kMaxBytes)
        refuse(option, text, "not a number of bytes; examples: 2G, 500M, 100k");
    return static_cast<std::int64_t>(value);
}

std::int64_t parseDays(const char* option, const std::string& text) {
    double days = 0;
    if (!readNumber(text, days) || !(days * kSecondsPerDay >= 1 && days <= kMaxDays))
        refuse(option, text, "not a number of days");
    return static_cast<std::int64_t>(days * kSecondsPerDay);
}

std::function<void(const std::string&)> integerInto(int& target, const char* option, int least, int most) {
    return [=, &target](const std::string& text) { target = parseInteger(option, text, least, most); };
}

std::function<void(const std::string&)> bitRateInto(int& target, const char* option, int least, int most) {
    return [=, &target](const std::string& text) { target = parseBitRate(option, text, least, most); };
}

double parseSeconds(const char* option, const std::string& text) {
    double seconds = 0;
    if (!readSeconds(text, seconds)) refuse(option, text, "not a number of seconds");
    return seconds;
}

Size parseSize(const char* option, const std::string& text) {
    Size size{};
    if (!readSize(text, size)) refuse(option, text, "not WIDTHxHEIGHT; " + edgeRule());
    return size;
}

SizeSwitch parseSizeSwitch(const char* option, const std::string& text) {
    SizeSwitch change{};
    const std::size_t at = text.find('@');
    if (at == std::string::npos || !readSize(text.substr(0, at), change.size) ||
        !readSeconds(text.substr(at + 1), change.second) || change.second <= 0)
        refuse(option, text, "not WIDTHxHEIGHT@SECONDS; " + edgeRule());
    return change;
}

}  // namespace vncam
