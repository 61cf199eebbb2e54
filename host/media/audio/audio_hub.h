#ifndef KEP_HOST_AUDIO_HUB_H
#define KEP_HOST_AUDIO_HUB_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "media/audio/audio_input.h"
#include "media/common/group_queue.h"

namespace kep::host {

/** One listener's end of the microphone: its queue, and what it wants to be told. */
struct AudioTap {
    GroupQueue<SharedBlock> queue{{100, 4u << 20}};  // two seconds
    std::function<void(std::size_t blocks)> onLost;  /**< the listener was too slow for so many blocks */
    std::function<void(const std::string& device)> onDeviceLost; /**< nothing more will come */
};

/**
 * The one microphone of the process. A capture thread runs while there are listeners and gives each of them
 * every block; a listener that does not keep up loses its own oldest blocks and holds back nobody.
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
    bool openMicrophone();
    void closeMicrophone();
    void capture(AudioInput& input);
    void deliver(const SharedBlock& block);
    void tellDeviceLost();

    std::mutex control_;  // one attach or detach at a time; taken before mutex_
    std::string device_;
    std::thread thread_;

    std::mutex mutex_;                   // what follows, while the capture thread runs
    std::unique_ptr<AudioInput> input_;  // none once the microphone has come to its end
    std::vector<AudioTap*> taps_;
};

}  // namespace kep::host

#endif
