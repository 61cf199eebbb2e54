#ifndef KEP_HOST_FILE_CAMERA_H
#define KEP_HOST_FILE_CAMERA_H

#include "media/video/camera.h"
#include "media/video/media_input.h"

namespace kep::host {

/**
 * A video or picture file as a camera: in real time and over and over, as if it went on for ever. A single
 * picture is repeated. A pipe is filmed once and ends with what is written to it.
 */
class FileCamera final : public Camera {
  public:
    /** Null, with `reason` filled, when the file cannot be opened. */
    static std::unique_ptr<Camera> open(const std::string& path, std::string& reason);

    CameraFormat format() const override;
    bool next(int wanted, Picture& picture, std::string& reason) override;

  private:
    using Clock = std::chrono::steady_clock;

    /** Ways back to the beginning of a file, the quickest first. */
    enum class Rewind { byTime, byBytes, reopening, impossible };

    FileCamera(std::string url, std::unique_ptr<MediaInput> input, bool loops);
    bool readOn(FramePtr& frame, std::string& reason);
    bool startOver(FramePtr& frame, std::string& reason);
    Clock::time_point dueTime(const AVFrame& frame);

    const std::string url_;
    std::unique_ptr<MediaInput> input_;
    const bool loops_;
    AVRational rate_;
    Rewind rewind_ = Rewind::byTime;
    int inThisPass_ = 0;
    FramePtr only_; /**< the first picture of a pass, until there is a second */
    bool isStill_ = false;
    std::int64_t lastPts_ = AV_NOPTS_VALUE;
    Clock::time_point lastDue_{};
};

}  // namespace kep::host

#endif
