#ifndef VNCAM_FRAME_TIMES_H
#define VNCAM_FRAME_TIMES_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace vncam {

/**
 * The times of a live stream's frames, which VNRead does not return. Frames are counted at the set rate, and
 * the count is corrected by their arrival: a camera may be slower than its setting, and a device may lose
 * frames.
 */
class FrameTimes {
  public:
    using Clock = std::chrono::steady_clock;

    /** Properties of a source. */
    struct Source {
        Clock::duration frame;
        /** How much later than counted a frame may arrive and still get its counted time: more than the
         * source jitters, less than viewers notice. */
        Clock::duration tolerance;
        /** How many frames in a row must be late before the times follow: a busy machine delays a few. Until
         * then the times of a slow source are early by what it falls behind. */
        std::size_t patience;
        /** Smallest distance of two frames. Below the length of a frame it lets the times recover sooner
         * after a delay that turns out to be none. */
        Clock::duration leastStep;
    };

    /** The first frames are late, as devices and encoders start, until a later one shows when they were due.
     * Within this span a time may precede the one before. */
    static constexpr Clock::duration kSettling = std::chrono::milliseconds(100);

    explicit FrameTimes(const Source& source) : source_(source) {}

    /**
     * The time of the next frame, always after the one before except within kSettling.
     *
     * @param waited reading blocked until the frame arrived; otherwise the frame was queued, and may be older
     * @param lost frames lost so far, as reported by the source
     */
    Clock::time_point next(Clock::time_point arrival, bool waited, std::uint64_t lost);

    Clock::duration frame() const { return source_.frame; }
    /** Frames so far, including those that are missing between them. */
    std::uint64_t length() const;

  private:
    const Source source_;
    Clock::time_point first_;
    Clock::time_point last_;
    std::uint64_t frames_ = 0;
    std::uint64_t lost_ = 0;
    std::deque<Clock::duration> lateness_; /**< delays of the last frames, by the current times */
    Clock::duration missing_{};            /**< sum of the gaps between frames */
};

}  // namespace vncam

#endif
