#include "frame_times.h"

#include <algorithm>
#include <utility>

namespace vncam {

FrameTimes::Clock::time_point FrameTimes::next(Clock::time_point arrival, bool waited, std::uint64_t lost) {
    ++frames_;
    const std::uint64_t lostBefore = std::exchange(lost_, lost);
    if (frames_ == 1) return first_ = last_ = arrival;
    const Clock::time_point before = last_;
    const Clock::time_point counted = before + source_.frame;
    // The arrival of a frame that was waited for is more reliable: the message of a loss may come later.
    const std::uint64_t skipped = waited ? 0 : lost - lostBefore;
    const Clock::time_point due = counted + static_cast<Clock::rep>(skipped) * source_.frame;
    const Clock::duration late = arrival - due;
    if (waited || late < source_.tolerance) lateness_.push_back(late);
    if (lateness_.size() > source_.patience) lateness_.pop_front();
    last_ = due;
    // No frame arrives before its time: when one seems to, those before were delayed.
    if (due - first_ < kSettling)
        last_ = std::min(due, arrival);
    else if (late < -source_.frame)
        last_ = std::max(arrival, before + source_.leastStep);
    // A busy machine delays some frames, not all: the smallest of the last delays is a real gap.
    if (lateness_.size() == source_.patience) {
        const Clock::duration gap = *std::ranges::min_element(lateness_);
        if (gap > source_.tolerance) last_ += gap;
    }
    for (Clock::duration& one : lateness_) one -= last_ - due;
    missing_ = std::max(missing_ + (last_ - counted), Clock::duration::zero());
    return last_;
}

std::uint64_t FrameTimes::length() const {
    return frames_ + static_cast<std::uint64_t>((missing_ + source_.frame / 2) / source_.frame);
}

}  // namespace vncam
