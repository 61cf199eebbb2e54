#ifndef VNCAM_FRAME_SINK_H
#define VNCAM_FRAME_SINK_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

namespace vncam {

/** Destination of the frames of one stream. */
class FrameSink {
  public:
    using Time = std::chrono::steady_clock::time_point;

    virtual ~FrameSink() = default;

    /** Whether the output has time stamps; otherwise frames only follow each other. */
    virtual bool isTimed() const = 0;
    /** Throws as Output does. @param time when the frame begins */
    virtual void write(std::span<const char> frame, Time time) = 0;
    /** Ends a write() that is blocked on the reader of a pipe. May be called by any thread. */
    virtual void abandon() = 0;
    /** Completes the output; leaves it untouched when nothing was written. Throws as Output does. */
    virtual void close() = 0;

    /** The name of the output for messages. */
    virtual const std::string& name() const = 0;
    /** Size of the frames written. */
    virtual std::uint64_t bytes() const = 0;
};

}  // namespace vncam

#endif
