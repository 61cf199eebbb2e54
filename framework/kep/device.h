#ifndef KEP_DEVICE_H
#define KEP_DEVICE_H

#include "kep/visibility.h"

namespace kep {
namespace dev {

/** The operations that microphone and speaker share. */
class KEP_API ISoundDevice {
  public:
    virtual bool IsSupportVolumeControl() = 0;
    virtual void SetVolume(int volume) = 0;
    virtual bool IsSupportMute() = 0;
    virtual void SetMute(bool mute) = 0;

  protected:
    ~ISoundDevice() = default;
};

class KEP_API IMicrophone : public ISoundDevice {
  public:
    /** The microphone of a device, owned by the framework; null when there is none. */
    static IMicrophone* Microphone(const char* device);

  protected:
    ~IMicrophone() = default;
};

class KEP_API ISpeaker : public ISoundDevice {
  public:
    /** The speaker of a device, owned by the framework; null when there is none. */
    static ISpeaker* Speaker(const char* device);

  protected:
    ~ISpeaker() = default;
};

}  // namespace dev
}  // namespace kep

#endif
