#ifndef KEP_HOST_LIVE_STREAM_H
#define KEP_HOST_LIVE_STREAM_H

#include <memory>
#include <string>

#include "kep/frame.h"
#include "media/faces/stream_object.h"
#include "media/hub/group_queue.h"
#include "media/pipeline/element.h"

namespace kep::host {

using SharedFrame = std::shared_ptr<api::streaming::common::frame_t>;

/** The last element of a live stream: a queue of frames that the application pulls from. A reader that does
 * not keep up loses whole groups, oldest first. */
class FrameQueue final : public Element {
  public:
    using Queue = GroupQueue<SharedFrame>;

    explicit FrameQueue(Queue::Limits limits) : queue_(limits) {}
    ~FrameQueue() override { retire(); }

    bool pull(SharedFrame& frame, bool wait) { return queue_.pull(frame, wait); }
    /** Ends the stream: the reader can still pull the queued frames. */
    void finish() { queue_.finish(); }
    /** Drops the queued frames and wakes a blocked reader. */
    void close() { queue_.close(); }

    bool takesAtOnce() const override { return true; }
    void take(const SharedPacket& packet, const Element&) override;

  protected:
    bool up(State target) override;
    bool down(State target) override;

  private:
    PicturePtr asOneBlock(const PicturePtr& picture);

    Queue queue_;
    PicturePool pool_;
    int sounds_ = 0; /**< audio frames since the start */
};

/**
 * A stream that an application pulls from: a source element, optionally an encoder, and a queue. A lost
 * device ends the stream; the reader still gets the queued frames.
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
