#include <cmath>
#include <filesystem>
#include <numbers>
#include <string>

#include "media/audio/audio_input.h"
#include "objects/log.h"

namespace kep::host {

namespace {

constexpr int kRate = AudioFormat{}.rate;
constexpr int kBeepSamples = kRate / 10;
constexpr double kToneHertz = 440;
constexpr double kBeepHertz = 1000;
constexpr double kAmplitude = 8192;  // a quarter of full scale

/**
 * The test tone: 440 Hz, and for 100 ms from each whole second of the steady clock 1000 Hz instead. Sample n
 * is the sample of the time n / 48000 s on that clock, so that the beep begins with the very sample of the
 * whole second and the pace never drifts.
 *
 * It can simulate a fault, to test applications: while the file PATH exists, the microphone is not connected
 * (`test:lost=PATH`) or delivers nothing (`test:stalled=PATH`).
 */
class ToneInput final : public AudioInput {
  public:
    explicit ToneInput(DeviceSpec device);

    /** False, with an error line, when the fault is unknown or the microphone is not connected. */
    bool open();

    AudioFormat format() const override { return {}; }
    bool read(AudioBlock& block, SteadyTime& due) override;

  private:
    bool isFaulty() const {
        std::error_code ignored;
        return !faultFile_.empty() && std::filesystem::exists(faultFile_, ignored);
    }

    const DeviceSpec device_;
    bool stalls_ = false;
    std::string faultFile_;            /**< its existence is the fault; empty for a microphone without one */
    std::vector<std::int16_t> second_; /**< one second of one channel; both pitches repeat with it */
    std::int64_t next_;                /**< sample that is due next, counted from the clock's epoch */
};

ToneInput::ToneInput(DeviceSpec device) : device_(std::move(device)), second_(kRate) {
    // Tone and beep have a whole number of cycles in their part of the second: no jump where they meet.
    for (int sample = 0; sample < kRate; ++sample) {
        const double hertz = sample < kBeepSamples ? kBeepHertz : kToneHertz;
        second_[sample] = static_cast<std::int16_t>(
            std::lround(kAmplitude * std::sin(2 * std::numbers::pi * hertz * sample / kRate)));
    }
    const auto blocks = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::milliseconds(20);
    next_ = blocks * format().blockFrames();
}

bool ToneInput::open() {
    if (device_.argument.empty()) return true;
    const std::size_t equals = device_.argument.find('=');
    const std::string fault = device_.argument.substr(0, equals);
    if (equals != std::string::npos) faultFile_ = device_.argument.substr(equals + 1);
    stalls_ = fault == "stalled";
    const bool isKnown = !faultFile_.empty() && (stalls_ || fault == "lost");
    if (isKnown && (stalls_ || !isFaulty())) return true;
    KEP_HOST_ERROR("cannot open microphone " + device_.text +
                   (isKnown ? ": not connected" : ": not one of test, test:lost=PATH, test:stalled=PATH"));
    return false;
}

bool ToneInput::read(AudioBlock& block, SteadyTime& due) {
    const int frames = format().blockFrames();
    block.stamp = SteadyTime(format().duration(next_));
    due = block.stamp + format().duration(frames);
    block.samples.clear();
    for (int sample = 0; sample < frames; ++sample, ++next_)
        block.samples.insert(block.samples.end(), format().channels, second_[next_ % kRate]);
    if (!isFaulty()) return true;
    // next_ has advanced: after the fault the tone is still on the clock.
    block.samples.clear();
    if (!stalls_) KEP_HOST_ERROR("microphone " + device_.text + " is lost");
    return stalls_;
}

}  // namespace

std::unique_ptr<AudioInput> openTone(const DeviceSpec& device) {
    auto input = std::make_unique<ToneInput>(device);
    if (!input->open()) return nullptr;
    return input;
}

}  // namespace kep::host
