#ifndef KEP_HOST_CAMERA_H
#define KEP_HOST_CAMERA_H

#include <memory>
#include <string>

#include "media/common/device_spec.h"
#include "media/common/media_reader.h"
#include "picture/picture.h"

namespace kep::host {

/** Format of a camera's pictures. */
struct CameraFormat {
    int width = 0;
    int height = 0;
    AVRational rate = {0, 1}; /**< pictures per second; 0: follows the highest rate requested */
    AVColorSpace colours = AVCOL_SPC_BT709;
};

/** Format of a file's or device's pictures: size rounded down to even numbers, 30 pictures per second if
 * unknown. */
CameraFormat formatOf(const MediaReader& reader);

/** A source of pictures. Used by the capture thread only. */
class Camera {
  public:
    virtual ~Camera() = default;

    virtual CameraFormat format() const = 0;

    /**
     * Captures the next picture. Its stamp may lie in the future: the caller holds the picture back until
     * then.
     *
     * @param wanted  highest rate that a consumer requests
     * @param picture in: its number if no picture was missed; out: the picture
     * @param reason  receives the cause of a failure
     * @return false when the camera has ended or failed
     */
    virtual bool next(int wanted, Picture& picture, std::string& reason) = 0;
};

/** The camera that KEP_HOST_VIDEO chooses; nullopt, with an error line, for an unknown kind. */
std::optional<DeviceSpec> chosenCamera();

/** Opens a camera. Null, with `reason` filled, when it cannot be opened. */
std::unique_ptr<Camera> openCamera(const DeviceSpec& spec, std::string& reason);

// The kinds of camera. Null, with `reason` filled, when one cannot be opened.
std::unique_ptr<Camera> openTestCamera();
std::unique_ptr<Camera> openV4l2Camera(const std::string& device, std::string& reason);
std::unique_ptr<Camera> openFileCamera(const std::string& path, std::string& reason);

}  // namespace kep::host

#endif
