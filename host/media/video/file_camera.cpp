#include <sys/stat.h>

#include "media/common/looping_file.h"
#include "media/common/period.h"
#include "media/video/camera.h"
#include "media/video/picture_scaler.h"

namespace kep::host {

namespace {

// A camera that is later than this continues from now instead of catching up.
constexpr std::chrono::milliseconds kTolerance(250);
// A longer step between time stamps is replaced by the period of the frame rate.
constexpr std::chrono::seconds kLongestStep(10);

/**
 * Plays a video or picture file as a camera, in real time and in an endless loop; a single picture is
 * repeated. A pipe is played once, to its end.
 */
class FileCamera final : public Camera {
  public:
    explicit FileCamera(std::unique_ptr<LoopingFile> file) : file_(std::move(file)) {}

    CameraFormat format() const override { return formatOf(file_->reader()); }
    bool next(int, Picture& picture, std::string& reason) override {
        picture.frame = file_->next(reason);
        if (picture.frame) picture.stamp = dueTime(*picture.frame);
        return picture.frame != nullptr;
    }

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point dueTime(const AVFrame& frame);

    const std::unique_ptr<LoopingFile> file_;
    std::int64_t lastPts_ = AV_NOPTS_VALUE;
    Clock::time_point lastDue_{};
};

FileCamera::Clock::time_point FileCamera::dueTime(const AVFrame& frame) {
    const Clock::time_point now = Clock::now();
    const std::chrono::nanoseconds period = periodOf(format().rate);
    std::chrono::nanoseconds step = period;
    if (frame.pts != AV_NOPTS_VALUE && lastPts_ != AV_NOPTS_VALUE) {
        const AVRational base = file_->reader().stream().time_base;
        step = std::chrono::nanoseconds(av_rescale_q(frame.pts - lastPts_, base, {1, 1'000'000'000}));
        // Also when the file starts over, from the last picture to the first.
        if (step <= step.zero() || step > kLongestStep) step = period;
    }
    lastPts_ = frame.pts;
    const bool first = lastDue_ == Clock::time_point{};
    lastDue_ = first ? now : lastDue_ + step;
    if (now - lastDue_ > kTolerance) lastDue_ = now;
    return lastDue_;
}

}  // namespace

std::unique_ptr<Camera> openFileCamera(const std::string& path, std::string& reason) {
    struct stat status {};
    const bool loops = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    MediaReader::Source source;
    source.url = "file:" + path;
    const auto convert = [scaler = std::make_shared<PictureScaler>()](FramePtr decoded, std::string& why) {
        return scaler->toPicture(std::move(decoded), why);
    };
    auto file = LoopingFile::open(source, AVMEDIA_TYPE_VIDEO, loops, convert, reason);
    if (!file) return nullptr;
    return std::make_unique<FileCamera>(std::move(file));
}

}  // namespace kep::host
