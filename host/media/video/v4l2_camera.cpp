#include "media/video/v4l2_camera.h"

#include <sys/stat.h>

#include <cstring>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace kep::host {

namespace {

/** Ways to ask for the picture, the best first: many cameras reach 1080p at full rate only compressed. */
constexpr struct {
    const char* format;
    const char* size;
} wishes[] = {{"mjpeg", "1920x1080"}, {nullptr, "1920x1080"}, {nullptr, nullptr}};

}  // namespace

std::unique_ptr<Camera> V4l2Camera::open(const std::string& device, std::string& reason) {
    initFfmpeg();
    const AVInputFormat* v4l2 = av_find_input_format("video4linux2");
    if (!v4l2) {
        reason = "this build of the media libraries has no Video4Linux";
        return nullptr;
    }
    struct stat status {};
    if (stat(device.c_str(), &status) != 0) {
        reason = std::strerror(errno);
        return nullptr;
    }
    for (const auto& wish : wishes) {
        AVDictionary* options = nullptr;
        if (wish.format) av_dict_set(&options, "input_format", wish.format, 0);
        if (wish.size) {
            av_dict_set(&options, "video_size", wish.size, 0);
            av_dict_set(&options, "framerate", "30", 0);
        }
        if (auto input = MediaInput::open(device, v4l2, options, reason)) {
            return std::unique_ptr<Camera>(new V4l2Camera(std::move(input)));
        }
    }
    return nullptr;
}

CameraFormat V4l2Camera::format() const {
    const AVRational rate = input_->rate();
    return {input_->width(), input_->height(), rate.num ? rate : AVRational{30, 1}, input_->colours()};
}

bool V4l2Camera::next(int, Picture& picture, std::string& reason) {
    using namespace std::chrono;
    switch (input_->read(picture.frame, reason)) {
        case MediaInput::Result::picture:
            break;
        case MediaInput::Result::end:
            reason = "has ended";
            return false;
        case MediaInput::Result::failed:
            return false;
    }
    // Drivers stamp by the monotonic clock; those that do otherwise are stamped on arrival.
    const steady_clock::time_point now = steady_clock::now();
    picture.stamp = now;
    const AVFrame& frame = *picture.frame;
    if (frame.pts != AV_NOPTS_VALUE) {
        const steady_clock::time_point told(
            microseconds(av_rescale_q(frame.pts, input_->timeBase(), {1, 1'000'000})));
        if (told <= now && now - told < seconds(1)) picture.stamp = told;
    }
    return true;
}

}  // namespace kep::host
