#include "media/audio/volume.h"
#include "media/faces/streams.h"

namespace kep::host {
namespace {

/** A sound device as applications set it: both settings act on the samples, so that every kind has them. */
template <class Interface>
class SoundDevice final : public Interface {
  public:
    explicit SoundDevice(Volume& volume) : volume_(volume) {}

    bool IsSupportVolumeControl() override { return true; }
    void SetVolume(int volume) override { volume_.set(volume); }
    bool IsSupportMute() override { return true; }
    void SetMute(bool mute) override { volume_.setMute(mute); }

  private:
    Volume& volume_;
};

}  // namespace

dev::IMicrophone& microphone() {
    static SoundDevice<dev::IMicrophone> device(microphoneVolume());
    return device;
}

dev::ISpeaker& speaker() {
    static SoundDevice<dev::ISpeaker> device(speakerVolume());
    return device;
}

}  // namespace kep::host
