/** Volume and mute of the microphone and the speaker. */
#include "kep/device.h"
#include "vornisa_check.h"

using kep::dev::ISoundDevice;

VN_LOG_SINK(debugStreams);

namespace {

/** One of the camera's two sound devices, which the framework owns. */
struct Device {
    const char* variable; /**< its name in error lines */
    const char* absent;
    ISoundDevice* (*find)();
    ISoundDevice* found; /**< null until `find` finds it */
};

Device microphone = {"mic", ",current microphone is null",
                     []() -> ISoundDevice* { return kep::dev::IMicrophone::Microphone("vornisa"); }, nullptr};
Device speaker = {"speaker", ",current Speaker is null",
                  []() -> ISoundDevice* { return kep::dev::ISpeaker::Speaker("vornisa"); }, nullptr};

/** A setting that a device may support. */
template <class Value>
struct Setting {
    const char* question; /**< as shown in error lines */
    bool (ISoundDevice::*isSupported)();
    void (ISoundDevice::*set)(Value);
};

constexpr Setting<int> volume = {"IsSupportVolumeControl()", &ISoundDevice::IsSupportVolumeControl,
                                 &ISoundDevice::SetVolume};
constexpr Setting<bool> mute = {"IsSupportMute()", &ISoundDevice::IsSupportMute, &ISoundDevice::SetMute};

template <class Value>
int set(const char* caller, Device& device, const Setting<Value>& setting, Value value) {
    if (!device.found) device.found = device.find();
    VN_FAIL_IF_OF(caller, !device.found, "!", VNRES_WRONG_DEVICE, device.variable, device.absent);
    VN_FAIL_IF_OF(caller, !(device.found->*setting.isSupported)(), "!", VNRES_UNSUPPORTED, device.variable,
                  "->", setting.question);
    (device.found->*setting.set)(value);
    return VNRES_SUCCEED;
}

}  // namespace

int VNSetMicVol(int vol) try {
    VN_LOG(information, "vol=" << vol);
    return set(__func__, microphone, volume, vol);
}
VN_END

int VNSetMicMute(int b_mute) try {
    VN_LOG(information, "b_mute=" << b_mute);
    return set(__func__, microphone, mute, b_mute != 0);
}
VN_END

int VNSetSpeakerVol(int vol) try {
    VN_LOG(information, "vol=" << vol);
    return set(__func__, speaker, volume, vol);
}
VN_END

int VNSetSpeakerMute(int b_mute) try {
    VN_LOG(information, "b_mute=" << b_mute);
    return set(__func__, speaker, mute, b_mute != 0);
}
VN_END
