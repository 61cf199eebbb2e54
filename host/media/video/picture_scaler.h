#ifndef KEP_HOST_PICTURE_SCALER_H
#define KEP_HOST_PICTURE_SCALER_H

#include <memory>
#include <mutex>

#include "media/video/picture.h"

namespace kep::host {

/** Whether a format is one of colours rather than of brightness and colour differences. */
bool isRgb(AVPixelFormat format);

/** Brings pictures of any format and size to planar YUV 4:2:0 of limited range. */
class PictureScaler {
  public:
    /** A picture of the given size, which is even; null when the format cannot be converted. */
    FramePtr scale(const AVFrame& from, int width, int height);

  private:
    struct Job {
        int fromWidth;
        int fromHeight;
        AVPixelFormat format;
        bool fullRange;
        int width;
        int height;
        bool operator==(const Job&) const = default;
    };
    bool prepare(const Job& job);

    Job job_{};
    ScalerPtr context_;
    PicturePool pool_;
};

/** One size of the hub's pictures, made once for all consumers that want that size. */
class SharedScaler {
  public:
    /** The scaler for a size. It lives as long as somebody holds it. */
    static std::shared_ptr<SharedScaler> forSize(int width, int height);

    SharedScaler(int width, int height) : width_(width), height_(height) {}

    /** The picture in this size, the same one if it has the size already; null without memory. */
    PicturePtr scale(const PicturePtr& picture);

  private:
    const int width_;
    const int height_;
    std::mutex mutex_;
    PictureScaler scaler_;
    PicturePtr latest_;
};

}  // namespace kep::host

#endif
