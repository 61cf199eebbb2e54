#ifndef KEP_HOST_V4L2_CAMERA_H
#define KEP_HOST_V4L2_CAMERA_H

#include "media/video/camera.h"
#include "media/video/picture_scaler.h"

namespace kep::host {

/** A Video4Linux device, opened at 1080p and 30 pictures a second or what comes nearest. */
class V4l2Camera final : public Camera {
  public:
    /** Null, with `reason` filled, when the device cannot be opened. */
    static std::unique_ptr<Camera> open(const std::string& device, std::string& reason);

    CameraFormat format() const override { return formatOf(*reader_); }
    bool next(int wanted, Picture& picture, std::string& reason) override;

  private:
    explicit V4l2Camera(std::unique_ptr<MediaReader> reader) : reader_(std::move(reader)) {}

    const std::unique_ptr<MediaReader> reader_;
    PictureScaler scaler_;
};

}  // namespace kep::host

#endif
