#include "media/video/v4l2_camera.h"

#include <sys/stat.h>

#include <cstring>
#include <new>

namespace kep::host {

namespace {

/** Ways to ask for the picture, the best first: many cameras reach 1080p at full rate only compressed. */
constexpr const char* kWishes[] = {"input_format=mjpeg:video_size=1920x1080:framerate=30",
                                   "video_size=1920x1080:framerate=30", ""};

}  // namespace

std::unique_ptr<Camera> V4l2Camera::open(const std::string& device, std::string& reason) {
    struct stat status {};
    if (stat(device.c_str(), &status) != 0) {
        reason = std::strerror(errno);
        return nullptr;
    }
    for (const char* const wish : kWishes) {
        if (auto reader = MediaReader::open({device, "video4linux2", wish}, AVMEDIA_TYPE_VIDEO, reason))
            return std::unique_ptr<Camera>(new V4l2Camera(std::move(reader)));
    }
    return nullptr;
}

bool V4l2Camera::next(int, Picture& picture, std::string& reason) {
    using namespace std::chrono;
    FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    if (const int result = reader_->read(*frame); result < 0) {
        reason = result == AVERROR_EOF ? "has ended" : ffmpegError(result);
        return false;
    }
    // Drivers stamp by the monotonic clock; those that do otherwise are stamped on arrival.
    picture.stamp = steady_clock::now();
    if (const std::int64_t pts = frame->best_effort_timestamp; pts != AV_NOPTS_VALUE) {
        const steady_clock::time_point told(
            microseconds(av_rescale_q(pts, reader_->stream().time_base, {1, 1'000'000})));
        if (told <= picture.stamp && picture.stamp - told < seconds(1)) picture.stamp = told;
    }
    picture.frame = scaler_.toPicture(std::move(frame), reason);
    return picture.frame != nullptr;
}

}  // namespace kep::host
