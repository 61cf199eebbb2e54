#include "media/faces/live_stream.h"

#include "objects/creation.h"

namespace kep::host {

LiveStream::LiveStream(const char* source, const char* encoder, FrameQueue::Queue::Limits limits) {
    std::unique_ptr<ObjectImpl> first = makeObject(source);
    source_ = first.get();
    add(std::move(first));
    if (encoder) {
        std::unique_ptr<ObjectImpl> second = makeObject(encoder);
        encoder_ = dynamic_cast<Element*>(second.get());
        add(std::move(second));
    }
    auto last = std::make_unique<FrameQueue>(limits);
    queue_ = last.get();
    add(std::move(last));
}

void LiveStream::elementFailed(const std::string& why) {
    ended(why);
    queue_->finish();
}

}  // namespace kep::host
