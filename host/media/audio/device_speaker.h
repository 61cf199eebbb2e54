#ifndef KEP_HOST_DEVICE_SPEAKER_H
#define KEP_HOST_DEVICE_SPEAKER_H

#include <string>

#include "media/audio/speaker.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** A playback device of the workstation: ALSA or PulseAudio, by the names that libavdevice gives them. */
class DeviceSpeaker final : public Speaker {
  public:
    DeviceSpeaker(DeviceSpec device, AudioFormat format) : device_(std::move(device)), format_(format) {}
    ~DeviceSpeaker() override;

    /** False, with an error line, when the device cannot be opened for this format. */
    bool open();
    bool write(const std::int16_t* samples, std::int64_t frames) override;
    void playOut() override;

  private:
    int openDevice();

    const DeviceSpec device_;
    const AudioFormat format_;
    AVFormatContext* output_ = nullptr;
    PacketPtr packet_{av_packet_alloc()};
    bool opened_ = false;
    std::int64_t written_ = 0;  // samples of each channel
};

}  // namespace kep::host

#endif
