#ifndef KEP_HOST_FILE_CAMERA_H
#define KEP_HOST_FILE_CAMERA_H

#include "media/common/looping_file.h"
#include "media/video/camera.h"

namespace kep::host {

/**
 * A video or picture file as a camera: in real time and over and over, as if it went on for ever. A single
 * picture is repeated. A pipe is filmed once and ends with what is written to it.
 */
class FileCamera final : public Camera {
  public:
    /** Null, with `reason` filled, when the file cannot be opened. */
    static std::unique_ptr<Camera> open(const std::string& path, std::string& reason);

    CameraFormat format() const override { return formatOf(file_->reader()); }
    bool next(int wanted, Picture& picture, std::string& reason) override;

  private:
    using Clock = std::chrono::steady_clock;

    explicit FileCamera(std::unique_ptr<LoopingFile> file) : file_(std::move(file)) {}
    Clock::time_point dueTime(const AVFrame& frame);

    const std::unique_ptr<LoopingFile> file_;
    std::int64_t lastPts_ = AV_NOPTS_VALUE;
    Clock::time_point lastDue_{};
};

}  // namespace kep::host

#endif
