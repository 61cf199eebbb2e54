#include "wav_writer.h"

#include <string>

#include "command.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace vncam {
namespace {

constexpr int kBufferBytes = 32 << 10;

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

}  // namespace

WavWriter::WavWriter(Output& output, int rate, int channels) : output_(output) {
    AVFormatContext* muxer = nullptr;
    check(avformat_alloc_output_context2(&muxer, nullptr, "wav", nullptr));
    muxer_.reset(muxer);
    // No chunk that names the library; samples reach a pipe as they come.
    muxer_->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_FLUSH_PACKETS | AVFMT_FLAG_CUSTOM_IO;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    muxer_->pb = avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, onWrite,
                                    output.isSeekable() ? onSeek : nullptr);
    AVCodecParameters& parameters = *avformat_new_stream(muxer, nullptr)->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters.format = AV_SAMPLE_FMT_S16;
    parameters.bits_per_coded_sample = 16;
    parameters.sample_rate = rate;
    parameters.block_align = 2 * channels;
    parameters.bit_rate = std::int64_t{16} * rate * channels;
    av_channel_layout_default(&parameters.ch_layout, channels);
    check(avformat_write_header(muxer, nullptr));
}

void WavWriter::FreeMuxer::operator()(AVFormatContext* muxer) const {
    if (muxer->pb) av_freep(&muxer->pb->buffer);
    avio_context_free(&muxer->pb);
    avformat_free_context(muxer);
}

void WavWriter::write(const void* samples, std::size_t bytes) {
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    // Not owned: it is written before the call returns.
    packet->data = static_cast<std::uint8_t*>(const_cast<void*>(samples));
    packet->size = static_cast<int>(bytes);
    check(av_write_frame(muxer_.get(), packet.get()));
}

void WavWriter::finish() {
    check(av_write_trailer(muxer_.get()));
}

int WavWriter::onWrite(void* self, std::uint8_t* data, int size) {
    auto& writer = *static_cast<WavWriter*>(self);
    try {
        writer.output_.write(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
        return size;
    } catch (...) {
        if (!writer.failure_) writer.failure_ = std::current_exception();
        return AVERROR_EXTERNAL;
    }
}

std::int64_t WavWriter::onSeek(void* self, std::int64_t offset, int whence) {
    auto& writer = *static_cast<WavWriter*>(self);
    if (whence != SEEK_SET) return AVERROR(ENOSYS);
    try {
        writer.output_.seek(static_cast<std::uint64_t>(offset));
        return offset;
    } catch (...) {
        if (!writer.failure_) writer.failure_ = std::current_exception();
        return AVERROR_EXTERNAL;
    }
}

void WavWriter::check(int result) {
    if (failure_) std::rethrow_exception(failure_);
    if (result >= 0) return;
    char reason[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(result, reason, sizeof reason);
    throw Failure(output_.name() + ": cannot write as WAV: " + reason);
}

}  // namespace vncam
