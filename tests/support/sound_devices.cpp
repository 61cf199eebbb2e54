/** Microphone and speaker of the double. */
#include "kep/device.h"
#include "script.h"

namespace {

using scripted::step;

template <class Interface>
class SoundDevice final : public Interface {
  public:
    explicit SoundDevice(const char* name) : name_(name) {}

    bool IsSupportVolumeControl() override { return step(name_ + "::IsSupportVolumeControl"); }
    void SetVolume(int volume) override { step(name_ + "::SetVolume", std::to_string(volume)); }
    bool IsSupportMute() override { return step(name_ + "::IsSupportMute"); }
    void SetMute(bool mute) override { step(name_ + "::SetMute", mute ? "true" : "false"); }

  private:
    const std::string name_;
};

}  // namespace

namespace kep::dev {

IMicrophone* IMicrophone::Microphone(const char* device) {
    static SoundDevice<IMicrophone> microphone("IMicrophone");
    return step("IMicrophone::Microphone", device) ? &microphone : nullptr;
}

ISpeaker* ISpeaker::Speaker(const char* device) {
    static SoundDevice<ISpeaker> speaker("ISpeaker");
    return step("ISpeaker::Speaker", device) ? &speaker : nullptr;
}

}  // namespace kep::dev
