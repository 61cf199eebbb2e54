#ifndef KEP_HOST_VIDEO_TAP_H
#define KEP_HOST_VIDEO_TAP_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "media/common/group_queue.h"
#include "media/video/camera.h"

namespace kep::host {

class CameraSession;
class EncoderShelf;

/** Told by the capture thread, under the camera's lock: it only notes or posts. */
class TapListener {
  public:
    /** Pictures that the camera or this consumer's queue has dropped. */
    virtual void picturesLost(std::size_t count) = 0;
    /** No picture will come any more. */
    virtual void cameraLost(const std::string& device) = 0;

  protected:
    ~TapListener() = default;
};

/** One consumer's share of the camera: its own rate and its own bounded queue. */
class VideoTap {
  public:
    /** A second of 1080p: as much as the camera delivers in one burst after the machine has stalled. */
    static constexpr std::size_t usualDepth = 64;

    /**
     * @param rate     pictures wanted in a second
     * @param after    number of the newest picture that this consumer has had before; none up to it is
     * delivered
     * @param listener outlives the tap
     * @param depth    pictures that may wait to be pulled; the oldest are dropped for newer ones
     */
    VideoTap(std::shared_ptr<CameraSession> camera, int rate, std::int64_t after, TapListener& listener,
             std::size_t depth);
    ~VideoTap();
    VideoTap(const VideoTap&) = delete;
    VideoTap& operator=(const VideoTap&) = delete;

    const CameraFormat& format() const;
    EncoderShelf& encoders();

    /** Changes the rate from the next picture on. */
    void setRate(int rate);
    /** The rate at which pictures really come: what is wanted, or what the camera gives if that is less. */
    AVRational rate() const;

    /** Takes the next picture; with `wait` blocks until there is one. False once the tap has ended. */
    bool pull(PicturePtr& picture, bool wait);

    /** Ends the tap: what is queued is dropped, every pull fails, and the listener hears no more. */
    void close();

  private:
    friend class CameraSession;
    /** Whether a picture falls to this consumer when the camera is faster than wanted. */
    bool wants(const Picture& picture, AVRational cameraRate);
    void deliver(const PicturePtr& picture);

    const std::shared_ptr<CameraSession> camera_;
    TapListener& listener_;
    GroupQueue<PicturePtr> queue_;

    std::atomic<int> rate_;
    // Guarded by the camera's lock.
    std::int64_t after_;
    std::chrono::steady_clock::time_point due_{};
};

}  // namespace kep::host

#endif
