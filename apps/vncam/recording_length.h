#ifndef VNCAM_RECORDING_LENGTH_H
#define VNCAM_RECORDING_LENGTH_H

#include <chrono>
#include <cstddef>

#include "record_settings.h"

namespace vncam {

/**
 * Counts how much of the requested length the finished files hold, and decides when to stop.
 *
 * The recording cuts its segments, and this program learns of it later. It therefore waits for the end of a
 * file that has to be a whole segment, although the next file has begun by then, which is discarded. A
 * shorter last file is ended by the clock.
 */
class RecordingLength {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit RecordingLength(const RecordSettings& settings);

    void fileOpened(Time now);
    /** A file of this length is complete. */
    void fileClosed(double seconds);
    void picturesLost(std::size_t count) { lost_ += count; }
    /** A device or a file has failed: segments are no longer cut as planned, and the clock decides. */
    void disturbed() { byClock_ = true; }

    /** Whether the closed files hold the requested length. */
    bool isComplete() const { return complete_; }
    bool isOver(Time now) const;

  private:
    double missing() const { return seconds_ - recorded_; }

    const double seconds_;
    const double segment_;
    const double picture_;  /**< duration of one, in seconds */
    const double accuracy_; /**< seconds by which a file's length may differ from its segment */
    bool byClock_ = false;
    bool complete_ = false;
    bool open_ = false;
    int closed_ = 0;
    double recorded_ = 0; /**< seconds */
    std::size_t lost_ = 0;
    Time begin_{};     /**< when the first file was opened; zero before */
    Time fileBegin_{}; /**< when the last was */
};

}  // namespace vncam

#endif
