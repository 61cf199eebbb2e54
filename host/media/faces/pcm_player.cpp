#include <algorithm>
#include <span>
#include <thread>

#include "media/audio/speaker.h"
#include "media/audio/volume.h"
#include "media/faces/stream_object.h"
#include "media/faces/streams.h"
#include "media/hub/group_queue.h"
#include "media/threads.h"
#include "objects/log.h"

namespace kep::host {

namespace {

using SharedFrame = std::shared_ptr<api::streaming::common::frame_t>;
using Bytes = std::vector<unsigned char>;

constexpr int kMaxChannels = 8;
/** Bounds the number of queued parts as well: small parts cost more memory than their bytes. */
constexpr std::size_t kMostParts = 1U << 16;

/**
 * The loudspeaker. Frames are played in order; a push blocks while half a second of sound is queued, and a
 * stop drains the queue. Rate and channels take effect at the next start.
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
    bool enqueue(const unsigned char* data, std::size_t size);
    void play();

    std::atomic<int> rate_{AudioFormat{}.rate};
    std::atomic<int> channels_{AudioFormat{}.channels};
    AudioFormat format_;
    std::string device_;
    std::unique_ptr<Speaker> speaker_;
    Mutex entry_; /**< serialises the frames pushed */
    /** Bytes of 20 ms. A longer frame is queued in parts, so that its push blocks while the queue is full. */
    std::size_t part_ GUARDED_BY(entry_) = 1;
    GroupQueue<Bytes> queue_{{kMostParts, 0}};
    std::thread player_;
};

bool PcmPlayer::PushFrame(SharedFrame frame) {
    if (!frame || frame->size < 0 || (frame->size > 0 && !frame->data)) {
        KEP_HOST_ERROR("a frame without data cannot be played");
        return false;
    }
    const bool playing = StatusIsPlay();
    if (enqueue(frame->data, static_cast<std::size_t>(frame->size))) return true;
    KEP_HOST_ERROR(playing ? "the player was stopped in the middle of a frame"
                           : "cannot play a frame: the player is not started");
    return false;
}

/** Copies a frame: the caller reuses its buffer. */
bool PcmPlayer::enqueue(const unsigned char* data, std::size_t size) {
    const MutexLock lock(entry_);
    if (size == 0) return queue_.isOpen();
    const unsigned char* const end = data + size;
    while (data < end) {
        const unsigned char* const next = data + std::min(end - data, static_cast<std::ptrdiff_t>(part_));
        queue_.waitForRoom(static_cast<std::size_t>(next - data));
        if (!queue_.push(Bytes(data, next), true, static_cast<std::size_t>(next - data)).wasOpen)
            return false;
        data = next;
    }
    return true;
}

bool PcmPlayer::start() {
    format_ = {rate_, channels_};
    if (!isPcmSetting(format_, kMaxChannels)) return false;
    const std::optional<DeviceSpec> spec = speakerFromEnvironment();
    if (!spec) return false;
    speaker_ = openSpeaker(*spec, format_);
    if (!speaker_) return false;
    device_ = spec->text;
    {
        const MutexLock lock(entry_);
        part_ = static_cast<std::size_t>(format_.blockFrames()) * format_.frameBytes();
    }
    queue_.setLimits({kMostParts, static_cast<std::size_t>(format_.rate) / 2 * format_.frameBytes()});
    queue_.open();
    player_ = startThread(Thread::speaker, [this] { play(); });
    return true;
}

void PcmPlayer::stop() {
    queue_.finish();
    player_.join();
    speaker_.reset();
}

void PcmPlayer::play() {
    Bytes samples;  // the rest of an incomplete frame, and the pulled part
    Gain gain(speakerVolume());
    for (Bytes part; queue_.pull(part, true);) {
        samples.insert(samples.end(), part.begin(), part.end());
        const std::size_t frames = samples.size() / format_.frameBytes();
        auto* const first = reinterpret_cast<std::int16_t*>(samples.data());
        gain.apply(std::span(first, frames * static_cast<std::size_t>(format_.channels)), format_);
        if (frames > 0 && !speaker_->write(first, static_cast<std::int64_t>(frames))) {
            queue_.close();
            endedByLoss("audio", device_);
            return;
        }
        samples.erase(samples.begin(),
                      samples.begin() + static_cast<std::ptrdiff_t>(frames * format_.frameBytes()));
    }
    speaker_->playOut();
}

}  // namespace

std::unique_ptr<api::streaming::IPcmPlayer> makePcmPlayer() {
    return std::make_unique<PcmPlayer>();
}

}  // namespace kep::host
