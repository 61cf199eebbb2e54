#ifndef VNCAM_RECORDING_LENGTH_H
#define VNCAM_RECORDING_LENGTH_H

#include <chrono>
#include <cstddef>

#include "record_settings.h"

namespace vncam {

/**
 * How much of the recording asked for there is, by what its files hold, and whether it is to be ended.
 *
 * A segment ends where the recording cuts it and not by this program's clock, which hears of everything some
 * time after it happened. So a file that is to be a whole segment is waited for, although the next has then
 * begun, of which nothing is kept. One that is to be shorter is ended by the clock.
 */
class RecordingLength {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit RecordingLength(const RecordSettings& settings);

    void fileOpened(Time now);
    /** A file of so many seconds is complete. */
    void fileClosed(double seconds);
    void picturesLost(std::size_t count) { lost_ += count; }
    /** A device or a file has failed: segments do not end as they should, and all goes by the clock. */
    void disturbed() { byClock_ = true; }

    /** All that was asked for lies in the files that have been closed. */
    bool isComplete() const { return complete_; }
    bool isOver(Time now) const;

  private:
    double missing() const { return seconds_ - recorded_; }

    const double seconds_;
    const double segment_;
    const double picture_;  /**< how long one is shown, in seconds */
    const double accuracy_; /**< with which a file's length tells where it was cut */
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
