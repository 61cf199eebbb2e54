#ifndef KEP_HOST_PHOTOGRAPHY_H
#define KEP_HOST_PHOTOGRAPHY_H

#include <condition_variable>
#include <deque>
#include <limits>
#include <thread>

#include "media/common/stream_object.h"
#include "media/video/jpeg_encoder.h"
#include "media/video/picture_scaler.h"
#include "media/video/video_hub.h"

namespace kep::host {

/**
 * Takes still pictures as JPEG files. While it plays it holds the camera's newest picture, so that one is
 * taken at once. A size that is not set is that of the camera; settings act on the next picture.
 *
 * Each picture that is written is told by `name=pictureTaken,url=...`, one that cannot be by
 * `name=pictureFailed,url=...` and a line.
 */
class Photography final : public api::streaming::IPhotography, public StreamObject, private TapListener {
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
        std::unique_ptr<VideoTap> tap;
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

    void picturesLost(std::size_t) override {}
    void cameraLost(const std::string& device) override;

    static constexpr int unset = std::numeric_limits<int>::min();
    std::atomic<int> width_{unset};
    std::atomic<int> height_{unset};
    std::atomic<int> quality_{80};
    std::atomic<int> source_{0};
    std::mutex urlMutex_;
    std::string url_;

    std::mutex runMutex_;
    std::shared_ptr<Run> run_;
    std::mutex cameraMutex_; /**< of the newest picture of a run */

    std::mutex writing_; /**< the encoder and the scaler */
    JpegEncoder encoder_;
    std::shared_ptr<SharedScaler> scaler_;
    int scaledWidth_ = 0;
    int scaledHeight_ = 0;

    // Pictures that nobody waits for.
    std::mutex laterMutex_;
    std::condition_variable laterChanged_;
    std::deque<Shot> later_;
    std::thread writer_;
    bool closing_ = false;
};

}  // namespace kep::host

#endif
