#ifndef KEP_HOST_LIVE_STREAM_H
#define KEP_HOST_LIVE_STREAM_H

#include <memory>
#include <string>

#include "media/faces/frame_queue.h"
#include "media/faces/stream_object.h"

namespace kep::host {

/**
 * A stream that an application pulls from: a source element, perhaps an encoder, and a queue. A lost
 * device ends the stream after its last frame is in the queue.
 */
class LiveStream : public StreamObject, public virtual api::streaming::common::IStreamOutput {
  public:
    bool IsSupportedPullFrame() override { return true; }

  protected:
    LiveStream(const char* source, const char* encoder, FrameQueue::Queue::Limits limits);

    void stop() override { queue_->close(); }
    void elementFailed(const std::string& why) override;

    FrameQueue& queue() { return *queue_; }
    ObjectImpl& source() { return *source_; }
    Element& encoder() { return *encoder_; }
    static bool set(ObjectImpl& element, const char* property, int value) {
        return element.SetStr(property, std::to_string(value).c_str());
    }

  private:
    ObjectImpl* source_ = nullptr;
    Element* encoder_ = nullptr;
    FrameQueue* queue_ = nullptr;
};

}  // namespace kep::host

#endif
