#include "media/audio/volume.h"

#include <algorithm>
#include <string>

#include "objects/log.h"

namespace kep::host {
namespace {

/** Rounds to the nearest. With both operands of 16 bits the compiler multiplies eight at once. */
std::int16_t scaled(std::int16_t sample, std::int16_t factor) {
    return static_cast<std::int16_t>((sample * factor + Volume::kUnchanged / 2) >> Volume::kFactorBits);
}

}  // namespace

void Volume::set(int volume) {
    const int clamped = std::clamp(volume, 0, kMost);
    volume_ = clamped;
    if (clamped != volume)
        KEP_HOST_ERROR(std::string(device_) + " volume " + std::to_string(volume) + " is not from 0 to " +
                       std::to_string(kMost) + ": set to " + std::to_string(clamped));
}

Volume& microphoneVolume() {
    static constinit Volume volume("microphone");
    return volume;
}

Volume& speakerVolume() {
    static constinit Volume volume("speaker");
    return volume;
}

void Gain::apply(std::span<std::int16_t> samples, AudioFormat format) {
    const int target = volume_.factor();
    if (factor_ != target) samples = samples.subspan(ramp(samples, format, target));
    if (factor_ == Volume::kUnchanged) return;
    const auto factor = static_cast<std::int16_t>(factor_);
    for (std::int16_t& sample : samples) sample = scaled(sample, factor);
}

std::size_t Gain::ramp(std::span<std::int16_t> samples, AudioFormat format, int target) {
    // Round the step up, so that no rate makes the ramp longer.
    const int frames = std::max(1, format.rate * kRampMilliseconds / 1000);
    const int step = (Volume::kUnchanged + frames - 1) / frames;
    const auto channels = static_cast<std::size_t>(format.channels);
    std::size_t position = 0;
    while (position < samples.size() && factor_ != target) {
        factor_ = std::clamp(target, factor_ - step, factor_ + step);
        // The full factor, which changes nothing, does not fit into 16 bits.
        if (factor_ < Volume::kUnchanged)
            for (std::int16_t& sample : samples.subspan(position, channels))
                sample = scaled(sample, static_cast<std::int16_t>(factor_));
        position += channels;
    }
    return position;
}

}  // namespace kep::host
