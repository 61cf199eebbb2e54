#include <optional>
#include <vector>

#include "media/audio/microphone_session.h"
#include "media/audio/sample_framer.h"
#include "media/pipeline/device_element.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/**
 * Delivers the microphone's samples in its own format, or in frames of 20 ms converted to `rate` and
 * `channels`. It starts even without a microphone, so that a recording of pictures does not depend on one;
 * with `retry=false` it requires one.
 */
class MicrophoneElement final : public DeviceElement<MicrophoneLease> {
  public:
    MicrophoneElement() : DeviceElement(Thread::microphoneElement, host::Media::Kind::audio) {
        addNumber("rate", rate_, 0, 192'000);
        addNumber("channels", channels_, 0, 2);
    }
    ~MicrophoneElement() override { retire(); }

  private:
    bool startsWithout() const override { return true; }
    std::shared_ptr<MicrophoneLease> open() override {
        return MicrophoneLease::open({[this](std::size_t blocks) { tellDropped(blocks); }, nullptr});
    }

    void giveAll(MicrophoneLease& lease) override {
        const AudioFormat captured = lease.format();
        const AudioFormat wanted = {rate_ ? rate_.load() : captured.rate,
                                    channels_ ? channels_.load() : captured.channels};
        const MediaPtr media = host::Media::sound(AV_CODEC_ID_PCM_S16LE, wanted);
        std::optional<SampleFramer> framer;
        if (wanted != captured) framer.emplace(captured, wanted, AV_SAMPLE_FMT_S16, wanted.blockFrames());
        for (SharedBlock block; lease.pull(block, true);) {
            if (framer) {
                framer->add(block->samples.data(), block->frames(), block->stamp);
                giveConverted(*framer, media);
            } else {
                // The block is shared with the other consumers, not copied.
                giveSamples({block, &block->samples}, block->stamp, media);
            }
        }
    }

    using SharedSamples = std::shared_ptr<const std::vector<std::int16_t>>;

    void giveConverted(SampleFramer& framer, const MediaPtr& media) {
        for (;;) {
            auto samples = std::make_shared<std::vector<std::int16_t>>(
                static_cast<std::size_t>(media->audioFormat().blockFrames() * media->channels));
            void* plane = samples->data();
            SteadyTime stamp;
            if (!framer.take(&plane, stamp)) return;
            giveSamples(samples, stamp, media);
        }
    }

    void giveSamples(const SharedSamples& samples, SteadyTime stamp, const MediaPtr& media) {
        auto packet = std::make_shared<MediaPacket>(media, stamp);
        packet->duration =
            media->audioFormat().duration(static_cast<std::int64_t>(samples->size()) / media->channels);
        packet->size = static_cast<int>(samples->size() * sizeof(std::int16_t));
        packet->bytes = {samples, reinterpret_cast<const std::uint8_t*>(samples->data())};
        give(packet);
    }

    std::atomic<int> rate_{0};
    std::atomic<int> channels_{0};
};

const ClassRegistration<MicrophoneElement> microphoneElementRegistration("MicSrc");

}  // namespace
}  // namespace kep::host
