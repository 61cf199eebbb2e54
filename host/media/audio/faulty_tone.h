#ifndef KEP_HOST_FAULTY_TONE_H
#define KEP_HOST_FAULTY_TONE_H

#include <string>

#include "media/audio/tone_input.h"
#include "media/common/device_spec.h"

namespace kep::host {

/**
 * The test tone of a microphone with a fault, to see how an application takes it. While there is a file of
 * the given name the microphone is away (`test:lost=PATH`) or gives nothing (`test:stalled=PATH`).
 */
class FaultyTone final : public AudioInput {
  public:
    explicit FaultyTone(DeviceSpec device) : device_(std::move(device)) {}

    /** False, with an error line, when the fault is none of these or the microphone is away. */
    bool open();

    AudioFormat format() const override { return tone_.format(); }
    bool read(AudioBlock& block) override;
    void interrupt() override { tone_.interrupt(); }

  private:
    bool fails() const;

    const DeviceSpec device_;
    bool stalls_ = false;
    std::string path_;
    ToneInput tone_;
};

}  // namespace kep::host

#endif
