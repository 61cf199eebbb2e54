#include <algorithm>
#include <memory>

#include "media/audio/aac_encoder.h"
#include "media/audio/adts.h"
#include "media/pipeline/element.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** A longer deviation of a stamp is a gap in the stream, not the jitter of a device. */
constexpr std::chrono::milliseconds kGap(100);
constexpr int kDefaultRate = 48000;

/**
 * Encodes samples into AAC-LC access units, at their own rate (48 kHz if AAC does not have it) and with one
 * or two channels, or as `rate` and `channels` are set. With `adts=true` each unit has an ADTS header.
 */
class EncoderAac final : public Element {
  public:
    EncoderAac() {
        addNumber("br", bitRate_, AacEncoder::kLowestBitRate, AacEncoder::kHighestBitRate);
        addNumber("rate", rate_, 0, 96'000);
        addNumber("channels", channels_, 0, 2);
        properties().add("adts", adts_);
    }
    ~EncoderAac() override { retire(); }

    void take(const SharedPacket& packet, const Element&) override {
        const host::Media& raw = *packet->media;
        if (raw.codec != AV_CODEC_ID_PCM_S16LE) {
            if (!failing_) KEP_HOST_ERROR(label() + " accepts PCM samples only");
            failing_ = true;
            return;
        }
        const AudioFormat format = raw.audioFormat();
        const auto frames = packet->size / static_cast<std::int64_t>(format.frameBytes());
        const bool encoded = prepare(format, packet->stamp) &&
                             encoder_->add(reinterpret_cast<const std::int16_t*>(packet->bytes.get()), frames,
                                           packet->stamp, [this](const AacUnit& unit) { hand(unit); });
        end_ = packet->stamp + format.duration(frames);
        if (encoded) return;
        encoder_.reset();
        tellLost(host::Media::Kind::audio, 1);
        if (!failing_) tell("failed", "media=audio");
        failing_ = true;
    }

  protected:
    bool up(State) override {
        encoder_.reset();
        failing_ = false;
        return true;
    }
    bool down(State) override {
        encoder_.reset();
        return true;
    }

  private:
    bool prepare(AudioFormat format, SteadyTime stamp) {
        const auto gap = stamp - end_;
        if (encoder_ && format == format_ && gap < kGap && gap > -kGap) return true;
        // Samples that the old encoder still holds precede the gap, but would be stamped after it.
        encoder_.reset();
        format_ = format;
        AudioFormat made = {isAacRate(format.rate) ? format.rate : kDefaultRate,
                            std::min(format.channels, 2)};
        if (rate_ > 0) made.rate = rate_;
        if (channels_ > 0) made.channels = channels_;
        // Try and report a stream that cannot be encoded only once.
        auto encoder = std::make_unique<AacEncoder>(format, made, bitRate_, adts_);
        if (failing_ || !encoder->open()) return false;
        encoder_ = std::move(encoder);
        const std::shared_ptr<host::Media> media = host::Media::sound(AV_CODEC_ID_AAC, made);
        media->bitRate = bitRate_;
        media->parameters = aacConfig(made.rate, made.channels);
        media_ = media;
        return true;
    }

    void hand(const AacUnit& unit) {
        auto packet = std::make_shared<MediaPacket>(media_, unit.stamp);
        packet->duration = media_->audioFormat().duration(AacEncoder::kUnitSamples);
        packet->size = unit.size;
        packet->bytes = unit.bytes;
        give(packet);
    }

    std::atomic<int> bitRate_{128'000};
    std::atomic<int> rate_{0};     /**< 0: that of the samples */
    std::atomic<int> channels_{0}; /**< likewise */
    std::atomic<bool> adts_{false};

    // Used by the thread that delivers the samples.
    std::unique_ptr<AacEncoder> encoder_;
    AudioFormat format_;
    SteadyTime end_;
    std::shared_ptr<const host::Media> media_;
    bool failing_ = false;
};

const ClassRegistration<EncoderAac> encoderAacRegistration("encoder-aac");

}  // namespace
}  // namespace kep::host
