#ifndef KEP_HOST_DEVICE_INPUT_H
#define KEP_HOST_DEVICE_INPUT_H

#include "media/audio/audio_input.h"
#include "media/audio/decoded_sound.h"

namespace kep::host {

/** A capture device of the workstation: ALSA or PulseAudio, by the names that libavdevice gives them. */
class DeviceInput final : public AudioInput {
  public:
    explicit DeviceInput(DeviceSpec device) : device_(std::move(device)) {}

    /** False, with an error line, when the device cannot be opened. */
    bool open();

    AudioFormat format() const override { return sound_.format(); }
    bool read(AudioBlock& block, SteadyTime& due) override;

  private:
    std::unique_ptr<MediaReader> openDevice(int channels, std::string& reason) const;
    SteadyTime captureTime(const AVFrame& frame, SteadyTime now, std::int64_t frames) const;

    const DeviceSpec device_;
    std::unique_ptr<MediaReader> reader_;
    DecodedSound sound_;
    SteadyTime lastRead_;
    std::int64_t framesRead_ = 0;
    SteadyTime end_;  // by when what has been read was captured, at the device's nominal rate
};

}  // namespace kep::host

#endif
