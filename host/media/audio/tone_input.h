#ifndef KEP_HOST_TONE_INPUT_H
#define KEP_HOST_TONE_INPUT_H

#include "media/audio/audio_input.h"
#include "media/audio/pacer.h"

namespace kep::host {

/**
 * The test tone: 440 Hz, and for 100 ms from each whole second of the steady clock 1000 Hz instead. Sample n
 * is the sample of the time n / 48000 s on that clock, so that the beep begins with the very sample of the
 * whole second and the pace never drifts.
 */
class ToneInput final : public AudioInput {
  public:
    ToneInput();

    AudioFormat format() const override { return {}; }
    bool read(AudioBlock& block) override;
    void interrupt() override { pacer_.interrupt(); }

  private:
    std::vector<std::int16_t> second_; /**< one second of one channel; both pitches repeat with it */
    std::int64_t next_;                /**< sample that is due next, counted from the clock's epoch */
    Pacer pacer_;
};

}  // namespace kep::host

#endif
