#ifndef VNCAM_TRACK_H
#define VNCAM_TRACK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "blocking_call.h"
#include "frame_sink.h"
#include "frame_times.h"
#include "resource.h"
#include "values.h"

namespace vncam {

/**
 * Reads one stream from a source, in a thread of its own, and writes it to a sink. Time is counted in frames,
 * including those that the source reports as lost, so that a film of ten seconds holds exactly ten seconds.
 * With a timed sink, frames that a slow source does not deliver count as well.
 */
class Track {
  public:
    enum Kind { video, audio };

    /**
     * Acquires the source; throws Failure when it is refused.
     *
     * @param command named in reports of messages from the source
     */
    Track(Kind kind, const char* command, std::unique_ptr<FrameSink> sink);
    /** Stops reading first. */
    ~Track();
    Track(const Track&) = delete;
    Track& operator=(const Track&) = delete;

    /** Called before each frame, on the reading thread, with the second of the film at which it begins. */
    using BeforeFrame = std::function<void(double second)>;

    /** Starts the source and reads until `seconds` have been written, or without end when that is 0. */
    void start(double framesPerSecond, double seconds, BeforeFrame beforeFrame = {});
    /** For BeforeFrame: changes the picture size from the current frame on. */
    void switchSize(Size size);
    /** Stops reading after the current frame. */
    void end();
    /** Stops reading even while it blocks on a frame; a failure unless a stop was requested. */
    void cut();

    /** How long reading has been blocked on the source. */
    std::chrono::steady_clock::duration waiting() const;
    /** Whether the reading has ended, waiting for it no longer than `limit`. */
    bool finished(std::chrono::milliseconds limit = std::chrono::milliseconds(0)) const;
    /** Whether reading ended with a failure. */
    bool broken() const { return broken_; }
    /** Waits until reading and its messages have ended; throws its failure. */
    void join();
    /** Closes the sink. */
    void close() { sink_->close(); }

    int id() const { return source_.id(); }
    std::uint64_t frames() const { return frames_; }
    std::uint64_t lost() const;
    double second() const;
    /** "out.h264: 300 video frames, 2485760 bytes, 10.0 s, 0 lost". */
    std::string summary() const;
    const char* media() const { return kind_ == video ? "video" : "audio"; }

  private:
    void readAll(double seconds, const BeforeFrame& beforeFrame);
    int readFrame(char* frame);
    void write(const char* frame, int length, FrameTimes::Clock::duration waited);

    const Kind kind_;
    const std::unique_ptr<FrameSink> sink_;
    Resource source_;
    double framesPerSecond_ = 1;
    std::optional<FrameTimes> times_;           /**< used by the reading thread; for a timed sink */
    std::atomic<std::uint64_t> framesShown_{0}; /**< by `times_` */
    std::atomic<int> starts_{0};
    std::atomic<std::uint64_t> frames_{0};
    std::atomic<bool> ending_{false};
    std::atomic<bool> cut_{false};
    std::atomic<bool> broken_{false};
    BlockingCall read_;
    std::future<void> reading_;
};

}  // namespace vncam

#endif
