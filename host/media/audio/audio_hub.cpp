#include "media/audio/audio_hub.h"

#include "objects/log.h"

namespace kep::host {

namespace {

constexpr std::chrono::seconds kOpenLimit{10};
constexpr std::chrono::seconds kEndLimit{2};

}  // namespace

AudioHub& AudioHub::instance() {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static AudioHub& hub = *new AudioHub;
    return hub;
}

std::optional<AudioFormat> AudioHub::attach(AudioTap& tap) {
    const std::lock_guard lock(mutex_);
    if (session_ && session_->attach(tap)) return session_->format();
    endSession();
    const std::optional<DeviceSpec> device = microphoneFromEnvironment();
    if (!device) return std::nullopt;
    const std::shared_ptr<MicrophoneSession> session = MicrophoneSession::launch(*device);
    const std::optional<AudioFormat> format = session->waitOpened(kOpenLimit);
    if (!format) return std::nullopt;
    session_ = session;
    session_->attach(tap);  // cannot fail: nothing is captured before
    return format;
}

void AudioHub::detach(AudioTap& tap) {
    const std::lock_guard lock(mutex_);
    const bool last = session_ && session_->detach(tap);
    tap.blocks.queue().close();
    if (last) endSession();
}

void AudioHub::endSession() {
    if (session_ && !session_->end(kEndLimit))
        KEP_HOST_ERROR("microphone " + session_->device().text + " hangs and is left behind");
    session_.reset();
}

}  // namespace kep::host
