#include "encoder_alone.h"

#include <chrono>
#include <memory>
#include <thread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

namespace {

struct Deleter {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

}  // namespace

std::vector<double> encodeAlone(const std::vector<std::vector<char>>& pictures, int width, int height,
                                int fps, int bitRate, int gop) {
    using Clock = std::chrono::steady_clock;
    const AVCodec* x264 = avcodec_find_encoder_by_name("libx264");
    if (!x264) return {};
    std::unique_ptr<AVCodecContext, Deleter> codec(avcodec_alloc_context3(x264));
    codec->width = width;
    codec->height = height;
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->time_base = {1, fps};
    codec->framerate = {fps, 1};
    codec->bit_rate = bitRate;
    codec->rc_max_rate = bitRate;
    codec->rc_buffer_size = bitRate / 2;
    codec->gop_size = gop;
    codec->thread_count = 1;
    av_opt_set(codec->priv_data, "preset", "ultrafast", 0);
    av_opt_set(codec->priv_data, "tune", "zerolatency", 0);
    if (avcodec_open2(codec.get(), x264, nullptr) < 0) return {};

    std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());
    std::unique_ptr<AVPacket, Deleter> packet(av_packet_alloc());
    frame->format = codec->pix_fmt;
    frame->width = width;
    frame->height = height;
    std::vector<double> times;
    auto due = Clock::now();
    for (const auto& picture : pictures) {
        av_image_fill_arrays(frame->data, frame->linesize, reinterpret_cast<const uint8_t*>(picture.data()),
                             AV_PIX_FMT_YUV420P, width, height, 1);
        frame->pts = static_cast<int64_t>(times.size());
        due += std::chrono::nanoseconds(std::chrono::seconds(1)) / fps;
        std::this_thread::sleep_until(due);
        const auto begin = Clock::now();
        if (avcodec_send_frame(codec.get(), frame.get()) < 0) return {};
        if (avcodec_receive_packet(codec.get(), packet.get()) < 0) return {};
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        av_packet_unref(packet.get());
    }
    return times;
}
