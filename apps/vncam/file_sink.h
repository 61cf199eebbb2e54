#ifndef VNCAM_FILE_SINK_H
#define VNCAM_FILE_SINK_H

#include "frame_sink.h"
#include "output.h"

namespace vncam {

/** Writes the frames of one stream unchanged, one after the other. */
class FileSink final : public FrameSink {
  public:
    /** Throws as Output does. */
    explicit FileSink(const std::string& path) : output_(path) {}

    bool isTimed() const override { return false; }
    void write(std::span<const char> frame, Time) override { output_.write(frame.data(), frame.size()); }
    void abandon() override { output_.abandon(); }
    void close() override {
        if (bytes() > 0) output_.close();
    }
    const std::string& name() const override { return output_.name(); }
    std::uint64_t bytes() const override { return output_.bytes(); }

  private:
    Output output_;
};

}  // namespace vncam

#endif
