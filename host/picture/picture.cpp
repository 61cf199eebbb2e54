#include "picture/picture.h"

#include <array>
#include <utility>

extern "C" {
#include <libavutil/mem.h>
}

#include "objects/mutex.h"

namespace kep::host {

namespace {
// The libraries' vector code reads slightly past the end of a buffer.
constexpr std::size_t kOverread = 64;
}  // namespace

/** Blocks of memory of one size. A block outlives the pool while a picture holds it. */
class PicturePool::Blocks : public std::enable_shared_from_this<Blocks> {
  public:
    explicit Blocks(std::size_t bytes) : bytes_(bytes) {}
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    std::size_t bytes() const { return bytes_; }

    /** Null when out of memory. */
    AVBufferRef* take() {
        Memory block = takeIdle();
        if (!block) block.reset(static_cast<std::uint8_t*>(av_malloc(bytes_)));
        if (!block) return nullptr;
        auto owner = std::make_unique<std::shared_ptr<Blocks>>(shared_from_this());
        AVBufferRef* const buffer = av_buffer_create(block.get(), bytes_, giveBack, owner.get(), 0);
        if (!buffer) return nullptr;
        static_cast<void>(block.release());
        static_cast<void>(owner.release());
        return buffer;
    }

  private:
    struct Free {
        void operator()(std::uint8_t* memory) const { av_free(memory); }
    };
    using Memory = std::unique_ptr<std::uint8_t, Free>;

    Memory takeIdle() {
        const MutexLock lock(mutex_);
        if (count_ == 0) return nullptr;
        return std::move(idle_[--count_]);
    }

    static void giveBack(void* opaque, std::uint8_t* memory) {
        const std::unique_ptr<std::shared_ptr<Blocks>> owner(static_cast<std::shared_ptr<Blocks>*>(opaque));
        Memory block(memory);  // freed outside the lock
        Blocks& blocks = **owner;
        const MutexLock lock(blocks.mutex_);
        if (blocks.count_ < kMostIdle) blocks.idle_[blocks.count_++] = std::move(block);
    }

    const std::size_t bytes_;
    Mutex mutex_;
    std::array<Memory, kMostIdle> idle_ GUARDED_BY(mutex_);
    std::size_t count_ GUARDED_BY(mutex_) = 0;
};

FramePtr PicturePool::get(int width, int height) {
    const std::size_t luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::size_t bytes = luma + luma / 2 + kOverread;
    if (!blocks_ || blocks_->bytes() != bytes) blocks_ = std::make_shared<Blocks>(bytes);
    FramePtr frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->buf[0] = blocks_->take();
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
