#ifndef KEP_HOST_CAMERA_H
#define KEP_HOST_CAMERA_H

#include <memory>
#include <string>

#include "media/common/device_spec.h"
#include "media/common/media_reader.h"
#include "picture/picture.h"

namespace kep::host {

/** What a camera delivers. */
struct CameraFormat {
    int width = 0;
    int height = 0;
    AVRational rate = {0, 1}; /**< pictures in a second; 0 when it follows the highest rate that is wanted */
    AVColorSpace colours = AVCOL_SPC_BT709;
};

/** What a file or a device delivers: its size rounded down to even numbers, and 30 pictures a second when it
 * does not say. */
CameraFormat formatOf(const MediaReader& reader);

/** A device that pictures come from. Used by the capture thread alone. */
class Camera {
  public:
    virtual ~Camera() = default;

    virtual CameraFormat format() const = 0;

    /**
     * Makes the next picture. A stamp that lies ahead says when the picture is due: the caller holds it back
     * until then.
     *
     * @param wanted  highest rate that a consumer asks for
     * @param picture in: its number if the camera has missed none; out: the picture
     * @param reason  why there is none
     * @return false when the camera has ended
     */
    virtual bool next(int wanted, Picture& picture, std::string& reason) = 0;
};

/** The camera that KEP_HOST_VIDEO chooses; nullopt, with an error line, for an unknown kind. */
std::optional<DeviceSpec> chosenCamera();

/** Opens a camera. Null, with `reason` filled, when it cannot be opened. */
std::unique_ptr<Camera> openCamera(const DeviceSpec& spec, std::string& reason);

// The kinds of camera. Null, with `reason` filled, when one does not open.
std::unique_ptr<Camera> openTestCamera();
std::unique_ptr<Camera> openV4l2Camera(const std::string& device, std::string& reason);
std::unique_ptr<Camera> openFileCamera(const std::string& path, std::string& reason);

}  // namespace kep::host

#endif
