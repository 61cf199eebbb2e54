#include "media/video/picture.h"

namespace kep::host {

namespace {
// The libraries' vector code reads a little past the end of what it is given.
constexpr std::size_t overread = 64;
}  // namespace

FramePtr PicturePool::get(int width, int height) {
    const std::size_t luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::size_t bytes = luma + luma / 2 + overread;
    if (bytes != bytes_) {
        pool_.reset(av_buffer_pool_init(bytes, nullptr));
        bytes_ = bytes;
    }
    FramePtr frame(av_frame_alloc());
    if (!pool_ || !frame) return nullptr;
    frame->buf[0] = av_buffer_pool_get(pool_.get());
    if (!frame->buf[0]) return nullptr;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    frame->color_range = AVCOL_RANGE_MPEG;
    frame->linesize[0] = width;
    frame->linesize[1] = frame->linesize[2] = width / 2;
    frame->data[0] = frame->buf[0]->data;
    frame->data[1] = frame->data[0] + luma;
    frame->data[2] = frame->data[1] + luma / 4;
    return frame;
}

bool isOneBlock(const AVFrame& frame) {
    const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(frame.width) * frame.height;
    return frame.linesize[0] == frame.width && frame.linesize[1] == frame.width / 2 &&
           frame.linesize[2] == frame.width / 2 && frame.data[1] == frame.data[0] + luma &&
           frame.data[2] == frame.data[1] + luma / 4;
}

}  // namespace kep::host
