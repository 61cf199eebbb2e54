#ifndef KEP_HOST_PICTURE_SCALER_H
#define KEP_HOST_PICTURE_SCALER_H

#include <string>

#include "picture/picture.h"

namespace kep::host {

/** Whether a format is RGB, or a palette of it, rather than YUV. */
bool isRgb(AVPixelFormat format);

/** Converts pictures of any format and size to planar YUV 4:2:0 of limited range. */
class PictureScaler {
  public:
    /** A picture of the given size, which is even; null when the format cannot be converted. */
    FramePtr scale(const AVFrame& from, int width, int height);
    /** The same of a picture as decoded, its size brought down to even numbers; null with `reason` filled. */
    FramePtr toPicture(FramePtr decoded, std::string& reason);

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

}  // namespace kep::host

#endif
