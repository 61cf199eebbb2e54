#include "media/faces/live_stream.h"

#include <utility>

#include "objects/creation.h"

namespace kep::host {

bool FrameQueue::up(State target) {
    if (target != State::play) return true;
    sounds_ = 0;
    queue_.open();
    return true;
}

bool FrameQueue::down(State) {
    queue_.close();
    return true;
}

void FrameQueue::take(const SharedPacket& packet, const Element&) {
    auto frame = std::make_shared<api::streaming::common::frame_t>();
    frame->index = packet->isVideo() ? static_cast<int>(packet->number) : sounds_++;
    frame->key = packet->key;
    frame->stamp = packet->stamp;
    // Readers do not write to the data; the field is not const because applications also push frames.
    if (packet->picture) {
        const PicturePtr picture = asOneBlock(packet->picture);
        if (!picture) {
            tellLost(host::Media::Kind::video, 1);
            return;
        }
        frame->data = picture->frame->data[0];
        frame->size = picture->frame->width * picture->frame->height * 3 / 2;
        frame->release = [picture](auto*) {};
    } else {
        frame->data = const_cast<unsigned char*>(packet->bytes.get());
        frame->size = packet->size;
        frame->release = [packet](auto*) {};
    }
    const auto pushed = queue_.push(std::move(frame), packet->key, packet->weight());
    tellLost(packet->media->kind, pushed.dropped.size());
    if (pushed.awaitsKey) requestKeyFrame(packet->stamp);
}

/** The picture with contiguous planes: itself if they are, else a copy, as others share the picture. */
PicturePtr FrameQueue::asOneBlock(const PicturePtr& picture) {
    const AVFrame& from = *picture->frame;
    if (isOneBlock(from)) return picture;
    auto block = std::make_shared<Picture>();
    block->frame = pool_.get(from.width, from.height);
    if (!block->frame || av_frame_copy(block->frame.get(), &from) < 0) return nullptr;
    return block;
}

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
