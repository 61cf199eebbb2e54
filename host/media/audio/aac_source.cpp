#include "media/audio/aac_encoder.h"
#include "media/audio/audio_device.h"
#include "media/audio/audio_source.h"
#include "media/audio/audio_streams.h"
#include "objects/log.h"

namespace kep::host {

namespace {

constexpr int kBitRatePerChannel = 64000;

/** A bit rate acts on the running stream; a rate or channels, which every header names, at the next start. */
class AacSource final : public api::streaming::IAacSource, public AudioSource {
  public:
    ~AacSource() override { shutDown(); }

    void SetBitRate(int bitsPerSecond) override {
        if (bitsPerSecond <= 0) {
            KEP_HOST_ERROR("bit rate " + std::to_string(bitsPerSecond) + " is refused");
            return;
        }
        set_ = true;
        bitRate_ = bitsPerSecond;
    }

  private:
    bool accepts(AudioFormat format) const override {
        if (!isAacRate(format.rate)) {
            KEP_HOST_ERROR("AAC has no sample rate " + std::to_string(format.rate));
            return false;
        }
        return isPcmFormat(format, 2);
    }

    std::unique_ptr<FrameMaker> createMaker(AudioFormat captured, AudioFormat wanted) override {
        if (!set_) bitRate_ = kBitRatePerChannel * wanted.channels;
        auto encoder = std::make_unique<AacEncoder>(captured, wanted, bitRate_);
        if (!encoder->open()) return nullptr;
        return encoder;
    }

    std::atomic<bool> set_{false};
    std::atomic<int> bitRate_{0};
};

}  // namespace

std::unique_ptr<api::streaming::IAacSource> makeAacSource() {
    return std::make_unique<AacSource>();
}

}  // namespace kep::host
