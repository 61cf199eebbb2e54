#ifndef KEP_HOST_FLICKER_CONTROL_H
#define KEP_HOST_FLICKER_CONTROL_H

#include <string>

#include "kep/visibility.h"
#include "objects/shared_record.h"
#include "picture/image_record.h"

namespace kep::host {

/**
 * The control of a V4L2 device by which its exposure avoids the flicker of lamps, set as the segment of the
 * image says. A device keeps what it was set to before until anti-flicker is switched on for the first time.
 */
class KEP_API FlickerControl {
  public:
    explicit FlickerControl(std::string device) : device_(std::move(device)) {}

    /** Sets the control if what it is to be has changed. A line tells of a device that refuses it; one that
     * has no such control is left alone. */
    void follow();

  private:
    void set(bool avoids) const;

    const std::string device_;
    SharedRecordReader image_{kImageSegment, sizeof(ImageRecord)};
    bool isOn_ = false;
};

}  // namespace kep::host

#endif
