#include "media/video/yuv_source.h"

#include "objects/log.h"

namespace kep::host {

using api::streaming::common::frame_t;

bool YuvSource::pull(std::shared_ptr<frame_t>& frame, bool wait) {
    const std::shared_ptr<Run> current = run();
    PicturePtr picture;
    if (!current || !current->tap->pull(picture, wait)) return false;
    picture = scaled(*current, picture);
    if (picture) picture = asOneBlock(picture);
    if (!picture) return false;
    frame = std::make_shared<frame_t>();
    frame->index = static_cast<int>(picture->number);
    frame->data = picture->frame->data[0];
    frame->size = picture->frame->width * picture->frame->height * 3 / 2;
    frame->key = true;
    frame->stamp = picture->stamp;
    frame->release = [picture](frame_t*) {};
    return true;
}

PicturePtr YuvSource::asOneBlock(const PicturePtr& picture) {
    const AVFrame& from = *picture->frame;
    if (isOneBlock(from)) return picture;
    auto block = std::make_shared<Picture>();
    block->stamp = picture->stamp;
    block->number = picture->number;
    block->frame = pool_.get(from.width, from.height);
    if (!block->frame || av_frame_copy(block->frame.get(), &from) < 0) {
        KEP_HOST_ERROR("no memory for a picture");
        return nullptr;
    }
    return block;
}

}  // namespace kep::host
