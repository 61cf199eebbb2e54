#include "fake_video_device.h"

#include <linux/videodev2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace {

std::atomic<FakeVideoDevice*> device{nullptr};

int refuse(int error) {
    errno = error;
    return -1;
}

}  // namespace

FakeVideoDevice::FakeVideoDevice() {
    device = this;
}

FakeVideoDevice::~FakeVideoDevice() {
    device = nullptr;
}

/** Overrides the system's ioctl in this program. */
extern "C" __attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    FakeVideoDevice* const fake = device;
    if (fake && request == VIDIOC_QUERYCTRL) {
        auto& control = *static_cast<v4l2_queryctrl*>(argument);
        if (control.id != V4L2_CID_POWER_LINE_FREQUENCY) return refuse(EINVAL);
        control.maximum = fake->maximum;
        control.default_value = fake->usual;
        control.flags = fake->isDisabled ? V4L2_CTRL_FLAG_DISABLED : 0;
        return 0;
    }
    if (fake && request == VIDIOC_QUERYMENU) {
        const auto& item = *static_cast<const v4l2_querymenu*>(argument);
        return static_cast<int>(item.index) <= fake->maximum ? 0 : refuse(EINVAL);
    }
    if (fake && request == VIDIOC_S_CTRL) {
        if (fake->refuses) return refuse(EBUSY);
        fake->set.push_back(static_cast<const v4l2_control*>(argument)->value);
        return 0;
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
