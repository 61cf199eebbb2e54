#include "media/video/video_source.h"

#include "media/video/picture_size.h"
#include "objects/log.h"

namespace kep::host {

namespace {

constexpr int highestRate = 120;

bool isRate(int framesPerSecond) {
    if (framesPerSecond >= 1 && framesPerSecond <= highestRate) return true;
    KEP_HOST_ERROR("frame rate " + std::to_string(framesPerSecond) + " is not from 1 to " +
                   std::to_string(highestRate));
    return false;
}

}  // namespace

void VideoSource::SetFrameRate(int framesPerSecond) {
    if (const auto running = run()) {
        if (!isRate(framesPerSecond)) return;
        running->tap->setRate(framesPerSecond);
    }
    rate_ = framesPerSecond;
}

bool VideoSource::PullFrame(std::shared_ptr<api::streaming::common::frame_t>& frame, bool wait) {
    if (pull(frame, wait)) {
        delivered_ = frame->index;
        return true;
    }
    if (!StatusIsPlay()) KEP_HOST_ERROR("the stream is not playing");
    return false;
}

bool VideoSource::openRun() {
    const int width = width_;
    const int height = height_;
    if (width != unset && !isSide("width", width)) return false;
    if (height != unset && !isSide("height", height)) return false;
    if (!isRate(rate_)) return false;
    auto opened = std::make_shared<Run>();
    opened->tap = VideoHub::instance().open(rate_, delivered_, *this);
    if (!opened->tap) return false;
    const CameraFormat& camera = opened->tap->format();
    opened->width = width == unset ? camera.width : width;
    opened->height = height == unset ? camera.height : height;
    opened->scaler = SharedScaler::forSize(opened->width, opened->height);
    const std::lock_guard lock(runMutex_);
    run_ = std::move(opened);
    return true;
}

void VideoSource::closeRun() {
    std::shared_ptr<Run> closed;
    {
        const std::lock_guard lock(runMutex_);
        closed.swap(run_);
    }
    if (closed) closed->tap->close();
}

std::shared_ptr<VideoSource::Run> VideoSource::run() {
    const std::lock_guard lock(runMutex_);
    return run_;
}

PicturePtr VideoSource::scaled(Run& run, const PicturePtr& picture) {
    PicturePtr inSize = run.scaler->scale(picture);
    if (!inSize) {
        KEP_HOST_ERROR("a picture cannot be brought to " + std::to_string(run.width) + "x" +
                       std::to_string(run.height));
        ended("name=failed,media=video");
    }
    return inSize;
}

void VideoSource::cameraLost(const std::string& device) {
    const bool plain = device.find_first_of(",{}") == std::string::npos;
    ended("name=deviceLost,media=video,device=" + (plain ? device : "{" + device + "}"));
}

}  // namespace kep::host
