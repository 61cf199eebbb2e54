#ifndef VORNISA_FAKE_VIDEO_DEVICE_H
#define VORNISA_FAKE_VIDEO_DEVICE_H

#include <optional>
#include <vector>

/** While one lives, /dev/null has the V4L2 control of the power line's frequency. */
class FakeVideoDevice {
  public:
    FakeVideoDevice();
    FakeVideoDevice(const FakeVideoDevice&) = delete;
    FakeVideoDevice& operator=(const FakeVideoDevice&) = delete;
    ~FakeVideoDevice();

    int maximum = 3;      /**< of the control's values, of which 3 is "auto" */
    int usual = 1;        /**< the value that the device begins with */
    bool refuses = false; /**< new values */
    bool isDisabled = false;
    std::vector<int> set; /**< the values that it has been set to */
};

#endif
