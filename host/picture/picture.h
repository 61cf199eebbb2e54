#ifndef KEP_HOST_PICTURE_H
#define KEP_HOST_PICTURE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** The sides that a picture can have: even numbers of pixels from the smallest to the largest. */
constexpr int kSmallestSide = 16;
constexpr int kLargestSide = 8192;
/** Pictures in a second; more than a camera gives. */
constexpr int kHighestRate = 120;

constexpr bool isSide(int pixels) {
    return pixels >= kSmallestSide && pixels <= kLargestSide && pixels % 2 == 0;
}

/** One picture of the camera: planar YUV 4:2:0 of limited range. Shared: read only. */
struct Picture {
    FramePtr frame;
    std::chrono::steady_clock::time_point stamp; /**< when it was captured */
    std::int64_t number = 0;                     /**< runs on through the life of the process */
};

/** The time of day at a moment of the clock that pictures are stamped by. */
inline std::chrono::system_clock::time_point wallTimeOf(std::chrono::steady_clock::time_point stamp) {
    using namespace std::chrono;
    return system_clock::now() + duration_cast<system_clock::duration>(stamp - steady_clock::now());
}

using PicturePtr = std::shared_ptr<const Picture>;

/** What it costs a queue that is bounded in bytes. */
inline std::size_t weightOf(const PicturePtr& picture) {
    return static_cast<std::size_t>(picture->frame->width) *
           static_cast<std::size_t>(picture->frame->height) * 3 / 2;
}

/**
 * Memory for pictures of one size, used again and again. The planes of a picture lie end to end, unpadded. It
 * keeps at most kMostIdle pictures that nobody holds, so that what one burst needed goes back to the system.
 */
class KEP_API PicturePool {
  public:
    /**
     * Capture, newest, encoder and one reader hold a picture each, so that the number in use varies by as
     * many from one picture to the next. With fewer, a steady stream would allocate; each takes 3 MiB at
     * 1080p.
     */
    static constexpr std::size_t kMostIdle = 4;

    /** An empty picture; null when there is no memory for it. Sizes are even. */
    FramePtr get(int width, int height);

  private:
    class Blocks;
    std::shared_ptr<Blocks> blocks_;
};

/** Whether the planes of a picture lie end to end, so that it is one block of `width * height * 3 / 2` bytes.
 */
KEP_API bool isOneBlock(const AVFrame& frame);

}  // namespace kep::host

#endif
