#ifndef KEP_HOST_FLICKER_CONTROL_H
#define KEP_HOST_FLICKER_CONTROL_H

#include <string>

#include "kep/visibility.h"
#include "objects/shared_record.h"
#include "picture/image_record.h"

namespace kep::host {

/**
 * Sets the power line frequency control of a V4L2 device by the anti-flicker setting in shared memory. Until
 * anti-flicker is switched on for the first time the device keeps its own setting.
 */
class KEP_API FlickerControl {
  public:
    explicit FlickerControl(std::string device) : device_(std::move(device)) {}

    /** Applies a change of the setting. Writes an error line when the device refuses it, an information line
     * when it has no such control. */
    void follow();

  private:
    void set(bool on) const;

    const std::string device_;
    SharedRecordReader image_{kImageSegment, sizeof(ImageRecord)};
    bool isOn_ = false;
};

}  // namespace kep::host

#endif
