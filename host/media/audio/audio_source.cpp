#include "media/audio/audio_source.h"

#include <pthread.h>

#include "media/audio/audio_device.h"
#include "objects/log.h"

namespace kep::host {

namespace {

constexpr std::chrono::seconds kBetweenLostMessages{1};

}  // namespace

bool AudioSource::PullFrame(SharedFrame& frame, bool wait) {
    const bool playing = StatusIsPlay();
    if (frames_.pull(frame, wait)) return true;
    if (!playing) KEP_HOST_ERROR("no audio frame: the stream is not started");
    return false;
}

bool AudioSource::start() {
    const AudioFormat wanted{rate_, channels_};
    if (!accepts(wanted)) return false;

    // A block of the microphone is about as long as a frame.
    tap_.onLost = [this](std::size_t blocks) { lost_ += blocks; };
    tap_.onDeviceLost = [this](const std::string& device) { ended(audioDeviceLost(device)); };
    const std::optional<AudioFormat> captured = AudioHub::instance().attach(tap_);
    if (!captured) return false;
    maker_ = createMaker(*captured, wanted);
    if (!maker_) {
        AudioHub::instance().detach(tap_);
        return false;
    }
    index_ = 0;
    told_ = {};
    frames_.open();
    worker_ = std::thread([this] { work(*maker_); });
    return true;
}

void AudioSource::stop() {
    AudioHub::instance().detach(tap_);
    frames_.close();
    worker_.join();
    maker_.reset();
}

void AudioSource::work(FrameMaker& maker) {
    pthread_setname_np(pthread_self(), "audio-source");
    const FrameMaker::Emit emit = [this](SharedFrame frame) { enqueue(std::move(frame)); };
    const auto makeFrames = [&](const SharedBlock& block) {
        if (!maker.add(block, emit)) {
            ended("name=encoderLost,media=audio");
            tap_.blocks.queue().close();
        }
        if (std::chrono::steady_clock::now() - told_ > kBetweenLostMessages) tellLost();
    };
    tap_.blocks.serve(makeFrames, [] { return true; });
    tellLost();
    frames_.finish();
}

void AudioSource::enqueue(SharedFrame frame) {
    frame->index = index_++;
    const auto bytes = static_cast<std::size_t>(frame->size);
    lost_ += frames_.push(std::move(frame), true, bytes).lost;
}

void AudioSource::tellLost() {
    const std::size_t lost = lost_.exchange(0);
    if (!lost) return;
    told_ = std::chrono::steady_clock::now();
    postLost("audio", lost);
}

}  // namespace kep::host
