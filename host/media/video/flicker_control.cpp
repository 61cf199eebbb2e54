#include "media/video/flicker_control.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "objects/log.h"

namespace kep::host {
namespace {

/** Automatic detection of the power line frequency, if the device can. */
int avoidingValue(int device, const v4l2_queryctrl& control) {
    v4l2_querymenu item{};
    item.id = control.id;
    item.index = V4L2_CID_POWER_LINE_FREQUENCY_AUTO;
    if (control.maximum >= V4L2_CID_POWER_LINE_FREQUENCY_AUTO && ioctl(device, VIDIOC_QUERYMENU, &item) == 0)
        return V4L2_CID_POWER_LINE_FREQUENCY_AUTO;
    // Else the default of its manufacturer, who knows the region of sale.
    return control.default_value != V4L2_CID_POWER_LINE_FREQUENCY_DISABLED
               ? control.default_value
               : V4L2_CID_POWER_LINE_FREQUENCY_50HZ;
}

}  // namespace

void FlickerControl::follow() {
    ImageRecord image{};
    const bool isWanted = image_.read(&image) && image.antiFlicker != 0;
    if (isWanted == isOn_) return;
    isOn_ = isWanted;
    set(isWanted);
}

void FlickerControl::set(bool on) const {
    // libavdevice does not expose its descriptor, but controls can be set through any.
    const int device = open(device_.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    v4l2_queryctrl control{};
    control.id = V4L2_CID_POWER_LINE_FREQUENCY;
    v4l2_control value{};
    value.id = control.id;
    const bool isThere = device >= 0 && ioctl(device, VIDIOC_QUERYCTRL, &control) == 0 &&
                         (control.flags & V4L2_CTRL_FLAG_DISABLED) == 0;
    if (isThere) value.value = on ? avoidingValue(device, control) : V4L2_CID_POWER_LINE_FREQUENCY_DISABLED;
    if (isThere && ioctl(device, VIDIOC_S_CTRL, &value) != 0)
        KEP_HOST_ERROR("camera v4l2:" + device_ + ": cannot set anti-flicker: " + std::strerror(errno));
    if (!isThere) KEP_HOST_INFO("camera v4l2:" + device_ + ": has no anti-flicker control");
    if (device >= 0) close(device);
}

}  // namespace kep::host
