#ifndef KEP_HOST_VOLUME_H
#define KEP_HOST_VOLUME_H

#include <atomic>
#include <cstdint>
#include <span>

#include "kep/visibility.h"
#include "media/audio/audio_block.h"

namespace kep::host {

/** Volume and mute of a sound device. Safe on any thread. */
class KEP_API Volume {
  public:
    static constexpr int kMost = 100; /**< samples stay as they are */
    static constexpr int kFactorBits = 15;
    static constexpr int kUnchanged = 1 << kFactorBits; /**< the factor that leaves samples as they are */

    /** @param device prefix of the error line about a volume out of range */
    explicit constexpr Volume(const char* device) : device_(device) {}

    /** 0 (silence) to kMost, proportional to the amplitude. Clamps other values, with an error line. */
    void set(int volume);
    /** A volume set meanwhile takes effect when the mute ends. */
    void setMute(bool mute) { isMuted_ = mute; }

    /** Factor of the samples, in units of 1 / kUnchanged; 0 while muted. */
    int factor() const { return isMuted_ ? 0 : volume_ * kUnchanged / kMost; }

  private:
    const char* const device_;
    std::atomic<int> volume_{kMost};
    std::atomic<bool> isMuted_{false};
};

/** Volume of this process's microphone. It applies to captured samples, for all consumers alike. */
Volume& microphoneVolume();
/** Volume of this process's speaker. It applies to played samples, for all players alike. */
Volume& speakerVolume();

/**
 * Applies a volume to the samples of one device. Used by one thread. A change becomes a linear ramp, which
 * takes kRampMilliseconds from silence to full volume, to avoid clicks.
 */
class KEP_API Gain {
  public:
    static constexpr int kRampMilliseconds = 5;

    explicit Gain(const Volume& volume) : volume_(volume), factor_(volume.factor()) {}

    /** @param samples interleaved, a whole number of frames of `format` */
    void apply(std::span<std::int16_t> samples, AudioFormat format);

  private:
    /** Moves factor_ to `target`, at most to the end of `samples`; returns how many samples that took. */
    std::size_t ramp(std::span<std::int16_t> samples, AudioFormat format, int target);

    const Volume& volume_;
    int factor_;
};

}  // namespace kep::host

#endif
