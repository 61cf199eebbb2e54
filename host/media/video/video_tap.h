#ifndef KEP_HOST_VIDEO_TAP_H
#define KEP_HOST_VIDEO_TAP_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "kep/visibility.h"
#include "media/common/relay.h"
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
class KEP_API VideoTap {
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

    /** Deals with one picture. False when that has failed for good: no other will come. */
    using Work = std::function<bool(const PicturePtr& picture)>;
    using Pictures = Relay<PicturePtr>;
    /**
     * Gives each picture to `work`, one at a time and in their order, until the tap has ended. The thread
     * that captured a picture does the work on it too where it has the time and `isPrompt` agrees. All other
     * pictures are worked on in this thread.
     */
    void serve(const Work& work, const Pictures::Prompt& isPrompt);

    /** Ends the tap: what is queued is dropped, every pull fails, and the listener hears no more. */
    void close();

  private:
    friend class CameraSession;
    /** Whether a picture falls to this consumer when the camera is faster than wanted. */
    bool wants(const Picture& picture, AVRational cameraRate);
    /** Queues a picture; without `wake` for the capture thread, which helps with it then. */
    void deliver(const PicturePtr& picture, bool wake);
    /** Blocks until a picture waits to be pulled. False once the tap has ended. */
    bool wait();

    const std::shared_ptr<CameraSession> camera_;
    TapListener& listener_;
    Pictures pictures_;

    std::atomic<int> rate_;
    // Guarded by the camera's lock.
    std::int64_t after_;
    std::chrono::steady_clock::time_point due_{};
};

}  // namespace kep::host

#endif
