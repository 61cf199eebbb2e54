#include <sys/stat.h>

#include <cstring>
#include <new>

#include "media/video/camera.h"
#include "media/video/flicker_control.h"
#include "media/video/picture_scaler.h"

namespace kep::host {

namespace {

/** Options to open the device with, the best first: many cameras reach 1080p at full rate only with MJPEG. */
constexpr const char* kDeviceOptions[] = {"input_format=mjpeg:video_size=1920x1080:framerate=30",
                                          "video_size=1920x1080:framerate=30", ""};

/** A Video4Linux device, opened at 1080p and 30 pictures per second, or the nearest that it offers. */
class V4l2Camera final : public Camera {
  public:
    V4l2Camera(const std::string& device, std::unique_ptr<MediaReader> reader)
        : reader_(std::move(reader)), flicker_(device) {}

    CameraFormat format() const override { return formatOf(*reader_); }
    bool next(int wanted, Picture& picture, std::string& reason) override;

  private:
    const std::unique_ptr<MediaReader> reader_;
    PictureScaler scaler_;
    FlickerControl flicker_;
};

bool V4l2Camera::next(int, Picture& picture, std::string& reason) {
    using namespace std::chrono;
    flicker_.follow();
    FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    if (const int result = reader_->read(*frame); result < 0) {
        reason = result == AVERROR_EOF ? "has ended" : ffmpegError(result);
        return false;
    }
    // Drivers stamp by the monotonic clock; pictures with any other time are stamped on arrival.
    picture.stamp = steady_clock::now();
    if (const std::int64_t pts = frame->best_effort_timestamp; pts != AV_NOPTS_VALUE) {
        const steady_clock::time_point stamped(
            microseconds(av_rescale_q(pts, reader_->stream().time_base, {1, 1'000'000})));
        if (stamped <= picture.stamp && picture.stamp - stamped < seconds(1)) picture.stamp = stamped;
    }
    picture.frame = scaler_.toPicture(std::move(frame), reason);
    return picture.frame != nullptr;
}

}  // namespace

std::unique_ptr<Camera> openV4l2Camera(const std::string& device, std::string& reason) {
    struct stat status {};
    if (stat(device.c_str(), &status) != 0) {
        reason = std::strerror(errno);
        return nullptr;
    }
    for (const char* const options : kDeviceOptions) {
        if (auto reader = MediaReader::open({device, "video4linux2", options}, AVMEDIA_TYPE_VIDEO, reason))
            return std::make_unique<V4l2Camera>(device, std::move(reader));
    }
    return nullptr;
}

}  // namespace kep::host
