#ifndef KEP_HOST_VIDEO_SOURCE_H
#define KEP_HOST_VIDEO_SOURCE_H

#include <atomic>
#include <limits>

#include "media/common/stream_object.h"
#include "media/video/picture_scaler.h"
#include "media/video/video_hub.h"

namespace kep::host {

/**
 * What a source of raw and one of encoded pictures have in common: size and rate, the share of the camera,
 * and the pull.
 *
 * A size that is not set is that of the camera, a rate that is not set is 30. Values that make no sense are
 * refused with a line: at start, or by the setter itself for what acts on a running stream, which then goes
 * on with what it had.
 */
class VideoSource : public StreamObject,
                    public virtual api::streaming::common::IStreamOutput,
                    public virtual api::streaming::common::IVideo,
                    public virtual api::streaming::common::IBitRateControl,
                    protected TapListener {
  public:
    void SetWidth(int pixels) override { width_ = pixels; }
    void SetHeight(int pixels) override { height_ = pixels; }
    void SetFrameRate(int framesPerSecond) override;
    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<api::streaming::common::frame_t>& frame, bool wait) override;

  protected:
    /** One run of the stream: its share of the camera and the size in which it takes the pictures. */
    struct Run {
        std::unique_ptr<VideoTap> tap;
        int width;
        int height;
        std::shared_ptr<SharedScaler> scaler;
    };

    /** The next frame for the reader; false when there is none or the stream has ended. */
    virtual bool pull(std::shared_ptr<api::streaming::common::frame_t>& frame, bool wait) = 0;

    /** Takes a share of the camera. False, with a line, when a setting makes no sense or there is no camera.
     */
    bool openRun();
    void closeRun();
    /** Null between closing and opening. */
    std::shared_ptr<Run> run();
    /**
     * A picture of the camera, scaled to the size of the run. Null, with a line and the end of the
     * stream, on failure.
     */
    PicturePtr scaled(Run& run, const PicturePtr& picture);

  private:
    void picturesLost(std::size_t count) override { postLost("video", count); }
    void cameraLost(const std::string& device) override;

    static constexpr int unset = std::numeric_limits<int>::min();
    std::atomic<int> width_{unset};
    std::atomic<int> height_{unset};
    std::atomic<int> rate_{30};
    std::atomic<std::int64_t> delivered_{-1}; /**< number of the newest picture that the reader has had */
    std::mutex runMutex_;
    std::shared_ptr<Run> run_;
};

}  // namespace kep::host

#endif
