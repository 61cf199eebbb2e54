#ifndef KEP_HOST_PICTURE_H
#define KEP_HOST_PICTURE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** Range of the width and height of a picture, in pixels; both must be even. */
constexpr int kSmallestSide = 16;
constexpr int kLargestSide = 8192;
/** Pictures per second; more than a camera delivers. */
constexpr int kHighestRate = 120;

constexpr bool isSide(int pixels) {
    return pixels >= kSmallestSide && pixels <= kLargestSide && pixels % 2 == 0;
}

/** One picture of the camera: planar YUV 4:2:0 of limited range. Shared: read only. */
struct Picture {
    FramePtr frame;
    std::chrono::steady_clock::time_point stamp; /**< when it was captured */
    std::int64_t number = 0;                     /**< never restarts within a process */
};

/** Converts the time stamp of a picture to wall-clock time. */
inline std::chrono::system_clock::time_point wallTimeOf(std::chrono::steady_clock::time_point stamp) {
    using namespace std::chrono;
    return system_clock::now() + duration_cast<system_clock::duration>(stamp - steady_clock::now());
}

using PicturePtr = std::shared_ptr<const Picture>;

/** Its size in bytes, for queues that are bounded in bytes. */
inline std::size_t weightOf(const PicturePtr& picture) {
    return static_cast<std::size_t>(picture->frame->width) *
           static_cast<std::size_t>(picture->frame->height) * 3 / 2;
}

/**
 * Recycles the memory of pictures of one size. The planes of a picture are contiguous and unpadded. The pool
 * keeps at most kMostIdle unused pictures, so that the memory of a burst goes back to the system.
 */
class KEP_API PicturePool {
  public:
    /**
     * Capture, newest, encoder and one reader hold a picture each, so that the number in use varies by up to
     * four from one picture to the next. With fewer, a steady stream would allocate; each takes 3 MiB at
     * 1080p.
     */
    static constexpr std::size_t kMostIdle = 4;

    /** An uninitialised picture; null when out of memory. `width` and `height` must be even. */
    FramePtr get(int width, int height);

  private:
    class Blocks;
    std::shared_ptr<Blocks> blocks_;
};

/** Whether the planes are contiguous, so that the picture is one block of `width * height * 3 / 2` bytes. */
KEP_API bool isOneBlock(const AVFrame& frame);

}  // namespace kep::host

#endif
