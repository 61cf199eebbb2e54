#include <optional>
#include <thread>
#include <vector>

#include "media/audio/microphone_session.h"
#include "media/audio/sample_framer.h"
#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "media/threads.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/**
 * What the microphone hears, in its own format, or in frames of 20 ms of the `rate` and `channels` that are
 * set. It starts whether or not there is a microphone, and looks for one again while there is none: nothing
 * that also has pictures is to depend on it. With `retry=false` it does not start without one, and the stream
 * ends with it.
 */
class MicrophoneElement final : public SourceElement {
  public:
    MicrophoneElement() {
        filmingBegins();
        addWholeNumber(properties(), *this, "rate", rate_, 0, 192'000);
        addWholeNumber(properties(), *this, "channels", channels_, 0, 2);
        addFlag(properties(), "retry", retries_);
    }
    ~MicrophoneElement() override { retire(); }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        std::shared_ptr<MicrophoneLease> lease;
        if (!retries_ && !(lease = open())) return false;
        {
            const MutexLock lock(mutex_);
            lease_ = std::move(lease);
            isStopping_ = false;
        }
        thread_ = startThread(Thread::microphoneElement, [this] { work(); });
        return true;
    }

    bool down(State) override {
        std::shared_ptr<MicrophoneLease> lease;
        {
            const MutexLock lock(mutex_);
            isStopping_ = true;
            lease.swap(lease_);
            changed_.notifyAll();
        }
        if (lease) lease->close();
        if (thread_.joinable()) thread_.join();
        return true;
    }

  private:
    std::shared_ptr<MicrophoneLease> open() {
        return MicrophoneLease::open(
            [this](std::size_t blocks) { tellLost(host::Media::Kind::audio, blocks); });
    }

    void work() {
        RetryPause pause;
        do {
            const std::shared_ptr<MicrophoneLease> current = provide();
            if (!current) continue;
            pause.reset();
            giveAll(*current);
            if (current->isLost()) tellDeviceLost(host::Media::Kind::audio, current->device());
            current->close();
        } while (retries_ && !waitToStop(pause.next()));
    }

    /** The share of the microphone, opened where there is none; null when it does not open or is unwanted. */
    std::shared_ptr<MicrophoneLease> provide() {
        {
            const MutexLock lock(mutex_);
            // Without `retry` also one that has been lost since the start: the stream ends with it.
            if (isStopping_ || (lease_ && !(retries_ && lease_->isLost()))) return lease_;
        }
        std::shared_ptr<MicrophoneLease> found = open();
        if (!found) return nullptr;
        const MutexLock lock(mutex_);
        if (isStopping_) return nullptr;
        lease_ = found;
        return found;
    }

    bool waitToStop(std::chrono::seconds limit) {
        MutexLock lock(mutex_);
        return changed_.waitFor(lock, limit, [this]() REQUIRES(mutex_) { return isStopping_; });
    }

    void giveAll(MicrophoneLease& lease) {
        const AudioFormat captured = lease.format();
        const AudioFormat wanted = {rate_ ? rate_.load() : captured.rate,
                                    channels_ ? channels_.load() : captured.channels};
        auto media = std::make_shared<host::Media>();
        media->kind = host::Media::Kind::audio;
        media->codec = AV_CODEC_ID_PCM_S16LE;
        media->sampleRate = wanted.rate;
        media->channels = wanted.channels;
        std::optional<SampleFramer> framer;
        if (wanted != captured) framer.emplace(captured, wanted, AV_SAMPLE_FMT_S16, wanted.blockFrames());
        for (SharedBlock block; lease.pull(block, true);) {
            if (framer) {
                framer->add(block->samples.data(), block->frames(), block->stamp);
                giveConverted(*framer, wanted, media);
            } else {
                // What everyone else hears is shared, not copied.
                giveSamples({block, &block->samples}, block->stamp, wanted, media);
            }
        }
    }

    using SharedSamples = std::shared_ptr<const std::vector<std::int16_t>>;

    void giveConverted(SampleFramer& framer, AudioFormat format, const MediaPtr& media) {
        for (;;) {
            if (!spare_)
                spare_ = std::make_shared<std::vector<std::int16_t>>(
                    static_cast<std::size_t>(format.blockFrames() * format.channels));
            void* plane = spare_->data();
            SteadyTime stamp;
            if (!framer.take(&plane, stamp)) return;
            giveSamples(std::move(spare_), stamp, format, media);
        }
    }

    void giveSamples(const SharedSamples& samples, SteadyTime stamp, AudioFormat format,
                     const MediaPtr& media) {
        auto packet = std::make_shared<MediaPacket>();
        packet->media = media;
        packet->stamp = stamp;
        packet->duration = format.duration(static_cast<std::int64_t>(samples->size()) / format.channels);
        packet->size = static_cast<int>(samples->size() * sizeof(std::int16_t));
        packet->bytes = {samples, reinterpret_cast<const std::uint8_t*>(samples->data())};
        give(packet);
    }

    std::atomic<int> rate_{0};
    std::atomic<int> channels_{0};
    std::atomic<bool> retries_{true};
    std::shared_ptr<std::vector<std::int16_t>> spare_; /**< becomes the next frame; of the thread */

    Mutex mutex_;
    Condition changed_;
    bool isStopping_ GUARDED_BY(mutex_) = false;
    std::shared_ptr<MicrophoneLease> lease_ GUARDED_BY(mutex_);
    std::thread thread_;
};

const ClassRegistration<MicrophoneElement> registration("MicSrc");

}  // namespace
}  // namespace kep::host
