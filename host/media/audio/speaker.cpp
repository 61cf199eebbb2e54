#include "media/audio/speaker.h"

#include <thread>

#include "media/audio/device_speaker.h"
#include "media/audio/wav_speaker.h"

namespace kep::host {

namespace {

/** Hears nothing, in real time. */
class NullSpeaker final : public Speaker {
  public:
    explicit NullSpeaker(AudioFormat format) : format_(format) {}

    bool write(const std::int16_t*, std::int64_t frames) override {
        std::this_thread::sleep_until(free_);
        free_ = std::max(free_, std::chrono::steady_clock::now() - kLate) + format_.duration(frames);
        return true;
    }
    void playOut() override { std::this_thread::sleep_until(free_); }

  private:
    // A writer that is later than this has left a pause, which is not caught up with.
    static constexpr std::chrono::milliseconds kLate{100};

    const AudioFormat format_;
    SteadyTime free_ = std::chrono::steady_clock::now();
};

template <class Kind>
std::unique_ptr<Speaker> opened(std::unique_ptr<Kind> speaker) {
    if (!speaker->open()) return nullptr;
    return speaker;
}

}  // namespace

std::optional<DeviceSpec> speakerFromEnvironment() {
    return deviceFromEnvironment("KEP_HOST_SPEAKER", "null",
                                 {{"null", false}, {"alsa", true}, {"pulse", true}, {"file", true}});
}

std::unique_ptr<Speaker> openSpeaker(const DeviceSpec& spec, AudioFormat format) {
    initFfmpeg();
    if (spec.kind == "null") return std::make_unique<NullSpeaker>(format);
    if (spec.kind == "file") return opened(std::make_unique<WavSpeaker>(spec.argument, format));
    return opened(std::make_unique<DeviceSpeaker>(spec, format));
}

}  // namespace kep::host
