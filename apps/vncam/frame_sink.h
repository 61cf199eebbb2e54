#ifndef VNCAM_FRAME_SINK_H
#define VNCAM_FRAME_SINK_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

namespace vncam {

/** Where the frames of one stream go. */
class FrameSink {
  public:
    using Time = std::chrono::steady_clock::time_point;

    virtual ~FrameSink() = default;

    /** Whether frames are shown at their times; otherwise one follows the other. */
    virtual bool isTimed() const = 0;
    /** @param time of the frame's beginning. Throws as Output does. */
    virtual void write(std::span<const char> frame, Time time) = 0;
    /** Has a write() that waits for the reader of a pipe end. May be called by any thread. */
    virtual void abandon() = 0;
    /** Completes what is written to; leaves alone what nothing was written to. Throws as Output does. */
    virtual void close() = 0;

    /** The name of the output for messages. */
    virtual const std::string& name() const = 0;
    /** Of the frames written. */
    virtual std::uint64_t bytes() const = 0;
};

}  // namespace vncam

#endif
