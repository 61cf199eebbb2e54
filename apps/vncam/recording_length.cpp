#include "recording_length.h"

#include <algorithm>
#include <cmath>

namespace vncam {
namespace {

/** How late a loaded machine may report the end of a segment, in seconds. */
constexpr double kReportTimeout = 10;

double between(RecordingLength::Time from, RecordingLength::Time to) {
    return std::chrono::duration<double>(to - from).count();
}

}  // namespace

RecordingLength::RecordingLength(const RecordSettings& settings)
    : seconds_(settings.seconds),
      segment_(settings.segment),
      picture_(1. / settings.fps),
      accuracy_(std::min(0.1 + 1.5 * picture_, segment_ / 2)) {}

void RecordingLength::fileOpened(Time now) {
    if (begin_ == Time()) begin_ = now;
    fileBegin_ = now;
    open_ = true;
}

void RecordingLength::fileClosed(double seconds) {
    open_ = false;
    ++closed_;
    // In whole segments, so that rounding errors do not accumulate.
    const double whole = std::round(seconds / segment_) * segment_;
    recorded_ += std::abs(seconds - whole) <= accuracy_ ? whole : seconds;
    if (seconds_ <= 0) return;
    // Frames lost between two files are in the length of neither.
    const bool isLast = closed_ >= std::ceil((seconds_ - accuracy_) / segment_);
    complete_ = missing() <= accuracy_ + (isLast ? static_cast<double>(lost_) * picture_ : 0);
}

bool RecordingLength::isOver(Time now) const {
    if (complete_) return true;
    if (seconds_ <= 0 || begin_ == Time()) return false;
    if (between(begin_, now) >= seconds_ + (byClock_ ? 0 : kReportTimeout)) return true;
    const bool endsWithSegment = missing() > segment_ - accuracy_;
    return !byClock_ && open_ && !endsWithSegment && between(fileBegin_, now) >= missing();
}

}  // namespace vncam
