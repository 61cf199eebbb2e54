#ifndef KEP_HOST_AUDIO_INPUT_H
#define KEP_HOST_AUDIO_INPUT_H

#include <memory>
#include <string>

#include "media/audio/audio_block.h"
#include "media/common/device_spec.h"

namespace kep::host {

/** Where sound comes from, in real time. Made and read on one thread. */
class AudioInput {
  public:
    virtual ~AudioInput() = default;

    virtual AudioFormat format() const = 0;
    /**
     * Waits for what is captured next and replaces samples and stamp of `block` by it; its format is
     * format(). False when nothing more will come, because of interrupt() or, with an error line, by itself.
     */
    virtual bool read(AudioBlock& block) = 0;
    /** Makes the read under way and every later one return false. Safe on any thread. */
    virtual void interrupt() = 0;
};

/** The kinds of microphone that KEP_HOST_AUDIO chooses from; none, with an error line, if it is none of them.
 */
std::optional<DeviceSpec> microphoneFromEnvironment();

/** Opens the chosen microphone; null, with an error line that names it, when that fails. */
std::unique_ptr<AudioInput> openAudioInput(const DeviceSpec& spec);

}  // namespace kep::host

#endif
