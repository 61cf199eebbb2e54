#ifndef KEP_HOST_PHOTOGRAPHY_H
#define KEP_HOST_PHOTOGRAPHY_H

#include <deque>
#include <limits>
#include <thread>

#include "media/faces/stream_object.h"
#include "media/video/camera_session.h"
#include "media/video/jpeg_encoder.h"
#include "media/video/picture_scaler.h"

namespace kep::host {

/**
 * Takes still pictures as JPEG files. While it plays it holds the camera's newest picture, so that one is
 * taken at once. A size that is not set is that of the camera; settings act on the next picture.
 *
 * Each picture that is written is told by `name=pictureTaken,url=...`, one that cannot be by
 * `name=pictureFailed,url=...` and a line.
 */
class Photography final : public api::streaming::IPhotography, public StreamObject {
  public:
    ~Photography() override { shutDown(); }

    bool Snap(const char* url, bool wait) override;
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
    struct Run {
        std::shared_ptr<CameraLease> camera;
        PicturePtr newest;
    };
    /** A picture on its way to its file. */
    struct Shot {
        PicturePtr picture;
        std::string url;
        std::string path;
        int width;
        int height;
        int quality;
    };

    bool checkSettings() const;
    bool take(const std::string& url, bool wait);
    PicturePtr newestPicture();
    bool write(const Shot& shot);
    bool writeLater(Shot shot);
    void writeAll();

    static constexpr int unset = std::numeric_limits<int>::min();
    std::atomic<int> width_{unset};
    std::atomic<int> height_{unset};
    std::atomic<int> quality_{80};
    std::atomic<int> source_{0};
    Mutex urlMutex_;
    std::string url_ GUARDED_BY(urlMutex_);

    Mutex runMutex_;
    std::shared_ptr<Run> run_ GUARDED_BY(runMutex_);
    Mutex cameraMutex_; /**< of the newest picture of a run; held while one is awaited */

    Mutex writing_; /**< one picture at a time */
    JpegEncoder encoder_ GUARDED_BY(writing_);
    std::shared_ptr<SharedScaler> scaler_ GUARDED_BY(writing_);
    int scaledWidth_ GUARDED_BY(writing_) = 0;
    int scaledHeight_ GUARDED_BY(writing_) = 0;

    // Pictures that nobody waits for.
    Mutex laterMutex_;
    Condition laterChanged_;
    std::deque<Shot> later_ GUARDED_BY(laterMutex_);
    std::thread writer_ GUARDED_BY(laterMutex_);
    bool closing_ GUARDED_BY(laterMutex_) = false;
};

}  // namespace kep::host

#endif
