#ifndef VNCAM_FRAME_TIMES_H
#define VNCAM_FRAME_TIMES_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace vncam {

/**
 * The times of a live stream's frames, which VNRead does not tell. They are counted, as frames follow each
 * other at a steady rate, and corrected by when frames arrive: a camera may be slower than its setting, and a
 * device may lose frames.
 */
class FrameTimes {
  public:
    using Clock = std::chrono::steady_clock;

    /** What is known of a source. */
    struct Source {
        Clock::duration frame;
        /** How much later than counted its frames may arrive without being later: more than it is irregular,
         * less than viewers notice. */
        Clock::duration tolerance;
        /** So many frames in a row are later before that is believed: a busy machine delays a few. The times
         * of a slow source are early by what it falls behind meanwhile. */
        std::size_t patience;
        /** From one frame to the next at least; with less than the length of a frame the times find back
         * sooner when a delay was believed. */
        Clock::duration leastStep;
    };

    /** First frames are late, as devices and encoders start, until one shows when they were due. Those of
     * this time may have to be moved before the next one. */
    static constexpr Clock::duration kSettling = std::chrono::milliseconds(100);

    explicit FrameTimes(const Source& source) : source_(source) {}

    /**
     * The time of the next frame, always after the one before but while they settle.
     *
     * @param waited reading waited for the frame, so that it has just arrived; otherwise it was queued, and
     * may be older
     * @param lost frames lost so far, as the source tells
     */
    Clock::time_point next(Clock::time_point arrival, bool waited, std::uint64_t lost);

    Clock::duration frame() const { return source_.frame; }
    /** Frames so far, with those that are missing between them. */
    std::uint64_t length() const;

  private:
    const Source source_;
    Clock::time_point first_;
    Clock::time_point last_;
    std::uint64_t frames_ = 0;
    std::uint64_t lost_ = 0;
    std::deque<Clock::duration> lateness_; /**< of the last frames whose delay is known, by the times now */
    Clock::duration missing_{};            /**< by which frames are later than their count says */
};

}  // namespace vncam

#endif
