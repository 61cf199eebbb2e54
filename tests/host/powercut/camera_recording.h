#ifndef VORNISA_CAMERA_RECORDING_H
#define VORNISA_CAMERA_RECORDING_H

#include <optional>
#include <string>

#include "recorded.h"

namespace kep::host {

/**
 * Uses the public header as an application does, while every step of the file layer is logged together with
 * the time captured so far. Only one instance at a time.
 */
class CameraRecording {
  public:
    /** @param microphone value of KEP_HOST_AUDIO, which is read when the first instance is made */
    explicit CameraRecording(const std::string& microphone);
    ~CameraRecording();
    CameraRecording(const CameraRecording&) = delete;
    CameraRecording& operator=(const CameraRecording&) = delete;

    StepLog& disk() { return log_; }
    /** Waits until `seconds` more of a recording have been captured; throws on timeout. */
    void waitFor(double seconds);

    /** Records 1080p at 4 Mbit/s with power-fail protection until stopped. */
    void record(int secondsOfFile);
    /** Triggers a clip around the present moment. */
    void trigger(const std::string& url, int pre, int post);
    void takePicture(const std::string& path);
    /** Waits until the messages report this file complete. */
    void waitForFile(const std::string& path);

    /** From here on pictures may be missing between files. */
    void allowLoss() { mayLose_ = true; }

    /** Stops everything and returns what was recorded. Throws if the files do not match what was captured. */
    Recorded finish();

  private:
    void stop();
    void listen(int id);

    StepLog log_;
    std::optional<InUse> inUse_{std::in_place, log_}; /**< until the end: recovery works on real files */
    int recording_ = 0;
    int service_ = 0;
    int photography_ = 0;
    bool mayLose_ = false;
};

}  // namespace kep::host

#endif
