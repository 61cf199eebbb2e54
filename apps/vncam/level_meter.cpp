#include "level_meter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vncam {
namespace {

constexpr int kLargest = 32768;
constexpr int kCells = 20;
constexpr double kCellDecibels = 3;

double decibels(int amplitude) {
    return 20 * std::log10(static_cast<double>(amplitude) / kLargest);
}

}  // namespace

void LevelMeter::add(const std::int16_t* samples, std::size_t count) {
    int largest = 0;
    for (std::size_t i = 0; i < count; ++i) largest = std::max(largest, std::abs(int{samples[i]}));
    peak_ = std::max(peak_.load(), largest);
    // takePeak() may reset it meanwhile; the peak then belongs to the next interval.
    int recent = recent_;
    while (recent < largest && !recent_.compare_exchange_weak(recent, largest)) continue;
}

std::string decibelText(int amplitude) {
    if (amplitude == 0) return "silence";
    char text[16];
    std::snprintf(text, sizeof text, "%.1f dB", decibels(amplitude));
    return text;
}

std::string meterText(int amplitude) {
    const double cells = amplitude == 0 ? 0 : kCells + decibels(amplitude) / kCellDecibels;
    const auto lit = static_cast<std::size_t>(std::clamp<double>(std::round(cells), 0, kCells));
    return "[" + std::string(lit, '#') + std::string(kCells - lit, '-') + "] " + decibelText(amplitude);
}

}  // namespace vncam
