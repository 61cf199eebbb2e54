#ifndef VORNISA_CAMERA_RECORDING_H
#define VORNISA_CAMERA_RECORDING_H

#include <optional>
#include <string>

#include "recorded.h"

namespace kep::host {

/**
 * What an application does through the public header while each step of the file layer is noted, and with it
 * what had been captured by then. One at a time.
 */
class CameraRecording {
  public:
    /** @param microphone value of KEP_HOST_AUDIO; it is read when the first of these is made */
    explicit CameraRecording(const std::string& microphone);
    ~CameraRecording();
    CameraRecording(const CameraRecording&) = delete;
    CameraRecording& operator=(const CameraRecording&) = delete;

    StepLog& disk() { return log_; }
    /** Waits until so many seconds more of a recording have been captured; throws when none come. */
    void waitFor(double seconds);

    /** Records with protection against a loss of power, 1080p at 4 Mbit/s, until it is stopped. */
    void record(int secondsOfFile);
    /** Has a clip made of what surrounds this moment. */
    void trigger(const std::string& url, int pre, int post);
    void takePicture(const std::string& path);
    /** Waits until there is a file of this name, as the messages say. */
    void waitForFile(const std::string& path);

    /** From here on pictures may be missing between files. */
    void allowLoss() { mayLose_ = true; }

    /** Ends all, and gives what has become of it. Throws when the files do not hold what was captured. */
    Recorded finish();

  private:
    void stop();
    void listen(int id);

    StepLog log_;
    std::optional<InUse> inUse_{std::in_place, log_}; /**< until all has ended; recoveries have real files */
    int recording_ = 0;
    int service_ = 0;
    int photography_ = 0;
    bool mayLose_ = false;
};

}  // namespace kep::host

#endif
