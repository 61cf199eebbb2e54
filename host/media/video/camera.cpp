#include "media/video/camera.h"

#include "media/video/picture_scaler.h"

namespace kep::host {

CameraFormat formatOf(const MediaReader& reader) {
    const AVCodecContext& codec = reader.codec();
    const AVRational mean = reader.stream().avg_frame_rate;
    return {codec.width / 2 * 2, codec.height / 2 * 2,
            mean.num > 0 && mean.den > 0 ? mean : AVRational{30, 1},
            isRgb(codec.pix_fmt) ? AVCOL_SPC_BT709 : codec.colorspace};
}

std::optional<DeviceSpec> chosenCamera() {
    return deviceFromEnvironment("KEP_HOST_VIDEO", "test", {{"test", false}, {"v4l2", true}, {"file", true}});
}

std::unique_ptr<Camera> openCamera(const DeviceSpec& spec, std::string& reason) {
    if (spec.kind == "test") return openTestCamera();
    return spec.kind == "v4l2" ? openV4l2Camera(spec.argument, reason)
                               : openFileCamera(spec.argument, reason);
}

}  // namespace kep::host
