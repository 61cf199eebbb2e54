#include "av_muxer.h"

#include <string>

#include "command.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace vncam {
namespace {

constexpr int kBufferBytes = 32 << 10;

}  // namespace

AvMuxer::AvMuxer(Output& output, const char* format, const char* title, Seeking seeking)
    : output_(output), title_(title) {
    AVFormatContext* muxer = nullptr;
    check(avformat_alloc_output_context2(&muxer, nullptr, format, nullptr));
    muxer_.reset(muxer);
    // Bit-exact: the library does not write its name into the file.
    muxer->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_FLUSH_PACKETS | AVFMT_FLAG_CUSTOM_IO;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    const bool canSeek = seeking == Seeking::whereItCan && output.isSeekable();
    muxer->pb =
        avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, onWrite, canSeek ? onSeek : nullptr);
}

void AvMuxer::Free::operator()(AVFormatContext* muxer) const {
    if (muxer->pb) av_freep(&muxer->pb->buffer);
    avio_context_free(&muxer->pb);
    avformat_free_context(muxer);
}

int AvMuxer::onWrite(void* self, std::uint8_t* data, int size) {
    auto& muxer = *static_cast<AvMuxer*>(self);
    try {
        muxer.output_.write(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
        return size;
    } catch (...) {
        if (!muxer.failure_) muxer.failure_ = std::current_exception();
        return AVERROR_EXTERNAL;
    }
}

std::int64_t AvMuxer::onSeek(void* self, std::int64_t offset, int whence) {
    auto& muxer = *static_cast<AvMuxer*>(self);
    if (whence != SEEK_SET) return AVERROR(ENOSYS);
    try {
        muxer.output_.seek(static_cast<std::uint64_t>(offset));
        return offset;
    } catch (...) {
        if (!muxer.failure_) muxer.failure_ = std::current_exception();
        return AVERROR_EXTERNAL;
    }
}

void AvMuxer::check(int result) const {
    if (failure_) std::rethrow_exception(failure_);
    if (result >= 0) return;
    char reason[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(result, reason, sizeof reason);
    throw Failure(output_.name() + ": cannot write as " + title_ + ": " + reason);
}

}  // namespace vncam
