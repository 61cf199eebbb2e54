#ifndef KEP_HOST_DEVICE_INPUT_H
#define KEP_HOST_DEVICE_INPUT_H

#include <atomic>

#include "media/audio/audio_decoder.h"
#include "media/audio/audio_input.h"
#include "media/audio/pacer.h"

namespace kep::host {

/** A capture device of the workstation: ALSA or PulseAudio, by the names that libavdevice gives them. */
class DeviceInput final : public AudioInput {
  public:
    explicit DeviceInput(DeviceSpec device) : device_(std::move(device)) {}

    /** False, with an error line, when the device cannot be opened. */
    bool open();

    AudioFormat format() const override { return decoder_.format(); }
    bool read(AudioBlock& block) override;
    void interrupt() override;

  private:
    InputPtr openDevice(int channels, int& result) const;
    SteadyTime captureTime(SteadyTime now, std::int64_t frames) const;

    const DeviceSpec device_;
    AudioDecoder decoder_;
    SteadyTime end_;  // by when what has been read was captured, at the device's nominal rate
    Pacer pacer_;
    std::atomic<bool> interrupted_{false};
};

}  // namespace kep::host

#endif
