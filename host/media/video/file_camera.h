#ifndef KEP_HOST_FILE_CAMERA_H
#define KEP_HOST_FILE_CAMERA_H

#include <optional>

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
    bool read(FramePtr& frame, std::string& reason);
    /** Decodes from the beginning. */
    bool startOver(FramePtr& frame, std::string& reason);
    Clock::time_point dueTime(const AVFrame& frame);

    const std::string url_;
    std::unique_ptr<MediaInput> input_;
    const bool loops_;
    AVRational rate_;
    Rewind rewind_ = Rewind::byTime;
    int inThisPass_ = 0;
    std::optional<std::int64_t> firstPts_; /**< of all */
    FramePtr first_;                       /**< of this pass, while it is the only one */
    FramePtr still_;                       /**< the whole of a file of one picture */
    std::int64_t lastPts_ = AV_NOPTS_VALUE;
    Clock::time_point lastDue_{};
};

}  // namespace kep::host

#endif
