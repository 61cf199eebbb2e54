#include "media/video/camera.h"

#include "media/video/test_camera.h"

namespace kep::host {

std::optional<DeviceSpec> chosenCamera() {
    return deviceFromEnvironment("KEP_HOST_VIDEO", "test", {{"test", false}, {"v4l2", true}, {"file", true}});
}

std::unique_ptr<Camera> openCamera(const DeviceSpec& spec, std::string& reason) {
    if (spec.kind == "test") return std::make_unique<TestCamera>();
    reason = "unknown kind of camera";
    return nullptr;
}

}  // namespace kep::host
