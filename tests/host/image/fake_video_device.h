#ifndef VORNISA_FAKE_VIDEO_DEVICE_H
#define VORNISA_FAKE_VIDEO_DEVICE_H

#include <optional>
#include <vector>

/** During its lifetime, /dev/null has the V4L2 control for the power line frequency. */
class FakeVideoDevice {
  public:
    FakeVideoDevice();
    FakeVideoDevice(const FakeVideoDevice&) = delete;
    FakeVideoDevice& operator=(const FakeVideoDevice&) = delete;
    ~FakeVideoDevice();

    int maximum = 3;      /**< largest value of the control; 3 is "auto" */
    int usual = 1;        /**< initial value */
    bool refuses = false; /**< rejects new values */
    bool isDisabled = false;
    std::vector<int> set; /**< values that were set, in order */
};

#endif
