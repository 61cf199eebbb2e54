#include "media/audio/audio_device.h"
#include "media/audio/audio_source.h"
#include "media/audio/audio_streams.h"
#include "media/audio/sample_framer.h"

namespace kep::host {

namespace {

/** Blocks as they are: what everyone else hears is shared, not copied. */
class PassedThrough final : public FrameMaker {
  public:
    bool add(const SharedBlock& block, const Emit& emit) override {
        emit(makeAudioFrame(block, block->samples.data(), block->samples.size() * sizeof(std::int16_t),
                            block->stamp));
        return true;
    }
};

/** Frames of 20 ms in a format other than the microphone's. */
class Converted final : public FrameMaker {
  public:
    Converted(AudioFormat from, AudioFormat to)
        : to_(to), framer_(from, to, AV_SAMPLE_FMT_S16, to.blockFrames()) {}

    bool add(const SharedBlock& block, const Emit& emit) override {
        framer_.add(*block);
        for (;;) {
            if (spare_.empty()) spare_.resize(static_cast<std::size_t>(to_.blockFrames()) * to_.frameBytes());
            void* plane = spare_.data();
            SteadyTime stamp;
            if (!framer_.take(&plane, stamp)) return true;
            const std::size_t size = spare_.size();
            emit(makeAudioFrame(std::move(spare_), plane, size, stamp));
            spare_ = {};
        }
    }

  private:
    const AudioFormat to_;
    SampleFramer framer_;
    std::vector<unsigned char> spare_;  // becomes the next frame
};

class PcmSource final : public api::streaming::IPcmSource, public AudioSource {
  public:
    ~PcmSource() override { shutDown(); }

  private:
    bool accepts(AudioFormat format) const override { return isPcmFormat(format, 2); }
    std::unique_ptr<FrameMaker> createMaker(AudioFormat captured, AudioFormat wanted) override {
        if (captured == wanted) return std::make_unique<PassedThrough>();
        return std::make_unique<Converted>(captured, wanted);
    }
};

}  // namespace

std::unique_ptr<api::streaming::IPcmSource> makePcmSource() {
    return std::make_unique<PcmSource>();
}

}  // namespace kep::host
