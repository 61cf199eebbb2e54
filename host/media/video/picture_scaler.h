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
    /** Converts to a picture of the given, even size; null when the format cannot be converted. */
    FramePtr scale(const AVFrame& from, int width, int height);
    /** Likewise at the size of a decoded picture, rounded down to even; null, with `reason` filled, on
     * failure. */
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
