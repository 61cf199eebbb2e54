#include "media/audio/audio_input.h"

#include "media/common/ffmpeg.h"

namespace kep::host {

std::optional<DeviceSpec> microphoneFromEnvironment() {
    return deviceFromEnvironment(
        "KEP_HOST_AUDIO", "test",
        {{"test", false}, {"test", true}, {"alsa", true}, {"pulse", true}, {"file", true}});
}

std::unique_ptr<AudioInput> openAudioInput(const DeviceSpec& spec, const std::atomic<bool>& stopped) {
    initFfmpeg();
    if (spec.kind == "test") return openTone(spec);
    if (spec.kind == "file") return openSoundFile(spec.argument, stopped);
    return openSoundDevice(spec);
}

}  // namespace kep::host
