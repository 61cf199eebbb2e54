#ifndef VORNISA_TESTS_QUIET_STREAM_H
#define VORNISA_TESTS_QUIET_STREAM_H

#include <memory>
#include <vector>

#include "kep/streaming.h"

namespace unit {

using namespace kep::api::streaming::common;

/** A source of equal frames and a sink of any, which record nothing: for tests that count allocations, copies
 * or casts. */
class QuietStream : public virtual IStreamOutput, public virtual IStreamInput, public virtual IEncoder {
  public:
    explicit QuietStream(int frameBytes) : data_(static_cast<std::size_t>(frameBytes), 'v') {}

    unsigned char* data() { return data_.data(); }
    const unsigned char* pushedData() const { return pushedData_; }
    /** Allocations by the pulls themselves. */
    std::size_t pullAllocations = 0;
    std::size_t (*countAllocations)() = [] { return std::size_t{0}; };

    kep::State CurrentState() override { return kep::State::play; }
    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        const std::size_t before = countAllocations();
        frame = std::make_shared<frame_t>();
        frame->data = data_.data();
        frame->size = static_cast<int>(data_.size());
        pullAllocations += countAllocations() - before;
        return true;
    }
    bool IsSupportedPushFrame() override { return true; }
    bool PushFrame(std::shared_ptr<frame_t> frame) override {
        pushedData_ = frame->data;
        return true;
    }
    void SetBitRate(int) override {}

  private:
    std::vector<unsigned char> data_;
    const unsigned char* pushedData_ = nullptr;
};

}  // namespace unit

#endif
