#include <algorithm>
#include <cstring>
#include <span>
#include <thread>

#include "media/audio/audio_device.h"
#include "media/audio/sound_queue.h"
#include "media/audio/speaker.h"
#include "media/audio/volume.h"
#include "media/faces/stream_object.h"
#include "media/faces/streams.h"
#include "media/threads.h"
#include "objects/log.h"

namespace kep::host {

namespace {

using SharedFrame = std::shared_ptr<api::streaming::common::frame_t>;

constexpr int kMaxChannels = 8;

/**
 * The loudspeaker. What is pushed is heard in order; a push waits while half a second of sound is still to be
 * heard, and a stop lets all of it be heard. Rate and channels take effect at the next start.
 */
class PcmPlayer final : public api::streaming::IPcmPlayer, public StreamObject {
  public:
    ~PcmPlayer() override { shutDown(); }

    bool IsSupportedPushFrame() override { return true; }
    bool PushFrame(SharedFrame frame) override;
    void SetSampleRate(int hertz) override { rate_ = hertz; }
    void SetChannels(int channels) override { channels_ = channels; }

  protected:
    bool start() override;
    void stop() override;

  private:
    void play();

    std::atomic<int> rate_{AudioFormat{}.rate};
    std::atomic<int> channels_{AudioFormat{}.channels};
    AudioFormat format_;
    std::string device_;
    std::unique_ptr<Speaker> speaker_;
    SoundQueue queue_;
    std::thread player_;
};

bool PcmPlayer::PushFrame(SharedFrame frame) {
    if (!frame || frame->size < 0 || (frame->size > 0 && !frame->data)) {
        KEP_HOST_ERROR("a frame without data cannot be played");
        return false;
    }
    const bool playing = StatusIsPlay();
    if (queue_.push(frame->data, static_cast<std::size_t>(frame->size))) return true;
    KEP_HOST_ERROR(playing ? "the player was stopped before a frame was taken whole"
                           : "cannot play a frame: the player is not started");
    return false;
}

bool PcmPlayer::start() {
    format_ = {rate_, channels_};
    if (!isPcmFormat(format_, kMaxChannels)) return false;
    const std::optional<DeviceSpec> spec = speakerFromEnvironment();
    if (!spec) return false;
    speaker_ = openSpeaker(*spec, format_);
    if (!speaker_) return false;
    device_ = spec->text;
    queue_.open(static_cast<std::size_t>(format_.rate) / 2 * format_.frameBytes(), format_.frameBytes());
    player_ = startThread(Thread::speaker, [this] { play(); });
    return true;
}

void PcmPlayer::stop() {
    queue_.finish();
    player_.join();
    speaker_.reset();
}

void PcmPlayer::play() {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(format_.blockFrames()) * format_.channels);
    Gain gain(speakerVolume());
    while (const std::size_t bytes = queue_.pull(samples.data(), samples.size() * sizeof samples[0])) {
        gain.apply(std::span(samples).first(bytes / sizeof samples[0]), format_);
        if (!speaker_->write(samples.data(), static_cast<std::int64_t>(bytes / format_.frameBytes()))) {
            queue_.close();
            endedByLoss("audio", device_);
            return;
        }
    }
    speaker_->playOut();
}

}  // namespace

std::unique_ptr<api::streaming::IPcmPlayer> makePcmPlayer() {
    return std::make_unique<PcmPlayer>();
}

}  // namespace kep::host
