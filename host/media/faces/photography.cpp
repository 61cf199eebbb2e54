#include <limits>
#include <thread>

#include "media/faces/stream_object.h"
#include "media/faces/streams.h"
#include "media/hub/group_queue.h"
#include "media/threads.h"
#include "media/video/camera_session.h"
#include "media/video/jpeg_encoder.h"
#include "media/video/picture_file.h"
#include "media/video/picture_scaler.h"
#include "objects/log.h"
#include "text/attr_text.h"

namespace kep::host {

namespace {

constexpr int kUnset = std::numeric_limits<int>::min();
constexpr int kPicturesPerSecond = 30;
/** Pictures that may wait for the disk; more would use up the camera's memory while a disk hangs. */
constexpr std::size_t kMostWaiting = 16;
/** An older picture is stale: the camera has stopped, or is very slow. */
constexpr std::chrono::seconds kOldest(1);

/** `message` with an attribute appended, unless its value cannot be represented. */
std::string withText(std::string message, const char* key, const std::string& value) {
    if (isValue(value)) appendValue(message.append(",").append(key).append("="), value);
    return message;
}

/**
 * Takes still pictures as JPEG files. While playing it keeps the camera running, so that a picture is taken
 * at once. The size defaults to the camera's; settings take effect on the next picture.
 *
 * Sends `name=pictureTaken,url=...` for each picture written; on failure it sends
 * `name=pictureFailed,url=...` and writes an error line.
 */
class Photography final : public api::streaming::IPhotography, public StreamObject {
  public:
    ~Photography() override { shutDown(); }

    bool Snap(const char* url, bool wait) override { return take(url ? url : "", wait); }
    bool Snap(bool wait) override;
    void SetWidth(int pixels) override { width_ = pixels; }
    void SetHeight(int pixels) override { height_ = pixels; }
    void SetQuality(int percent) override { quality_ = percent; }
    void SetSourceIndex(int index) override { source_ = index; }
    void SetUrl(const char* url) override;

  protected:
    bool start() override;
    void stop() override;

  private:
    /** A picture to be written, with its settings. */
    struct Shot {
        PicturePtr picture;
        std::string url;
        std::string path;
        int width = 0;
        int height = 0;
        int quality = 0;
    };

    bool checkSettings() const;
    bool take(const std::string& url, bool wait);
    PicturePtr newestPicture();
    bool write(const Shot& shot);
    bool writeLater(Shot shot);

    std::atomic<int> width_{kUnset};
    std::atomic<int> height_{kUnset};
    std::atomic<int> quality_{80};
    std::atomic<int> source_{0};
    Mutex mutex_;
    std::string url_ GUARDED_BY(mutex_);
    std::shared_ptr<CameraLease> camera_ GUARDED_BY(mutex_);
    GroupQueue<Shot> later_{{2 * kMostWaiting, 0}};
    std::thread writer_;
};

void Photography::SetUrl(const char* url) {
    const MutexLock lock(mutex_);
    url_ = url ? url : "";
}

bool Photography::checkSettings() const {
    const int width = width_;
    const int height = height_;
    if ((width != kUnset && !isSideSetting("width", width)) ||
        (height != kUnset && !isSideSetting("height", height)) ||
        !isSetting("picture quality", quality_, 1, 100))
        return false;
    const int source = source_;
    if (source != 0) KEP_HOST_ERROR("there is no picture source " + std::to_string(source) + ", only 0");
    return source == 0;
}

bool Photography::start() {
    if (!checkSettings()) return false;
    std::shared_ptr<CameraLease> opened =
        CameraLease::open(kPicturesPerSecond, -1,
                          {nullptr, [this](const std::string& device) { endedByLoss("video", device); }}, 1);
    if (!opened) return false;
    later_.open();
    writer_ = startThread(Thread::pictureWriter, [this] {
        for (Shot shot; later_.pull(shot, true);) write(shot);
    });
    const MutexLock lock(mutex_);
    camera_ = std::move(opened);
    return true;
}

void Photography::stop() {
    std::shared_ptr<CameraLease> closed;
    {
        const MutexLock lock(mutex_);
        closed.swap(camera_);
    }
    if (closed) closed->close();
    later_.finish();
    if (writer_.joinable()) writer_.join();
}

bool Photography::Snap(bool wait) {
    std::string url;
    {
        const MutexLock lock(mutex_);
        url = url_;
    }
    return take(url, wait);
}

bool Photography::take(const std::string& url, bool wait) {
    const std::optional<std::string> path = pathOfFileUrl(url);
    if (!path || !checkSettings()) return false;
    Shot shot = {newestPicture(), url, *path, width_, height_, quality_};
    if (!shot.picture) return false;
    if (shot.width == kUnset) shot.width = shot.picture->frame->width;
    if (shot.height == kUnset) shot.height = shot.picture->frame->height;
    return wait ? write(shot) : writeLater(std::move(shot));
}

PicturePtr Photography::newestPicture() {
    std::shared_ptr<CameraLease> camera;
    {
        const MutexLock lock(mutex_);
        camera = camera_;
    }
    if (camera) {
        PicturePtr picture = camera->newest();
        if (picture && std::chrono::steady_clock::now() - picture->stamp < kOldest) return picture;
        // A queued picture is as old: drop it.
        camera->pull(picture, false);
        if (camera->pull(picture, true)) return picture;
    }
    KEP_HOST_ERROR("there is no picture to take: the camera is not running");
    return nullptr;
}

bool Photography::write(const Shot& shot) {
    std::string reason;
    FramePtr scaled;
    const AVFrame* picture = shot.picture->frame.get();
    if (picture->width != shot.width || picture->height != shot.height) {
        scaled = PictureScaler().scale(*picture, shot.width, shot.height);
        picture = scaled.get();
    }
    JpegFile file;
    if (picture)
        file = encodeJpeg(*picture, shot.quality, reason);
    else
        reason = "no memory for a picture";
    const bool written = file.bytes && writeWhole(shot.path, file.bytes.get(), file.size, reason);
    if (!written) KEP_HOST_ERROR("picture " + shot.path + ": " + reason);
    post(withText(written ? "name=pictureTaken" : "name=pictureFailed", "url", shot.url));
    return written;
}

bool Photography::writeLater(Shot shot) {
    const std::string path = shot.path;
    const std::size_t waiting = later_.size();
    if (waiting < kMostWaiting && later_.push(std::move(shot), true, 0).wasOpen) return true;
    KEP_HOST_ERROR("picture " + path + ": " + std::to_string(waiting) +
                   " pictures are already waiting to be written");
    return false;
}

}  // namespace

std::unique_ptr<api::streaming::IPhotography> makePhotography() {
    return std::make_unique<Photography>();
}

}  // namespace kep::host
