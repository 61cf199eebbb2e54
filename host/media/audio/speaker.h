#ifndef KEP_HOST_SPEAKER_H
#define KEP_HOST_SPEAKER_H

#include <cstdint>
#include <memory>
#include <string>

#include "media/audio/audio_block.h"
#include "media/common/device_spec.h"

namespace kep::host {

/** An output of sound. Used by one thread. */
class Speaker {
  public:
    virtual ~Speaker() = default;

    /** Plays samples; blocks while the device is busy. False, with an error line, when it fails. */
    virtual bool write(const std::int16_t* samples, std::int64_t frames) = 0;
    /** Drains: returns when all samples have been played. Nothing is written after it. */
    virtual void playOut() = 0;
};

/** The speaker that KEP_HOST_SPEAKER chooses; nullopt, with an error line, for an unknown kind. */
std::optional<DeviceSpec> speakerFromEnvironment();

/** Opens the chosen speaker; null, with an error line that names it, when that fails. */
std::unique_ptr<Speaker> openSpeaker(const DeviceSpec& spec, AudioFormat format);

// The kinds of speaker that can fail to open: null, with an error line that names it.
std::unique_ptr<Speaker> openSpeakerFile(const std::string& path, AudioFormat format);
std::unique_ptr<Speaker> openSpeakerDevice(const DeviceSpec& device, AudioFormat format);

}  // namespace kep::host

#endif
