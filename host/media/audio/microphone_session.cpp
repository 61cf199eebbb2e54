#include "media/audio/microphone_session.h"

#include <pthread.h>

#include <thread>
#include <utility>

#include "media/audio/block_builder.h"
#include "objects/log.h"

namespace kep::host {

std::shared_ptr<MicrophoneSession> MicrophoneSession::launch(DeviceSpec device) {
    std::shared_ptr<MicrophoneSession> session(new MicrophoneSession(std::move(device)));
    std::thread([session] { session->run(); }).detach();
    return session;
}

std::optional<AudioFormat> MicrophoneSession::waitOpened(std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    const auto end = std::chrono::steady_clock::now() + limit;
    if (!changed_.wait_until(lock, end, [this] { return phase_ != Phase::opening; }))
        KEP_HOST_ERROR("cannot open microphone " + device_.text + ": it does not answer");
    if (phase_ == Phase::running) return format_;
    unwanted_ = true;
    return std::nullopt;
}

bool MicrophoneSession::attach(AudioTap& tap) {
    const std::lock_guard lock(mutex_);
    if (phase_ != Phase::running) return false;
    tap.blocks.queue().open();
    taps_.push_back(&tap);
    changed_.notify_all();
    return true;
}

bool MicrophoneSession::detach(AudioTap& tap) {
    const std::lock_guard lock(mutex_);
    std::erase(taps_, &tap);
    return taps_.empty();
}

bool MicrophoneSession::end(std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    unwanted_ = true;
    if (phase_ == Phase::running) input_->interrupt();
    changed_.notify_all();
    return changed_.wait_until(lock, std::chrono::steady_clock::now() + limit,
                               [this] { return deviceFree_; });
}

void MicrophoneSession::run() {
    pthread_setname_np(pthread_self(), "microphone");
    if (adopt(openAudioInput(device_))) {
        BlockBuilder builder(format_);
        AudioBlock captured{format_, {}, {}};
        while (input_->read(captured)) {
            builder.add(captured);
            while (const SharedBlock block = builder.take()) deliver(block);
        }
    }
    {
        const std::lock_guard lock(mutex_);
        phase_ = Phase::ended;
    }
    input_.reset();  // before anyone is told, who may want to open it anew
    tellDeviceLost();
}

bool MicrophoneSession::adopt(std::unique_ptr<AudioInput> input) {
    std::unique_lock lock(mutex_);
    input_ = std::move(input);
    if (!input_ || unwanted_) return false;
    format_ = input_->format();
    phase_ = Phase::running;
    changed_.notify_all();
    // The first listener is to hear the beginning.
    changed_.wait(lock, [this] { return unwanted_ || !taps_.empty(); });
    return true;
}

void MicrophoneSession::deliver(const SharedBlock& block) {
    // With time to spare before the next one.
    const auto time = format_.duration(block->frames()) / 4;
    const std::lock_guard lock(mutex_);
    for (AudioTap* tap : taps_) {
        const std::size_t lost =
            tap->blocks.bring(block, true, block->samples.size() * sizeof(std::int16_t), time).lost;
        if (lost) tap->onLost(lost);
    }
}

void MicrophoneSession::tellDeviceLost() {
    const std::lock_guard lock(mutex_);
    for (AudioTap* tap : std::exchange(taps_, {})) {
        tap->onDeviceLost(device_.text);
        tap->blocks.queue().finish();
    }
    deviceFree_ = true;
    changed_.notify_all();
}

}  // namespace kep::host
