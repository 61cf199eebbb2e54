#include "media/audio/speaker.h"

#include <algorithm>
#include <thread>

#include "media/common/ffmpeg.h"

namespace kep::host {

namespace {

/** Discards samples at real-time pace. */
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
    // A writer that is later than this has paused: continue from now instead of catching up.
    static constexpr std::chrono::milliseconds kLate{100};

    const AudioFormat format_;
    SteadyTime free_ = std::chrono::steady_clock::now();
};

}  // namespace

std::optional<DeviceSpec> speakerFromEnvironment() {
    return deviceFromEnvironment("KEP_HOST_SPEAKER", "null",
                                 {{"null", false}, {"alsa", true}, {"pulse", true}, {"file", true}});
}

std::unique_ptr<Speaker> openSpeaker(const DeviceSpec& spec, AudioFormat format) {
    initFfmpeg();
    if (spec.kind == "null") return std::make_unique<NullSpeaker>(format);
    if (spec.kind == "file") return openSpeakerFile(spec.argument, format);
    return openSpeakerDevice(spec, format);
}

}  // namespace kep::host
