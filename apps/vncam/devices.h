#ifndef VNCAM_DEVICES_H
#define VNCAM_DEVICES_H

#include <filesystem>
#include <string>
#include <vector>

namespace vncam {

/** A device of the workstation. */
struct Device {
    std::string setting; /**< value of the environment variable, for example "v4l2:/dev/video0" */
    std::string name;    /**< as the device reports it; may be empty */
};

// Each lists the devices in order. `root` is the folder that holds dev, proc and sys.

std::vector<Device> findCameras(const std::filesystem::path& root);
std::vector<Device> findMicrophones(const std::filesystem::path& root);
std::vector<Device> findSpeakers(const std::filesystem::path& root);

}  // namespace vncam

#endif
