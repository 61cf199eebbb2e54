#include "media/audio/tone_input.h"

#include <cmath>
#include <numbers>

namespace kep::host {

namespace {

constexpr int kRate = AudioFormat{}.rate;
constexpr int kBeepSamples = kRate / 10;
constexpr double kToneHertz = 440;
constexpr double kBeepHertz = 1000;
constexpr double kAmplitude = 8192;  // a quarter of full scale

}  // namespace

ToneInput::ToneInput() : second_(kRate) {
    // Tone and beep make a whole number of cycles in their part of the second: no jump where they meet.
    for (int sample = 0; sample < kRate; ++sample) {
        const double hertz = sample < kBeepSamples ? kBeepHertz : kToneHertz;
        second_[sample] = static_cast<std::int16_t>(
            std::lround(kAmplitude * std::sin(2 * std::numbers::pi * hertz * sample / kRate)));
    }
    const auto blocks = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::milliseconds(20);
    next_ = blocks * format().blockFrames();
}

bool ToneInput::read(AudioBlock& block) {
    const int frames = format().blockFrames();
    block.stamp = SteadyTime(format().duration(next_));
    if (!pacer_.waitUntil(block.stamp + format().duration(frames))) return false;
    block.samples.clear();
    for (int sample = 0; sample < frames; ++sample, ++next_)
        block.samples.insert(block.samples.end(), format().channels, second_[next_ % kRate]);
    return true;
}

}  // namespace kep::host
