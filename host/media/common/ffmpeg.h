#ifndef KEP_HOST_FFMPEG_H
#define KEP_HOST_FFMPEG_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace kep::host {

/** Frees objects of the FFmpeg libraries. */
struct FfmpegDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

/** Frees an output context; FfmpegDeleter closes an input. */
struct OutputDeleter {
    void operator()(AVFormatContext* output) const { avformat_free_context(output); }
};

using FramePtr = std::unique_ptr<AVFrame, FfmpegDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, FfmpegDeleter>;
using CodecPtr = std::unique_ptr<AVCodecContext, FfmpegDeleter>;
using InputPtr = std::unique_ptr<AVFormatContext, FfmpegDeleter>;
using OutputPtr = std::unique_ptr<AVFormatContext, OutputDeleter>;
using FilterPtr = std::unique_ptr<AVBSFContext, FfmpegDeleter>;
using SampleFifoPtr = std::unique_ptr<AVAudioFifo, FfmpegDeleter>;
using ScalerPtr = std::unique_ptr<SwsContext, FfmpegDeleter>;
using ResamplerPtr = std::unique_ptr<SwrContext, FfmpegDeleter>;

/** The text of an error code of the FFmpeg libraries. */
std::string ffmpegError(int code);

/** Whether a call of the FFmpeg libraries succeeded; if not, `reason` receives the text of its code. */
bool succeeded(int code, std::string& reason);

/** Registers the devices and silences av_log, once per process: failures are reported in our own lines. */
void initFfmpeg();

}  // namespace kep::host

#endif
