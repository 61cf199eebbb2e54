#ifndef KEP_HOST_AUDIO_INPUT_H
#define KEP_HOST_AUDIO_INPUT_H

#include <atomic>
#include <memory>
#include <string>

#include "media/audio/audio_block.h"
#include "media/common/device_spec.h"

namespace kep::host {

/** A source of sound. Opened and read on one thread. */
class AudioInput {
  public:
    virtual ~AudioInput() = default;

    virtual AudioFormat format() const = 0;
    /**
     * Replaces samples and stamp of `block` by those captured next, possibly no samples; its format is
     * format(). The caller holds the block back until `due`, when its last sample has been captured, and then
     * reads again. False, with an error line, at the end or when the device is lost.
     */
    virtual bool read(AudioBlock& block, SteadyTime& due) = 0;
};

// The kinds of microphone. Null, with an error line that names it, when one cannot be opened. Setting
// `stopped`, on any thread, ends a read that waits for a pipe.
std::unique_ptr<AudioInput> openTone(const DeviceSpec& device);
std::unique_ptr<AudioInput> openSoundFile(const std::string& path, const std::atomic<bool>& stopped);
std::unique_ptr<AudioInput> openSoundDevice(const DeviceSpec& device);

}  // namespace kep::host

#endif
