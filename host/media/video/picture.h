#ifndef KEP_HOST_PICTURE_H
#define KEP_HOST_PICTURE_H

#include <chrono>
#include <cstdint>
#include <memory>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** One picture of the camera: planar YUV 4:2:0 of limited range. Whoever holds it only reads it. */
struct Picture {
    FramePtr frame;
    std::chrono::steady_clock::time_point stamp; /**< when it was captured */
    std::int64_t number = 0;                     /**< runs on through the life of the process */
};

using PicturePtr = std::shared_ptr<const Picture>;

/** Memory for pictures of one size, used again and again. The planes of a picture lie end to end, unpadded.
 */
class PicturePool {
  public:
    /** An empty picture; null when there is no memory for it. Sizes are even. */
    FramePtr get(int width, int height);

  private:
    struct Deleter {
        void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
    };
    std::unique_ptr<AVBufferPool, Deleter> pool_;
    std::size_t bytes_ = 0;
};

/** Whether the planes of a picture lie end to end, so that it is one block of `width * height * 3 / 2` bytes.
 */
bool isOneBlock(const AVFrame& frame);

}  // namespace kep::host

#endif
