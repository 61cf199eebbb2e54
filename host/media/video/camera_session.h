#ifndef KEP_HOST_CAMERA_SESSION_H
#define KEP_HOST_CAMERA_SESSION_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "media/video/h264_encoder.h"
#include "media/video/video_tap.h"

namespace kep::host {

/**
 * One run of the camera: the device, the thread that captures from it, and the taps that it feeds. It
 * outlasts its last tap by a moment, so that a stream that is stopped and started finds the camera running,
 * and ends for good then or when the device fails.
 */
class CameraSession : public std::enable_shared_from_this<CameraSession> {
  public:
    /** Sets the capture thread going. `number` is that of the last picture of any session before. */
    static std::shared_ptr<CameraSession> launch(DeviceSpec device, int rate, std::int64_t number);

    const DeviceSpec& device() const { return device_; }

    /** Waits until the device delivers. False when it cannot be opened, which has been told in a line. */
    bool waitOpened(std::chrono::milliseconds limit);
    /** Asks the session to end and waits until the device is free again; false when it hangs. */
    bool end(std::chrono::milliseconds limit);

    /** Joins a consumer, who gets the newest picture at once. False when the session has ended. */
    bool attach(VideoTap& tap);
    /** After this nothing of the tap is touched any more. */
    void detach(VideoTap& tap);
    bool isInUse() const;
    std::int64_t lastNumber() const { return number_; }

    const CameraFormat& format() const { return format_; }
    void setRate(VideoTap& tap, int rate);
    /** Takes no lock: an encoder asks it for each picture, while the capture thread still has the camera's.
     */
    AVRational rateOf(const VideoTap& tap) const;

    /** Encoders wait here for their next stream as long as the camera runs. */
    EncoderShelf& encoders() { return encoders_; }

    /** Gives the device up when it has kept the capture thread waiting for longer than `limit`. */
    void loseIfStalled(std::chrono::milliseconds limit);

  private:
    enum class Phase { opening, running, ended };

    CameraSession(DeviceSpec device, int rate, std::int64_t number);
    void run();
    bool open();
    bool captureNext();
    /** Finds when to begin with the next picture; `made` is how long this one took. */
    void planNext(const Picture& picture, std::chrono::nanoseconds made);
    /** Has an encoder ready before the first stream asks for one, when it has not asked at once. */
    void prepareEncoder();
    /**
     * The one place through which every picture passes on its way to every consumer.
     *
     * @return whom the capture thread helps with it; null for nobody
     */
    VideoTap* publish(PicturePtr picture);
    /** Whether the tap's work on a picture would be done, with room to spare, before the next one must be
     * begun. */
    bool hasTimeFor(const VideoTap& tap) const;
    /** Opens the lock meanwhile. */
    void help(std::unique_lock<std::mutex>& lock, VideoTap& tap);
    void lose(const std::string& reason);
    int highestRate() const;
    AVRational cameraRate() const;

    const DeviceSpec device_;
    EncoderShelf encoders_;
    std::unique_ptr<Camera> camera_; /**< of the capture thread */
    CameraFormat format_;            /**< fixed once the phase is running */

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Phase phase_ = Phase::opening;
    bool deviceFree_ = false;
    std::vector<VideoTap*> taps_;
    VideoTap* helped_ = nullptr; /**< whose work the capture thread is doing */
    PicturePtr newest_;
    std::atomic<int> wantedRate_;
    std::chrono::steady_clock::time_point lastUse_;
    std::chrono::steady_clock::time_point
        waitingSince_;                            /**< for the device; zero while it is not waited for */
    std::chrono::steady_clock::time_point begin_; /**< when the next picture is begun with */
    std::chrono::steady_clock::time_point latestBegin_; /**< when it must be, so as to be ready in time */
    const std::int64_t first_;                          /**< number of the last picture before this run */
    std::atomic<std::int64_t> number_;
};

}  // namespace kep::host

#endif
