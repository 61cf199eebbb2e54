#include "sound_device.h"

#include "command.h"
#include "resource.h"

namespace vncam {

SoundDevice& SoundDevice::microphone() {
    static constexpr Calls calls{"mic", "VNSetMicVol", VNSetMicVol, "VNSetMicMute", VNSetMicMute};
    static SoundDevice device(calls);
    return device;
}

SoundDevice& SoundDevice::speaker() {
    static constexpr Calls calls{"speaker", "VNSetSpeakerVol", VNSetSpeakerVol, "VNSetSpeakerMute",
                                 VNSetSpeakerMute};
    static SoundDevice device(calls);
    return device;
}

SoundDevice& SoundDevice::named(const std::string& name) {
    for (SoundDevice* const device : {&microphone(), &speaker()})
        if (name == device->calls_.name) return *device;
    throw UsageError("'" + name + "': not mic or speaker");
}

void SoundDevice::setVolume(int volume) {
    check(calls_.setVolume(volume), calls_.volumeName);
    volume_ = volume;
}

void SoundDevice::setMute(bool mute) {
    check(calls_.setMute(mute ? 1 : 0), calls_.muteName);
    isMuted_ = mute;
}

std::string SoundDevice::text() const {
    return std::string(calls_.name) + (isMuted_ ? " muted" : " " + std::to_string(volume_) + " %");
}

}  // namespace vncam
