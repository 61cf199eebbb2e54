#include <algorithm>

#include "media/audio/aac_encoder.h"
#include "media/audio/adts.h"
#include "media/audio/volume.h"
#include "media/faces/live_stream.h"
#include "media/faces/streams.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * A stream of the microphone. Rate and channels take effect at the next start, as a reader could not tell
 * where in a running stream they changed.
 */
class MicrophoneStream : public LiveStream, public virtual api::streaming::common::IAudio {
  public:
    void SetSampleRate(int hertz) override { rate_ = hertz; }
    void SetChannels(int channels) override { channels_ = channels; }
    bool PullFrame(SharedFrame& frame, bool wait) override {
        const bool playing = StatusIsPlay();
        if (queue().pull(frame, wait)) return true;
        if (!playing) KEP_HOST_ERROR("no audio frame: the stream is not started");
        return false;
    }

  protected:
    explicit MicrophoneStream(const char* encoder)
        : LiveStream("type=MicSrc,retry=false", encoder, {100, 4U << 20}) {}  // two seconds

    AudioFormat format() const { return {rate_, channels_}; }
    /** Sets an element's format. */
    static bool setFormat(ObjectImpl& element, AudioFormat format) {
        return isPcmSetting(format, 2) && set(element, "rate", format.rate) &&
               set(element, "channels", format.channels);
    }

  private:
    std::atomic<int> rate_{AudioFormat{}.rate};
    std::atomic<int> channels_{AudioFormat{}.channels};
};

class PcmSource final : public api::streaming::IPcmSource, public MicrophoneStream {
  public:
    PcmSource() : MicrophoneStream(nullptr) {}
    ~PcmSource() override { shutDown(); }

  private:
    bool start() override { return setFormat(source(), format()); }
};

/** AAC with ADTS headers. The bit rate takes effect on the running stream; sample rate and channels, which
 * every header contains, at the next start. */
class AacSource final : public api::streaming::IAacSource, public MicrophoneStream {
  public:
    AacSource() : MicrophoneStream("type=encoder-aac,adts=true") {}
    ~AacSource() override { shutDown(); }

    void SetBitRate(int bitsPerSecond) override {
        if (bitsPerSecond <= 0) {
            KEP_HOST_ERROR("bit rate " + std::to_string(bitsPerSecond) + " is not positive");
            return;
        }
        isSet_ = true;
        setBitRate(bitsPerSecond);
    }

  private:
    /** Clamped to the range that AAC supports at any sample rate. */
    void setBitRate(int bitsPerSecond) {
        set(encoder(), "br",
            std::clamp(bitsPerSecond, AacEncoder::kLowestBitRate, AacEncoder::kHighestBitRate));
    }

    bool start() override {
        constexpr int kBitRatePerChannel = 64'000;
        const AudioFormat wanted = format();
        if (!isAacRate(wanted.rate)) {
            KEP_HOST_ERROR("AAC has no sample rate " + std::to_string(wanted.rate));
            return false;
        }
        if (!setFormat(encoder(), wanted)) return false;
        if (!isSet_) setBitRate(kBitRatePerChannel * wanted.channels);
        return true;
    }

    void elementFailed(const std::string& why) override {
        MicrophoneStream::elementFailed(why == "name=failed,media=audio" ? "name=encoderLost,media=audio"
                                                                         : why);
    }

    std::atomic<bool> isSet_{false};
};

/** Volume and mute of an audio device. Both act on the samples, so that every device supports them. */
template <class Interface>
class SoundDevice final : public Interface {
  public:
    explicit SoundDevice(Volume& volume) : volume_(volume) {}

    bool IsSupportVolumeControl() override { return true; }
    void SetVolume(int volume) override { volume_.set(volume); }
    bool IsSupportMute() override { return true; }
    void SetMute(bool mute) override { volume_.setMute(mute); }

  private:
    Volume& volume_;
};

}  // namespace

std::unique_ptr<api::streaming::IPcmSource> makePcmSource() {
    return std::make_unique<PcmSource>();
}

std::unique_ptr<api::streaming::IAacSource> makeAacSource() {
    return std::make_unique<AacSource>();
}

dev::IMicrophone& microphone() {
    static SoundDevice<dev::IMicrophone> device(microphoneVolume());
    return device;
}

dev::ISpeaker& speaker() {
    static SoundDevice<dev::ISpeaker> device(speakerVolume());
    return device;
}

}  // namespace kep::host
