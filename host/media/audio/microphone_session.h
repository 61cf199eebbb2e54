#ifndef KEP_HOST_MICROPHONE_SESSION_H
#define KEP_HOST_MICROPHONE_SESSION_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/audio/audio_input.h"
#include "media/common/relay.h"

namespace kep::host {

/** One listener's end of the microphone: its queue, with the work on it, and what it wants to be told. */
struct AudioTap {
    Relay<SharedBlock> blocks{{100, 4u << 20}};                  // two seconds
    std::function<void(std::size_t blocks)> onLost;              /**< so many blocks came too fast for it */
    std::function<void(const std::string& device)> onDeviceLost; /**< nothing more will come */
};

/**
 * One run of the microphone: the device, the thread that captures from it, and the taps that it feeds. All of
 * the device happens on that thread, so that one that hangs can be left behind.
 */
class MicrophoneSession {
  public:
    /** Sets the capture thread going, which keeps the session alive for as long as it runs. */
    static std::shared_ptr<MicrophoneSession> launch(DeviceSpec device);

    const DeviceSpec& device() const { return device_; }

    /** Waits until the device is open. Nothing, with an error line, when it does not open or hangs. */
    std::optional<AudioFormat> waitOpened(std::chrono::seconds limit);
    /** Joins a listener, whose queue this opens. False when the session has ended. */
    bool attach(AudioTap& tap);
    /** After this nothing of the tap is touched any more. True when no listener is left. */
    bool detach(AudioTap& tap);
    /** Asks the session to end and waits until the device is free again; false when it hangs. */
    bool end(std::chrono::seconds limit);
    AudioFormat format() const { return format_; }

  private:
    enum class Phase { opening, running, ended };

    explicit MicrophoneSession(DeviceSpec device) : device_(std::move(device)) {}
    void run();
    /** Makes an opened device that of the session and waits for a listener; false when it is of no use. */
    bool adopt(std::unique_ptr<AudioInput> input);
    void deliver(const SharedBlock& block);
    void tellDeviceLost();

    const DeviceSpec device_;
    std::unique_ptr<AudioInput> input_;  // of the capture thread; others may interrupt it while it runs
    AudioFormat format_;                 // fixed once it runs

    std::mutex mutex_;
    std::condition_variable changed_;
    Phase phase_ = Phase::opening;
    bool unwanted_ = false;
    bool deviceFree_ = false;
    std::vector<AudioTap*> taps_;
};

}  // namespace kep::host

#endif
