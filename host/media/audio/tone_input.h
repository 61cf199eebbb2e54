#ifndef KEP_HOST_TONE_INPUT_H
#define KEP_HOST_TONE_INPUT_H

#include <string>

#include "media/audio/audio_input.h"

namespace kep::host {

/**
 * The test tone: 440 Hz, and for 100 ms from each whole second of the steady clock 1000 Hz instead. Sample n
 * is the sample of the time n / 48000 s on that clock, so that the beep begins with the very sample of the
 * whole second and the pace never drifts.
 *
 * It can have a fault, to see how an application takes it: while a file of the given name exists the
 * microphone is away (`test:lost=PATH`) or gives nothing (`test:stalled=PATH`).
 */
class ToneInput final : public AudioInput {
  public:
    explicit ToneInput(DeviceSpec device);

    /** False, with an error line, when the fault is unknown or the microphone is away. */
    bool open();

    AudioFormat format() const override { return {}; }
    bool read(AudioBlock& block, SteadyTime& due) override;

  private:
    bool isFaulty() const;

    const DeviceSpec device_;
    bool stalls_ = false;
    std::string sign_;                 /**< the file; empty for a microphone without a fault */
    std::vector<std::int16_t> second_; /**< one second of one channel; both pitches repeat with it */
    std::int64_t next_;                /**< sample that is due next, counted from the clock's epoch */
};

}  // namespace kep::host

#endif
