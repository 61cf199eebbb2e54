#include "media/video/picture_scaler.h"

#include <map>
#include <utility>

namespace kep::host {

FramePtr PictureScaler::scale(const AVFrame& from, int width, int height) {
    const auto format = static_cast<AVPixelFormat>(from.format);
    context_.reset(sws_getCachedContext(context_.release(), from.width, from.height, format, width, height,
                                        AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    FramePtr to = pool_.get(width, height);
    if (!context_ || !to) return nullptr;
    to->colorspace = from.colorspace;
    if (from.color_range == AVCOL_RANGE_JPEG) {
        const int* matrix = sws_getCoefficients(SWS_CS_DEFAULT);
        sws_setColorspaceDetails(context_.get(), matrix, 1, matrix, 0, 0, 1 << 16, 1 << 16);
    }
    const int rows =
        sws_scale(context_.get(), from.data, from.linesize, 0, from.height, to->data, to->linesize);
    return rows > 0 ? std::move(to) : nullptr;
}

std::shared_ptr<SharedScaler> SharedScaler::forSize(int width, int height) {
    static std::mutex mutex;
    static std::map<std::pair<int, int>, std::weak_ptr<SharedScaler>> scalers;
    const std::lock_guard lock(mutex);
    std::erase_if(scalers, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<SharedScaler>& slot = scalers[{width, height}];
    std::shared_ptr<SharedScaler> scaler = slot.lock();
    if (!scaler) slot = scaler = std::make_shared<SharedScaler>(width, height);
    return scaler;
}

PicturePtr SharedScaler::scale(const PicturePtr& picture) {
    if (picture->frame->width == width_ && picture->frame->height == height_) return picture;
    const std::lock_guard lock(mutex_);
    if (latest_ && latest_->number == picture->number) return latest_;
    auto scaled = std::make_shared<Picture>();
    scaled->frame = scaler_.scale(*picture->frame, width_, height_);
    if (!scaled->frame) return nullptr;
    scaled->stamp = picture->stamp;
    scaled->number = picture->number;
    latest_ = scaled;
    return scaled;
}

}  // namespace kep::host
