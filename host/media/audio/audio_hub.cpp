#include "media/audio/audio_hub.h"

#include <pthread.h>

#include <algorithm>

#include "media/audio/block_builder.h"

namespace kep::host {

AudioHub& AudioHub::instance() {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static AudioHub& hub = *new AudioHub;
    return hub;
}

std::optional<AudioFormat> AudioHub::attach(AudioTap& tap) {
    const std::lock_guard control(control_);
    {
        const std::lock_guard lock(mutex_);
        if (input_) {
            tap.queue.open();
            taps_.push_back(&tap);
            return input_->format();
        }
    }
    closeMicrophone();
    if (!openMicrophone()) return std::nullopt;
    const AudioFormat format = input_->format();
    tap.queue.open();
    taps_.push_back(&tap);
    thread_ = std::thread([this, &input = *input_] { capture(input); });
    return format;
}

void AudioHub::detach(AudioTap& tap) {
    const std::lock_guard control(control_);
    bool last = false;
    {
        const std::lock_guard lock(mutex_);
        std::erase(taps_, &tap);
        last = taps_.empty();
    }
    tap.queue.close();
    if (last) closeMicrophone();
}

bool AudioHub::openMicrophone() {
    const std::optional<DeviceSpec> spec = microphoneFromEnvironment();
    if (!spec) return false;
    device_ = spec->text;
    input_ = openAudioInput(*spec);
    return input_ != nullptr;
}

void AudioHub::closeMicrophone() {
    {
        const std::lock_guard lock(mutex_);
        if (input_) input_->interrupt();
    }
    if (thread_.joinable()) thread_.join();
}

void AudioHub::capture(AudioInput& input) {
    pthread_setname_np(pthread_self(), "microphone");
    BlockBuilder builder(input.format());
    AudioBlock captured{input.format(), {}, {}};
    while (input.read(captured)) {
        builder.add(captured);
        while (const SharedBlock block = builder.take()) deliver(block);
    }
    std::unique_ptr<AudioInput> closing;
    {
        const std::lock_guard lock(mutex_);
        closing = std::move(input_);
    }
    closing.reset();  // before anyone is told, who may want to open it anew
    tellDeviceLost();
}

void AudioHub::deliver(const SharedBlock& block) {
    const std::lock_guard lock(mutex_);
    for (AudioTap* tap : taps_) {
        const std::size_t lost =
            tap->queue.push(block, true, block->samples.size() * sizeof(std::int16_t)).lost;
        if (lost) tap->onLost(lost);
    }
}

void AudioHub::tellDeviceLost() {
    const std::lock_guard lock(mutex_);
    for (AudioTap* tap : taps_) {
        tap->onDeviceLost(device_);
        tap->queue.finish();
    }
    taps_.clear();
}

}  // namespace kep::host
