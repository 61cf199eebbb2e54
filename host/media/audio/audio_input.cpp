#include "media/audio/audio_input.h"

#include "media/audio/device_input.h"
#include "media/audio/file_input.h"
#include "media/audio/tone_input.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

namespace {

template <class Input, class... Arguments>
std::unique_ptr<AudioInput> opened(Arguments&&... arguments) {
    auto input = std::make_unique<Input>(std::forward<Arguments>(arguments)...);
    if (!input->open()) return nullptr;
    return input;
}

}  // namespace

std::optional<DeviceSpec> microphoneFromEnvironment() {
    return deviceFromEnvironment(
        "KEP_HOST_AUDIO", "test",
        {{"test", false}, {"test", true}, {"alsa", true}, {"pulse", true}, {"file", true}});
}

std::unique_ptr<AudioInput> openAudioInput(const DeviceSpec& spec, const std::atomic<bool>& stopped) {
    initFfmpeg();
    if (spec.kind == "test") return opened<ToneInput>(spec);
    if (spec.kind == "file") return opened<FileInput>(spec.argument, stopped);
    return opened<DeviceInput>(spec);
}

}  // namespace kep::host
