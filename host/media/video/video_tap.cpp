#include "media/video/video_tap.h"

#include "media/video/camera_session.h"

namespace kep::host {

namespace {
constexpr std::size_t mostBytes = 96U << 20;
constexpr std::chrono::seconds look(1); /**< how often a consumer who waits looks after the camera */
constexpr std::chrono::seconds patience(5);
}  // namespace

VideoTap::VideoTap(std::shared_ptr<CameraSession> camera, int rate, std::int64_t after, TapListener& listener,
                   std::size_t depth)
    : camera_(std::move(camera)),
      listener_(listener),
      pictures_({depth, mostBytes}),
      rate_(rate),
      after_(after) {
    pictures_.queue().open();
}

VideoTap::~VideoTap() {
    close();
}

void VideoTap::close() {
    camera_->detach(*this);
    pictures_.queue().close();
}

const CameraFormat& VideoTap::format() const {
    return camera_->format();
}

EncoderShelf& VideoTap::encoders() {
    return camera_->encoders();
}

void VideoTap::setRate(int rate) {
    camera_->setRate(*this, rate);
}

AVRational VideoTap::rate() const {
    return camera_->rateOf(*this);
}

bool VideoTap::pull(PicturePtr& picture, bool wait) {
    if (!wait) return pictures_.queue().pull(picture, false);
    // Another reader may be quicker.
    while (this->wait()) {
        if (pictures_.queue().pull(picture, false)) return true;
    }
    return false;
}

bool VideoTap::wait() {
    while (!pictures_.queue().waitWithin(look)) {
        if (!pictures_.queue().isOpen()) return false;
        camera_->loseIfStalled(patience);
    }
    return true;
}

void VideoTap::serve(const Work& work, const Pictures::Prompt& isPrompt) {
    const auto workOn = [&](const PicturePtr& picture) {
        if (!work(picture)) pictures_.queue().close();
    };
    pictures_.serve(workOn, isPrompt, [this] { return wait(); });
}

bool VideoTap::wants(const Picture& picture, AVRational cameraRate) {
    using namespace std::chrono;
    if (picture.number <= after_) return false;
    // A rate about that of the camera takes all its pictures, whatever their jitter.
    if (static_cast<double>(rate_) > av_q2d(cameraRate) * 0.99) return true;
    const nanoseconds period = nanoseconds(seconds(1)) / rate_.load();
    const nanoseconds half(static_cast<std::int64_t>(0.5e9 / av_q2d(cameraRate)));
    if (picture.stamp + half < due_) return false;
    due_ += period;
    if (due_ <= picture.stamp) due_ = picture.stamp + period;
    return true;
}

void VideoTap::deliver(const PicturePtr& picture, bool wake) {
    after_ = picture->number;
    const std::size_t bytes = static_cast<std::size_t>(picture->frame->width) *
                              static_cast<std::size_t>(picture->frame->height) * 3 / 2;
    const std::size_t lost = pictures_.queue().push(picture, true, bytes, wake).lost;
    if (lost) listener_.picturesLost(lost);
}

}  // namespace kep::host
