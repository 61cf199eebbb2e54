#ifndef KEP_HOST_AUDIO_BLOCK_H
#define KEP_HOST_AUDIO_BLOCK_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/common/steady_time.h"

namespace kep::host {

/** Rate and channels of interleaved 16-bit samples; native byte order, which on every target is
 * little-endian. */
struct AudioFormat {
    int rate = 48000; /**< hertz */
    int channels = 2;

    bool operator==(const AudioFormat&) const = default;
    std::size_t frameBytes() const { return sizeof(std::int16_t) * static_cast<std::size_t>(channels); }
    /** Duration of `frames` samples of each channel. */
    std::chrono::nanoseconds duration(std::int64_t frames) const {
        return std::chrono::nanoseconds(frames / rate * 1000000000 + frames % rate * 1000000000 / rate);
    }
    /** Samples of each channel in 20 ms, rounded down: the size of a block and of a PCM frame. */
    int blockFrames() const { return rate / 50; }
};

/** Interleaved samples and the time at which the first of them was captured. */
struct AudioBlock {
    AudioFormat format;
    SteadyTime stamp;
    std::vector<std::int16_t> samples;

    std::int64_t frames() const { return static_cast<std::int64_t>(samples.size()) / format.channels; }
};

/** A block shared by all consumers. */
using SharedBlock = std::shared_ptr<const AudioBlock>;

/** Its weight in a queue that is bounded in bytes. */
inline std::size_t weightOf(const SharedBlock& block) {
    return block->samples.size() * sizeof(std::int16_t);
}

}  // namespace kep::host

#endif
