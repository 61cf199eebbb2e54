#ifndef KEP_HOST_VIDEO_HUB_H
#define KEP_HOST_VIDEO_HUB_H

#include <memory>
#include <mutex>

#include "media/video/camera_session.h"

namespace kep::host {

/**
 * The camera of the workstation, one for all consumers of the process. It runs from its first consumer on and
 * for a moment after its last. KEP_HOST_VIDEO is read whenever the camera has no consumer.
 */
class KEP_API VideoHub {
  public:
    static VideoHub& instance();

    /**
     * A share of the camera's pictures.
     *
     * @param rate     pictures wanted in a second
     * @param after    number of the newest picture that this consumer has had before
     * @param listener outlives the tap
     * @param depth    pictures that may wait to be pulled
     * @return null, with a line written, when there is no camera
     */
    std::unique_ptr<VideoTap> open(int rate, std::int64_t after, TapListener& listener,
                                   std::size_t depth = VideoTap::usualDepth);

  private:
    VideoHub();
    std::unique_ptr<VideoTap> join(int rate, std::int64_t after, TapListener& listener, std::size_t depth);

    std::mutex mutex_;
    std::shared_ptr<CameraSession> session_;
};

}  // namespace kep::host

#endif
