#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "media/audio/aac_encoder.h"
#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** A silence longer than this is a gap in the stream and not the jitter of a device. */
constexpr std::chrono::milliseconds kGap(100);
constexpr int kDefaultRate = 48000;

/** AAC-LC access units with ADTS headers, of the channels that come and of their sample rate if AAC has it.
 */
class EncoderAac final : public Element {
  public:
    EncoderAac() { addWholeNumber(properties(), *this, "br", bitRate_, 8'000, 512'000); }
    ~EncoderAac() override { retire(); }

    bool isPrompt() override { return givesPromptly(); }

    void take(const SharedPacket& packet, const Element&) override {
        if (packet->isVideo() || packet->media->codec != AV_CODEC_ID_PCM_S16LE) {
            if (!failing_) KEP_HOST_ERROR(label() + " is given something else than samples");
            failing_ = true;
            return;
        }
        auto block = std::make_shared<AudioBlock>();
        block->format = {packet->media->sampleRate, packet->media->channels};
        block->stamp = packet->stamp;
        block->samples.resize(static_cast<std::size_t>(packet->size) / sizeof(std::int16_t));
        std::memcpy(block->samples.data(), packet->bytes.get(), block->samples.size() * sizeof(std::int16_t));
        const bool encoded =
            prepare(*block) && encoder_->add(block, [this](const SharedFrame& unit) { hand(unit); });
        end_ = block->stamp + block->format.duration(block->frames());
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
    bool prepare(const AudioBlock& block) {
        const auto gap = block.stamp - end_;
        if (encoder_ && block.format == format_ && gap < kGap && gap > -kGap) return true;
        // What the old encoder still holds belongs before the gap and would get the time after it.
        encoder_.reset();
        format_ = block.format;
        const AudioFormat made = {isAacRate(format_.rate) ? format_.rate : kDefaultRate,
                                  std::min(format_.channels, 2)};
        // A stream that cannot be encoded is told of once.
        auto encoder = std::make_unique<AacEncoder>(format_, made, bitRate_);
        if (failing_ || !encoder->open()) return false;
        encoder_ = std::move(encoder);
        auto media = std::make_shared<host::Media>();
        media->kind = host::Media::Kind::audio;
        media->codec = AV_CODEC_ID_AAC;
        media->sampleRate = made.rate;
        media->channels = made.channels;
        media->bitRate = bitRate_;
        media_ = std::move(media);
        return true;
    }

    void hand(const SharedFrame& unit) {
        constexpr std::int64_t kUnitSamples = 1024;
        auto packet = std::make_shared<MediaPacket>();
        packet->media = media_;
        packet->stamp = unit->stamp;
        packet->duration = AudioFormat{media_->sampleRate, media_->channels}.duration(kUnitSamples);
        packet->size = unit->size;
        packet->bytes = {unit, unit->data};
        give(packet);
    }

    std::atomic<int> bitRate_{128'000};

    // Of the thread that brings the samples.
    std::unique_ptr<AacEncoder> encoder_;
    AudioFormat format_;
    SteadyTime end_;
    std::shared_ptr<const host::Media> media_;
    bool failing_ = false;
};

const ClassRegistration<EncoderAac> registration("encoder-aac");

}  // namespace
}  // namespace kep::host
