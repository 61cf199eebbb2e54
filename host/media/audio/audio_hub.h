#ifndef KEP_HOST_AUDIO_HUB_H
#define KEP_HOST_AUDIO_HUB_H

#include "media/audio/microphone_session.h"

namespace kep::host {

/**
 * The one microphone of the process. It is open while there are listeners, each of which gets every block; a
 * listener that does not keep up loses its own oldest blocks and holds back nobody.
 */
class AudioHub {
  public:
    static AudioHub& instance();

    /**
     * Opens the tap's queue and lets it have all that is captured from now on; opens the microphone for the
     * first tap. The format of the blocks, or nothing, with an error line, when the microphone does not open.
     */
    std::optional<AudioFormat> attach(AudioTap& tap);
    /** Takes the tap off, closes its queue, and closes the microphone after the last. */
    void detach(AudioTap& tap);

  private:
    AudioHub() = default;
    void endSession();

    std::mutex mutex_;  // one attach or detach at a time
    std::shared_ptr<MicrophoneSession> session_;
};

}  // namespace kep::host

#endif
